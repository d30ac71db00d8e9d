// IO's events through the client: PublishInfo from the agent's pulse once the page has
// called Init, IOStatus from an upload's progress.

import assert from "node:assert/strict";
import { after, before, describe, it } from "node:test";
import { connect } from "../src/index.js";
import { nextEvent, startAgent, startUploadPages, waitFor, WebSocket } from "./support.mjs";

describe("events", { timeout: 60000 }, () => {
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

  it("PublishInfo comes after Init, until its handler is removed", async () => {
    const first = [];
    const second = [];
    const onFirst = (...args) => first.push(args);
    io.on("PublishInfo", onFirst).on("PublishInfo", (...args) => second.push(args));
    await io.Init();
    await waitFor(() => first.length >= 1, 5000, "PublishInfo");
    assert.deepEqual(first[0], []);

    io.off("PublishInfo", onFirst);
    const seen = first.length;
    const target = second.length + 2;
    await waitFor(() => second.length >= target, 5000, "two more PublishInfo");
    assert.equal(first.length, seen);
    io.off("PublishInfo");
  });

  it("IOStatus reports an upload from start to end", async () => {
    const pages = await startUploadPages();
    try {
      const statuses = [];
      io.on("IOStatus", (status, message) => statuses.push([status, message]));
      const complete = new Promise((resolve) =>
        io.on("IOStatus", (status) => {
          if (status !== "BUSY") resolve();
        }),
      );
      assert.equal(await io.MoveFilesToServer("{ASSIGNMENT-1}", "{WORKER-1}", "3", pages.hostPort), true);
      await complete;
      assert.deepEqual(statuses, [
        ["BUSY", "Save Collected Information"],
        ["COMPLETE", "No Errors"],
      ]);
      assert.deepEqual(
        pages.requests.map((r) => r.path),
        ["/dataup/ReadAssignment.asp", "/dataup/BeginAttachmentTransaction.asp", "/dataup/CommitAttachmentTransaction.asp"],
      );
      assert.match(pages.requests[0].body, /GUID:\{ASSIGNMENT-1\}\t/);
      assert.equal(await io.LastIOStatusID(), "COMPLETE");
      assert.equal(await io.LastIOStatusMessage(), "No Errors");
    } finally {
      io.off("IOStatus");
      await pages.close();
    }
  });

  it("a page's other connection does not get this one's events", async () => {
    const other = await connect({ port: agent.port, WebSocket });
    try {
      let otherGot = 0;
      other.on("PublishInfo", () => (otherGot += 1));
      await nextEvent(io, "PublishInfo");
      await nextEvent(io, "PublishInfo");
      assert.equal(otherGot, 0);
    } finally {
      await other.close();
    }
  });

  it("refuses to listen to an event that does not exist", () => {
    assert.throws(() => io.on("IOstatus", () => {}), /Unknown event "IOstatus"/);
    assert.throws(() => io.on("PublishInfo", "not a function"), TypeError);
  });
});
