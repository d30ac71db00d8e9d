// The sample claims page in Debian's Chromium, served by the real reference server and
// talking to the real agent: it finds the agent, attaches an estimate, sends it, delivers
// the assignment, and says so when its origin is not allowed or no agent runs.

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { mkdir, mkdtemp, readdir, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { promisify } from "node:util";
import { after, before, describe, it } from "node:test";
import { chromium } from "playwright-core";
import { startAgent } from "../../clients/js/scripts/agent-process.mjs";
import { CHROMIUM_PATH, closedPort, DATAUP_SERVER_PATH, startServer, TEST_OUTPUT_DIR } from "./support.mjs";

const run = promisify(execFile);

describe("the sample claims page", () => {
  let work;
  let server;
  let agent;
  let browser;
  let guid;
  let envelope;
  let importFolder;

  before(async () => {
    work = await mkdtemp(join(tmpdir(), "tarnaxe-browser-"));
    const data = join(work, "data");
    guid = (await run(DATAUP_SERVER_PATH, ["seed", "--data", data])).stdout.trim();
    envelope = (await run(DATAUP_SERVER_PATH, ["sample-estimate", "--out", join(work, "exports")])).stdout.trim();
    importFolder = join(work, "ccc-import");
    await mkdir(importFolder);
    server = await startServer(data);
    agent = await startAgent({
      settings: `[HostBridge]\nPort=0\n[LocalSettings]\nEMSEstPlatform1=EMS: CCC\nEMSImportPath1=${importFolder}\n`,
    });
    browser = await chromium.launch({
      executablePath: CHROMIUM_PATH,
      // portal.example is another origin on this machine, which the agent does not serve.
      args: ["--host-resolver-rules=MAP portal.example 127.0.0.1"],
    });
    await mkdir(TEST_OUTPUT_DIR, { recursive: true });
  });

  after(async () => {
    await browser?.close();
    await agent?.stop();
    await server?.stop();
    if (work) await rm(work, { recursive: true, force: true });
  });

  it("connects, attaches an estimate, sends it and delivers the assignment", async () => {
    const page = await browser.newPage({ viewport: { width: 1100, height: 900 } });
    const errors = [];
    page.on("pageerror", (error) => errors.push(error.message));
    await page.goto(`${server.url}/portal/?agentPort=${agent.port}`);

    // A string would match "Not connected." too (substring, any case).
    await page.locator("#agent-state", { hasText: /^Connected\.$/ }).waitFor();
    // The page fetches the assignment after it loads: wait for it rather than read at once.
    await page.locator("#claim", { hasText: /CLM-24-000417/ }).waitFor();
    assert.equal(await page.locator("#agent-pid").innerText(), String(agent.pid));
    assert.match(await page.locator("#agent-version").innerText(), /^\d+\.\d+\.\d+$/);

    await page.fill("#envelope", envelope);
    await page.click("#add-estimate");
    const estimates = page.locator('.list[data-list="Estimates"] li');
    await estimates.first().waitFor();
    assert.equal(await estimates.count(), 1);
    assert.match(await estimates.first().innerText(), /0001\.env/);

    await page.click("#send");
    await page.locator("#io-status", { hasText: /^(COMPLETE|ERROR)/ }).waitFor({ timeout: 60000 });
    assert.equal(await page.locator("#io-status").innerText(), "COMPLETE: No Errors");
    const road = await page.locator("#io-road li").allInnerTexts();
    assert.ok(road.some((line) => line.includes("BUSY — Save Collected Information")), road.join("\n"));
    await page.screenshot({ path: join(TEST_OUTPUT_DIR, "portal-after-upload.png"), fullPage: true });

    const transactions = await server.json("/api/transactions");
    assert.equal(transactions.length, 1);
    assert.equal(transactions[0].state, "committed");
    const assignment = await server.json(`/api/assignments/${encodeURIComponent(guid)}`);
    assert.deepEqual(assignment.attachments.map((a) => a.kind), ["ems"]);

    await page.click("#deliver");
    await page.locator("#io-status", { hasText: /^(COMPLETE|ERROR)/ }).waitFor({ timeout: 60000 });
    assert.equal(await page.locator("#io-status").innerText(), "COMPLETE: No Errors");
    assert.deepEqual((await readdir(importFolder)).sort(), [
      "SAMPLE01.ad1", "SAMPLE01.ad2", "SAMPLE01.dbt", "SAMPLE01.env", "SAMPLE01.veh",
    ]);
    assert.deepEqual(errors, []);
    await page.close();
  });

  it("names the refused origin when the page comes from a site the agent does not serve", async () => {
    const page = await browser.newPage();
    await page.goto(`http://portal.example:${server.port}/portal/?agentPort=${agent.port}`);
    await page.locator("#claim", { hasText: /CLM-24-000417/ }).waitFor();
    // Not on this computer's own address: the page waits for a click, as a public page must.
    assert.equal(await page.locator("#agent-state").innerText(), "Not connected.");
    await page.click("#connect");
    const state = page.locator("#agent-state", { hasText: /not allowed/ });
    await state.waitFor();
    assert.match(await state.innerText(), /portal\.example/);
    assert.equal(await page.locator("#send").isDisabled(), true);
    await page.close();
  });

  it("tells the clerk how to start the agent when none runs", async () => {
    const page = await browser.newPage();
    const closed = await closedPort();
    await page.goto(`${server.url}/portal/?agentPort=${closed}`);
    await page.locator("#agent-state", { hasText: "not running" }).waitFor();
    assert.equal(await page.locator("#agent-hint").isVisible(), true);
    assert.equal(await page.locator("#connect").isEnabled(), true);
    await page.close();
  });
});
