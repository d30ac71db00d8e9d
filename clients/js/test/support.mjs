// What the client's tests share: the real agent, the ws package, a page's view of fetch and
// WebSocket, and a stand-in for the server pages an upload talks to.

import { execFile } from "node:child_process";
import { once } from "node:events";
import { createServer } from "node:http";
import { createServer as createTcpServer } from "node:net";
import { promisify } from "node:util";

export { agentBinary, startAgent } from "../scripts/agent-process.mjs";
import { agentBinary } from "../scripts/agent-process.mjs";

let ws;
try {
  ws = (await import("ws")).default;
} catch {
  throw new Error("The tests need the ws package: run npm ci in clients/js");
}
export const WebSocket = ws;

// The version the binary under test reports on its command line.
export async function agentVersion() {
  const { stdout } = await promisify(execFile)(agentBinary(), ["--version"], {
    env: { ...process.env, QT_QPA_PLATFORM: "offscreen" },
  });
  return stdout.trim().replace(/^tarnaxe /, "");
}

// A port on which nothing listens, for as long as nobody else takes it.
export async function freePort() {
  const server = createTcpServer();
  server.listen(0, "127.0.0.1");
  await once(server, "listening");
  const { port } = server.address();
  server.close();
  await once(server, "close");
  return port;
}

// fetch as a page served from origin sees it: the Origin header goes out, an answer without
// the matching Access-Control-Allow-Origin is a network error, and a no-cors request gives
// an opaque answer that says only that something answered.
export function browserFetch(origin) {
  return async (url, init = {}) => {
    const response = await fetch(url, { signal: init.signal, headers: { Origin: origin } });
    if (init.mode === "no-cors") return { type: "opaque", status: 0, ok: false };
    const allowed = response.headers.get("access-control-allow-origin");
    if (allowed !== origin && allowed !== "*") throw new TypeError("Failed to fetch");
    return response;
  };
}

// A WebSocket as a page served from origin has it: the Origin header goes out, and a
// refused handshake shows as an error event with nothing in it.
export function browserWebSocket(origin) {
  return class BrowserLikeWebSocket {
    #socket;
    constructor(url) {
      this.#socket = new ws(url, { origin });
    }
    get readyState() {
      return this.#socket.readyState;
    }
    send(data) {
      this.#socket.send(data);
    }
    close(code, reason) {
      this.#socket.close(code, reason);
    }
    addEventListener(type, listener) {
      if (type === "error") this.#socket.addEventListener("error", () => listener({ type: "error" }));
      else this.#socket.addEventListener(type, listener);
    }
  };
}

// ws with an Origin header, as Node code that pretends to be a page would send it.
export function webSocketFrom(origin) {
  return class extends ws {
    constructor(url) {
      super(url, { origin });
    }
  };
}

// Resolves with the arguments of the next `event` of the client; rejects after timeoutMs.
export function nextEvent(io, event, timeoutMs = 10000) {
  return new Promise((resolve, reject) => {
    const timer = setTimeout(() => {
      io.off(event, handler);
      reject(new Error(`no ${event} within ${timeoutMs} ms`));
    }, timeoutMs);
    function handler(...args) {
      clearTimeout(timer);
      io.off(event, handler);
      resolve(args);
    }
    io.on(event, handler);
  });
}

export async function waitFor(condition, timeoutMs, what) {
  const deadline = Date.now() + timeoutMs;
  while (!condition()) {
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

// The three pages an upload of empty lists posts to, answering success, and a record of
// what was posted.
const PAGES = {
  "/dataup/ReadAssignment.asp":
    "Status:SUCCESS\tClaimNumber:CLM-1\tPolicyNumber:POL-1\tCompanyName:Test Mutual\t",
  "/dataup/BeginAttachmentTransaction.asp": "Status:SUCCESS\tTransactionGUID:{6F9619FF-8B86-D011-B42D-00C04FC964FF}\t",
  "/dataup/CommitAttachmentTransaction.asp": "Status:SUCCESS\t",
};

export async function startUploadPages() {
  const requests = [];
  const server = createServer((request, response) => {
    let body = "";
    request.setEncoding("latin1");
    request.on("data", (chunk) => {
      body += chunk;
    });
    request.on("end", () => {
      const path = new URL(request.url, "http://127.0.0.1").pathname;
      requests.push({ method: request.method, path, body });
      const page = PAGES[path];
      if (page === undefined) response.writeHead(404).end();
      else response.writeHead(200, { "Content-Type": "text/plain" }).end(page);
    });
  });
  server.listen(0, "127.0.0.1");
  await once(server, "listening");
  return {
    hostPort: `127.0.0.1:${server.address().port}`,
    requests,
    close: () => new Promise((resolve) => server.close(resolve)),
  };
}
