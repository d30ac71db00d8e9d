// What the browser tests share: the reference server serving the sample page and the
// client module, and where the binaries and screenshots are.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import { createServer } from "node:net";
import { join } from "node:path";

export const top = new URL("../..", import.meta.url).pathname;
export const { DATAUP_SERVER_PATH = join(top, "build/dataup-server"), CHROMIUM_PATH = "/usr/bin/chromium",
  TEST_OUTPUT_DIR = join(top, "build/test-output/browser") } = process.env;

// The reference server on a free port; extra arguments (TLS) go before the static folders.
export async function startServer(dataDir, extra = []) {
  const child = spawn(DATAUP_SERVER_PATH, ["--data", dataDir, "--listen", "127.0.0.1:0", ...extra, "--static",
    join(top, "examples/portal"), "--static", `/client/=${join(top, "clients/js/src")}`], { stdio: ["ignore", "pipe", "inherit"] });
  // "dataup-server listening on http(s)://127.0.0.1:PORT", then silence.
  const [line] = await Promise.race([once(child.stdout, "data"), once(child, "exit").then(() => assert.fail("no dataup-server"))]);
  const port = Number(/:(\d+)\s*$/.exec(line)[1]);
  return {
    port,
    url: `http://127.0.0.1:${port}`,
    async json(path) {
      const response = await fetch(`http://127.0.0.1:${port}${path}`);
      assert.equal(response.status, 200, path);
      return response.json();
    },
    stop: () => child.exitCode !== null || (child.kill("SIGTERM") && once(child, "exit")),
  };
}

// A loopback port that nothing listens on: bound, noted and released.
export async function closedPort() {
  const probe = createServer().listen(0, "127.0.0.1");
  await once(probe, "listening");
  const { port } = probe.address();
  probe.close();
  await once(probe, "close");
  return port;
}
