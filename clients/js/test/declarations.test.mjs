// The committed member table and declarations against the live agent's $describe answer,
// and the client object against its declarations.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { it } from "node:test";
import { connect, MEMBERS } from "../src/index.js";
import { functionName } from "../src/mapping.js";
import { readDescribe, render } from "../scripts/render.mjs";
import { startAgent, WebSocket } from "./support.mjs";

const source = (name) => readFile(new URL(`../src/${name}`, import.meta.url), "utf8");

it("the generated members are what the live agent describes, one function each", { timeout: 60000 }, async () => {
  const agent = await startAgent();
  const io = await connect({ url: agent.url, WebSocket });
  try {
    const live = await readDescribe(agent.url);
    const expected = render(live);
    for (const name of ["members.js", "members.d.ts"])
      assert.equal(await source(name), expected[name], `src/${name} is stale: TARNAXE_PATH=.../tarnaxe npm run generate`);
    assert.deepEqual(await io.describe(), live);
    const body = /export interface IOMembers \{\n([\s\S]*?)\n\}/.exec(await source("members.d.ts"));
    const declared = [...body[1].matchAll(/^ {2}(\w+)\(/gm)].map((match) => match[1]);
    const own = Object.getOwnPropertyNames(Object.getPrototypeOf(io)).filter(
      (name) => /^[A-Z]|^set[A-Z]/.test(name) && typeof io[name] === "function",
    );
    assert.deepEqual(own.sort(), declared.sort());
    assert.equal(declared.length, live.members.length);
    for (const member of MEMBERS) assert.equal(io[functionName(member)].length, member.params.length);
  } finally {
    await io.close();
    await agent.stop();
  }
});
