// npm pack gives a package that installs into an application and works there.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdir, mkdtemp, readFile, rm, stat, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";
import { describe, it } from "node:test";
import * as client from "../src/index.js";
import { startAgent } from "./support.mjs";

const run = promisify(execFile);

describe("the npm package", { timeout: 60000 }, () => {
  it("holds the module, its declarations and the README only, installs offline and works", async () => {
    const folder = await mkdtemp(join(tmpdir(), "tarnaxe-js-pack-"));
    const agent = await startAgent();
    try {
      const packing = await run("npm", ["pack", "--json", "--pack-destination", folder], {
        cwd: fileURLToPath(new URL("..", import.meta.url)),
      });
      const [packed] = JSON.parse(packing.stdout);
      const files = packed.files.map((f) => f.path);
      assert.ok(files.every((f) => /^(README\.md|package\.json|src\/\w+\.(js|d\.ts))$/.test(f)), String(files));

      const app = join(folder, "app");
      await mkdir(app);
      await writeFile(join(app, "package.json"), JSON.stringify({ name: "app", private: true, type: "module" }));
      await run("npm", ["install", "--offline", "--no-audit", "--no-fund", join(folder, packed.filename)], { cwd: app });
      const installed = join(app, "node_modules", "@tarnaxe", "client");
      const manifest = JSON.parse(await readFile(join(installed, "package.json"), "utf8"));
      assert.ok((await stat(join(installed, manifest.exports["."].types))).isFile());

      await writeFile(
        join(app, "main.js"),
        `import * as client from "@tarnaxe/client";
const answer = await client.status({ port: Number(process.argv[2]) });
console.log(JSON.stringify({ exports: Object.keys(client).sort(), name: answer.name }));
`,
      );
      const { stdout } = await run(process.execPath, ["main.js", String(agent.port)], { cwd: app });
      assert.deepEqual(JSON.parse(stdout), { exports: Object.keys(client).sort(), name: "TarnAxe" });
    } finally {
      await agent.stop();
      await rm(folder, { recursive: true, force: true });
    }
  });
});
