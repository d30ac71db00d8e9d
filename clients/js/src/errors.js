// The errors the client rejects with. Each is its own class so that a page can tell "start
// the agent" from "allow it in the browser" from "allow this origin" from "the member failed"
// with instanceof; the errors of a failure to reach the agent also carry a string `code`.

export class BridgeError extends Error {
  constructor(message, options) {
    super(message, options);
    this.name = new.target.name;
  }
}

// Nothing answers on the agent's port, or something that is not the agent does.
// permission is the page's local network access state, where the browser told it.
export class AgentNotRunningError extends BridgeError {
  constructor(message, { url, cause, permission } = {}) {
    super(message, cause === undefined ? undefined : { cause });
    this.code = "AGENT_NOT_RUNNING";
    this.url = url;
    if (permission !== undefined) this.permission = permission;
  }
}

// The browser did not let the page reach the loopback address: local network access is
// "denied" for the page's origin, or still "prompt" after the request (the user was asked
// and did not allow it, or could not be asked: no click came first).
export class BlockedByBrowserError extends BridgeError {
  constructor({ url, origin, permission }) {
    super(
      permission === "denied"
        ? `The browser blocked ${origin} from reaching the agent at ${url}: local network access` +
            ` is denied for this site (allow "Apps on device" / local network access in the` +
            ` site's settings)`
        : `The browser did not let ${origin} reach the agent at ${url}: local network access` +
            ` was not granted (ask from a click, and choose Allow when the browser asks)`,
    );
    this.code = "BLOCKED_BY_BROWSER";
    this.url = url;
    this.origin = origin;
    this.permission = permission;
  }
}

// The page runs in an iframe that was not given local network access: the embedding page
// must add allow="local-network-access" to it. Nobody can grant it from inside the frame.
export class IframeNotAllowedError extends BridgeError {
  constructor({ url, origin }) {
    super(
      `The page ${origin} runs in an iframe without allow="local-network-access", so the` +
        ` browser does not let it reach the agent at ${url}: add the attribute to the iframe` +
        ` in the embedding page`,
    );
    this.code = "IFRAME_NOT_ALLOWED";
    this.url = url;
    this.origin = origin;
  }
}

// The agent answered the WebSocket handshake with an HTTP error instead of accepting it.
// status is undefined where the platform hides it (the WebSocket API of browsers).
export class HandshakeRefusedError extends BridgeError {
  constructor(message, { url, status, reason } = {}) {
    super(message);
    this.code = "HANDSHAKE_REFUSED";
    this.url = url;
    this.status = status;
    this.reason = reason;
  }
}

// The agent runs but does not serve pages from this origin: it is neither a loopback page
// nor listed in AllowedOrigins of the agent's settings.
export class OriginNotAllowedError extends HandshakeRefusedError {
  constructor({ url, origin, status, reason }) {
    const who = origin ? `pages from ${origin}` : "this page's origin";
    super(
      `The agent at ${url} does not allow ${who}` +
        ` (the origin is not allowed: add it to AllowedOrigins in section [HostBridge]` +
        ` of the agent's TarnLocal.ini)`,
      { url, status, reason },
    );
    this.code = "ORIGIN_NOT_ALLOWED";
    this.origin = origin;
  }
}

// A member answered with an automation error: 6 Overflow, 13 Type mismatch, 438 no such
// member, 445 action not supported, 450 wrong number of arguments; -1 when the agent could
// not read the call at all (a frame over 1 MiB, for example).
export class IOError extends BridgeError {
  constructor(number, description, member) {
    super(`${member ? `${member}: ` : ""}${description} (${number})`);
    this.number = number;
    this.description = description;
    this.member = member;
  }
}

// The connection is gone: the call was pending when it dropped, or was made while there
// was no connection.
export class DisconnectedError extends BridgeError {
  constructor(message, { code, reason } = {}) {
    super(message);
    this.code = code;
    this.reason = reason;
  }
}
