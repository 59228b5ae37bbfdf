import assert from "node:assert/strict";
import { describe, it } from "node:test";
import {
  commandsFinding,
  comparison,
  fileTypesFinding,
  intakeFinding,
  lastWholePeriods,
  machineFinding,
  orderFinding,
  overviewFinding,
  trendFinding,
  versionsFinding,
} from "@pages/data/findings";
import type { CommandRow, OverviewRow } from "@pages/data/figures";
import { adoptionOf } from "@pages/data/versions";

function period(first: string, installations: number | null): OverviewRow {
  return { period: first, installations, new: null, reports: 1 };
}

function command(
  name: string,
  median_order: number | null,
  share: number | null = 0.5,
): CommandRow {
  return { command: name, uses: 1200, installations: 10, share, median_order };
}

describe("The finding of the overview", () => {
  const rows = [period("2025-12-29", 100), period("2026-01-26", 102)];

  it("compares the last period with the one before", () => {
    assert.equal(
      overviewFinding(rows, "2026-03-01"),
      "102 installations reported in the period that ended on Feb 22, 2026, 2\u202F% more than in the one before",
    );
  });

  it("leaves the running period out", () => {
    assert.equal(
      overviewFinding(rows, "2026-02-22"),
      "100 installations reported in the period that ended on Jan 25, 2026",
    );
  });

  it("does not compare across a period that is withheld", () => {
    const { last, before } = lastWholePeriods(
      [period("2025-12-01", 7), period("2026-01-26", 102)],
      "2026-03-01",
    );
    assert.equal(last?.installations, 102);
    assert.equal(before, null);
  });

  it("says when no period has ended", () => {
    assert.equal(overviewFinding(rows, "2025-12-30"), "The first period is still running");
    assert.equal(overviewFinding([], "2026-03-01"), "The first period is still running");
  });

  it("speaks of one installation in the singular", () => {
    assert.match(
      overviewFinding([period("2025-12-29", 1)], "2026-03-01"),
      /^1 installation reported/,
    );
  });
});

describe("A comparison", () => {
  it("says more, fewer and as many", () => {
    assert.equal(comparison(110, 100), "10\u202F% more than");
    assert.equal(comparison(95, 100), "5\u202F% fewer than");
    assert.equal(comparison(100, 100), "as many as");
    assert.equal(comparison(10_000, 10_001), "as many as");
  });

  it("needs both numbers, and an earlier one above zero", () => {
    assert.equal(comparison(null, 100), null);
    assert.equal(comparison(100, null), null);
    assert.equal(comparison(100, 0), null);
  });
});

describe("The findings of the commands", () => {
  it("name the command that is used most", () => {
    assert.equal(
      commandsFinding([command("Line", 1)]),
      "Line is used most: 1,200 times by 50\u202F% of installations",
    );
  });

  it("leave out a share that is withheld", () => {
    assert.equal(commandsFinding([command("Line", 1, null)]), "Line is used most: 1,200 times");
  });

  it("name the strongest trend in either direction", () => {
    assert.equal(
      trendFinding(
        new Map([
          ["Line", 0.01],
          ["Arc", -0.02],
        ]),
      ),
      "Arc changed most, by −2.0 percentage points",
    );
    assert.equal(trendFinding(new Map([["Line", 0.0001]])), null);
    assert.equal(trendFinding(new Map()), null);
  });

  it("name what is used first, alone or with others", () => {
    assert.equal(orderFinding([command("Open", 1), command("Line", 2)]), "Open comes first");
    assert.equal(
      orderFinding([command("Open", 1), command("Line", 1), command("Arc", 1)]),
      "Open and 2 others come first",
    );
    assert.equal(orderFinding([command("Open", 3)]), "Open comes at place 3");
    assert.equal(orderFinding([]), "No order of first use is known");
    assert.equal(orderFinding([command("Open", null)]), "No order of first use is known");
  });
});

describe("The other findings", () => {
  it("take a withheld number of a file type for nothing", () => {
    const rows = [
      { file_type: ".dwg", opened: 60, saved: null, installations: 9 },
      { file_type: ".pdf", opened: 20, saved: 20, installations: 9 },
    ];
    assert.equal(fileTypesFinding(rows), ".dwg is 60\u202F% of all documents opened and saved");
    assert.equal(fileTypesFinding([]), "No file type is used by enough installations");
  });

  it("tell the leading version from the newest", () => {
    const rows = [
      { period: "2026-01-26", application: "A", version: "1.9", installations: 75 },
      { period: "2026-01-26", application: "A", version: "1.10", installations: 25 },
    ];
    assert.equal(
      versionsFinding(adoptionOf(rows, ["2026-01-26"])),
      "Version 1.9 leads with 75\u202F% of installations; the newest, 1.10, has 25\u202F%",
    );
    assert.equal(
      versionsFinding(adoptionOf(rows.slice(1), ["2026-01-26"])),
      "Version 1.10 leads with 100\u202F% of installations; it is the newest one",
    );
    assert.equal(versionsFinding(adoptionOf([], [])), "No version is used by enough installations");
  });

  it("give a machine its share, or its number if the total is withheld", () => {
    const rows = [{ category: "OS", name: "OSArchitecture", value: "64-bit", installations: 98 }];
    const same = (value: string) => value;
    assert.equal(machineFinding(rows, 100, same), "64-bit on 98\u202F%");
    assert.equal(machineFinding(rows, null, same), "64-bit on 98");
    assert.equal(machineFinding([], 100, same), "No value is shared by enough installations");
  });

  it("say what was refused", () => {
    assert.equal(
      intakeFinding({ accepted: 1, replaced: 0, repeated: 0, refused: {} }),
      "1 delivery taken, none refused",
    );
    assert.equal(
      intakeFinding({ accepted: 2000, replaced: 3, repeated: 4, refused: { "no-id": 5, busy: 6 } }),
      "2,000 deliveries taken, 11 refused",
    );
    assert.equal(
      intakeFinding({ accepted: 0, replaced: 0, repeated: 0, refused: {} }),
      "Nothing has arrived",
    );
  });
});
