// Round trip of one host bridge call through the JavaScript client, from Node against the
// real agent: TheCountOf("Photos") (a get), answered one call after another over one
// loopback WebSocket, as a page that awaits each call; then the same calls with many in
// flight, and the bare WebSocket without the client for comparison. Measured twice, as
// bench/bridge_roundtrip does: with the agent and Node on one CPU, and where the scheduler
// puts them.
// Usage: node bench/bridge_client.mjs [agent-binary]   (default $TARNAXE_PATH, else build/tarnaxe)
// The ws package comes from clients/js (npm ci there) unless Node has a WebSocket of its own.

import { execFileSync, spawnSync } from "node:child_process";
import { availableParallelism } from "node:os";
import { createRequire } from "node:module";
import { fileURLToPath } from "node:url";
import { connect } from "../clients/js/src/index.js";
import { startAgent } from "../clients/js/scripts/agent-process.mjs";

const WARM_UP_CALLS = 500;
const MEASURED_CALLS = 10000;
const IN_FLIGHT = 64;
const TARGET_P50_MS = 0.3;
const TARGET_CALLS_PER_SECOND = 10000;

function webSocket() {
  if (typeof globalThis.WebSocket === "function") return globalThis.WebSocket;
  const require = createRequire(new URL("../clients/js/package.json", import.meta.url));
  return require("ws");
}

function percentile(sortedNs, fraction) {
  return Number(sortedNs[Math.floor(fraction * (sortedNs.length - 1))]) / 1e6;
}

async function sequential(call) {
  for (let i = 0; i < WARM_UP_CALLS; i += 1) await call();
  const latencies = new BigInt64Array(MEASURED_CALLS);
  const start = process.hrtime.bigint();
  for (let i = 0; i < MEASURED_CALLS; i += 1) {
    const before = process.hrtime.bigint();
    await call();
    latencies[i] = process.hrtime.bigint() - before;
  }
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  latencies.sort();
  return {
    p50Ms: percentile(latencies, 0.5),
    p95Ms: percentile(latencies, 0.95),
    p99Ms: percentile(latencies, 0.99),
    callsPerSecond: MEASURED_CALLS / seconds,
  };
}

async function pipelined(call) {
  let started = 0;
  const start = process.hrtime.bigint();
  async function lane() {
    while (started < MEASURED_CALLS) {
      started += 1;
      await call();
    }
  }
  await Promise.all(Array.from({ length: IN_FLIGHT }, lane));
  return MEASURED_CALLS / (Number(process.hrtime.bigint() - start) / 1e9);
}

// The same call over a bare WebSocket: what the client adds is the difference.
async function bare(WebSocketImpl, url) {
  const socket = new WebSocketImpl(url);
  await new Promise((resolve, reject) => {
    socket.addEventListener("open", resolve);
    socket.addEventListener("error", () => reject(new Error(`cannot connect to ${url}`)));
  });
  let id = 0;
  let waiting = null;
  socket.addEventListener("message", (event) => waiting(String(event.data)));
  const call = () =>
    new Promise((resolve, reject) => {
      id += 1;
      const expected = `{"id":${id},"result":`;
      waiting = (text) => (text.startsWith(expected) ? resolve() : reject(new Error(`unexpected answer ${text}`)));
      socket.send(JSON.stringify({ id, member: "TheCountOf", kind: "get", args: ["Photos"] }));
    });
  const result = await sequential(call);
  socket.close();
  return result;
}

async function measure(binary) {
  const agent = await startAgent({ binary });
  try {
    const WebSocketImpl = webSocket();
    const io = await connect({ url: agent.url, WebSocket: WebSocketImpl });
    const check = await io.TheCountOf("Photos");
    if (check !== 0) throw new Error(`TheCountOf("Photos") answered ${check}`);
    const client = await sequential(() => io.TheCountOf("Photos"));
    client.pipelinedCallsPerSecond = await pipelined(() => io.TheCountOf("Photos"));
    await io.close();
    return { client, bare: await bare(WebSocketImpl, agent.url) };
  } finally {
    await agent.stop();
  }
}

function print(title, { client, bare: raw }) {
  const mark = (ok) => (ok ? "met" : "MISSED");
  console.log(`  ${title}`);
  console.log(`    p50   ${client.p50Ms.toFixed(3).padStart(8)} ms       target below ${TARGET_P50_MS} ms: ${mark(client.p50Ms < TARGET_P50_MS)}`);
  console.log(`    p95   ${client.p95Ms.toFixed(3).padStart(8)} ms`);
  console.log(`    p99   ${client.p99Ms.toFixed(3).padStart(8)} ms`);
  console.log(
    `    rate  ${client.callsPerSecond.toFixed(0).padStart(8)} calls/s  target ${TARGET_CALLS_PER_SECOND} calls/s: ` +
      mark(client.callsPerSecond >= TARGET_CALLS_PER_SECOND),
  );
  console.log(`    rate  ${client.pipelinedCallsPerSecond.toFixed(0).padStart(8)} calls/s  with ${IN_FLIGHT} calls in flight`);
  console.log(
    `    bare WebSocket, no client: p50 ${raw.p50Ms.toFixed(3)} ms, p95 ${raw.p95Ms.toFixed(3)} ms, ` +
      `${raw.callsPerSecond.toFixed(0)} calls/s`,
  );
}

function defaultBinary() {
  if (process.env.TARNAXE_PATH) return process.env.TARNAXE_PATH;
  return fileURLToPath(new URL("../build/tarnaxe", import.meta.url));
}

// Runs one measurement in a child Node, pinned with taskset when cpu is given; the agent it
// starts inherits the pinning.
function measureInChild(binary, cpu) {
  const self = fileURLToPath(import.meta.url);
  const command = cpu === undefined ? [process.execPath] : ["taskset", "-c", String(cpu), process.execPath];
  const result = spawnSync(command[0], [...command.slice(1), self, "--measure", binary], {
    encoding: "utf8",
    stdio: ["ignore", "pipe", "inherit"],
  });
  if (result.status !== 0) throw new Error(`the measurement failed (${result.error?.message ?? result.status})`);
  return JSON.parse(result.stdout);
}

function hasTaskset() {
  try {
    execFileSync("taskset", ["-p", String(process.pid)], { stdio: "ignore" });
    return true;
  } catch {
    return false;
  }
}

async function main() {
  const args = process.argv.slice(2);
  if (args[0] === "--measure") {
    process.stdout.write(JSON.stringify(await measure(args[1])));
    return;
  }
  const binary = args[0] ?? defaultBinary();
  const oneCpu = hasTaskset() && availableParallelism() > 1 ? measureInChild(binary, 0) : null;
  const anyCpu = measureInChild(binary);
  console.log(
    `bridge_client: ${MEASURED_CALLS} calls of TheCountOf (get) through the JavaScript client (Node ${process.versions.node}), ` +
      `one at a time, after ${WARM_UP_CALLS} warm-up calls`,
  );
  if (oneCpu) print("agent and client on one CPU", oneCpu);
  print("agent and client where the scheduler puts them", anyCpu);
}

main().catch((error) => {
  console.error(`bridge_client: ${error.message}`);
  process.exitCode = 1;
});
