#!/usr/bin/env node
// Writes src/members.js and src/members.d.ts from the $describe answer of the agent: one it
// starts (--agent, default $TARNAXE_PATH) in a throw-away home, or one running at --url.
// With --check, writes nothing and fails when the committed files differ.
//
//   TARNAXE_PATH=../../build/tarnaxe node scripts/generate.mjs [--check]
//   node scripts/generate.mjs --url ws://127.0.0.1:29170

import { readFile, writeFile } from "node:fs/promises";
import { parseArgs } from "node:util";
import { startAgent } from "./agent-process.mjs";
import { readDescribe, render } from "./render.mjs";

const SOURCE = new URL("../src/", import.meta.url);

async function liveDescribe({ agent, url }) {
  if (url) return readDescribe(url);
  const binary = agent ?? process.env.TARNAXE_PATH;
  if (!binary) throw new Error("give --agent PATH (or set TARNAXE_PATH) or --url ws://127.0.0.1:PORT");
  const running = await startAgent({ binary });
  try {
    return await readDescribe(running.url);
  } finally {
    await running.stop();
  }
}

async function main() {
  const { values } = parseArgs({
    options: {
      agent: { type: "string" },
      url: { type: "string" },
      check: { type: "boolean", default: false },
    },
  });
  const files = render(await liveDescribe(values));
  let stale = 0;
  for (const [name, text] of Object.entries(files)) {
    const target = new URL(name, SOURCE);
    const current = await readFile(target, "utf8").catch(() => null);
    if (current === text) continue;
    if (values.check) {
      console.error(`src/${name} differs from the agent's $describe answer`);
      stale += 1;
    } else {
      await writeFile(target, text);
      console.log(`wrote src/${name}`);
    }
  }
  if (stale > 0) {
    console.error("Regenerate with: TARNAXE_PATH=.../tarnaxe npm run generate");
    process.exitCode = 1;
  } else if (values.check) {
    console.log("src/members.js and src/members.d.ts match the agent");
  }
}

main().catch((error) => {
  console.error(`generate: ${error.message}`);
  process.exitCode = 1;
});
