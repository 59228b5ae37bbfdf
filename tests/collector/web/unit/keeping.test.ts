import assert from "node:assert/strict";
import { describe, it } from "node:test";
import type { Keeping } from "@pages/data/api";
import { keepingNote } from "@pages/data/keeping";

function keeping(...installations: (number | null)[]): Keeping {
  return {
    threshold: 5,
    retention_days: 400,
    forget_silent_days: null,
    keeps_email: true,
    keeps_adapter: false,
    products: installations.map((count, place) => ({
      name: `product ${place}`,
      since: count === null ? null : "2025-01-05",
      deliveries: count,
      installations: count,
      raw_reports: count,
    })),
  };
}

describe("What is kept of a product", () => {
  it("has a note only where it is withheld", () => {
    assert.equal(keepingNote(keeping(5, 70)), null);
    assert.equal(
      keepingNote(keeping(5, null)),
      "The numbers of 1 product are withheld: fewer than 5 installations have reported.",
    );
    assert.equal(
      keepingNote(keeping(null, 5, null)),
      "The numbers of 2 products are withheld: fewer than 5 installations have reported.",
    );
  });
});
