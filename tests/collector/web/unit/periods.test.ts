import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { isDay, isRunning, lastDayOf, periodOf, periodsBetween } from "@pages/data/periods";

describe("The calendar of 28-day periods", () => {
  it("begins on January 1, 2024", () => {
    assert.equal(periodOf("2024-01-01"), "2024-01-01");
    assert.equal(periodOf("2024-01-28"), "2024-01-01");
    assert.equal(periodOf("2024-01-29"), "2024-01-29");
  });

  it("goes on before its beginning", () => {
    assert.equal(periodOf("2023-12-31"), "2023-12-04");
    assert.equal(lastDayOf("2023-12-04"), "2023-12-31");
  });

  it("crosses leap days and ends of years", () => {
    assert.equal(lastDayOf("2024-02-26"), "2024-03-24");
    assert.equal(lastDayOf("2025-12-29"), "2026-01-25");
  });

  it("has all periods of a range, in order", () => {
    assert.deepEqual(periodsBetween("2025-12-30", "2026-02-23"), [
      "2025-12-29",
      "2026-01-26",
      "2026-02-23",
    ]);
  });

  it("has one period for one day", () => {
    assert.deepEqual(periodsBetween("2026-01-26", "2026-01-26"), ["2026-01-26"]);
  });

  it("has none for a reversed range or what is no day", () => {
    assert.deepEqual(periodsBetween("2026-02-23", "2026-01-01"), []);
    assert.deepEqual(periodsBetween("", "2026-01-01"), []);
    assert.deepEqual(periodsBetween("2026-01-01", "x"), []);
    assert.equal(periodOf("x"), null);
  });

  it("tells days from other texts", () => {
    assert.equal(isDay("2024-02-29"), true);
    assert.equal(isDay("2023-02-29"), false);
    assert.equal(isDay("2024-02-29T00:00:00Z"), false);
  });

  it("has a period running until its last day has passed", () => {
    assert.equal(isRunning("2026-01-26", "2026-02-22"), true);
    assert.equal(isRunning("2026-01-26", "2026-02-23"), false);
  });
});
