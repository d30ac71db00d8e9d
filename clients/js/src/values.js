// Values on the wire: null is Empty, booleans, numbers and strings are themselves, and a
// Date travels as {"$date": "yyyy-MM-ddTHH:mm:ss[.zzz]"} in local time, the way the agent
// holds every date.

const DATE_TEXT = /^(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(?:\.(\d{1,3}))?$/;

function pad(number, width) {
  return String(number).padStart(width, "0");
}

function localDateText(date) {
  let text =
    `${pad(date.getFullYear(), 4)}-${pad(date.getMonth() + 1, 2)}-${pad(date.getDate(), 2)}` +
    `T${pad(date.getHours(), 2)}:${pad(date.getMinutes(), 2)}:${pad(date.getSeconds(), 2)}`;
  if (date.getMilliseconds() !== 0) text += `.${pad(date.getMilliseconds(), 3)}`;
  return text;
}

export function encodeValue(value) {
  if (value === undefined || value === null) return null;
  switch (typeof value) {
    case "boolean":
    case "string":
      return value;
    case "number":
      // JSON would turn these into null, which the agent takes for Empty: say so instead.
      if (!Number.isFinite(value)) throw new TypeError(`Cannot send ${value} to the agent`);
      return value;
    case "object":
      if (value instanceof Date) {
        const year = value.getFullYear();
        if (Number.isNaN(value.getTime()) || year < 1 || year > 9999)
          throw new TypeError("Cannot send an invalid Date (or one outside the years 1 to 9999)");
        return { $date: localDateText(value) };
      }
      break;
    default:
      break;
  }
  const what = typeof value === "object" ? (value.constructor?.name ?? "object") : typeof value;
  throw new TypeError(
    `Cannot send a value of type ${what}: the agent takes null, booleans, numbers, strings and Dates`,
  );
}

export function decodeValue(value) {
  if (value !== null && typeof value === "object" && typeof value.$date === "string") {
    const match = DATE_TEXT.exec(value.$date);
    if (!match) return new Date(value.$date); // carries its own zone
    const [, y, mo, d, h, mi, s, ms = "0"] = match;
    const date = new Date(Number(y), Number(mo) - 1, Number(d), Number(h), Number(mi), Number(s),
      Number(ms.padEnd(3, "0")));
    // The Date constructor takes years 0 to 99 for 1900 to 1999.
    if (Number(y) < 100) date.setFullYear(Number(y));
    return date;
  }
  return value;
}
