import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { figureAddress } from "@pages/data/figures";
import { noFilter } from "@pages/data/filter";
import { withheldNote } from "@pages/parts/figure";

describe("A figure", () => {
  it("has addresses with the filter and without what is empty", () => {
    const address = figureAddress("file-types", {
      ...noFilter,
      version: "1 & 2",
      from: "2026-01-05",
    });
    assert.equal(
      address("csv"),
      "/api/v1/figures/file-types?version=1+%26+2&from=2026-01-05&format=csv",
    );
    assert.equal(
      figureAddress("overview", noFilter)("json"),
      "/api/v1/figures/overview?format=json",
    );
  });

  it("says why rows are withheld", () => {
    const withheld = { threshold: 5, what: "their numbers rest" };
    assert.equal(withheldNote({ ...withheld, rows: 0 }), null);
    assert.match(
      withheldNote({ ...withheld, rows: 1 }) ?? "",
      /^1 row is withheld: their numbers rest on fewer than 5 installations/,
    );
    assert.match(withheldNote({ ...withheld, rows: 1200 }) ?? "", /^1,200 rows are withheld/);
  });
});
