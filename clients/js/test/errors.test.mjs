// Detecting the agent with status(), from Node and as a page of some origin sees it, and
// what a page is told when something goes wrong: automation errors of the members, calls
// the agent cannot read, and connections that cannot be made.

import assert from "node:assert/strict";
import { once } from "node:events";
import { createServer, get } from "node:http";
import { createServer as createTcpServer } from "node:net";
import { after, before, describe, it } from "node:test";
import {
  AgentNotRunningError,
  BridgeError,
  connect,
  HandshakeRefusedError,
  IOError,
  OriginNotAllowedError,
  PROTOCOL_VERSION,
  status,
} from "../src/index.js";
import { agentVersion, browserFetch, browserWebSocket, freePort, startAgent, WebSocket, webSocketFrom } from "./support.mjs";

const EVIL = "https://evil.example";

async function listening(server) {
  server.listen(0, "127.0.0.1");
  await once(server, "listening");
  return server.address().port;
}

describe("status() and errors", { timeout: 60000 }, () => {
  let agent;
  let io;
  before(async () => {
    agent = await startAgent({ settings: "[HostBridge]\nPort=0\nAllowedOrigins=https://claims.example.com\n" });
    io = await connect({ port: agent.port, WebSocket });
  });
  after(async () => {
    await io?.close();
    await agent?.stop();
  });

  it("an automation error of a member is an IOError", async () => {
    await assert.rejects(io.TheNameOf("Files", "abc"), (error) => {
      assert.ok(error instanceof IOError && error instanceof BridgeError, String(error));
      assert.deepEqual([error.number, error.description, error.member], [13, "Type mismatch", "TheNameOf"]);
      assert.equal(error.message, "TheNameOf: Type mismatch (13)");
      return true;
    });
    await assert.rejects(io.call("Init", [], "get"), { number: 438, member: "Init" });
    await assert.rejects(io.setScaleFactor(), { number: 450, member: "ScaleFactor" });
    // Arguments by reference may be left out at the end, not added.
    await assert.rejects(io.GetBasicEstimateInfo(1, 2, 3, 4, 5, 6, 7, 8, 9), { number: 450 });
  });

  it("a call too large to read fails alone, and the connection goes on", async () => {
    // Over the agent's 1 MiB frame limit: it answers without the call's id, in turn.
    const large = io.TheCountOf("x".repeat(1.5 * 1024 * 1024));
    const next = io.Version();
    await assert.rejects(large, { number: -1, member: "TheCountOf", description: /^Frame too large/ });
    assert.equal(await next, await agentVersion());
  });

  it("no agent: AgentNotRunningError", async () => {
    const port = await freePort();
    await assert.rejects(connect({ port, WebSocket }), (error) => {
      assert.ok(error instanceof AgentNotRunningError, String(error));
      assert.equal(error.url, `ws://127.0.0.1:${port}/`);
      return true;
    });
  });

  it("an origin that is not allowed, seen by ws: the agent's reason", async () => {
    await assert.rejects(connect({ port: agent.port, WebSocket: webSocketFrom(EVIL) }), (error) => {
      assert.ok(error instanceof OriginNotAllowedError && error instanceof HandshakeRefusedError, String(error));
      assert.deepEqual([error.status, error.origin], [403, EVIL]);
      assert.equal(error.reason, `Origin ${EVIL} is not allowed`);
      assert.match(error.message, /origin is not allowed/);
      return true;
    });
  });

  it("no WebSocket to use: a TypeError that says what to pass", async () => {
    await assert.rejects(connect({ port: agent.port, WebSocket: 42 }), /pass \{WebSocket\}/);
  });

  it("answers the running agent's name, version and protocol", async () => {
    const answer = await status({ port: agent.port });
    assert.deepEqual(answer, { name: "TarnAxe", version: await agentVersion(), protocol: PROTOCOL_VERSION });
    assert.deepEqual(await status({ url: agent.url }), answer);
    assert.deepEqual(await status({ url: `http://127.0.0.1:${agent.port}/` }), answer);
  });

  it("rejects with AgentNotRunningError where nothing, another program or nobody answers", async () => {
    const port = await freePort();
    await assert.rejects(status({ port }), { name: "AgentNotRunningError", url: `http://127.0.0.1:${port}/status` });
    const other = createServer((request, response) => response.writeHead(404).end("Not here"));
    const silent = createTcpServer(() => {});
    try {
      await assert.rejects(status({ port: await listening(other) }), { name: "AgentNotRunningError", message: /HTTP 404/ });
      const quiet = await listening(silent);
      await assert.rejects(status({ port: quiet, timeoutMs: 300 }), { name: "AgentNotRunningError", message: /no answer within 300 ms/ });
    } finally {
      other.close();
      silent.close();
    }
  });

  it("a page of an allowed origin detects and connects; other pages are told why not", async () => {
    for (const [origin, port, refusal] of [
      ["http://localhost:5173", agent.port],
      ["https://claims.example.com", agent.port],
      [EVIL, agent.port, OriginNotAllowedError],
      [EVIL, await freePort(), AgentNotRunningError],
    ]) {
      globalThis.location = { origin };
      try {
        const options = { port, WebSocket: browserWebSocket(origin), fetch: browserFetch(origin) };
        if (refusal) {
          await assert.rejects(status(options), refusal);
          await assert.rejects(connect(options), refusal);
        } else {
          assert.equal((await status(options)).name, "TarnAxe");
          await (await connect(options)).close();
        }
      } finally {
        delete globalThis.location;
      }
    }
  });

  it("reports a refused Host as a refusal", async () => {
    // A name that resolves to the loopback interface but is not a loopback name: what a
    // page on a rebound DNS name would send.
    const fetchAs = (host) => (url) =>
      new Promise((resolve, reject) => {
        get(url, { headers: { Host: host } }, (response) => {
          let body = "";
          response.on("data", (chunk) => (body += chunk));
          response.on("end", () => resolve(new Response(body, { status: response.statusCode })));
        }).on("error", reject);
      });
    await assert.rejects(status({ port: agent.port, fetch: fetchAs("rebound.example:80") }), (error) => {
      assert.ok(error instanceof HandshakeRefusedError);
      assert.deepEqual([error.status, error.reason], [403, "Host rebound.example:80 is not a loopback name"]);
      return true;
    });
  });

  it("refuses options that name no port", async () => {
    for (const options of [{ port: 0 }, { port: 70000 }, { url: "ftp://127.0.0.1:21" }])
      await assert.rejects(status(options), TypeError);
  });
});
