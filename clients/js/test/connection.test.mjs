// A connection that drops: pending calls fail at once, the page is told, and with reconnect
// on the client comes back to an agent started again on the same port.

import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { AgentNotRunningError, connect, DisconnectedError } from "../src/index.js";
import { freePort, nextEvent, startAgent, waitFor, WebSocket } from "./support.mjs";

function settledState(promise) {
  const state = { settled: false, error: undefined };
  promise.then(
    () => {
      state.settled = true;
    },
    (error) => {
      state.settled = true;
      state.error = error;
    },
  );
  return state;
}

describe("a dropped connection", { timeout: 60000 }, () => {
  it("rejects every pending call at once and raises disconnected", async () => {
    const agent = await startAgent();
    let io;
    try {
      io = await connect({ port: agent.port, WebSocket });
      const drops = [];
      io.on("disconnected", (info) => drops.push(info));
      // SelectFile waits for its dialog, which nobody answers; the others wait behind it.
      const calls = [io.SelectFile(), io.Version(), io.TheCountOf("Photos")].map(settledState);
      await new Promise((resolve) => setTimeout(resolve, 300));
      assert.ok(calls.every((call) => !call.settled), "the calls are pending");

      await agent.kill();
      await waitFor(() => drops.length > 0, 5000, "disconnected");
      assert.ok(calls.every((call) => call.settled));
      for (const call of calls) {
        assert.ok(call.error instanceof DisconnectedError, String(call.error));
        assert.equal(call.error.code, 1006);
      }
      assert.deepEqual(drops, [{ code: 1006, reason: "", reconnecting: false }]);
      assert.equal(io.connected, false);
      await assert.rejects(io.Version(), DisconnectedError);
    } finally {
      await io?.close();
      await agent.stop();
    }
  });

  it("close() rejects pending calls and raises no event", async () => {
    const agent = await startAgent();
    try {
      const io = await connect({ port: agent.port, WebSocket });
      let drops = 0;
      io.on("disconnected", () => (drops += 1));
      const pending = assert.rejects(io.SelectFile(), (error) => {
        assert.ok(error instanceof DisconnectedError);
        assert.match(error.message, /closed by close\(\)/);
        return true;
      });
      await io.close();
      await pending;
      await assert.rejects(io.Version(), /closed/);
      assert.equal(io.connected, false);
      assert.equal(drops, 0);
      // The agent itself goes on serving.
      const again = await connect({ port: agent.port, WebSocket });
      assert.equal(typeof (await again.ProcessID()), "number");
      await again.close();
    } finally {
      await agent.stop();
    }
  });
});

describe("reconnect", { timeout: 60000 }, () => {
  it("backs off, reconnects to the agent started again, and keeps the handlers", async () => {
    const first = await startAgent();
    const port = first.port;
    let second;
    let io;
    try {
      io = await connect({ port, WebSocket, reconnect: { initialDelayMs: 50, maxDelayMs: 200 } });
      let published = 0;
      io.on("PublishInfo", () => (published += 1));
      const attempts = [];
      io.on("reconnecting", (info) => attempts.push(info));
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
      assert.equal(io.connected, true);
      assert.deepEqual(
        attempts.slice(0, 4).map((a) => [a.attempt, a.delayMs]),
        [[1, 50], [2, 100], [3, 200], [4, 200]],
      );
      assert.equal(await io.ProcessID(), second.pid);
      // The new IO object was initialised again, so PublishInfo goes on.
      const before = published;
      await waitFor(() => published > before, 5000, "PublishInfo after the reconnect");
      assert.equal(await io.CommandStatus(), "OK");
    } finally {
      await io?.close();
      await first.stop();
      await second?.stop();
    }
  });

  it("gives up after maxAttempts", async () => {
    const agent = await startAgent();
    let io;
    try {
      io = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxAttempts: 2 } });
      const failed = nextEvent(io, "reconnectFailed");
      await agent.kill();
      const [error] = await failed;
      assert.ok(error instanceof AgentNotRunningError, String(error));
      assert.equal(io.connected, false);
      await assert.rejects(io.Version(), /closed/);
    } finally {
      await io?.close();
      await agent.stop();
    }
  });

  it("stops when the page closes the client", async () => {
    const agent = await startAgent();
    const port = agent.port;
    let again;
    let io;
    try {
      io = await connect({ port, WebSocket, reconnect: { initialDelayMs: 20, maxDelayMs: 20 } });
      const attempts = [];
      io.on("reconnecting", (info) => attempts.push(info));
      let reconnected = false;
      io.on("reconnected", () => (reconnected = true));
      await agent.kill();
      await waitFor(() => attempts.length >= 2, 5000, "attempts");
      await io.close();
      const made = attempts.length;
      again = await startAgent({ port });
      await new Promise((resolve) => setTimeout(resolve, 300));
      assert.equal(attempts.length, made);
      assert.equal(reconnected, false);
      assert.equal(io.connected, false);
    } finally {
      await io?.close();
      await agent.stop();
      await again?.stop();
    }
  });

  it("the first connection is not retried: connect() fails as it is", async () => {
    const port = await freePort();
    await assert.rejects(connect({ port, WebSocket, reconnect: true }), AgentNotRunningError);
  });
});
