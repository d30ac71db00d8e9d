// npm pack gives a package that installs into an application and works there.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdir, mkdtemp, readFile, rm, stat, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { after, before, describe, it } from "node:test";
import { MEMBERS } from "../src/index.js";
import { startAgent } from "./support.mjs";

const run = promisify(execFile);
const PACKAGE = fileURLToPath(new URL("..", import.meta.url));

describe("the npm package", { timeout: 60000 }, () => {
  let folder;
  let agent;
  let packed;
  before(async () => {
    folder = await mkdtemp(join(tmpdir(), "tarnaxe-js-pack-"));
    agent = await startAgent();
    const { stdout } = await run("npm", ["pack", "--json", "--pack-destination", folder], { cwd: PACKAGE });
    [packed] = JSON.parse(stdout);
  });
  after(async () => {
    await agent?.stop();
    if (folder) await rm(folder, { recursive: true, force: true });
  });

  it("holds the module, its declarations and the README, and nothing else", () => {
    const files = packed.files.map((f) => f.path).sort();
    assert.deepEqual(files, [
      "README.md",
      "package.json",
      "src/client.js",
      "src/errors.js",
      "src/handshake.js",
      "src/index.d.ts",
      "src/index.js",
      "src/mapping.js",
      "src/members.d.ts",
      "src/members.js",
      "src/status.js",
      "src/values.js",
    ]);
  });

  it("installs into an application, without the network, and works there", async () => {
    const app = join(folder, "app");
    await mkdir(app);
    await writeFile(join(app, "package.json"), JSON.stringify({ name: "app", private: true, type: "module" }));
    await run("npm", ["install", "--offline", "--no-audit", "--no-fund", join(folder, packed.filename)], { cwd: app });

    const installed = join(app, "node_modules", "@tarnaxe", "client");
    const manifest = JSON.parse(await readFile(join(installed, "package.json"), "utf8"));
    assert.deepEqual(manifest.dependencies ?? {}, {});
    assert.ok((await stat(join(installed, manifest.exports["."].types))).isFile());

    await writeFile(
      join(app, "main.js"),
      `import * as client from "@tarnaxe/client";
const answer = await client.status({ port: Number(process.argv[2]) });
console.log(JSON.stringify({ exports: Object.keys(client).sort(), name: answer.name, members: client.MEMBERS.length }));
`,
    );
    const { stdout } = await run(process.execPath, ["main.js", String(agent.port)], { cwd: app });
    const result = JSON.parse(stdout);
    assert.equal(result.name, "TarnAxe");
    assert.equal(result.members, MEMBERS.length);
    assert.deepEqual(result.exports, [
      "AgentNotRunningError",
      "BlockedByBrowserError",
      "BridgeError",
      "DEFAULT_PORT",
      "DisconnectedError",
      "EVENTS",
      "HandshakeRefusedError",
      "IOError",
      "IframeNotAllowedError",
      "MEMBERS",
      "OriginNotAllowedError",
      "PROTOCOL_VERSION",
      "connect",
      "status",
    ]);
  });
});
