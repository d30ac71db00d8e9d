// status(): detecting the agent, from Node and as a page of some origin sees it.

import assert from "node:assert/strict";
import { once } from "node:events";
import { createServer, get } from "node:http";
import { createServer as createTcpServer } from "node:net";
import { after, before, describe, it } from "node:test";
import {
  AgentNotRunningError,
  BridgeError,
  HandshakeRefusedError,
  OriginNotAllowedError,
  PROTOCOL_VERSION,
  status,
} from "../src/index.js";
import { agentVersion, browserFetch, freePort, startAgent } from "./support.mjs";

describe("status()", { timeout: 60000 }, () => {
  let agent;
  before(async () => {
    agent = await startAgent({
      settings: "[HostBridge]\nPort=0\nAllowedOrigins=https://claims.example.com\n",
    });
  });
  after(() => agent?.stop());

  it("answers the running agent's name, version and protocol", async () => {
    const answer = await status({ port: agent.port });
    assert.deepEqual(answer, { name: "TarnAxe", version: await agentVersion(), protocol: PROTOCOL_VERSION });
    assert.deepEqual(await status({ url: agent.url }), answer);
    assert.deepEqual(await status({ url: `http://127.0.0.1:${agent.port}/` }), answer);
  });

  it("rejects with AgentNotRunningError where nothing listens", async () => {
    const port = await freePort();
    const error = await status({ port }).then(
      () => assert.fail("resolved"),
      (e) => e,
    );
    assert.ok(error instanceof AgentNotRunningError);
    assert.ok(error instanceof BridgeError);
    assert.equal(error.url, `http://127.0.0.1:${port}/status`);
    assert.match(error.message, /not running/);
  });

  it("rejects with AgentNotRunningError where another program answers", async () => {
    const server = createServer((request, response) => response.writeHead(404).end("Not here"));
    server.listen(0, "127.0.0.1");
    await once(server, "listening");
    try {
      await assert.rejects(status({ port: server.address().port }), (error) => {
        assert.ok(error instanceof AgentNotRunningError);
        assert.match(error.message, /HTTP 404/);
        return true;
      });
    } finally {
      server.close();
    }
  });

  it("gives up after timeoutMs on a port that never answers", async () => {
    const silent = createTcpServer(() => {});
    silent.listen(0, "127.0.0.1");
    await once(silent, "listening");
    try {
      const started = Date.now();
      await assert.rejects(status({ port: silent.address().port, timeoutMs: 300 }), (error) => {
        assert.ok(error instanceof AgentNotRunningError);
        assert.match(error.message, /no answer within 300 ms/);
        return true;
      });
      assert.ok(Date.now() - started < 5000);
    } finally {
      silent.close();
    }
  });

  it("answers a page from a loopback origin or a configured one", async () => {
    for (const origin of ["http://localhost:5173", "http://127.0.0.1:8080", "https://claims.example.com"]) {
      globalThis.location = { origin };
      try {
        const answer = await status({ port: agent.port, fetch: browserFetch(origin) });
        assert.equal(answer.name, "TarnAxe", origin);
      } finally {
        delete globalThis.location;
      }
    }
  });

  it("tells a page whose origin is not allowed so, not that the agent is missing", async () => {
    const origin = "https://evil.example";
    globalThis.location = { origin };
    try {
      const error = await status({ port: agent.port, fetch: browserFetch(origin) }).then(
        () => assert.fail("resolved"),
        (e) => e,
      );
      assert.ok(error instanceof OriginNotAllowedError, String(error));
      assert.ok(error instanceof HandshakeRefusedError);
      assert.equal(error.origin, origin);
      assert.match(error.message, /https:\/\/evil\.example/);
      assert.match(error.message, /origin is not allowed/);

      // The same page with no agent at all is told that instead.
      const port = await freePort();
      await assert.rejects(status({ port, fetch: browserFetch(origin) }), AgentNotRunningError);
    } finally {
      delete globalThis.location;
    }
  });

  it("reports a refused Host as a refusal", async () => {
    // A name that resolves to the loopback interface but is not a loopback name: what a
    // page on a rebound DNS name would send.
    const fetchAs = (host) => (url) =>
      new Promise((resolve, reject) => {
        get(url, { headers: { Host: host } }, (response) => {
          let body = "";
          response.setEncoding("utf8");
          response.on("data", (chunk) => {
            body += chunk;
          });
          response.on("end", () => resolve(new Response(body, { status: response.statusCode })));
        }).on("error", reject);
      });
    await assert.rejects(status({ port: agent.port, fetch: fetchAs("rebound.example:80") }), (error) => {
      assert.ok(error instanceof HandshakeRefusedError);
      assert.equal(error.status, 403);
      assert.equal(error.reason, "Host rebound.example:80 is not a loopback name");
      return true;
    });
  });

  it("refuses options that name no port", async () => {
    await assert.rejects(status({ port: 0 }), TypeError);
    await assert.rejects(status({ port: 70000 }), TypeError);
    await assert.rejects(status({ url: "ftp://127.0.0.1:21" }), TypeError);
  });
});
