// Opening the bridge's WebSocket, and saying why it did not open: no agent, the browser's
// refusal, an origin the agent does not serve, or another refusal.

import {
  AgentNotRunningError,
  BridgeError,
  HandshakeRefusedError,
  OriginNotAllowedError,
} from "./errors.js";
import { status } from "./status.js";

// A WebSocket that failed tells nothing in browsers (a refused connection and the browser's
// own refusal both close with 1006); /status is asked why, within this.
const PROBE_TIMEOUT_MS = 5000;

// Resolves with the socket once it is open; rejects with the reason it did not open.
export function openSocket(WebSocketImpl, url, fetchImpl) {
  return new Promise((resolve, reject) => {
    let socket;
    try {
      socket = new WebSocketImpl(url);
    } catch (error) {
      reject(error);
      return;
    }
    let opened = false;
    let refusal = null;
    let lastError = null;
    if (typeof socket.on === "function") {
      // The ws package shows the answer to a refused handshake; browsers do not.
      socket.on("unexpected-response", (request, response) => {
        let body = "";
        response.setEncoding("utf8");
        response.on("data", (chunk) => {
          body += chunk;
        });
        response.on("end", () => {
          refusal = { status: response.statusCode, reason: body.trim() };
          socket.terminate();
        });
        response.on("error", () => socket.terminate());
      });
    }
    socket.addEventListener("open", () => {
      opened = true;
      resolve(socket);
    });
    socket.addEventListener("error", (event) => {
      lastError = event?.error ?? null;
    });
    socket.addEventListener("close", () => {
      if (!opened) explainFailure(url, fetchImpl, refusal, lastError).then(reject, reject);
    });
  });
}

async function explainFailure(url, fetchImpl = globalThis.fetch, refusal, error) {
  if (refusal) {
    const origin = /^Origin (.*) is not allowed$/.exec(refusal.reason);
    if (refusal.status === 403 && origin) return new OriginNotAllowedError({ url, origin: origin[1], ...refusal });
    return new HandshakeRefusedError(
      `The agent at ${url} refused the connection (HTTP ${refusal.status}): ${refusal.reason}`,
      { url, ...refusal },
    );
  }
  if (error?.code === "ECONNREFUSED")
    return new AgentNotRunningError(`The agent is not running at ${url}: nothing answers`, { url, cause: error });
  if (typeof fetchImpl !== "function")
    return new AgentNotRunningError(`Could not connect to the agent at ${url}`, { url, cause: error ?? undefined });
  try {
    await status({ url, fetch: fetchImpl, timeoutMs: PROBE_TIMEOUT_MS });
  } catch (statusError) {
    if (statusError instanceof BridgeError) return statusError;
    return new AgentNotRunningError(`Could not connect to the agent at ${url}`, { url, cause: statusError });
  }
  return new HandshakeRefusedError(
    `The agent at ${url} answers /status but refused the WebSocket connection` +
      " (is the page's origin in AllowedOrigins of the agent's settings?)",
    { url },
  );
}
