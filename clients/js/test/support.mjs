// What the client's tests share: the real agent, the ws package and a few waits.

import { once } from "node:events";
import { createServer } from "node:net";

export { startAgent } from "../scripts/agent-process.mjs";

const ws = await import("ws").then((module) => module.default, () => {
  throw new Error("The tests need the ws package: run npm ci in clients/js");
});
export const WebSocket = ws;

// ws with an Origin header, as a page served from origin sends it.
export const webSocketFrom = (origin) =>
  class extends ws {
    constructor(url) {
      super(url, { origin });
    }
  };

export async function listening(server, port = 0) {
  server.listen(port, "127.0.0.1");
  await once(server, "listening");
  return server.address().port;
}

// A port on which nothing listens, for as long as nobody else takes it.
export async function freePort() {
  const server = createServer();
  const port = await listening(server);
  server.close();
  await once(server, "close");
  return port;
}

export async function waitFor(condition, what, timeoutMs = 10000) {
  const deadline = Date.now() + timeoutMs;
  while (!condition()) {
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

