// Detecting the agent: GET /status on the bridge's port answers its name, version and
// protocol version, with CORS headers for the origins it serves.

import { iframeWithoutAccess, localNetworkPermission, needsPermission } from "./access.js";
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

async function answersOpaquely(fetchImpl, url, signal) {
  try {
    await fetchImpl(url, { mode: "no-cors", signal });
    return true;
  } catch {
    return false;
  }
}
