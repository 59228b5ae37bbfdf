import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { adoptionOf, compareVersions, otherVersions } from "@pages/data/versions";
import type { VersionRow } from "@pages/data/figures";

function row(
  period: string,
  version: string,
  installations: number,
  application = "A",
): VersionRow {
  return { period, application, version, installations };
}

const periods = ["2025-12-29", "2026-01-26"];

describe("Versions", () => {
  it("are compared by their numbers", () => {
    assert.deepEqual(["1.10.0", "1.9.0", "2.0", "1.9"].sort(compareVersions), [
      "1.9",
      "1.9.0",
      "1.10.0",
      "2.0",
    ]);
  });

  it("are drawn the newest first, with zeros where there is no row", () => {
    const { versions, points } = adoptionOf(
      [row(periods[0] ?? "", "1.9", 8), row(periods[1] ?? "", "1.10", 9)],
      periods,
    );
    assert.deepEqual(versions, ["1.10", "1.9"]);
    assert.deepEqual(points, [
      { period: "2025-12-29", version: "1.10", installations: 0 },
      { period: "2025-12-29", version: "1.9", installations: 8 },
      { period: "2026-01-26", version: "1.10", installations: 9 },
      { period: "2026-01-26", version: "1.9", installations: 0 },
    ]);
  });

  it("that are too many are added up", () => {
    const rows = [1, 2, 3, 4].map((number) => row("2026-01-26", `${number}.0`, number * 10));
    const { versions, points } = adoptionOf(rows, ["2026-01-26"], 2);
    assert.deepEqual(versions, ["4.0", "3.0", otherVersions]);
    assert.deepEqual(
      points.map((point) => point.installations),
      [40, 30, 30],
    );
  });

  it("of several applications are added up", () => {
    const { points } = adoptionOf(
      [row("2026-01-26", "1.0", 5), row("2026-01-26", "1.0", 6, "B")],
      ["2026-01-26"],
    );
    assert.deepEqual(points, [{ period: "2026-01-26", version: "1.0", installations: 11 }]);
  });

  it("have shares of the last period that has a row", () => {
    const { latest } = adoptionOf(
      [row("2025-12-29", "1.0", 30), row("2025-12-29", "1.1", 10)],
      periods,
    );
    assert.equal(latest.period, "2025-12-29");
    assert.deepEqual(
      latest.shares.map(({ version, share }) => [version, share]),
      [
        ["1.0", 0.75],
        ["1.1", 0.25],
      ],
    );
  });

  it("may be none", () => {
    assert.deepEqual(adoptionOf([], []), {
      versions: [],
      points: [],
      latest: { period: null, shares: [] },
    });
  });
});
