// Every kind of member through the client against the real agent: methods, property gets
// with and without index arguments, property puts, arguments by reference, the values they
// carry, and IO's events: PublishInfo once the page has called Init, IOStatus from an upload.

import assert from "node:assert/strict";
import { after, before, describe, it } from "node:test";
import { connect } from "../src/index.js";
import { agentVersion, startAgent, startUploadPages, waitFor, WebSocket } from "./support.mjs";

const EXPORTS = "/srv/estimates/ccc";
// The page and the agent share a time zone away from UTC, as they share a machine.
process.env.TZ = "America/New_York";

describe("members and events", { timeout: 60000 }, () => {
  let agent;
  let io;
  before(async () => {
    agent = await startAgent({ settings: `[HostBridge]\nPort=0\n[LocalSettings]\nEMSExportPath2=${EXPORTS}\n` });
    io = await connect({ port: agent.port, WebSocket });
  });
  after(async () => {
    await io?.close();
    await agent?.stop();
  });

  it("calls methods and reads gets, with and without index arguments", async () => {
    assert.equal(await io.Init(), undefined);
    assert.equal(await io.CommandStatus(), "OK");
    assert.equal(await io.Version(), await agentVersion());
    assert.equal(await io.ProcessID(), agent.pid);
    assert.equal(await io.HasEMSExport(), true);
    assert.equal(await io.EstimatePath(2), EXPORTS);
    assert.equal(await io.TheNameOf("Photos", 1), "<bad photo number>");
    // Any member by name; a method call reaches a property get, as scripting hosts call them.
    assert.equal(await io.call("TheCountOf", ["Files"]), 0);
  });

  it("assigns property puts, the value last", async () => {
    assert.equal(await io.setScaleFactor(64000), undefined);
    assert.equal(await io.ScaleFactor(), 64000);
    // The index goes where the index is expected: a text there is a type mismatch, while
    // any value is taken for the caption.
    assert.equal(await io.setTheCaptionOf("Files", 1, "abc"), undefined);
    await assert.rejects(io.setTheCaptionOf("Files", "abc", "Front"), { number: 13 });
  });

  it("resolves arguments by reference to named fields", async () => {
    const info = await io.GetBasicEstimateInfo("/tmp/none.txt");
    const error = "<error>";
    assert.deepEqual(info, {
      result: undefined,
      vFile: "/tmp/none.txt",
      vVehicle: error,
      vClaimNo: error,
      vPolicyNo: error,
      vInsured: error,
      vEstimateID: "",
      vSuppNo: "",
      vOwner: error,
    });
    // Given in full, as pages written for the original object pass them.
    assert.deepEqual(await io.GetBasicEstimateInfo("/tmp/none.txt", 1, 2, 3, 4, 5, 6, 7), info);
  });

  it("carries every kind of value there and back, and refuses what it cannot", async () => {
    // vFile comes back as it was sent unless it names an envelope.
    const dates = [new Date(2007, 2, 15), new Date(1999, 11, 31, 23, 59, 59, 7), new Date(1900, 0, 1, 6, 30)];
    for (const value of [null, true, 0, -7, 2147483647, 2.5, 2 ** 40, "", "Grüße €", "x".repeat(5000), ...dates]) {
      const { vFile } = await io.GetBasicEstimateInfo(value);
      assert.deepEqual(vFile, value, `value ${String(value).slice(0, 30)}`);
    }
    assert.equal((await io.GetBasicEstimateInfo(undefined)).vFile, null);
    for (const value of [{}, Number.NaN, new Date("not a date"), 10n])
      await assert.rejects(io.TheCountOf(value), TypeError);
    assert.equal(await io.TheCountOf("Photos"), 0);
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
    assert.throws(() => io.on("IOstatus", () => {}), /Unknown event "IOstatus"/);
    assert.throws(() => io.on("PublishInfo", "not a function"), TypeError);
  });

  it("IOStatus reports an upload from start to end", async () => {
    const pages = await startUploadPages();
    try {
      const statuses = [];
      io.on("IOStatus", (status, message) => statuses.push([status, message]));
      assert.equal(await io.MoveFilesToServer("{ASSIGNMENT-1}", "{WORKER-1}", "3", pages.hostPort), true);
      await waitFor(() => statuses.length >= 2, 30000, "the final IOStatus");
      assert.deepEqual(statuses, [
        ["BUSY", "Save Collected Information"],
        ["COMPLETE", "No Errors"],
      ]);
      assert.equal(pages.requests.length, 3);
      assert.match(pages.requests[0].body, /GUID:\{ASSIGNMENT-1\}\t/);
      assert.equal(await io.LastIOStatusMessage(), "No Errors");
    } finally {
      io.off("IOStatus");
      await pages.close();
    }
  });
});
