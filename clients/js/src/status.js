// Detecting the agent: GET /status on the bridge's port answers its name, version and
// protocol version, with CORS headers for the origins it serves. Where it fails, saying why:
// no agent, the browser's refusal, or an origin the agent does not serve.

import {
  AgentNotRunningError,
  BlockedByBrowserError,
  HandshakeRefusedError,
  IframeNotAllowedError,
  OriginNotAllowedError,
} from "./errors.js";

export const DEFAULT_PORT = 29170;

// The bridge's WebSocket address from connect()'s or status()'s options.
export function bridgeUrl({ url, port } = {}) {
  if (url !== undefined) {
    const parsed = new URL(String(url));
    if (parsed.protocol === "http:") parsed.protocol = "ws:";
    else if (parsed.protocol === "https:") parsed.protocol = "wss:";
    else if (parsed.protocol !== "ws:" && parsed.protocol !== "wss:")
      throw new TypeError(`Not a WebSocket address: ${url}`);
    return parsed.href;
  }
  const number = port === undefined ? DEFAULT_PORT : Number(port);
  if (!Number.isInteger(number) || number < 1 || number > 65535)
    throw new TypeError(`Not a port number: ${port}`);
  return `ws://127.0.0.1:${number}/`;
}

export function statusUrl(options = {}) {
  const parsed = new URL(bridgeUrl(options));
  parsed.protocol = parsed.protocol === "wss:" ? "https:" : "http:";
  parsed.pathname = "/status";
  parsed.search = "";
  parsed.hash = "";
  return parsed.href;
}

// The origin of the page this runs in; undefined outside a browser.
export function pageOrigin() {
  const origin = globalThis.location?.origin;
  return typeof origin === "string" && origin !== "null" ? origin : undefined;
}

function failure(url, text, cause, permission) {
  return new AgentNotRunningError(`The agent is not running at ${url}: ${text}`, { url, cause, permission });
}

export async function status(options = {}) {
  const url = statusUrl(options);
  const fetchImpl = options.fetch ?? globalThis.fetch;
  if (typeof fetchImpl !== "function")
    throw new TypeError("No fetch: pass {fetch} to status() on a platform without one");
  const { timeoutMs } = options;
  const signal = timeoutMs > 0 ? AbortSignal.timeout(timeoutMs) : undefined;

  let response;
  try {
    response = await fetchImpl(url, { signal });
  } catch (error) {
    throw await unreachable(url, fetchImpl, signal, error, timeoutMs);
  }
  // Read after the request, which is what may have made the browser ask the user.
  const permission = pageOrigin() === undefined ? undefined : await localNetworkPermission();

  if (response.status === 403) {
    const reason = (await response.text().catch(() => "")).trim();
    throw new HandshakeRefusedError(`The agent at ${url} refused the request: ${reason}`, {
      url,
      status: 403,
      reason,
    });
  }
  if (!response.ok) throw failure(url, `something else answers there (HTTP ${response.status})`);
  let body;
  try {
    body = await response.json();
  } catch (error) {
    throw failure(url, "something else answers there (not JSON)", error);
  }
  if (body === null || typeof body !== "object" || typeof body.name !== "string" ||
      typeof body.version !== "string" || typeof body.protocol !== "number")
    throw failure(url, "something else answers there (not the agent's status)");
  const answer = { name: body.name, version: body.version, protocol: body.protocol };
  if (permission !== undefined) answer.permission = permission;
  return answer;
}

// Why a request to the agent failed. Outside a browser a failed request is a missing agent.
// In a public page, the browser may have refused it: the permission says so, and it is read
// before the probe below, which would only make the browser ask once more.
async function unreachable(url, fetchImpl, signal, error, timeoutMs) {
  const text = signal?.aborted ? `no answer within ${timeoutMs} ms` : "nothing answers";
  const origin = pageOrigin();
  if (origin === undefined) return failure(url, text, error);
  let permission;
  if (needsPermission(origin)) {
    if (iframeWithoutAccess()) return new IframeNotAllowedError({ url, origin });
    permission = await localNetworkPermission();
    if (permission === "denied" || permission === "prompt") return new BlockedByBrowserError({ url, origin, permission });
  }
  // A browser tells a refused connection and a refused CORS check apart to nobody. An
  // opaque request gets an answer only where something listens, and the agent sends its
  // CORS headers to the origins it serves only.
  if (!signal?.aborted && (await answersOpaquely(fetchImpl, url, signal)))
    return new OriginNotAllowedError({ url, origin });
  return failure(url, text, error, permission);
}

// Local network access: a public page needs the user's permission to reach the loopback
// address. Of the permission's names, the first one the browser knows is the one asked:
// Chromium knows all three, but "local-network-access" is the one its site settings and its
// DevTools protocol change.
const PERMISSION_NAMES = ["local-network-access", "loopback-network", "local-network"];
const FEATURE = "local-network-access";

// "granted", "prompt" or "denied"; undefined outside a browser, or in one that knows none
// of the names (it does not ask before a page reaches the loopback address).
async function localNetworkPermission() {
  const permissions = globalThis.navigator?.permissions;
  if (typeof permissions?.query !== "function") return undefined;
  for (const name of PERMISSION_NAMES) {
    try {
      return (await permissions.query({ name })).state;
    } catch {
      // a name this browser does not know: try the next
    }
  }
  return undefined;
}

// Whether the browser asks the user before this page may reach the loopback address. A page
// served from this computer needs no permission, whatever the Permissions API says; neither
// is it asked for an insecure page (which reads "denied", and is either refused outright or,
// on a loopback address under another name, needs none).
function needsPermission(origin) {
  if (globalThis.isSecureContext !== true) return false;
  const host = new URL(origin).hostname;
  return !(host === "localhost" || host.endsWith(".localhost") || host === "[::1]" || /^127\./.test(host));
}

// In an iframe whose embedder did not delegate the permission, the browser denies it to the
// frame outright. Only a browser that knows the feature can say so; features() guards
// against one that answers false for every feature it does not know.
function iframeWithoutAccess() {
  const view = globalThis.window;
  if (view === undefined || view.top === view) return false;
  const policy = globalThis.document?.permissionsPolicy ?? globalThis.document?.featurePolicy;
  if (typeof policy?.allowsFeature !== "function" || typeof policy.features !== "function") return false;
  return policy.features().includes(FEATURE) && !policy.allowsFeature(FEATURE);
}

async function answersOpaquely(fetchImpl, url, signal) {
  try {
    await fetchImpl(url, { mode: "no-cors", signal });
    return true;
  } catch {
    return false;
  }
}
