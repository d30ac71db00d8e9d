// A connection that drops: pending calls fail at once, the page is told, and with reconnect
// on the client comes back to an agent started again on the same port.

import assert from "node:assert/strict";
import { createServer } from "node:net";
import { describe, it } from "node:test";
import { AgentNotRunningError, connect, DisconnectedError } from "../src/index.js";
import { freePort, listening, startAgent, waitFor, WebSocket } from "./support.mjs";

const next = (io, event) => new Promise((resolve) => io.on(event, (...args) => resolve(args)));

describe("a dropped connection", { timeout: 60000 }, () => {
  it("rejects every pending call at once and raises disconnected; with reconnect off, that is the end", async () => {
    const agent = await startAgent();
    let io;
    try {
      io = await connect({ port: agent.port, WebSocket });
      const drops = [];
      io.on("disconnected", (info) => drops.push(info));
      // SelectFile waits for its dialog, which nobody answers; Version waits behind it.
      const calls = [io.SelectFile(), io.Version()].map((call) => call.then(() => assert.fail("answered"), (error) => error));
      await agent.kill();
      for (const failure of await Promise.all(calls)) assert.ok(failure instanceof DisconnectedError && failure.code === 1006, String(failure));
      assert.deepEqual(drops, [{ code: 1006, reason: "", reconnecting: false }]);
      assert.equal(io.connected, false);
      await assert.rejects(io.Version(), DisconnectedError);
    } finally {
      await io?.close();
      await agent.stop();
    }
  });

  it("backs off, reconnects to the agent started again, and calls Init again", async () => {
    const first = await startAgent();
    let io, second;
    try {
      io = await connect({ port: first.port, WebSocket, reconnect: { initialDelayMs: 50, maxDelayMs: 200 } });
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
      // The first connection is not retried: connect() fails as it is.
      await assert.rejects(connect({ port: await freePort(), WebSocket, reconnect: true }), AgentNotRunningError);
    } finally {
      await io?.close();
      await first.stop();
      await second?.stop();
    }
  });

  it("closed by the page while an attempt is under way, stops trying and tells nothing more", async () => {
    const agent = await startAgent();
    const io = await connect({ port: agent.port, WebSocket, reconnect: { initialDelayMs: 20, maxDelayMs: 20 } });
    let attempts = 0;
    let atClose;
    io.on("reconnecting", () => (attempts += 1)).on("reconnectFailed", () => (attempts += 1));
    await agent.kill();
    // Where the agent was, a listener that holds one attempt while the page closes, then
    // fails it and goes, so that the attempt's probe of /status is refused at once.
    const holder = createServer(async (socket) => {
      atClose = attempts;
      holder.close();
      await io.close();
      socket.destroy();
    });
    try {
      await listening(holder, agent.port);
      await waitFor(() => atClose !== undefined, "an attempt reaching the listener");
      await new Promise((resolve) => setTimeout(resolve, 200)); // ten delays
      assert.equal(attempts, atClose);
    } finally {
      if (holder.listening) holder.close();
      await io.close();
      await agent.stop();
    }
  });
});
