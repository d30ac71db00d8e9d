// How IO's members become functions of the client object. The generator and the client
// both follow these rules, so that the declarations and the object always agree.

// The client's own events, besides IO's.
export const CLIENT_EVENTS = Object.freeze(["disconnected", "reconnecting", "reconnected", "reconnectFailed"]);

// Names the client object uses itself; a member that mapped onto one would hide it. "then"
// would make the object look like a promise to await.
const RESERVED = new Set(["on", "off", "close", "call", "describe", "url", "connected", "then",
  ...Object.getOwnPropertyNames(Object.prototype)]);

const PARAM_TYPES = new Set(["variant", "string", "int16", "int32", "boolean"]);
const RESULT_TYPES = new Set(["", ...PARAM_TYPES]);
const KINDS = new Set(["method", "get", "put"]);
const IDENTIFIER = /^[A-Za-z_$][A-Za-z0-9_$]*$/;

// A method and a property get keep the member's name (a get is called like a method, with
// its index arguments); a property put is "set" + the name, with the value last.
export function functionName(member) {
  return member.kind === "put" ? `set${member.name}` : member.name;
}

export function hasByRef(member) {
  return member.params.some((param) => param.byref);
}

// Arguments by reference at the end of the list may be left out; they are sent as Empty.
export function requiredArgumentCount(member) {
  let count = member.params.length;
  while (count > 0 && member.params[count - 1].byref) count -= 1;
  return count;
}

// Every reason why an interface cannot be mapped onto a client object; empty when it can.
export function interfaceProblems(description) {
  const problems = [];
  const members = description?.members;
  const events = description?.events;
  if (!Array.isArray(members) || !Array.isArray(events))
    return ["the interface has no members or no events list"];
  const functions = new Map();
  let lastSlot = 0;
  for (const member of members) {
    const where = `member ${JSON.stringify(member?.name)} (slot ${member?.slot})`;
    if (typeof member?.name !== "string" || !IDENTIFIER.test(member.name)) {
      problems.push(`${where}: the name is not a JavaScript identifier`);
      continue;
    }
    if (!Number.isInteger(member.slot) || member.slot <= lastSlot)
      problems.push(`${where}: slots must be whole numbers in ascending order`);
    lastSlot = member.slot;
    if (!KINDS.has(member.kind)) problems.push(`${where}: unknown kind ${JSON.stringify(member.kind)}`);
    if (!RESULT_TYPES.has(member.result))
      problems.push(`${where}: unknown result type ${JSON.stringify(member.result)}`);
    if (!Array.isArray(member.params)) {
      problems.push(`${where}: no parameter list`);
      continue;
    }
    const names = new Set();
    for (const param of member.params) {
      if (typeof param?.name !== "string" || !IDENTIFIER.test(param.name))
        problems.push(`${where}: parameter ${JSON.stringify(param?.name)} is not an identifier`);
      else if (names.has(param.name)) problems.push(`${where}: parameter ${param.name} twice`);
      else if (param.byref && param.name === "result")
        problems.push(`${where}: a parameter by reference called "result" would hide the result`);
      names.add(param?.name);
      if (!PARAM_TYPES.has(param?.type))
        problems.push(`${where}: parameter ${param?.name} has unknown type ${JSON.stringify(param?.type)}`);
      if (typeof param?.byref !== "boolean") problems.push(`${where}: parameter ${param?.name} lacks byref`);
    }
    if (member.kind === "put" && member.params.length === 0)
      problems.push(`${where}: a property put needs its value parameter`);
    const name = functionName(member);
    if (RESERVED.has(name)) problems.push(`${where}: ${name} is a name of the client object itself`);
    if (functions.has(name))
      problems.push(`${where}: ${name} is already the function of slot ${functions.get(name)}`);
    functions.set(name, member.slot);
  }
  const eventNames = new Set();
  for (const event of events) {
    if (typeof event?.name !== "string" || !IDENTIFIER.test(event.name))
      problems.push(`event ${JSON.stringify(event?.name)}: the name is not an identifier`);
    else if (CLIENT_EVENTS.includes(event.name) || eventNames.has(event.name))
      problems.push(`event ${event.name}: the name is taken`);
    eventNames.add(event?.name);
    if (!Array.isArray(event?.params) || !event.params.every((p) => typeof p === "string" && IDENTIFIER.test(p)))
      problems.push(`event ${event?.name}: parameters must be a list of identifiers`);
  }
  return problems;
}
