// The sample claims page: shows the newest assignment of the server that serves the page,
// finds the desktop agent, and drives its IO object through the client module.

import {
  AgentNotRunningError,
  BlockedByBrowserError,
  IframeNotAllowedError,
  OriginNotAllowedError,
  connect,
  status,
} from "/client/index.js";

const LISTS = ["Photos", "PrintDocs", "Files", "Estimates"];
// A worker of the sample office; a real page takes the signed-in user's.
const WORKER_GUID = "{6F1C2B7E-0000-4000-8000-00000000C1A1}";
const WORKER_TYPE = "1";

const params = new URLSearchParams(location.search);
// The agent listens on 29170 unless the office changed it; ?agentPort= overrides.
const agentPort = Number(params.get("agentPort")) || undefined;

const $ = (id) => document.getElementById(id);
let io = null;
let assignment = null;
let refreshing = null;
let refreshAgain = false;
const shownLists = new Map(); // list name -> what is drawn, to redraw only on change

function setAgentState(text, kind = "") {
  $("agent-state").textContent = text;
  $("agent-state").className = `state ${kind}`;
}

function showHint(text) {
  $("agent-hint").textContent = text;
  $("agent-hint").hidden = !text;
}

function setEnabled(enabled) {
  for (const id of ["select-file", "envelope", "add-estimate", "send", "deliver"])
    $(id).disabled = !enabled || (!assignment && (id === "send" || id === "deliver"));
  $("attach-panel").setAttribute("aria-disabled", String(!enabled));
}

async function loadAssignment() {
  try {
    const response = await fetch("/api/assignments");
    if (!response.ok) throw new Error(`HTTP ${response.status}`);
    const list = await response.json();
    assignment = list.at(-1) ?? null;
  } catch (error) {
    $("claim").textContent = `The assignments could not be loaded: ${error.message}`;
    return;
  }
  const claim = $("claim");
  claim.replaceChildren();
  if (!assignment) {
    claim.textContent = "The server holds no assignment (run: dataup-server seed --data DIR).";
    return;
  }
  for (const [label, value] of [
    ["Claim #", assignment.claimNumber],
    ["Policy #", assignment.policyNumber],
    ["Insurance Co", assignment.companyName],
  ]) {
    const b = document.createElement("b");
    b.textContent = `${label}: ${value}`;
    claim.append(b);
  }
  const guid = document.createElement("code");
  guid.id = "assignment-guid";
  guid.textContent = assignment.guid;
  claim.append(guid);
}

async function connectAgent() {
  $("connect").disabled = true;
  showHint("");
  setAgentState("Looking for the agent…");
  try {
    await status({ port: agentPort, timeoutMs: 10000 });
    io = await connect({ port: agentPort, reconnect: true });
  } catch (error) {
    io = null;
    $("connect").disabled = false;
    const [state, hint] = explainUnreachable(error);
    setAgentState(state, "bad");
    showHint(hint);
    return;
  }

  io.on("IOStatus", showIOStatus);
  io.on("PublishInfo", () => refreshLists());
  io.on("disconnected", ({ reconnecting }) => {
    setEnabled(false);
    setAgentState(reconnecting ? "Connection lost; reconnecting…" : "Disconnected.", "bad");
  });
  io.on("reconnected", () => afterConnect().catch(reportError));
  io.on("reconnectFailed", () => {
    setAgentState("The agent went away.", "bad");
    $("connect").disabled = false;
    io = null;
  });
  try {
    await afterConnect();
  } catch (error) {
    reportError(error);
  }
}

// What a clerk reads, and what to do about it, when the agent could not be reached.
function explainUnreachable(error) {
  if (error instanceof BlockedByBrowserError && error.permission === "denied")
    return ["Your browser blocked this page from reaching the TarnAxe agent.",
            "To allow it: click the icon at the left of the address bar, open the settings for " +
            "this site, set \"Apps on device\" (in some browsers \"Local network access\") to " +
            "Allow, then reload this page and press Connect to the agent."];
  if (error instanceof BlockedByBrowserError)
    return ["Your browser did not let this page reach the TarnAxe agent.",
            "Press Connect to the agent again. When the browser asks whether this site may use " +
            "apps on this device, choose Allow."];
  if (error instanceof IframeNotAllowedError) {
    // Nothing the clerk can change: the page that embeds this one must.
    console.error(error.message);
    return ["This page cannot reach the TarnAxe agent from inside another page.",
            "For the website's developer: the iframe that shows this page needs " +
            "allow=\"local-network-access\". Until then, open this page in a tab of its own."];
  }
  if (error instanceof AgentNotRunningError)
    return ["The TarnAxe agent is not running on this computer.",
            "Start it: open the applications menu and choose \"TarnAxe agent\" (no window " +
            "opens; it works in the background, and starts by itself when you sign in). Then " +
            "press Connect to the agent again. If it is not in the menu, ask your office's IT " +
            "person to install it."];
  if (error instanceof OriginNotAllowedError)
    return [`Pages from ${error.origin} are not allowed by the TarnAxe agent on this computer.`,
            "Ask your office's IT person to add this website to the agent's allowed sites " +
            "(AllowedOrigins in its settings)."];
  return [`The agent could not be reached: ${error.message}`, ""];
}

async function afterConnect() {
  if (location.protocol === "https:") await io.setSecure(true);
  await io.Init();
  const [version, pid] = await Promise.all([io.Version(), io.ProcessID()]);
  $("agent-version").textContent = version;
  $("agent-pid").textContent = String(pid);
  $("agent-facts").hidden = false;
  setAgentState("Connected.", "ok");
  setEnabled(true);
  await refreshLists();
}

function reportError(error) {
  const message = $("attach-message");
  message.textContent = error.description ?? error.message;
  message.className = "message bad";
}

function say(text) {
  const message = $("attach-message");
  message.textContent = text;
  message.className = "message";
}

// PublishInfo comes every second; a refresh that is still running takes the next one along.
async function refreshLists() {
  if (!io) return;
  if (refreshing) {
    refreshAgain = true;
    return refreshing;
  }
  refreshing = (async () => {
    do {
      refreshAgain = false;
      for (const list of LISTS) await refreshList(list);
    } while (refreshAgain);
  })();
  try {
    await refreshing;
  } catch (error) {
    reportError(error);
  } finally {
    refreshing = null;
  }
}

async function refreshList(list) {
  const count = await io.TheCountOf(list);
  const items = [];
  for (let i = 1; i <= count; i++) {
    const name = await io.TheNameOf(list, i);
    const caption = list === "Estimates" ? null : await io.TheCaptionOf(list, i);
    items.push({ name, caption: caption ?? "" });
  }
  const drawn = JSON.stringify(items);
  const box = document.querySelector(`.list[data-list="${list}"]`);
  // Never redraw under the user's cursor.
  if (shownLists.get(list) === drawn || box.contains(document.activeElement)) return;
  shownLists.set(list, drawn);
  box.querySelector(".count").textContent = String(items.length);
  const ol = box.querySelector("ol");
  ol.replaceChildren(
    ...items.map((item, index) => {
      const li = document.createElement("li");
      const name = document.createElement("span");
      name.className = "name";
      name.textContent = item.name;
      li.append(name);
      if (list !== "Estimates") {
        const caption = document.createElement("input");
        caption.value = item.caption;
        caption.placeholder = "caption";
        caption.setAttribute("aria-label", `Caption of ${item.name}`);
        caption.addEventListener("change", () =>
          io.setTheCaptionOf(list, index + 1, caption.value).catch(reportError));
        li.append(caption);
      }
      const remove = document.createElement("button");
      remove.type = "button";
      remove.textContent = "Remove";
      remove.addEventListener("click", async () => {
        try {
          await io.ZAPLocalFile(list, index + 1);
          await refreshLists();
        } catch (error) {
          reportError(error);
        }
      });
      li.append(" ", remove);
      return li;
    }),
  );
}

function showIOStatus(status, message) {
  const line = $("io-status");
  line.textContent = `${status}: ${message}`;
  line.className = `io-status ${status}`;
  const step = document.createElement("li");
  step.textContent = `${new Date().toLocaleTimeString()} ${status} — ${message}`;
  $("io-road").append(step);
  if (status !== "BUSY") refreshLists();
}

function startTransfer(label, call) {
  return async () => {
    $("io-road").replaceChildren();
    showIOStatus("STARTED", label);
    try {
      await call();
    } catch (error) {
      reportError(error);
    }
  };
}

$("connect").addEventListener("click", connectAgent);
$("select-file").addEventListener("click", async () => {
  try {
    if (await io.SelectFile()) say("File attached.");
    await refreshLists();
  } catch (error) {
    reportError(error);
  }
});
$("estimate-form").addEventListener("submit", async (event) => {
  event.preventDefault();
  const path = $("envelope").value.trim();
  if (!path) return;
  try {
    const attached = await io.ManualSelectEMS(path);
    say(attached ? "Estimate attached." : "The agent did not attach this estimate.");
    await refreshLists();
  } catch (error) {
    reportError(error);
  }
});
$("send").addEventListener(
  "click",
  startTransfer("Send to server", () =>
    io.MoveFilesToServer(assignment.guid, WORKER_GUID, WORKER_TYPE, location.host)),
);
$("deliver").addEventListener(
  "click",
  startTransfer("Deliver assignment", () => io.DeliverAssignment(assignment.guid, location.host)),
);

await loadAssignment();
// A page on this computer may look for the agent at once; a public https page must wait for
// a click, which lets the browser ask the user about reaching the local agent.
if (["127.0.0.1", "localhost", "[::1]"].includes(location.hostname)) connectAgent();
