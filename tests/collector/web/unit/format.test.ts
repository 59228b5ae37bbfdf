import assert from "node:assert/strict";
import { describe, it } from "node:test";
import {
  bytes,
  counted,
  day,
  fileType,
  moment,
  number,
  percent,
  periodRange,
  points,
  wait,
} from "@pages/data/format";

describe("A reader sees", () => {
  it("thousands apart, and a dash for what is withheld", () => {
    assert.equal(number(1843), "1,843");
    assert.equal(number(0), "0");
    assert.equal(number(null), "–");
  });

  for (const [fraction, text] of [
    [0, "0\u202F%"],
    [0.0001, "<0.1\u202F%"],
    [0.0005, "0.1\u202F%"],
    [0.052, "5.2\u202F%"],
    [0.0999, "10\u202F%"],
    [0.1, "10\u202F%"],
    [0.955, "96\u202F%"],
    [0.9949, "99\u202F%"],
    [0.9999, ">99\u202F%"],
    [1, "100\u202F%"],
    [1.5, "150\u202F%"],
  ] as const) {
    it(`${fraction} as ${text}`, () => {
      assert.equal(percent(fraction), text);
    });
  }

  it("a dash for a share that is withheld", () => {
    assert.equal(percent(null), "–");
  });

  it("differences of shares as points with a sign", () => {
    assert.equal(points(0.0123), "+1.2");
    assert.equal(points(-0.0123), "−1.2");
    assert.equal(points(0.0004), "0.0");
    assert.equal(points(-0.0004), "0.0");
    assert.equal(points(null), "–");
  });

  it("days, periods and moments in universal time", () => {
    assert.equal(day("2026-10-05"), "Oct 5, 2026");
    assert.equal(periodRange("2025-12-29"), "Dec 29 to Jan 25, 2026");
    assert.equal(
      moment("2026-10-05T23:59:00Z").replace("\u202F", " "),
      "Oct 5, 2026, 11:59 PM UTC",
    );
    assert.equal(moment("never"), "never");
  });

  it("nouns in singular and plural", () => {
    assert.equal(counted(1, "delivery", "deliveries"), "1 delivery");
    assert.equal(counted(0, "delivery", "deliveries"), "0 deliveries");
    assert.equal(counted(1200, "version"), "1,200 versions");
  });

  it("sizes with units", () => {
    assert.equal(bytes(1023), "1,023 B");
    assert.equal(bytes(536_870_912), "512 MiB");
    assert.equal(bytes(16_957_571_072), "15.8 GiB");
    assert.equal(bytes(2 ** 61), "2,048 PiB");
  });

  it("that a file has no type", () => {
    assert.equal(fileType(".dwg"), ".dwg");
    assert.equal(fileType(""), "(none)");
  });

  it("how long to wait, in seconds or minutes", () => {
    assert.equal(wait(1), "1 second");
    assert.equal(wait(89), "89 seconds");
    assert.equal(wait(90), "2 minutes");
    assert.equal(wait(900), "15 minutes");
  });
});
