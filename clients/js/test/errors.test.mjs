// What a page is told when something goes wrong: automation errors of the members, calls
// the agent cannot read, and connections that cannot be made.

import assert from "node:assert/strict";
import { after, before, describe, it } from "node:test";
import {
  AgentNotRunningError,
  BridgeError,
  connect,
  HandshakeRefusedError,
  IOError,
  OriginNotAllowedError,
} from "../src/index.js";
import {
  agentVersion,
  browserFetch,
  browserWebSocket,
  freePort,
  startAgent,
  WebSocket,
  webSocketFrom,
} from "./support.mjs";

function ioError(number, description, member) {
  return (error) => {
    assert.ok(error instanceof IOError, String(error));
    assert.ok(error instanceof BridgeError);
    assert.equal(error.number, number);
    assert.equal(error.description, description);
    assert.equal(error.member, member);
    assert.equal(error.message, `${member}: ${description} (${number})`);
    return true;
  };
}

describe("automation errors", { timeout: 60000 }, () => {
  let agent;
  let io;
  before(async () => {
    agent = await startAgent();
    io = await connect({ port: agent.port, WebSocket });
  });
  after(async () => {
    await io?.close();
    await agent?.stop();
  });

  it("13: type mismatch", async () => {
    await assert.rejects(io.TheNameOf("Files", "abc"), ioError(13, "Type mismatch", "TheNameOf"));
  });

  it("6: overflow", async () => {
    await assert.rejects(io.TheNameOf("Files", 40000), ioError(6, "Overflow", "TheNameOf"));
  });

  it("438: no such member, or not of that kind", async () => {
    const description = "Object doesn't support this property or method";
    await assert.rejects(io.call("NoSuchMember"), ioError(438, description, "NoSuchMember"));
    await assert.rejects(io.call("Init", [], "get"), ioError(438, description, "Init"));
  });

  it("450: wrong number of arguments", async () => {
    const description = "Wrong number of arguments or invalid property assignment";
    await assert.rejects(io.TheCountOf(), ioError(450, description, "TheCountOf"));
    await assert.rejects(io.setScaleFactor(), ioError(450, description, "ScaleFactor"));
    await assert.rejects(io.Version("extra"), ioError(450, description, "Version"));
    // Arguments by reference may be left out at the end, not added.
    await assert.rejects(
      io.GetBasicEstimateInfo(1, 2, 3, 4, 5, 6, 7, 8, 9),
      ioError(450, description, "GetBasicEstimateInfo"),
    );
  });

  it("-1: a call too large to read fails alone, and the connection goes on", async () => {
    // Over the agent's 1 MiB frame limit: it answers without the call's id, in turn.
    const large = io.TheCountOf("x".repeat(1.5 * 1024 * 1024));
    const next = io.Version();
    await assert.rejects(large, (error) => {
      assert.ok(error instanceof IOError);
      assert.equal(error.number, -1);
      assert.match(error.description, /^Frame too large/);
      assert.equal(error.member, "TheCountOf");
      return true;
    });
    assert.equal(await next, await agentVersion());
    assert.equal(io.connected, true);
  });
});

describe("connections that cannot be made", { timeout: 60000 }, () => {
  let agent;
  before(async () => {
    agent = await startAgent({ settings: "[HostBridge]\nPort=0\nAllowedOrigins=https://claims.example.com\n" });
  });
  after(() => agent?.stop());

  it("no agent: AgentNotRunningError", async () => {
    const port = await freePort();
    await assert.rejects(connect({ port, WebSocket }), (error) => {
      assert.ok(error instanceof AgentNotRunningError, String(error));
      assert.equal(error.url, `ws://127.0.0.1:${port}/`);
      return true;
    });
  });

  it("an origin that is not allowed, seen by ws: the agent's reason", async () => {
    await assert.rejects(connect({ port: agent.port, WebSocket: webSocketFrom("https://evil.example") }), (error) => {
      assert.ok(error instanceof OriginNotAllowedError, String(error));
      assert.ok(error instanceof HandshakeRefusedError);
      assert.equal(error.status, 403);
      assert.equal(error.reason, "Origin https://evil.example is not allowed");
      assert.equal(error.origin, "https://evil.example");
      assert.match(error.message, /origin is not allowed/);
      return true;
    });
  });

  it("an origin that is not allowed, seen by a page: found out through /status", async () => {
    const origin = "https://evil.example";
    globalThis.location = { origin };
    try {
      const options = { port: agent.port, WebSocket: browserWebSocket(origin), fetch: browserFetch(origin) };
      await assert.rejects(connect(options), (error) => {
        assert.ok(error instanceof OriginNotAllowedError, String(error));
        assert.equal(error.origin, origin);
        assert.equal(error.status, undefined);
        assert.match(error.message, /origin is not allowed/);
        return true;
      });
      // The same page with no agent at all is told that instead.
      const port = await freePort();
      await assert.rejects(connect({ ...options, port }), AgentNotRunningError);
    } finally {
      delete globalThis.location;
    }
  });

  it("an allowed page connects", async () => {
    const origin = "https://claims.example.com";
    globalThis.location = { origin };
    try {
      const io = await connect({ port: agent.port, WebSocket: browserWebSocket(origin), fetch: browserFetch(origin) });
      assert.equal(await io.Version(), await agentVersion());
      await io.close();
    } finally {
      delete globalThis.location;
    }
  });

  it("no WebSocket to use: a TypeError that says what to pass", async () => {
    await assert.rejects(connect({ port: agent.port, WebSocket: 42 }), /pass \{WebSocket\}/);
  });
});
