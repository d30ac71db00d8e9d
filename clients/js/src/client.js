// The connection to the agent's IO object: one function per member, IO's events, and the
// handling of a connection that drops.

import { DisconnectedError, IOError } from "./errors.js";
import { openSocket } from "./handshake.js";
import { CLIENT_EVENTS, functionName, hasByRef, requiredArgumentCount } from "./mapping.js";
import { EVENTS, MEMBERS } from "./members.js";
import { bridgeUrl } from "./status.js";
import { decodeValue, encodeValue } from "./values.js";

export const PROTOCOL_VERSION = 1;

const CLOSED = 3; // WebSocket.CLOSED, not defined on every implementation's constructor
const INVOKE = Symbol("invoke");
const START = Symbol("start");
const IO_EVENT_NAMES = new Set(EVENTS.map((event) => event.name));
const EVENT_NAMES = new Set([...IO_EVENT_NAMES, ...CLIENT_EVENTS]);
// PublishInfo is raised only to an IO object that has been through Init.
const INIT = MEMBERS.find((member) => member.name === "Init" && member.kind === "method");

const RECONNECT_DEFAULTS = Object.freeze({
  initialDelayMs: 250,
  maxDelayMs: 5000,
  factor: 2,
  maxAttempts: Infinity,
});

function reconnectOptions(value) {
  if (!value) return null;
  const options = { ...RECONNECT_DEFAULTS, ...(value === true ? {} : value) };
  const { initialDelayMs, maxDelayMs, factor, maxAttempts } = options;
  if (!(initialDelayMs >= 0) || !(maxDelayMs >= initialDelayMs) || !(factor >= 1) || !(maxAttempts >= 1))
    throw new TypeError("reconnect: initialDelayMs >= 0, maxDelayMs >= initialDelayMs, factor >= 1, maxAttempts >= 1");
  return options;
}

function reportLater(error) {
  // As an event target does: one failing handler neither stops the others nor the client.
  if (typeof globalThis.reportError === "function") globalThis.reportError(error);
  else
    setTimeout(() => {
      throw error;
    });
}

class Client {
  #url;
  #WebSocket;
  #fetch;
  #reconnect;
  #socket = null;
  #state = "connecting"; // then "open", "reconnecting" or "closed"
  #pending = new Map(); // id -> { resolve, reject, member }, oldest first
  #nextId = 1;
  #handlers = new Map();
  #closing = false;
  #closed = null;
  #initialised = false;
  #cancelWait = null;

  constructor(url, WebSocketImpl, reconnect, fetchImpl) {
    this.#url = url;
    this.#WebSocket = WebSocketImpl;
    this.#reconnect = reconnect;
    this.#fetch = fetchImpl;
  }

  get url() {
    return this.#url;
  }

  get connected() {
    return this.#state === "open";
  }

  on(event, handler) {
    this.#checkEvent(event);
    if (typeof handler !== "function") throw new TypeError("The handler must be a function");
    if (!this.#handlers.has(event)) this.#handlers.set(event, new Set());
    this.#handlers.get(event).add(handler);
    return this;
  }

  off(event, handler) {
    this.#checkEvent(event);
    if (handler === undefined) this.#handlers.delete(event);
    else this.#handlers.get(event)?.delete(handler);
    return this;
  }

  // Any member by name, as the bridge takes it: the escape hatch for members this client
  // was not generated with.
  call(member, args = [], kind = "method") {
    let sent;
    try {
      sent = Array.from(args, encodeValue);
    } catch (error) {
      return Promise.reject(error);
    }
    return this.#request({ member, kind, args: sent }, member).then((answer) => decodeValue(answer.result));
  }

  describe() {
    return this.call("$describe");
  }

  close() {
    if (this.#closed) return this.#closed;
    this.#closing = true;
    this.#state = "closed";
    this.#cancelWait?.();
    this.#rejectPending(new DisconnectedError("The connection was closed by close()"));
    const socket = this.#socket;
    this.#closed = new Promise((resolve) => {
      if (!socket || socket.readyState === CLOSED) {
        resolve();
        return;
      }
      socket.addEventListener("close", () => resolve());
      socket.close(1000);
    });
    return this.#closed;
  }

  async [START]() {
    this.#attach(await this.#open());
  }

  [INVOKE](member, args) {
    let sent;
    try {
      sent = this.#arguments(member, args);
    } catch (error) {
      return Promise.reject(error);
    }
    const frame = { slot: member.slot, member: member.name, kind: member.kind, args: sent };
    return this.#request(frame, member.name).then((answer) => {
      if (member === INIT) this.#initialised = true;
      const result = member.result === "" ? undefined : decodeValue(answer.result);
      if (!hasByRef(member)) return result;
      const values = Array.isArray(answer.byref) ? answer.byref : sent;
      const shaped = { result };
      member.params.forEach((param, i) => {
        shaped[param.name] = decodeValue(values[i] ?? null);
      });
      return shaped;
    });
  }

  #arguments(member, args) {
    const sent = Array.from(args, encodeValue);
    // Arguments by reference left out at the end are Empty; any other count is sent as it
    // is, for the agent to answer 450.
    if (sent.length >= requiredArgumentCount(member))
      while (sent.length < member.params.length) sent.push(null);
    return sent;
  }

  #checkEvent(event) {
    if (!EVENT_NAMES.has(event))
      throw new TypeError(`Unknown event ${JSON.stringify(event)}: expected one of ${[...EVENT_NAMES].join(", ")}`);
  }

  #emit(event, args) {
    const handlers = this.#handlers.get(event);
    if (!handlers) return;
    for (const handler of [...handlers]) {
      try {
        handler.apply(this, args);
      } catch (error) {
        reportLater(error);
      }
    }
  }

  #request(frame, member) {
    if (this.#state !== "open") {
      return Promise.reject(
        new DisconnectedError(
          this.#state === "closed" ? "The connection to the agent is closed" : "Not connected to the agent (reconnecting)",
        ),
      );
    }
    const id = this.#nextId++;
    return new Promise((resolve, reject) => {
      this.#pending.set(id, { resolve, reject, member });
      try {
        this.#socket.send(JSON.stringify({ id, ...frame }));
      } catch (error) {
        this.#pending.delete(id);
        reject(error);
      }
    });
  }

  #onMessage(data) {
    if (typeof data !== "string") return; // the agent sends text frames only
    let message;
    try {
      message = JSON.parse(data);
    } catch {
      return;
    }
    if (message === null || typeof message !== "object") return;
    if (typeof message.event === "string") {
      // Only IO's events: an event the client was not generated with has no handlers, and
      // must not reach those of the client's own events.
      if (IO_EVENT_NAMES.has(message.event))
        this.#emit(message.event, Array.isArray(message.args) ? message.args.map(decodeValue) : []);
      return;
    }
    let id = message.id;
    if (id === null) {
      // The agent could not read a call as a call; it answers in order, so this is the
      // oldest one still waiting.
      const oldest = this.#pending.keys().next();
      if (oldest.done) return;
      id = oldest.value;
    }
    const entry = this.#pending.get(id);
    if (!entry) return;
    this.#pending.delete(id);
    if (message.error) {
      const { number, description } = message.error;
      entry.reject(new IOError(number, description, entry.member));
    } else {
      entry.resolve(message);
    }
  }

  #rejectPending(error) {
    const entries = [...this.#pending.values()];
    this.#pending.clear();
    for (const entry of entries) entry.reject(error);
  }

  #open() {
    return openSocket(this.#WebSocket, this.#url, this.#fetch);
  }

  #attach(socket) {
    this.#socket = socket;
    this.#state = "open";
    socket.addEventListener("message", (event) => this.#onMessage(event.data));
    socket.addEventListener("close", (event) => {
      if (socket === this.#socket) this.#dropped(event.code, event.reason);
    });
  }

  #dropped(code, reason) {
    this.#socket = null;
    const reconnecting = !this.#closing && this.#reconnect !== null;
    this.#state = reconnecting ? "reconnecting" : "closed";
    this.#rejectPending(
      new DisconnectedError(`The connection to the agent dropped (code ${code}${reason ? `: ${reason}` : ""})`, {
        code,
        reason,
      }),
    );
    if (this.#closing) return;
    this.#emit("disconnected", [{ code, reason, reconnecting }]);
    if (reconnecting) this.#reconnectLoop();
  }

  async #reconnectLoop() {
    const { initialDelayMs, maxDelayMs, factor, maxAttempts } = this.#reconnect;
    let delayMs = initialDelayMs;
    let lastError;
    for (let attempt = 1; attempt <= maxAttempts; attempt += 1) {
      this.#emit("reconnecting", [{ attempt, delayMs }]);
      await this.#wait(delayMs);
      if (this.#closing) return;
      let socket;
      try {
        socket = await this.#open();
      } catch (error) {
        // A page that closed the client meanwhile hears nothing more from this loop.
        if (this.#closing) return;
        lastError = error;
        delayMs = Math.min(delayMs * factor, maxDelayMs);
        continue;
      }
      if (this.#closing) {
        socket.close(1000);
        return;
      }
      this.#attach(socket);
      // The new connection is a new IO object: one the page had initialised is initialised
      // again, so that PublishInfo keeps coming.
      if (this.#initialised && INIT) await this[INVOKE](INIT, []).catch(() => {});
      // It may have dropped again meanwhile; that drop has started a loop of its own.
      if (this.#socket === socket) this.#emit("reconnected", []);
      return;
    }
    this.#state = "closed";
    this.#emit("reconnectFailed", [lastError]);
  }

  #wait(ms) {
    return new Promise((resolve) => {
      const timer = setTimeout(() => {
        this.#cancelWait = null;
        resolve();
      }, ms);
      this.#cancelWait = () => {
        clearTimeout(timer);
        this.#cancelWait = null;
        resolve();
      };
    });
  }
}

for (const member of MEMBERS) {
  const name = functionName(member);
  // Named through an object literal, so that stack traces show the member.
  const fn = {
    [name](...args) {
      return this[INVOKE](member, args);
    },
  }[name];
  Object.defineProperty(fn, "length", { value: member.params.length });
  Object.defineProperty(Client.prototype, name, { value: fn, writable: true, configurable: true });
}

export async function connect(options = {}) {
  const WebSocketImpl = options.WebSocket ?? globalThis.WebSocket;
  if (typeof WebSocketImpl !== "function")
    throw new TypeError("No WebSocket: pass {WebSocket} to connect(), e.g. the ws package's, on Node before 22");
  const client = new Client(bridgeUrl(options), WebSocketImpl, reconnectOptions(options.reconnect), options.fetch);
  await client[START]();
  return client;
}
