import assert from "node:assert/strict";
import { describe, it } from "node:test";
import { healthFinding } from "@pages/data/health";

describe("The health of the server", () => {
  const healthy = { ready: true, version: "1.2.0", connections: 3, bytes_in_flight: 12_288 };

  it("is good while reports can be kept", () => {
    assert.deepEqual(healthFinding(healthy), {
      kind: "good",
      title: "The server takes reports",
      detail: "Version 1.2.0 · 3 open connections · 12 KiB of requests in memory",
    });
  });

  it("is bad while they cannot, and says what senders do", () => {
    const { kind, title, detail } = healthFinding({ ...healthy, ready: false, connections: 1 });
    assert.equal(kind, "bad");
    assert.equal(title, "The server cannot keep reports at present");
    assert.match(detail, /^Senders keep theirs and try again; the disk may be full · /);
    assert.match(detail, / · Version 1\.2\.0 · 1 open connection · 12 KiB of requests in memory$/);
  });

  it("leaves out what is missing or makes no sense", () => {
    const odd = { ready: true, version: "", connections: -1, bytes_in_flight: "many" };
    assert.equal(healthFinding(odd).detail, "");
    assert.equal(healthFinding({ ready: true, connections: 1.5 }).detail, "");
    assert.equal(healthFinding({ ...healthy, version: 7 }).detail.includes("Version"), false);
    assert.equal(healthFinding({ ready: true, connections: 0 }).detail, "0 open connections");
  });

  it("is unknown without an answer, or with one of another shape", () => {
    for (const answer of [null, undefined, "ready", 7, [], {}, { ready: "yes" }, { ready: 1 }])
      assert.equal(healthFinding(answer).kind, "unknown", JSON.stringify(answer));
  });
});
