// The page of those who take part.

import assert from "node:assert/strict";
import { afterEach, describe, it } from "node:test";
import { collector } from "./support/Collector";
import { deliver } from "./support/Delivery";
import { reportFile, reportText } from "./support/Report";
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
    await page.getByText("Too many requests from your address. Please wait a minute.").waitFor();
  });
});
