// The page of those who take part.

import assert from "node:assert/strict";
import { afterEach, describe, it } from "node:test";
import { collector } from "./support/Collector";
import { deliver } from "./support/Delivery";
import { importReports } from "./support/Data";
import { reportFile, reportText } from "./support/Report";
import { showAllRows } from "./support/Tables";
import { Suite } from "./support/Suite";

describe("The page of those who take part", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  it("shows what is kept, erases it when that is confirmed, and gives the receipt", async () => {
    const installation = "0b8a7e06-0d1c-4d8f-9d8e-3a2b7f0c55aa";
    await deliver(suite.site.intake, reportText({ installation }));
    await deliver(suite.site.intake, reportText({ installation: "somebody else" }));
    const { page } = await suite.open();
    await page.goto(`${suite.site.intake}/mine`);
    await page.getByRole("textbox").fill(`  ${installation} `);
    await page.getByRole("button", { name: "Show what is kept" }).click();
    await page.getByRole("heading", { name: "1 report is kept, and an e-mail address" }).waitFor();
    assert.deepEqual(
      (await page.locator("tbody tr").locator("th, td").allTextContents()).slice(1),
      ["default", "1.0.0.0", "2", "1", "kept"],
    );

    await page.getByRole("button", { name: "Erase all of it…" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Cancel" }).click();
    assert.notEqual(
      await collector("export", "--data", suite.site.data, "--installation", installation),
      "",
    );
    await page.getByRole("button", { name: "Erase all of it…" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Erase" }).click();
    await page.getByRole("heading", { name: "Erased" }).waitFor();
    assert.equal(
      await collector("export", "--data", suite.site.data, "--installation", installation),
      "",
    );
    assert.match(await collector("export", "--data", suite.site.data), /somebody else/);
    const download = page.waitForEvent("download");
    await page.getByRole("button", { name: "Download the receipt" }).click();
    await collector("erase", "--data", suite.site.data, "--verify", await (await download).path());
  });

  it("says the same of unknown identifiers as of empty ones", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.intake}/mine`);
    await page.getByRole("textbox").fill("no such installation");
    await page.getByRole("button", { name: "Show what is kept" }).click();
    await page.getByRole("heading", { name: "Nothing is kept under this identifier" }).waitFor();
  });

  it("lists the latest 100 reports, and says how many earlier ones are kept", async () => {
    const installation = "7f8b1c52-90ff-4f2a-8a55-0c1de95c6a10";
    const times = await importReports(suite.site.data, installation, 103);
    const { page } = await suite.open();
    await page.goto(`${suite.site.intake}/mine`);
    await page.getByRole("textbox").fill(installation);
    await page.getByRole("button", { name: "Show what is kept" }).click();
    await page.getByRole("heading", { name: "103 reports are kept" }).waitFor();
    await page.getByText("The latest 100 are shown; 3 earlier ones are kept, too.").waitFor();
    await showAllRows(page.locator(".table-block"));
    const listed = await page
      .locator("tbody time")
      .evaluateAll((elements) => elements.map((element) => (element as HTMLTimeElement).dateTime));
    assert.deepEqual(listed.sort(), times.slice(3));
  });

  it("says when to try again while the server is busy, and keeps what was entered", async () => {
    const { page } = await suite.open();
    await page.route("**/mine/kept", (route) =>
      route.fulfill({
        status: 503,
        headers: { "Retry-After": "5" },
        contentType: "application/problem+json",
        body: '{"type":"about:blank","title":"Service Unavailable","status":503}',
      }),
    );
    await page.goto(`${suite.site.intake}/mine`);
    await page.getByRole("textbox").fill("some installation");
    await page.getByRole("button", { name: "Show what is kept" }).click();
    await page
      .getByText("The server cannot do this at present. Please try again in 5 seconds.")
      .waitFor();
    assert.equal(await page.getByRole("textbox").inputValue(), "some installation");
  });

  it("opens a report and sends nothing of it", async () => {
    const { page, requests } = await suite.open();
    await page.goto(`${suite.site.intake}/mine`);
    const before = requests.length;
    await page.setInputFiles("input[type=file]", reportFile(reportText()));
    await page.getByRole("heading", { name: "Line most" }).waitFor();
    await page.locator(".picture svg").first().waitFor();
    assert.deepEqual(requests.slice(before), []);
  });

  it("asks for a minute after too many requests", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.intake}/mine`);
    for (let count = 0; count < 25; ++count) {
      const answered = page.waitForResponse("**/mine/kept");
      await page.getByRole("textbox").fill(`nobody ${count}`);
      await page.getByRole("button", { name: "Show what is kept" }).click();
      if ((await answered).status() === 429) break;
    }
    await page.getByText(/^Too many requests from your address\. Please wait (a|\d+) /).waitFor();
  });
});
