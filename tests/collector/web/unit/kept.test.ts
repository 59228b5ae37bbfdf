import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { RequestError, type Kept } from "@pages/data/api";
import { explained, hiddenNote, isNothing, keptTitle } from "@pages/data/kept";

const delivery = {
  received: "2026-01-05T10:00:00Z",
  product: "default",
  version: "1.0.0.0",
  commands: 2,
  file_types: 1,
  has_raw_report: true,
};

function kept(shown: number, total = shown, hasEmail = false): Kept {
  return {
    deliveries: Array(shown).fill(delivery) as Kept["deliveries"],
    total,
    has_email: hasEmail,
  };
}

describe("What is kept of a participant", () => {
  it("is nothing without reports and address", () => {
    assert.equal(isNothing(kept(0)), true);
    assert.equal(isNothing(kept(1)), false);
    assert.equal(isNothing(kept(0, 0, true)), false);
  });

  it("is counted in full, also where not all is shown", () => {
    assert.equal(keptTitle(kept(1)), "1 report is kept");
    assert.equal(keptTitle(kept(2, 2, true)), "2 reports are kept, and an e-mail address");
    assert.equal(keptTitle(kept(1000, 1234)), "1,234 reports are kept");
  });

  it("says how many are not shown, if there are any", () => {
    assert.equal(hiddenNote(kept(0)), null);
    assert.equal(hiddenNote(kept(1000)), null);
    assert.equal(
      hiddenNote(kept(1000, 1001)),
      "The latest 1,000 are shown; 1 earlier one is kept, too.",
    );
    assert.equal(
      hiddenNote(kept(1000, 2234)),
      "The latest 1,000 are shown; 1,234 earlier ones are kept, too.",
    );
  });
});

describe("A refusal that a participant sees", () => {
  const sentence = (status: number, retryAfter: number | null = null) =>
    (explained(new RequestError(status, "as it came", {}, retryAfter)) as Error).message;

  it("asks to wait after too many requests", () => {
    assert.equal(sentence(429), "Too many requests from your address. Please wait a minute.");
    assert.equal(sentence(429, 12), "Too many requests from your address. Please wait 12 seconds.");
  });

  it("says when to try again what the server cannot do at present", () => {
    assert.equal(
      sentence(503),
      "The server cannot do this at present. Please try again in a minute.",
    );
    assert.equal(
      sentence(503, 1),
      "The server cannot do this at present. Please try again in 1 second.",
    );
    assert.equal(
      sentence(503, 90),
      "The server cannot do this at present. Please try again in 2 minutes.",
    );
  });

  it("keeps its own reason otherwise", () => {
    assert.equal(sentence(400), "as it came");
    assert.equal(sentence(0), "as it came");
    const error = new Error("a mistake of the page");
    assert.equal(explained(error), error);
  });
});
