// A connection that drops: pending calls fail at once, the page is told, and with reconnect
// on the client comes back to an agent started again on the same port.

import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { AgentNotRunningError, connect, DisconnectedError } from "../src/index.js";
import { freePort, startAgent, waitFor, WebSocket } from "./support.mjs";

const next = (io, event) => new Promise((resolve) => io.on(event, (...args) => resolve(args)));

describe("a dropped connection", { timeout: 60000 }, () => {
  it("rejects every pending call at once and raises disconnected; close() raises nothing", async () => {
    const agent = await startAgent();
    const io = await connect({ port: agent.port, WebSocket });
    const closed = await connect({ port: agent.port, WebSocket });
    try {
      const drops = [];
      io.on("disconnected", (info) => drops.push(info));
      closed.on("disconnected", (info) => drops.push(info));
      // SelectFile waits for its dialog, which nobody answers; Version waits behind it.
      const calls = [io.SelectFile(), io.Version()].map((call) => call.then(() => assert.fail("answered"), (error) => error));
      const pending = closed.SelectFile().catch((error) => error);
      await closed.close();
      assert.match((await pending).message, /closed by close\(\)/);
      await agent.kill();
      for (const failure of await Promise.all(calls)) {
        assert.ok(failure instanceof DisconnectedError, String(failure));
        assert.equal(failure.code, 1006);
      }
      assert.deepEqual(drops, [{ code: 1006, reason: "", reconnecting: false }]);
      assert.equal(io.connected, false);
      await assert.rejects(io.Version(), DisconnectedError);
    } finally {
      await io.close();
      await agent.stop();
    }
  });
});

describe("reconnect", { timeout: 60000 }, () => {
  it("backs off, reconnects to the agent started again, and calls Init again", async () => {
    const first = await startAgent();
    let second;
    const io = await connect({ port: first.port, WebSocket, reconnect: { initialDelayMs: 50, maxDelayMs: 200 } });
    try {
      let published = 0;
      io.on("PublishInfo", () => (published += 1));
      const attempts = [];
      io.on("reconnecting", (info) => attempts.push([info.attempt, info.delayMs]));
      await io.Init();
      await waitFor(() => published > 0, "PublishInfo");
      const dropped = next(io, "disconnected");
      await first.kill();
      assert.deepEqual(await dropped, [{ code: 1006, reason: "", reconnecting: true }]);
      await assert.rejects(io.Version(), /reconnecting/);
      await waitFor(() => attempts.length >= 4, "four attempts");
      const reconnected = next(io, "reconnected");
      second = await startAgent({ port: first.port });
      await reconnected;
      assert.deepEqual(attempts.slice(0, 4), [[1, 50], [2, 100], [3, 200], [4, 200]]);
      assert.equal(await io.ProcessID(), second.pid);
      // The new IO object was initialised again, so PublishInfo goes on.
      const before = published;
      await waitFor(() => published > before, "PublishInfo after the reconnect");
    } finally {
      await io.close();
      await first.stop();
      await second?.stop();
    }
  });

  it("gives up after maxAttempts, stops when the page closes the client, never retries the first connect", async () => {
    const agent = await startAgent();
    const io = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxAttempts: 2 } });
    const closing = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxDelayMs: 20 } });
    let again;
    try {
      const failed = next(io, "reconnectFailed");
      let attempts = 0;
      closing.on("reconnecting", () => (attempts += 1));
      await agent.kill();
      const [error] = await failed;
      assert.ok(error instanceof AgentNotRunningError, String(error));
      await assert.rejects(io.Version(), /closed/);
      await waitFor(() => attempts >= 2, "attempts");
      await closing.close();
      again = await startAgent({ port: agent.port });
      const reconnected = next(closing, "reconnected");
      assert.equal(await Promise.race([reconnected, new Promise((resolve) => setTimeout(resolve, 200, "none"))]), "none");
      assert.equal(closing.connected, false);
    } finally {
      await io.close();
      await closing.close();
      await agent.stop();
      await again?.stop();
    }
    await assert.rejects(connect({ port: await freePort(), WebSocket, reconnect: true }), AgentNotRunningError);
  });
});
