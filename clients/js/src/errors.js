// The errors the client rejects with. Each is its own class so that a page can tell "install
// or start the agent" from "allow this origin" from "the member failed" with instanceof.

export class BridgeError extends Error {
  constructor(message, options) {
    super(message, options);
    this.name = new.target.name;
  }
}

// Nothing answers on the agent's port, or something that is not the agent does.
export class AgentNotRunningError extends BridgeError {
  constructor(message, { url, cause } = {}) {
    super(message, cause === undefined ? undefined : { cause });
    this.url = url;
  }
}

// The agent answered the WebSocket handshake with an HTTP error instead of accepting it.
// status is undefined where the platform hides it (the WebSocket API of browsers).
export class HandshakeRefusedError extends BridgeError {
  constructor(message, { url, status, reason } = {}) {
    super(message);
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
