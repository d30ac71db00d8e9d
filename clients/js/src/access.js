// What the browser says about the page reaching the loopback address. A public page needs
// the user's permission ("local network access"); a failed fetch or WebSocket looks the same
// whether the browser refused it or nothing listens, so the Permissions API is asked.

// The first one the browser knows is the one asked: Chromium knows all three, but
// "local-network-access" is the one its settings and its DevTools protocol change.
const PERMISSION_NAMES = ["local-network-access", "loopback-network", "local-network"];
const FEATURE = "local-network-access";

// "granted", "prompt" or "denied"; undefined outside a browser, or in one that knows none
// of the names (it does not ask before a page reaches the loopback address).
export async function localNetworkPermission() {
  const permissions = globalThis.navigator?.permissions;
  if (typeof permissions?.query !== "function") return undefined;
  for (const name of PERMISSION_NAMES) {
    try {
      return (await permissions.query({ name })).state;
    } catch {
      // a name this browser does not know: try the next
    }
  }
  return undefined;
}

// Whether the browser asks the user before this page may reach the loopback address. A page
// served from this computer needs no permission, whatever the Permissions API says; neither
// is it asked for an insecure page (which reads "denied", and is either refused outright or,
// on a loopback address under another name, needs none).
export function needsPermission(origin) {
  if (globalThis.isSecureContext !== true) return false;
  const host = new URL(origin).hostname;
  return !(host === "localhost" || host.endsWith(".localhost") || host === "[::1]" || /^127\./.test(host));
}

// In an iframe whose embedder did not delegate the permission, the browser denies it to the
// frame outright. Only a browser that knows the feature can say so; features() guards
// against one that answers false for every feature it does not know.
export function iframeWithoutAccess() {
  const view = globalThis.window;
  if (view === undefined || view.top === view) return false;
  const policy = globalThis.document?.permissionsPolicy ?? globalThis.document?.featurePolicy;
  if (typeof policy?.allowsFeature !== "function" || typeof policy.features !== "function") return false;
  return policy.features().includes(FEATURE) && !policy.allowsFeature(FEATURE);
}
