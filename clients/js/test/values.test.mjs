// Values on the wire: Dates as local wall-clock text both ways, and what cannot be sent.

import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { decodeValue, encodeValue } from "../src/values.js";

// Away from UTC, so that local and universal time differ by a part of an hour.
process.env.TZ = "Asia/Kolkata";

describe("values", () => {
  it("writes a Date as local time, with milliseconds only when there are some", () => {
    assert.equal(new Date(Date.UTC(2007, 2, 15)).getHours(), 5, "the time zone took effect");
    assert.deepEqual(encodeValue(new Date(2007, 2, 15)), { $date: "2007-03-15T00:00:00" });
    assert.deepEqual(encodeValue(new Date(1999, 11, 31, 23, 59, 59, 7)), { $date: "1999-12-31T23:59:59.007" });
    const early = new Date(2000, 0, 2, 3, 4, 5);
    early.setFullYear(50);
    assert.deepEqual(encodeValue(early), { $date: "0050-01-02T03:04:05" });
  });

  it("reads the agent's dates as local time", () => {
    const date = decodeValue({ $date: "2007-03-15T10:30:05.25" });
    assert.deepEqual(
      [date.getFullYear(), date.getMonth(), date.getDate(), date.getHours(), date.getMinutes(), date.getSeconds(), date.getMilliseconds()],
      [2007, 2, 15, 10, 30, 5, 250],
    );
    assert.equal(decodeValue({ $date: "0050-01-02T03:04:05" }).getFullYear(), 50);
    // A text with its own zone names an instant.
    assert.equal(decodeValue({ $date: "2007-03-15T10:30:05Z" }).getTime(), Date.UTC(2007, 2, 15, 10, 30, 5));
  });

  it("passes the other values as they are", () => {
    for (const value of [null, true, false, 0, -1.5, "text"]) {
      assert.equal(encodeValue(value), value);
      assert.equal(decodeValue(value), value);
    }
    assert.equal(encodeValue(undefined), null);
  });

  it("refuses what the agent cannot hold", () => {
    for (const value of [Number.NaN, Infinity, -Infinity, 1n, {}, [], Symbol("x"), () => {}, new Date(Number.NaN)])
      assert.throws(() => encodeValue(value), TypeError, String(value?.toString?.() ?? typeof value));
    const tooLate = new Date(2000, 0, 1);
    tooLate.setFullYear(10000);
    assert.throws(() => encodeValue(tooLate), TypeError);
  });
});
