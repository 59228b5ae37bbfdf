import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { noFilter, queryOf, readFilter } from "@pages/data/filter";

describe("A filter in an address", () => {
  it("is read", () => {
    assert.deepEqual(readFilter("?product=a&version=1.2&from=2026-01-05&to=2026-02-01"), {
      product: "a",
      version: "1.2",
      from: "2026-01-05",
      to: "2026-02-01",
    });
  });

  it("is empty without a query", () => {
    assert.deepEqual(readFilter(""), noFilter);
  });

  for (const day of ["2026-13-01", "2026-02-30", "20260105", "yesterday", "2026-1-5"]) {
    it(`has no day where it says ${day}`, () => {
      assert.equal(readFilter(`?from=${day}`).from, "");
    });
  }

  it("has no range if the range is reversed", () => {
    assert.deepEqual(readFilter("?version=2&from=2026-02-01&to=2026-01-01"), {
      ...noFilter,
      version: "2",
    });
  });

  it("keeps a range of one day", () => {
    assert.equal(readFilter("?from=2026-02-01&to=2026-02-01").to, "2026-02-01");
  });

  it("comes back from the address that it makes", () => {
    const filter = { product: "a & b", version: "1+2", from: "2026-01-05", to: "2026-02-01" };
    assert.deepEqual(readFilter(queryOf(filter)), filter);
  });

  it("makes no query if nothing is filtered", () => {
    assert.equal(queryOf({ ...noFilter }), "");
  });
});
