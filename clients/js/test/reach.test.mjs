// Why a page could not reach the agent, from what its browser says: the cases a headless
// Chromium cannot show (the user closed the prompt; a browser that knows only an older
// permission name; a page served from this computer).

import assert from "node:assert/strict";
import { afterEach, describe, it } from "node:test";
import { AgentNotRunningError, BlockedByBrowserError, status } from "../src/index.js";

// A page at origin whose browser answers states[name] (or does not know the name), and
// whose every request to the agent fails as a blocked or refused one does.
function page(origin, states) {
  globalThis.location = { origin };
  globalThis.navigator = {
    permissions: {
      query: async ({ name }) => {
        if (!(name in states)) throw new TypeError(`'${name}' is not a valid permission name`);
        return { state: states[name] };
      },
    },
  };
  const requests = [];
  const fetch = async (url, init = {}) => {
    requests.push(init.mode ?? "cors");
    throw new TypeError("Failed to fetch");
  };
  return { requests, reach: () => status({ port: 1, fetch }).then(() => assert.fail("resolved"), (e) => e) };
}

describe("reaching the agent from a page", () => {
  afterEach(() => {
    delete globalThis.location;
    delete globalThis.navigator;
  });

  it("calls a permission still to be asked for after the request the browser's refusal, and asks nothing more", async () => {
    const { requests, reach } = page("https://claims.example.com", { "local-network-access": "prompt" });
    const error = await reach();
    assert.ok(error instanceof BlockedByBrowserError, String(error));
    assert.equal(error.code, "BLOCKED_BY_BROWSER");
    assert.equal(error.permission, "prompt");
    // A second request would only make the browser ask the user once more.
    assert.deepEqual(requests, ["cors"]);
  });

  it("takes the older permission name from a browser that knows only that", async () => {
    const { reach } = page("https://claims.example.com", { "loopback-network": "denied" });
    const error = await reach();
    assert.ok(error instanceof BlockedByBrowserError, String(error));
    assert.equal(error.permission, "denied");
  });

  it("says the agent is not running when the permission was granted, and to a page of this computer whatever it says", async () => {
    for (const [origin, state] of [["https://claims.example.com", "granted"], ["http://127.0.0.1:8080", "denied"], ["http://localhost:5173", "prompt"]]) {
      const { requests, reach } = page(origin, { "local-network-access": state });
      const error = await reach();
      assert.ok(error instanceof AgentNotRunningError, `${origin}: ${error}`);
      assert.equal(error.code, "AGENT_NOT_RUNNING");
      // Whether something answers an opaque request tells an origin the agent refuses.
      assert.deepEqual(requests, ["cors", "no-cors"], origin);
    }
  });
});
