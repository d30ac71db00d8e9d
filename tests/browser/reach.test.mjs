// The sample page as a public https site sees the agent: Chromium asks before such a page
// may reach 127.0.0.1, and the page must tell its refusal from a missing agent.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, rmSync } from "node:fs";
import { join } from "node:path";
import { after, before, describe, it } from "node:test";
import { chromium } from "playwright-core";
import { startAgent } from "../../clients/js/scripts/agent-process.mjs";
import { CHROMIUM_PATH, DATAUP_SERVER_PATH, startServer, TEST_OUTPUT_DIR } from "./support.mjs";


describe("the sample page on a public https site", () => {
  const work = mkdtempSync("/tmp/tarnaxe-reach-");
  let server, origin, agent, browser;

  before(async () => {
    const [key, cert, data] = ["key.pem", "cert.pem", "data"].map((name) => join(work, name));
    execFileSync("openssl", ["req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
      "-keyout", key, "-out", cert, "-days", "2", "-subj", "/CN=claims.example",
      "-addext", "subjectAltName=DNS:claims.example"], { stdio: "ignore" });
    execFileSync(DATAUP_SERVER_PATH, ["seed", "--data", data]);
    server = await startServer(data, ["--tls-cert", cert, "--tls-key", key]);
    const { port } = server;
    origin = `https://claims.example:${port}`;
    agent = await startAgent({ settings: `[HostBridge]\nPort=0\nAllowedOrigins=${origin}\n` });
    // claims.example is this machine, and the server's address counts as a public one.
    browser = await chromium.launch({ executablePath: CHROMIUM_PATH,
      args: ["--host-resolver-rules=MAP claims.example 127.0.0.1", `--ip-address-space-overrides=127.0.0.1:${port}=public`] });
    mkdirSync(TEST_OUTPUT_DIR, { recursive: true });
  });

  after(async () => {
    await Promise.all([browser?.close(), agent?.stop(), server?.stop()]);
    rmSync(work, { recursive: true, force: true });
  });

  // "Connect to the agent" pressed in a context of its own (permissions), on the page or in an embedder's iframe.
  async function connectOnce(prepare = async () => {}, embedder = undefined) {
    const page = await (await browser.newContext({ ignoreHTTPSErrors: true, viewport: { width: 1000, height: 720 } })).newPage();
    const url = `${origin}/portal/?agentPort=${agent.port}`;
    const body = `<iframe src="${url}" width="900" height="600">`;
    if (embedder) await page.route(embedder, (route) => route.fulfill({ contentType: "text/html", body }));
    await page.goto(embedder ?? url);
    const view = embedder ? page.frameLocator("iframe") : page;
    await view.locator("#claim", { hasText: /CLM-24-000417/ }).waitFor();
    await prepare(page);
    await view.locator("#connect").click();
    await view.locator("#agent-state.bad, #agent-state.ok").waitFor();
    return { page, state: await view.locator("#agent-state").innerText(), hint: await view.locator("#agent-hint").innerText() };
  }
  const grant = (page) => page.context().grantPermissions(["local-network-access"], { origin });
  // Denied through the DevTools protocol before the click, not by headless Chromium's answer to its prompt.
  async function deny(page) {
    const cdp = await page.context().newCDPSession(page);
    const { browserContextId } = (await cdp.send("Target.getTargetInfo")).targetInfo;
    const permission = { name: "local-network-access" };
    await cdp.send("Browser.setPermission", { permission, setting: "denied", origin, browserContextId });
    assert.equal(await page.evaluate(async (p) => (await navigator.permissions.query(p)).state, permission), "denied");
  }

  for (const [when, prepare, screenshot] of [["was not granted"], ["is denied in the site's settings", deny, "reach-blocked.png"]]) {
    it(`says the browser blocked it, and where to allow it, when the permission ${when}`, async () => {
      const { page, state, hint } = await connectOnce(prepare);
      assert.equal(state, "Your browser blocked this page from reaching the TarnAxe agent.");
      assert.match(hint, /settings for this site, set "Apps on device"/);
      if (screenshot) await page.screenshot({ path: join(TEST_OUTPUT_DIR, screenshot), fullPage: true });
    });
  }

  it("tells the developer when the iframe showing the page lacks allow=\"local-network-access\"", async () => {
    const { hint } = await connectOnce(grant, "https://embedder.example/");
    assert.match(hint, /the iframe that shows this page needs allow="local-network-access"/);
  });

  it("with the permission granted connects, and once the agent has stopped says so and how to start it", async () => {
    assert.equal((await connectOnce(grant)).state, "Connected.");
    await agent.stop();
    const { page, state, hint } = await connectOnce(grant);
    assert.equal(state, "The TarnAxe agent is not running on this computer.");
    assert.match(hint, /applications menu and choose "TarnAxe agent"/);
    await page.screenshot({ path: join(TEST_OUTPUT_DIR, "reach-not-running.png"), fullPage: true });
  });
});
