// One page against the real agent: the generated members against its $describe, every kind
// of member and value, PublishInfo, status(), what a page is told when something fails, and
// the npm package installed into an application.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdir, mkdtemp, readFile, rm, writeFile } from "node:fs/promises";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { promisify } from "node:util";
import { after, before, describe, it } from "node:test";
import * as client from "../src/index.js";
import { connect, IOError, MEMBERS, OriginNotAllowedError, PROTOCOL_VERSION, status } from "../src/index.js";
import { functionName } from "../src/mapping.js";
import { readDescribe, render } from "../scripts/render.mjs";
import { freePort, listening, startAgent, waitFor, WebSocket, webSocketFrom } from "./support.mjs";

const EXPORTS = "/srv/estimates/ems";
// The page and the agent share a time zone away from UTC, as they share a machine.
process.env.TZ = "America/New_York";

describe("a page and the agent", { timeout: 60000 }, () => {
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

  it("has one function per member the live agent describes, as generated", async () => {
    const live = await readDescribe(agent.url);
    const expected = render(live);
    for (const name of ["members.js", "members.d.ts"]) {
      const source = await readFile(new URL(`../src/${name}`, import.meta.url), "utf8");
      assert.equal(source, expected[name], `src/${name} is stale: TARNAXE_PATH=.../tarnaxe npm run generate`);
    }
    assert.deepEqual(await io.describe(), live);
    for (const member of MEMBERS) assert.equal(io[functionName(member)].length, member.params.length);
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

  it("rejects an automation error of a member as an IOError with its number", async () => {
    await assert.rejects(io.TheNameOf("Files", "abc"), (error) => {
      assert.ok(error instanceof IOError, String(error));
      assert.deepEqual([error.number, error.description, error.member], [13, "Type mismatch", "TheNameOf"]);
      assert.equal(error.message, "TheNameOf: Type mismatch (13)");
      return true;
    });
    // Arguments by reference may be left out at the end, not added.
    await assert.rejects(io.GetBasicEstimateInfo(1, 2, 3, 4, 5, 6, 7, 8, 9), { number: 450, member: "GetBasicEstimateInfo" });
  });

  it("PublishInfo comes after Init, until its handler is removed", async () => {
    const first = [];
    let second = 0;
    const onFirst = (...args) => first.push(args);
    io.on("PublishInfo", onFirst).on("PublishInfo", () => (second += 1));
    await io.Init();
    await waitFor(() => first.length >= 1, "PublishInfo");
    assert.deepEqual(first[0], []);
    io.off("PublishInfo", onFirst);
    const [seen, target] = [first.length, second + 2];
    await waitFor(() => second >= target, "two more PublishInfo");
    assert.equal(first.length, seen);
    io.off("PublishInfo");
    assert.throws(() => io.on("IOstatus", () => {}), /Unknown event "IOstatus"/);
  });

  it("status() answers the agent's name, version and protocol; where none answers, it says which", async () => {
    const answer = { name: "TarnAxe", version: await io.Version(), protocol: PROTOCOL_VERSION };
    assert.deepEqual(await status({ port: agent.port }), answer);
    assert.deepEqual(await status({ url: agent.url }), answer);
    await assert.rejects(status({ port: 70000 }), TypeError);
    const port = await freePort();
    await assert.rejects(status({ port }), { name: "AgentNotRunningError", url: `http://127.0.0.1:${port}/status` });
    await assert.rejects(connect({ port, WebSocket }), { name: "AgentNotRunningError", url: `ws://127.0.0.1:${port}/` });
    const other = createServer((request, response) => response.writeHead(404).end("Not here"));
    try {
      await assert.rejects(status({ port: await listening(other) }), { name: "AgentNotRunningError", message: /HTTP 404/ });
    } finally {
      other.close();
    }
    const evil = "https://evil.example";
    await assert.rejects(connect({ port: agent.port, WebSocket: webSocketFrom(evil) }), (error) => {
      assert.ok(error instanceof OriginNotAllowedError, String(error));
      assert.deepEqual([error.status, error.origin, error.reason], [403, evil, `Origin ${evil} is not allowed`]);
      return true;
    });
  });

  it("is packed with its module, declarations and README only, installs offline and works", async () => {
    const run = promisify(execFile);
    const folder = await mkdtemp(join(tmpdir(), "tarnaxe-js-pack-"));
    try {
      const packing = await run("npm", ["pack", "--json", "--pack-destination", folder], { cwd: new URL("..", import.meta.url) });
      const [packed] = JSON.parse(packing.stdout);
      const files = packed.files.map((f) => f.path);
      assert.ok(files.every((f) => /^(README\.md|package\.json|src\/\w+\.(js|d\.ts))$/.test(f)), String(files));
      assert.ok(files.includes("src/index.d.ts"));
      const app = join(folder, "app");
      await mkdir(app);
      await writeFile(join(app, "package.json"), JSON.stringify({ name: "app", private: true, type: "module" }));
      await run("npm", ["install", "--offline", "--no-audit", "--no-fund", join(folder, packed.filename)], { cwd: app });
      const main = `import * as client from "@tarnaxe/client";
const answer = await client.status({ port: Number(process.argv[2]) });
console.log(JSON.stringify({ exports: Object.keys(client).sort(), name: answer.name }));`;
      await writeFile(join(app, "main.js"), main);
      const { stdout } = await run(process.execPath, ["main.js", String(agent.port)], { cwd: app });
      assert.deepEqual(JSON.parse(stdout), { exports: Object.keys(client).sort(), name: "TarnAxe" });
    } finally {
      await rm(folder, { recursive: true, force: true });
    }
  });
});
