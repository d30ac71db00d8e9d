// The JavaScript client of the TarnAxe agent: detect it with status(), drive its IO object
// with connect().

export { connect, PROTOCOL_VERSION } from "./client.js";
export { status, DEFAULT_PORT } from "./status.js";
export {
  BridgeError,
  AgentNotRunningError,
  BlockedByBrowserError,
  IframeNotAllowedError,
  HandshakeRefusedError,
  OriginNotAllowedError,
  IOError,
  DisconnectedError,
} from "./errors.js";
export { MEMBERS, EVENTS } from "./members.js";
