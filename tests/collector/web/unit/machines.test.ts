import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { numberOfValue, textOfProperty, textOfValue } from "@pages/data/machines";
import { meaningOf } from "@pages/data/refusals";

describe("A property of machines", () => {
  it("has a title", () => {
    assert.equal(textOfProperty("System", "TotalPhysicalMemory").title, "Memory");
    assert.equal(textOfProperty("System", "TotalPhysicalMemory").isOrdered, true);
    assert.equal(textOfProperty("OS", "Caption").isOrdered, false);
  });

  it("that is not known has its own name, after the others", () => {
    const unknown = textOfProperty("Toaster", "Slots");
    assert.equal(unknown.title, "Toaster: Slots");
    assert.ok(unknown.place > textOfProperty("HardDisk", "Size").place);
  });

  it("shows a language by name, whatever the letters of its number", () => {
    assert.equal(textOfValue("OS", "Locale", "0407"), "German (Germany), 0407");
    assert.equal(textOfValue("OS", "Locale", "040C"), "French (France), 040C");
    assert.equal(textOfValue("OS", "Locale", "ffff"), "ffff");
  });

  it("shows other values as they are", () => {
    assert.equal(textOfValue("Processor", "Name", "0407"), "0407");
  });

  for (const [value, expected] of [
    ["8", 8],
    ["512 MiB", 536_870_912],
    ["1 GiB", 1_073_741_824],
    ["0 B", 0],
    ["-1", null],
    ["eight", null],
    ["8 bananas", null],
  ] as const) {
    it(`is ordered by ${String(expected)} for "${value}"`, () => {
      assert.equal(numberOfValue(value), expected);
    });
  }
});

describe("A refusal", () => {
  it("is explained, and shown by its code if it is a new one", () => {
    assert.equal(meaningOf("empty-report"), "The report is empty");
    assert.equal(meaningOf("too-late"), "too-late");
  });
});
