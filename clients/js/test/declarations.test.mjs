// The committed member table and declarations against the live agent's $describe answer,
// the client object against its declarations, and interfaces the generator refuses.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { describe, it } from "node:test";
import { connect, MEMBERS } from "../src/index.js";
import { functionName } from "../src/mapping.js";
import { readDescribe, render } from "../scripts/render.mjs";
import { startAgent, WebSocket } from "./support.mjs";

const source = (name) => readFile(new URL(`../src/${name}`, import.meta.url), "utf8");

describe("generated members", { timeout: 60000 }, () => {
  it("are what the live agent describes, and the client has exactly the declared functions", async () => {
    const agent = await startAgent();
    try {
      const live = await readDescribe(agent.url);
      const expected = render(live);
      for (const name of ["members.js", "members.d.ts"])
        assert.equal(await source(name), expected[name], `src/${name} is stale: TARNAXE_PATH=.../tarnaxe npm run generate`);

      const body = /export interface IOMembers \{\n([\s\S]*?)\n\}/.exec(await source("members.d.ts"));
      const declared = [...body[1].matchAll(/^ {2}(\w+)\(/gm)].map((match) => match[1]);
      const io = await connect({ url: agent.url, WebSocket });
      try {
        assert.deepEqual(await io.describe(), live);
        const own = Object.getOwnPropertyNames(Object.getPrototypeOf(io)).filter(
          (name) => /^[A-Z]|^set[A-Z]/.test(name) && typeof io[name] === "function",
        );
        assert.deepEqual(own.sort(), declared.sort());
        assert.equal(declared.length, live.members.length);
        for (const member of MEMBERS) assert.equal(io[functionName(member)].length, member.params.length);
      } finally {
        await io.close();
      }
    } finally {
      await agent.stop();
    }
  });
});

describe("interfaces the generator refuses", () => {
  const member = (overrides) => ({ slot: 1, name: "Init", kind: "method", params: [], result: "", ...overrides });
  const refuses = (members, pattern, events = []) => assert.throws(() => render({ members, events }), pattern);

  it("names that would hide the client's own, clash, or types, kinds and slots it does not know", () => {
    refuses([member({ name: "close" })], /close is a name of the client object/);
    refuses([member({ name: "then" })], /then is a name of the client object/);
    const put = { name: "value", type: "variant", byref: false };
    refuses([member({ name: "setX" }), member({ slot: 2, name: "X", kind: "put", params: [put] })], /setX is already the function of slot 1/);
    refuses([member({ result: "currency" })], /unknown result type "currency"/);
    refuses([member({ kind: "event" })], /unknown kind "event"/);
    refuses([member({ slot: 2 }), member({ name: "Other", slot: 2 })], /ascending/);
    refuses([member({ params: [{ name: "result", type: "variant", byref: true }] })], /hide the result/);
    refuses([], /event disconnected: the name is taken/, [{ name: "disconnected", params: [] }]);
  });
});
