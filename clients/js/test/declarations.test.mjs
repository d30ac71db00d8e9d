// The committed member table and declarations against the live agent's $describe answer,
// and the client object against its declarations.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { after, before, describe, it } from "node:test";
import { connect, EVENTS, MEMBERS } from "../src/index.js";
import { functionName } from "../src/mapping.js";
import { readDescribe, render } from "../scripts/render.mjs";
import { startAgent, WebSocket } from "./support.mjs";

const source = (name) => readFile(new URL(`../src/${name}`, import.meta.url), "utf8");

// The function names of interface IOMembers in a declarations text.
function declaredFunctions(declarations) {
  const body = /export interface IOMembers \{\n([\s\S]*?)\n\}/.exec(declarations);
  assert.ok(body, "members.d.ts declares IOMembers");
  return [...body[1].matchAll(/^ {2}(\w+)\(/gm)].map((match) => match[1]);
}

describe("generated members", { timeout: 60000 }, () => {
  let agent;
  let live;
  before(async () => {
    agent = await startAgent();
    live = await readDescribe(agent.url);
  });
  after(() => agent?.stop());

  it("src/members.js and src/members.d.ts are what the live agent's $describe gives", async () => {
    const expected = render(live);
    for (const name of ["members.js", "members.d.ts"]) {
      assert.equal(
        await source(name),
        expected[name],
        `src/${name} differs from the agent's interface: TARNAXE_PATH=.../tarnaxe npm run generate`,
      );
    }
  });

  it("the table the client runs on is the agent's interface", async () => {
    assert.equal(MEMBERS.length, live.members.length);
    const io = await connect({ url: agent.url, WebSocket });
    try {
      const described = await io.describe();
      assert.deepEqual(described, live);
      assert.deepEqual(
        JSON.parse(JSON.stringify({ members: MEMBERS, events: EVENTS })),
        { members: live.members.map(({ slot, name, kind, params, result }) => ({ slot, name, kind, params, result })),
          events: live.events },
      );
    } finally {
      await io.close();
    }
  });

  it("the client object has exactly the declared functions", async () => {
    const declared = declaredFunctions(await source("members.d.ts"));
    assert.equal(declared.length, live.members.length);
    const io = await connect({ url: agent.url, WebSocket });
    try {
      const own = Object.getOwnPropertyNames(Object.getPrototypeOf(io)).filter(
        (name) => /^[A-Z]|^set[A-Z]/.test(name) && typeof io[name] === "function",
      );
      assert.deepEqual([...own].sort(), [...declared].sort());
      for (const member of MEMBERS) assert.equal(io[functionName(member)].length, member.params.length);
    } finally {
      await io.close();
    }
  });
});

describe("interfaces the generator refuses", () => {
  const member = (overrides) => ({ slot: 1, name: "Init", kind: "method", params: [], result: "", ...overrides });
  const refuses = (description, pattern) => assert.throws(() => render(description), pattern);

  it("a member that would hide the client's own functions or make it a promise", () => {
    refuses({ members: [member({ name: "close" })], events: [] }, /close is a name of the client object/);
    refuses({ members: [member({ name: "then" })], events: [] }, /then is a name of the client object/);
  });

  it("two members that map onto one function", () => {
    const put = { name: "value", type: "variant", byref: false };
    refuses(
      { members: [member({ name: "setX" }), member({ slot: 2, name: "X", kind: "put", params: [put] })], events: [] },
      /setX is already the function of slot 1/,
    );
  });

  it("types, kinds and slots it does not know", () => {
    refuses({ members: [member({ result: "currency" })], events: [] }, /unknown result type "currency"/);
    refuses({ members: [member({ kind: "event" })], events: [] }, /unknown kind "event"/);
    refuses({ members: [member({ slot: 2 }), member({ name: "Other", slot: 2 })], events: [] }, /ascending/);
    refuses({ members: [member({ params: [{ name: "result", type: "variant", byref: true }] })], events: [] }, /hide the result/);
  });

  it("events that clash with the client's own", () => {
    refuses({ members: [], events: [{ name: "disconnected", params: [] }] }, /event disconnected: the name is taken/);
  });
});
