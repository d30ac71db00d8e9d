// Detecting the agent with status(), and what a page is told when something goes wrong:
// automation errors of the members, and connections that cannot be made.

import assert from "node:assert/strict";
import { createServer } from "node:http";
import { after, before, describe, it } from "node:test";
import { AgentNotRunningError, BridgeError, connect, IOError, OriginNotAllowedError, PROTOCOL_VERSION, status } from "../src/index.js";
import { freePort, listening, startAgent, WebSocket, webSocketFrom } from "./support.mjs";

const EVIL = "https://evil.example";

describe("status() and errors", { timeout: 60000 }, () => {
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

  it("an automation error of a member is an IOError with its number", async () => {
    await assert.rejects(io.TheNameOf("Files", "abc"), (error) => {
      assert.ok(error instanceof IOError && error instanceof BridgeError, String(error));
      assert.deepEqual([error.number, error.description, error.member], [13, "Type mismatch", "TheNameOf"]);
      assert.equal(error.message, "TheNameOf: Type mismatch (13)");
      return true;
    });
    // Arguments by reference may be left out at the end, not added.
    await assert.rejects(io.GetBasicEstimateInfo(1, 2, 3, 4, 5, 6, 7, 8, 9), { number: 450, member: "GetBasicEstimateInfo" });
  });

  it("status() answers the running agent's name, version and protocol", async () => {
    const answer = { name: "TarnAxe", version: await io.Version(), protocol: PROTOCOL_VERSION };
    assert.deepEqual(await status({ port: agent.port }), answer);
    assert.deepEqual(await status({ url: agent.url }), answer);
    await assert.rejects(status({ port: 70000 }), TypeError);
  });

  it("no agent, another program, or a refused origin: the page is told which", async () => {
    const port = await freePort();
    await assert.rejects(status({ port }), { name: "AgentNotRunningError", url: `http://127.0.0.1:${port}/status` });
    await assert.rejects(connect({ port, WebSocket }), { name: "AgentNotRunningError", url: `ws://127.0.0.1:${port}/` });
    const other = createServer((request, response) => response.writeHead(404).end("Not here"));
    try {
      await assert.rejects(status({ port: await listening(other) }), { name: "AgentNotRunningError", message: /HTTP 404/ });
    } finally {
      other.close();
    }
    await assert.rejects(connect({ port: agent.port, WebSocket: webSocketFrom(EVIL) }), (error) => {
      assert.ok(error instanceof OriginNotAllowedError, String(error));
      assert.deepEqual([error.status, error.origin, error.reason], [403, EVIL, `Origin ${EVIL} is not allowed`]);
      return true;
    });
  });
});
