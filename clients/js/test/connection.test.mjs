// A connection that drops: pending calls fail at once, the page is told, and with reconnect
// on the client comes back to an agent started again on the same port.

import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { AgentNotRunningError, connect, DisconnectedError } from "../src/index.js";
import { freePort, nextEvent, startAgent, waitFor, WebSocket } from "./support.mjs";

describe("a dropped connection", { timeout: 60000 }, () => {
  it("rejects every pending call at once and raises disconnected; close() raises nothing", async () => {
    const agent = await startAgent();
    const io = await connect({ port: agent.port, WebSocket });
    const closed = await connect({ port: agent.port, WebSocket });
    try {
      const drops = [];
      io.on("disconnected", (info) => drops.push(info));
      closed.on("disconnected", (info) => drops.push(info));
      // SelectFile waits for its dialog, which nobody answers; the others wait behind it.
      const calls = [io.SelectFile(), io.Version(), io.TheCountOf("Photos")].map((call) =>
        call.then(() => assert.fail("answered"), (error) => error),
      );
      const pending = closed.SelectFile().catch((error) => error);
      await closed.close();
      const error = await pending;
      assert.ok(error instanceof DisconnectedError);
      assert.match(error.message, /closed by close\(\)/);
      assert.equal(closed.connected, false);

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
    const port = first.port;
    let second;
    let io;
    try {
      io = await connect({ port, WebSocket, reconnect: { initialDelayMs: 50, maxDelayMs: 200 } });
      let published = 0;
      io.on("PublishInfo", () => (published += 1));
      const attempts = [];
      io.on("reconnecting", (info) => attempts.push([info.attempt, info.delayMs]));
      await io.Init();
      await waitFor(() => published > 0, 5000, "PublishInfo");

      const dropped = nextEvent(io, "disconnected");
      await first.kill();
      assert.deepEqual(await dropped, [{ code: 1006, reason: "", reconnecting: true }]);
      await assert.rejects(io.Version(), /reconnecting/);
      await waitFor(() => attempts.length >= 4, 5000, "four attempts");

      const reconnected = nextEvent(io, "reconnected");
      second = await startAgent({ port });
      await reconnected;
      assert.deepEqual(attempts.slice(0, 4), [[1, 50], [2, 100], [3, 200], [4, 200]]);
      assert.equal(await io.ProcessID(), second.pid);
      // The new IO object was initialised again, so PublishInfo goes on.
      const before = published;
      await waitFor(() => published > before, 5000, "PublishInfo after the reconnect");
    } finally {
      await io?.close();
      await first.stop();
      await second?.stop();
    }
  });

  it("gives up after maxAttempts, and stops when the page closes the client", async () => {
    const agent = await startAgent();
    const io = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxAttempts: 2 } });
    const closing = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxDelayMs: 20 } });
    let again;
    try {
      const failed = nextEvent(io, "reconnectFailed");
      let attempts = 0;
      let reconnected = false;
      closing.on("reconnecting", () => (attempts += 1));
      closing.on("reconnected", () => (reconnected = true));
      await agent.kill();
      const [error] = await failed;
      assert.ok(error instanceof AgentNotRunningError, String(error));
      await assert.rejects(io.Version(), /closed/);

      await waitFor(() => attempts >= 2, 5000, "attempts");
      await closing.close();
      again = await startAgent({ port: agent.port });
      await new Promise((resolve) => setTimeout(resolve, 200));
      assert.equal(reconnected, false);
      assert.equal(closing.connected, false);
    } finally {
      await io.close();
      await closing.close();
      await agent.stop();
      await again?.stop();
    }
  });

  it("the first connection is not retried: connect() fails as it is", async () => {
    await assert.rejects(connect({ port: await freePort(), WebSocket, reconnect: true }), AgentNotRunningError);
  });
});
