// The JavaScript client of the TarnAxe agent: detect it with status(), drive its IO object
// with connect(). The members themselves are declared in members.d.ts, generated from the
// agent's own description of its interface.

import type { IOEvents, IOMembers } from "./members.js";

export type { IOEvents, IOMembers, GetBasicEstimateInfoResult } from "./members.js";
export { MEMBERS, EVENTS } from "./members.js";

/**
 * A value IO takes and gives: null is Empty; a whole number in 32 bits arrives as a Long,
 * any other number as a Double; a Date travels in local time.
 */
export type Value = null | boolean | number | string | Date;

/** The bridge's default port on 127.0.0.1. */
export declare const DEFAULT_PORT: 29170;
/** The bridge protocol this client speaks; status() tells the agent's. */
export declare const PROTOCOL_VERSION: number;

export interface MemberDescription {
  readonly slot: number;
  readonly name: string;
  readonly kind: "method" | "get" | "put";
  readonly params: readonly {
    readonly name: string;
    readonly type: "variant" | "string" | "int16" | "int32" | "boolean";
    readonly byref: boolean;
  }[];
  readonly result: "" | "variant" | "string" | "int16" | "int32" | "boolean";
}

export interface EventDescription {
  readonly name: string;
  readonly params: readonly string[];
}

/** The $describe answer: the members in slot order and the events. */
export interface InterfaceDescription {
  members: MemberDescription[];
  events: EventDescription[];
}

/**
 * The page's permission to reach the loopback address ("local-network-access"), as the
 * browser's Permissions API answers it.
 */
export type LocalNetworkPermission = "granted" | "prompt" | "denied";

export interface AgentStatus {
  /** "TarnAxe" */
  name: string;
  /** The agent's version, e.g. "4.0.6". */
  version: string;
  /** The bridge protocol version; compare with PROTOCOL_VERSION. */
  protocol: number;
  /** The page's local network access permission; absent outside a browser or where unknown. */
  permission?: LocalNetworkPermission;
}

export interface AddressOptions {
  /** Port on 127.0.0.1; 29170 by default. */
  port?: number;
  /** The whole address instead, e.g. "ws://127.0.0.1:29170" (http: and https: are taken too). */
  url?: string | { readonly href: string };
}

/** What the client needs of fetch; the global fetch of browsers and Node is one. */
export type FetchFunction = (
  url: string,
  init?: { signal?: any; mode?: "no-cors" },
) => Promise<{ readonly ok: boolean; readonly status: number; json(): Promise<any>; text(): Promise<string> }>;

export interface StatusOptions extends AddressOptions {
  /** Give up after this long; no limit by default (a browser may be asking the user). */
  timeoutMs?: number;
  /** A fetch of one's own; the global fetch by default. */
  fetch?: FetchFunction;
}

/**
 * Fetches GET /status. Rejects with AgentNotRunningError when nothing (or something else)
 * answers, and in a browser with BlockedByBrowserError when the browser refused the page
 * local network access, IframeNotAllowedError when the page's iframe lacks
 * allow="local-network-access", OriginNotAllowedError when the agent runs but does not serve
 * the page's origin.
 */
export declare function status(options?: StatusOptions): Promise<AgentStatus>;

export interface ReconnectOptions {
  /** Wait before the first attempt; 250 ms by default. */
  initialDelayMs?: number;
  /** The longest wait between attempts; 5000 ms by default. */
  maxDelayMs?: number;
  /** Each wait is the last one times this; 2 by default. */
  factor?: number;
  /** Attempts before giving up (reconnectFailed); unlimited by default. */
  maxAttempts?: number;
}

/** A WebSocket constructor: the browser's, Node 22's, or the ws package's. */
export type WebSocketConstructor = new (url: string) => {
  readonly readyState: number;
  send(data: string): void;
  close(code?: number, reason?: string): void;
  addEventListener(type: string, listener: (event: any) => void): void;
};

export interface ConnectOptions extends AddressOptions {
  /** The WebSocket to use; globalThis.WebSocket by default (absent on Node 18 and 20). */
  WebSocket?: WebSocketConstructor;
  /** Reconnect with back-off when an open connection drops; off by default. */
  reconnect?: boolean | ReconnectOptions;
  /** Used to ask /status why a connection failed, where the WebSocket does not say. */
  fetch?: FetchFunction;
}

export interface DisconnectInfo {
  /** The WebSocket close code: 1006 when the agent went away without a word. */
  code: number;
  reason: string;
  /** Whether the client now tries to reconnect. */
  reconnecting: boolean;
}

export interface ReconnectingInfo {
  /** 1 for the first attempt after a drop. */
  attempt: number;
  /** How long the client waits before this attempt. */
  delayMs: number;
}

/** The client's own events, besides IO's. */
export interface ClientEvents {
  /** The open connection dropped; every pending call has been rejected with DisconnectedError. */
  disconnected: (info: DisconnectInfo) => void;
  /** A reconnect attempt is about to be made. */
  reconnecting: (info: ReconnectingInfo) => void;
  /** Connected again (and Init called again if the page had called it). */
  reconnected: () => void;
  /** Reconnecting gave up after maxAttempts; the client is closed. */
  reconnectFailed: (error: Error) => void;
}

export type EventHandlers = IOEvents & ClientEvents;

export interface IOClient {
  /** The bridge's address. */
  readonly url: string;
  /** Whether calls can be made now. */
  readonly connected: boolean;
  on<E extends keyof EventHandlers>(event: E, handler: EventHandlers[E]): this;
  /** Removes one handler, or every handler of the event when none is given. */
  off<E extends keyof EventHandlers>(event: E, handler?: EventHandlers[E]): this;
  /** Any member by name and kind, as the bridge takes it; resolves to the decoded result. */
  call(member: string, args?: readonly Value[], kind?: "method" | "get" | "put"): Promise<Value>;
  /** The agent's $describe answer. */
  describe(): Promise<InterfaceDescription>;
  /** Closes the connection; pending calls are rejected with DisconnectedError. */
  close(): Promise<void>;
}

/** The connection to the agent's IO object: one function per member, and the events. */
export type IO = IOClient & IOMembers;

/**
 * Opens the bridge. Rejects with AgentNotRunningError, BlockedByBrowserError,
 * IframeNotAllowedError, OriginNotAllowedError or HandshakeRefusedError.
 */
export declare function connect(options?: ConnectOptions): Promise<IO>;

export declare class BridgeError extends Error {}

export declare class AgentNotRunningError extends BridgeError {
  readonly code: "AGENT_NOT_RUNNING";
  /** The address that was tried. */
  readonly url: string;
  /** The permission the browser reported (then "granted"), when it reported one. */
  readonly permission?: LocalNetworkPermission;
}

/** The browser refused the page local network access: allowed in the site's settings. */
export declare class BlockedByBrowserError extends BridgeError {
  readonly code: "BLOCKED_BY_BROWSER";
  readonly url: string;
  readonly origin: string;
  /** "denied": the site's setting blocks it; "prompt": the user did not allow it when asked. */
  readonly permission: "denied" | "prompt";
}

/** The page runs in an iframe without allow="local-network-access": fixed by the embedding page. */
export declare class IframeNotAllowedError extends BridgeError {
  readonly code: "IFRAME_NOT_ALLOWED";
  readonly url: string;
  readonly origin: string;
}

export declare class HandshakeRefusedError extends BridgeError {
  readonly code: "HANDSHAKE_REFUSED" | "ORIGIN_NOT_ALLOWED";
  readonly url: string;
  /** The HTTP status of the refusal; undefined where the platform hides it (browsers). */
  readonly status: number | undefined;
  /** The agent's reason, e.g. "Origin https://x.example is not allowed"; undefined where hidden. */
  readonly reason: string | undefined;
}

export declare class OriginNotAllowedError extends HandshakeRefusedError {
  readonly code: "ORIGIN_NOT_ALLOWED";
  /** The origin the agent does not serve. */
  readonly origin: string | undefined;
}

export declare class IOError extends BridgeError {
  constructor(number: number, description: string, member?: string);
  /** 6 Overflow, 13 Type mismatch, 438 no such member, 445 not supported, 450 wrong arguments; -1 not a call. */
  readonly number: number;
  readonly description: string;
  /** The member that was called. */
  readonly member: string | undefined;
}

export declare class DisconnectedError extends BridgeError {
  /** The close code of the connection that dropped, when one did. */
  readonly code: number | undefined;
  readonly reason: string | undefined;
}
