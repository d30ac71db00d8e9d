// Every kind of member through the client against the real agent: methods, gets with and
// without index arguments, puts, arguments by reference and the values they carry, and
// IO's events: PublishInfo once the page has called Init, IOStatus from an upload.

import assert from "node:assert/strict";
import { after, before, describe, it } from "node:test";
import { connect } from "../src/index.js";
import { startAgent, startUploadPages, waitFor, WebSocket } from "./support.mjs";

const EXPORTS = "/srv/estimates/ems";
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

  it("calls methods, gets with and without index arguments, and puts with the value last", async () => {
    assert.equal(await io.Init(), undefined);
    assert.equal(await io.CommandStatus(), "OK");
    assert.equal(await io.ProcessID(), agent.pid);
    assert.equal(await io.EstimatePath(2), EXPORTS);
    // Any member by name; a method call reaches a property get, as scripting hosts call them.
    assert.equal(await io.call("TheCountOf", ["Files"]), 0);
    assert.equal(await io.setScaleFactor(64000), undefined);
    assert.equal(await io.ScaleFactor(), 64000);
    await assert.rejects(io.setTheCaptionOf("Files", "abc", "Front"), { number: 13 });
  });

  it("resolves arguments by reference to named fields and carries every kind of value", async () => {
    const e = "<error>";
    const info = { result: undefined, vFile: "/tmp/none.txt", vVehicle: e, vClaimNo: e, vPolicyNo: e, vInsured: e };
    assert.deepEqual(await io.GetBasicEstimateInfo("/tmp/none.txt"), { ...info, vEstimateID: "", vSuppNo: "", vOwner: e });
    // vFile comes back as it was sent unless it names an envelope.
    const dates = [new Date(2007, 2, 15), new Date(1999, 11, 31, 23, 59, 59, 7)];
    for (const value of [null, true, -7, 2147483647, 2.5, 2 ** 40, "Grüße €", ...dates])
      assert.deepEqual((await io.GetBasicEstimateInfo(value)).vFile, value, String(value));
    for (const value of [{}, Number.NaN, new Date("not a date"), 10n]) await assert.rejects(io.TheCountOf(value), TypeError);
  });

  it("PublishInfo comes after Init, until its handler is removed", async () => {
    const first = [];
    const second = [];
    const onFirst = (...args) => first.push(args);
    io.on("PublishInfo", onFirst).on("PublishInfo", (...args) => second.push(args));
    await io.Init();
    await waitFor(() => first.length >= 1, "PublishInfo");
    assert.deepEqual(first[0], []);
    io.off("PublishInfo", onFirst);
    const seen = first.length;
    const target = second.length + 2;
    await waitFor(() => second.length >= target, "two more PublishInfo");
    assert.equal(first.length, seen);
    io.off("PublishInfo");
    assert.throws(() => io.on("IOstatus", () => {}), /Unknown event "IOstatus"/);
  });

  it("IOStatus reports an upload from start to end", async () => {
    const pages = await startUploadPages();
    try {
      const statuses = [];
      io.on("IOStatus", (status, message) => statuses.push([status, message]));
      assert.equal(await io.MoveFilesToServer("{ASSIGNMENT-1}", "{WORKER-1}", "3", pages.hostPort), true);
      await waitFor(() => statuses.length >= 2, "the final IOStatus", 30000);
      assert.deepEqual(statuses, [["BUSY", "Save Collected Information"], ["COMPLETE", "No Errors"]]);
      assert.match(pages.requests[0], /GUID:\{ASSIGNMENT-1\}\t/);
    } finally {
      io.off("IOStatus");
      await pages.close();
    }
  });
});
