// The real tarnaxe binary, started for the generator, the tests and the benchmark in a
// throw-away home, on the port its settings name (0: one it chooses and reports).

import { spawn } from "node:child_process";
import { chmod, mkdir, mkdtemp, rm, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { join } from "node:path";

const READY = /^TarnAxe listening on ws:\/\/127\.0\.0\.1:(\d+)$/m;
const KEPT_OUTPUT = 16 * 1024;

export function agentBinary() {
  const path = process.env.TARNAXE_PATH;
  if (!path)
    throw new Error("TARNAXE_PATH must name the tarnaxe binary to test against (e.g. build/tarnaxe)");
  return path;
}

// A home with HOME and the XDG folders inside it, and the settings file written.
export async function makeHome(settings) {
  const path = await mkdtemp(join(tmpdir(), "tarnaxe-js-"));
  const folders = {
    HOME: path,
    XDG_CONFIG_HOME: join(path, ".config"),
    XDG_CACHE_HOME: join(path, ".cache"),
    XDG_STATE_HOME: join(path, ".local", "state"),
    XDG_DATA_HOME: join(path, ".local", "share"),
    XDG_RUNTIME_DIR: join(path, "run"),
  };
  for (const folder of Object.values(folders)) await mkdir(folder, { recursive: true });
  await chmod(folders.XDG_RUNTIME_DIR, 0o700);
  await mkdir(join(folders.XDG_CONFIG_HOME, "TarnAxe"), { recursive: true });
  await writeFile(join(folders.XDG_CONFIG_HOME, "TarnAxe", "TarnLocal.ini"), settings);
  return {
    path,
    env: folders,
    remove: () => rm(path, { recursive: true, force: true }),
  };
}

// Starts the agent and waits for its ready line. settings is the whole TarnLocal.ini;
// port, when given, replaces it with "[HostBridge]\nPort=<port>\n".
export async function startAgent({
  binary = agentBinary(),
  port,
  settings = `[HostBridge]\nPort=${port ?? 0}\n`,
  env = {},
  timeoutMs = 20000,
} = {}) {
  const home = await makeHome(settings);
  const child = spawn(binary, [], {
    env: { ...process.env, ...home.env, QT_QPA_PLATFORM: "offscreen", ...env },
    stdio: ["ignore", "pipe", "pipe"],
  });
  let stdout = "";
  let stderr = "";
  child.stdout.setEncoding("utf8");
  child.stderr.setEncoding("utf8");
  // Both are drained all the time: the agent logs to stderr, and a full pipe would stop it.
  child.stderr.on("data", (chunk) => {
    stderr = (stderr + chunk).slice(-KEPT_OUTPUT);
  });
  const exited = new Promise((resolve) => child.once("exit", (code, signal) => resolve({ code, signal })));

  const agentPort = await new Promise((resolve, reject) => {
    let settled = false;
    const timer = setTimeout(() => fail(`the agent did not become ready in ${timeoutMs} ms`), timeoutMs);
    function fail(why) {
      if (settled) return;
      settled = true;
      clearTimeout(timer);
      child.kill("SIGKILL");
      reject(new Error(`${binary}: ${why}\n${stderr}`));
    }
    child.once("error", (error) => fail(error.message));
    exited.then(({ code, signal }) => fail(`the agent exited (${signal ?? code})`));
    child.stdout.on("data", (chunk) => {
      stdout = (stdout + chunk).slice(-KEPT_OUTPUT);
      const match = READY.exec(stdout);
      if (match && !settled) {
        settled = true;
        clearTimeout(timer);
        resolve(Number(match[1]));
      }
    });
  }).catch(async (error) => {
    await home.remove();
    throw error;
  });

  async function end(signal) {
    if (child.exitCode === null && child.signalCode === null) child.kill(signal);
    const timer = setTimeout(() => child.kill("SIGKILL"), 5000);
    const result = await exited;
    clearTimeout(timer);
    return result;
  }

  return {
    port: agentPort,
    url: `ws://127.0.0.1:${agentPort}`,
    pid: child.pid,
    home,
    process: child,
    exited,
    stderr: () => stderr,
    // SIGTERM lets the agent close its connections and undo what it changed.
    stop: async () => {
      const result = await end("SIGTERM");
      await home.remove();
      return result;
    },
    // As a crash: the connections drop without a closing handshake.
    kill: async () => {
      const result = await end("SIGKILL");
      await home.remove();
      return result;
    },
  };
}
