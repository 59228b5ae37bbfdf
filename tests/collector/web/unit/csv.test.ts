import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { csvOf } from "@pages/data/csv";

describe("CSV", () => {
  it("has a header, and CR LF at each line’s end", () => {
    assert.equal(
      csvOf(
        ["Name", "Uses"],
        [
          ["Line", 2],
          ["Arc", null],
        ],
      ),
      "Name,Uses\r\nLine,2\r\nArc,\r\n",
    );
  });

  it("quotes what would end a field or line", () => {
    assert.equal(
      csvOf([], [["a,b", 'c"d', "e\nf", "g\rh", "i j"]]),
      '\r\n"a,b","c""d","e\nf","g\rh",i j\r\n',
    );
  });

  it("keeps texts from being formulas, and negative numbers as they are", () => {
    assert.equal(
      csvOf([], [["=1", "+1", "-1", "@a", "\tb", "=a,b", -1]]),
      "\r\n'=1,'+1,'-1,'@a,'\tb,\"'=a,b\",-1\r\n",
    );
  });
});
