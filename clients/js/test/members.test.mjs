// Every kind of member through the client against the real agent: methods, property gets
// with and without index arguments, property puts, arguments by reference, and the values
// they carry.

import assert from "node:assert/strict";
import { stat } from "node:fs/promises";
import { join } from "node:path";
import { after, before, describe, it } from "node:test";
import { connect, IOError } from "../src/index.js";
import { agentVersion, startAgent, WebSocket } from "./support.mjs";

const EXPORTS = "/srv/estimates/ccc";
// The page and the agent share a time zone away from UTC, as they share a machine.
process.env.TZ = "America/New_York";

describe("members", { timeout: 60000 }, () => {
  let agent;
  let io;
  before(async () => {
    agent = await startAgent({
      settings: `[HostBridge]\nPort=0\n[LocalSettings]\nEMSExportPath2=${EXPORTS}\n`,
    });
    io = await connect({ port: agent.port, WebSocket });
  });
  after(async () => {
    await io?.close();
    await agent?.stop();
  });

  it("calls a method", async () => {
    assert.equal(await io.Init(), undefined);
    assert.equal(await io.CommandStatus(), "OK");
    const session = await stat(join(agent.home.env.XDG_CACHE_HOME, "FerroClient", "IEUser1"));
    assert.ok(session.isDirectory());
  });

  it("reads property gets without arguments", async () => {
    assert.equal(await io.Version(), await agentVersion());
    assert.equal(await io.ProcessID(), agent.pid);
    assert.equal(await io.HasEMSExport(), true);
    assert.equal(await io.HasPhotoPath(), false);
  });

  it("reads property gets with index arguments", async () => {
    assert.equal(await io.EstimatePath(2), EXPORTS);
    assert.equal(await io.EstimatePath(1), "");
    assert.equal(await io.TheCountOf("Photos"), 0);
    assert.equal(await io.TheNameOf("Photos", 1), "<bad photo number>");
    assert.equal(await io.TheCaptionOf("Estimates", 1), "<bad>");
  });

  it("assigns property puts, the value last", async () => {
    assert.equal(await io.setScaleFactor(64000), undefined);
    assert.equal(await io.ScaleFactor(), 64000);
    // Out of range: the agent keeps what it had.
    await io.setScaleFactor(12);
    assert.equal(await io.ScaleFactor(), 64000);

    // The index goes where the index is expected: a text there is a type mismatch, while
    // any value is taken for the caption.
    assert.equal(await io.setTheCaptionOf("Files", 1, "Front"), undefined);
    assert.equal(await io.setTheCaptionOf("Files", 1, "abc"), undefined);
    await assert.rejects(io.setTheCaptionOf("Files", "abc", "Front"), { number: 13 });
  });

  it("resolves arguments by reference to named fields", async () => {
    const info = await io.GetBasicEstimateInfo("/tmp/none.txt");
    assert.deepEqual(Object.keys(info), [
      "result", "vFile", "vVehicle", "vClaimNo", "vPolicyNo", "vInsured", "vEstimateID", "vSuppNo", "vOwner",
    ]);
    assert.deepEqual(info, {
      result: undefined,
      vFile: "/tmp/none.txt",
      vVehicle: "<error>",
      vClaimNo: "<error>",
      vPolicyNo: "<error>",
      vInsured: "<error>",
      vEstimateID: "",
      vSuppNo: "",
      vOwner: "<error>",
    });
    // Given in full, as pages written for the original object pass them.
    const full = await io.GetBasicEstimateInfo("/tmp/none.txt", 1, 2, 3, 4, 5, 6, 7);
    assert.deepEqual(full, info);
  });

  it("carries every kind of value there and back", async () => {
    // vFile comes back as it was sent unless it names an envelope.
    for (const value of [null, true, false, 0, -7, 2147483647, 2.5, 2 ** 40, "", "Grüße €", "x".repeat(5000)]) {
      const { vFile } = await io.GetBasicEstimateInfo(value);
      assert.deepEqual(vFile, value, `value ${String(value).slice(0, 20)}`);
    }
    const { vFile } = await io.GetBasicEstimateInfo(undefined);
    assert.equal(vFile, null);
  });

  it("carries Dates there and back", async () => {
    for (const date of [
      new Date(2007, 2, 15),
      new Date(1999, 11, 31, 23, 59, 59, 7),
      new Date(2024, 1, 29, 12, 0, 0, 250),
      new Date(1900, 0, 1, 6, 30),
    ]) {
      const { vFile } = await io.GetBasicEstimateInfo(date);
      assert.ok(vFile instanceof Date, `${date} came back as ${typeof vFile}`);
      assert.equal(vFile.getTime(), date.getTime(), String(date));
    }
  });

  it("refuses values the agent cannot take, before sending them", async () => {
    await assert.rejects(io.TheCountOf({}), TypeError);
    await assert.rejects(io.TheCountOf(Number.NaN), TypeError);
    await assert.rejects(io.GetBasicEstimateInfo(new Date("not a date")), TypeError);
    await assert.rejects(io.TheCountOf(10n), TypeError);
    assert.equal(await io.TheCountOf("Photos"), 0);
  });

  it("calls any member by name with call()", async () => {
    assert.equal(await io.call("version", [], "get"), await agentVersion());
    // A method call reaches a property get, as scripting hosts call them.
    assert.equal(await io.call("TheCountOf", ["Files"]), 0);
    await assert.rejects(io.call("TheCountOf", ["Files"], "put"), (error) => error instanceof IOError && error.number === 438);
  });

  it("answers calls in the order they were made when many are in flight", async () => {
    const version = await agentVersion();
    const calls = [];
    for (let i = 0; i < 300; i += 1) calls.push(i % 3 === 0 ? io.Version() : io.TheNameOf("Files", i));
    const answers = await Promise.all(calls);
    answers.forEach((answer, i) => assert.equal(answer, i % 3 === 0 ? version : "<bad file attach number>"));
  });
});
