// Values on the wire: Dates as local wall-clock text both ways, and what cannot be sent.

import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { decodeValue, encodeValue } from "../src/values.js";

// Away from UTC, so that local and universal time differ by a part of an hour.
process.env.TZ = "Asia/Kolkata";

describe("values", () => {
  it("writes and reads Dates as local time, with milliseconds only when there are some", () => {
    assert.equal(new Date(Date.UTC(2007, 2, 15)).getHours(), 5, "the time zone took effect");
    const early = new Date(2000, 0, 2, 3, 4, 5);
    early.setFullYear(50);
    for (const [date, text] of [
      [new Date(2007, 2, 15), "2007-03-15T00:00:00"],
      [new Date(1999, 11, 31, 23, 59, 59, 7), "1999-12-31T23:59:59.007"],
      [early, "0050-01-02T03:04:05"],
    ]) {
      assert.deepEqual(encodeValue(date), { $date: text });
      assert.equal(decodeValue({ $date: text }).getTime(), date.getTime());
    }
    assert.equal(decodeValue({ $date: "2007-03-15T10:30:05.25" }).getMilliseconds(), 250);
    // A text with its own zone names an instant.
    assert.equal(decodeValue({ $date: "2007-03-15T10:30:05Z" }).getTime(), Date.UTC(2007, 2, 15, 10, 30, 5));
  });

  it("passes the other values as they are, and refuses what the agent cannot hold", () => {
    for (const value of [null, true, false, 0, -1.5, "text"]) {
      assert.equal(encodeValue(value), value);
      assert.equal(decodeValue(value), value);
    }
    assert.equal(encodeValue(undefined), null);
    const tooLate = new Date(2000, 0, 1);
    tooLate.setFullYear(10000);
    for (const value of [Number.NaN, Infinity, -Infinity, 1n, {}, [], Symbol("x"), () => {}, new Date(Number.NaN), tooLate])
      assert.throws(() => encodeValue(value), TypeError, String(value?.toString?.() ?? typeof value));
  });
});
