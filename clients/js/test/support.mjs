// What the client's tests share: the real agent, the ws package, and a stand-in for the
// server pages an upload talks to.

import { once } from "node:events";
import { createServer } from "node:http";
import { createServer as createTcpServer } from "node:net";

export { startAgent } from "../scripts/agent-process.mjs";

let ws;
try {
  ws = (await import("ws")).default;
} catch {
  throw new Error("The tests need the ws package: run npm ci in clients/js");
}
export const WebSocket = ws;

// ws with an Origin header, as a page served from origin sends it.
export const webSocketFrom = (origin) =>
  class extends ws {
    constructor(url) {
      super(url, { origin });
    }
  };

export async function listening(server) {
  server.listen(0, "127.0.0.1");
  await once(server, "listening");
  return server.address().port;
}

// A port on which nothing listens, for as long as nobody else takes it.
export async function freePort() {
  const server = createTcpServer();
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

// The three pages an upload of empty lists posts to, answering success, and what was posted.
const PAGES = {
  "/dataup/ReadAssignment.asp": "Status:SUCCESS\tClaimNumber:CLM-1\tPolicyNumber:POL-1\tCompanyName:Test Mutual\t",
  "/dataup/BeginAttachmentTransaction.asp": "Status:SUCCESS\tTransactionGUID:{6F9619FF-8B86-D011-B42D-00C04FC964FF}\t",
  "/dataup/CommitAttachmentTransaction.asp": "Status:SUCCESS\t",
};

export async function startUploadPages() {
  const requests = [];
  const server = createServer((request, response) => {
    let body = "";
    request.setEncoding("latin1").on("data", (chunk) => (body += chunk));
    request.on("end", () => {
      const page = PAGES[new URL(request.url, "http://127.0.0.1").pathname];
      requests.push(body);
      if (page === undefined) response.writeHead(404).end();
      else response.writeHead(200, { "Content-Type": "text/plain" }).end(page);
    });
  });
  const port = await listening(server);
  return { hostPort: `127.0.0.1:${port}`, requests, close: () => new Promise((resolve) => server.close(resolve)) };
}
