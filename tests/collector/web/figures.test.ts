// The pages of the figures: what they show is what the command says, whatever the filter.

import assert from "node:assert/strict";
import { readFile } from "node:fs/promises";
import { afterEach, describe, it } from "node:test";
import type { Locator, Page, Route } from "playwright-core";
import { longestStop, settled } from "./support/Browser";
import { collector } from "./support/Collector";
import { goTo, Suite } from "./support/Suite";
import { rowsOf, showAllRows } from "./support/Tables";

interface Answer {
  rows: Record<string, unknown>[];
  withheld: { rows: number };
}

async function figuresOf(data: string, name: string, ...options: string[]): Promise<Answer> {
  return JSON.parse(await collector("figures", name, "--data", data, ...options)) as Answer;
}

function shown(value: unknown): string {
  return typeof value === "number" ? value.toLocaleString("en-US") : "–";
}

/** The rows of a figure's table, as their texts. */
async function tableOf(figure: Locator): Promise<string[][]> {
  await figure.getByRole("button", { name: "Table", exact: true }).click();
  await showAllRows(figure);
  return rowsOf(figure);
}

function figureAt(page: Page, place: number): Locator {
  return page.locator("figure").nth(place);
}

describe("The pages of the figures", () => {
  const suite = new Suite();
  afterEach(() => suite.closePages());

  it("have the command’s numbers in the overview", async () => {
    const { page } = await suite.openAs("viewer", { at: "/overview" });
    const { rows } = await figuresOf(suite.site.data, "overview");
    const cells = await tableOf(figureAt(page, 0));
    assert.ok(rows.length > 3);
    assert.deepEqual(
      cells.map((row) => row.slice(1)),
      rows.map((row) => [shown(row.installations), shown(row.new), shown(row.reports)]),
    );
  });

  it("have the command’s numbers of commands, all of them", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const { rows } = await figuresOf(suite.site.data, "commands");
    const cells = await tableOf(figureAt(page, 0));
    assert.ok(rows.length > 200);
    assert.deepEqual(
      cells.map((row) => [row[0], row[1], row[2], row[5]]),
      rows.map((row) => [
        row.command,
        shown(row.uses),
        shown(row.installations),
        shown(row.median_order),
      ]),
    );
  });

  it("have the trend of a command from the last two periods", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const overview = await figuresOf(suite.site.data, "overview");
    const [before, last] = overview.rows.slice(-2).map((row) => String(row.period));
    const shareIn = async (period = "") => {
      const { rows } = await figuresOf(
        suite.site.data,
        "commands",
        "--from",
        period,
        "--to",
        period,
      );
      return rows.find((row) => row.command === "Draw Line")?.share as number;
    };
    const points = ((await shareIn(last)) - (await shareIn(before))) * 100;
    const cells = await tableOf(figureAt(page, 0));
    const trend = cells.find((row) => row[0] === "Draw Line")?.[4] ?? "";
    assert.ok(Math.abs(Number(trend.replace("−", "-")) - points) < 0.06, `${trend} for ${points}`);
  });

  it("have the command’s numbers of file types", async () => {
    const { page } = await suite.openAs("viewer", { at: "/file-types" });
    const { rows } = await figuresOf(suite.site.data, "file-types");
    assert.ok(rows.length > 3);
    assert.deepEqual(
      await tableOf(figureAt(page, 0)),
      rows.map((row) => [
        row.file_type,
        shown(row.opened),
        shown(row.saved),
        shown(row.installations),
      ]),
    );
  });

  it("have the command’s numbers of versions, by application", async () => {
    const { page } = await suite.openAs("viewer", { at: "/versions" });
    const { rows } = await figuresOf(suite.site.data, "versions");
    const counts: string[] = [];
    for (let place = 0; place < (await page.locator("figure").count()); ++place) {
      for (const row of await tableOf(figureAt(page, place)))
        counts.push(`${row[1] ?? ""}: ${row[2] ?? ""}`);
    }
    assert.ok(rows.length > 5);
    assert.deepEqual(
      counts.sort(),
      rows.map((row) => `${String(row.version)}: ${shown(row.installations)}`).sort(),
    );
  });

  it("have the command’s numbers of machines, a figure for each property", async () => {
    const { page } = await suite.openAs("viewer", { at: "/machines" });
    const { rows } = await figuresOf(suite.site.data, "machines");
    const counts: string[] = [];
    for (let place = 0; place < (await page.locator("figure").count()); ++place) {
      for (const row of await tableOf(figureAt(page, place))) counts.push(row[1] ?? "");
    }
    assert.ok(rows.length > 20);
    assert.deepEqual(counts.sort(), rows.map((row) => shown(row.installations)).sort());
  });

  it("have the command’s numbers of the intake, refusals by code among them", async () => {
    const { page } = await suite.openAs("viewer", { at: "/intake" });
    const { rows } = await figuresOf(suite.site.data, "intake");
    const [row] = rows as {
      accepted: number;
      replaced: number;
      repeated: number;
      refused: Record<string, number>;
    }[];
    assert.ok(row);
    assert.deepEqual(row.refused, { "no-id": 1, "not-multipart": 3 });
    const outcomes = await tableOf(figureAt(page, 1));
    assert.deepEqual(
      outcomes.map((cells) => cells[1]),
      [row.accepted - row.replaced, row.replaced, row.repeated, 4].map(shown),
    );
    const refusals = await tableOf(figureAt(page, 2));
    assert.deepEqual(
      refusals.map((cells) => cells.slice(0, 2)),
      [
        ["not-multipart", "3"],
        ["no-id", "1"],
      ],
    );
  });

  it("apply a version and a range from the address, and say so in it", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const overview = await figuresOf(suite.site.data, "overview");
    const [from, to] = [overview.rows[1], overview.rows[3]].map((row) => String(row?.period));
    const versions = page.getByLabel("Version");
    const version = (await versions.locator("option").nth(1).getAttribute("value")) ?? "";
    await versions.selectOption(version);
    await settled(page);
    await page.getByLabel("From").selectOption(from ?? "");
    await settled(page);
    const toEnd = new Date(Date.parse(to ?? "") + 27 * 86_400_000).toISOString().slice(0, 10);
    await page.getByLabel("To", { exact: true }).selectOption(toEnd);
    await settled(page);

    const query = new URL(page.url()).searchParams;
    assert.deepEqual(
      [query.get("version"), query.get("from"), query.get("to")],
      [version, from, toEnd],
    );
    const { rows } = await figuresOf(
      suite.site.data,
      "commands",
      "--version",
      version,
      "--from",
      from ?? "",
      "--to",
      toEnd,
    );
    const cells = await tableOf(figureAt(page, 0));
    assert.deepEqual(
      cells.map((row) => row.slice(0, 2)),
      rows.map((row) => [row.command, shown(row.uses)]),
    );

    // The filter goes along to the other pages, comes back with the browser's own button, and ends with Reset.
    await page.getByRole("link", { name: "File types" }).click();
    await settled(page);
    assert.equal(new URL(page.url()).search, `?${query.toString()}`);
    await page.goBack();
    await settled(page);
    assert.equal(new URL(page.url()).pathname, "/commands");
    assert.equal(await page.getByLabel("Version").inputValue(), version);
    await page.getByRole("button", { name: "Reset" }).click();
    await settled(page);
    assert.equal(new URL(page.url()).search, "");
  });

  it("search and rank commands", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const figure = figureAt(page, 0);
    await figure.getByRole("searchbox").fill("wall");
    const cells = await tableOf(figure);
    assert.ok(cells.length > 1);
    assert.ok(cells.every((row) => row[0]?.toLowerCase().includes("wall")));
    await figure.getByRole("searchbox").fill("no such command");
    await figure.getByText("Nothing has this name.").waitFor();

    await page.getByLabel("Ranked by").selectOption("share");
    const ranked = await tableOf(figureAt(page, 0));
    const { rows } = await figuresOf(suite.site.data, "commands");
    const largest = Math.max(...rows.map((row) => row.installations as number));
    assert.equal(ranked[0]?.[2], shown(largest));
  });

  it("sort tables by their headings", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const figure = figureAt(page, 0);
    await tableOf(figure);
    const heading = figure.getByRole("columnheader", { name: "Installations" });
    await heading.getByRole("button").click();
    assert.equal(await heading.getAttribute("aria-sort"), "descending");
    const column = () => figure.locator("tbody td:nth-child(3)").allTextContents();
    const numbers = (await column()).map((text) => Number(text.replaceAll(",", "")));
    assert.deepEqual(
      numbers,
      [...numbers].sort((a, b) => b - a),
    );
    await heading.getByRole("button").click();
    assert.equal(await heading.getAttribute("aria-sort"), "ascending");
  });

  it("give CSV as a file and JSON, with the filter", async () => {
    const { rows } = await figuresOf(suite.site.data, "versions");
    const version = String(rows.at(-1)?.version);
    const at = `/file-types?version=${version}`;
    const { page, context } = await suite.openAs("viewer", { at });
    const download = page.waitForEvent("download");
    await page.getByRole("link", { name: /^CSV/ }).click();
    const file = await (await download).path();
    const csv = await collector(
      "figures",
      "file-types",
      "--data",
      suite.site.data,
      "--version",
      version,
      "--format",
      "csv",
    );
    assert.equal(await readFile(file, "utf8"), csv);

    const opened = context.waitForEvent("page");
    await page.getByRole("link", { name: /^JSON/ }).click();
    const json = await opened;
    await json.waitForLoadState();
    assert.match(json.url(), /\/api\/v1\/figures\/file-types\?version=.*&format=json$/);
    assert.deepEqual(
      JSON.parse((await json.textContent("body")) ?? ""),
      await figuresOf(suite.site.data, "file-types", "--version", version),
    );
  });

  it("say how many rows are withheld, and why", async () => {
    const { page } = await suite.openAs("viewer", { at: "/commands" });
    const { withheld } = await figuresOf(suite.site.data, "commands");
    assert.ok(withheld.rows > 1);
    await page
      .getByText(
        `${shown(withheld.rows)} rows are withheld: the numbers of these commands rest on fewer than 5 installations`,
      )
      .waitFor();
  });

  it("are empty, with words, where nothing passes the filter", async () => {
    const { page } = await suite.openAs("viewer");
    for (const view of ["overview", "commands", "file-types", "versions", "machines"]) {
      await goTo(page, suite.site, `/${view}?version=9.9`);
      await page
        .getByRole("heading", { name: "No reports of version 9.9 in this range" })
        .waitFor();
    }
  });

  it("show a loading state, then a failure with a reason, and try again", async () => {
    const { page } = await suite.openAs("viewer");
    let refusals = 1;
    await page.route("**/api/v1/figures/machines**", async (route) => {
      if (refusals-- > 0) {
        await new Promise((resolve) => setTimeout(resolve, 400));
        await route.fulfill({
          status: 503,
          contentType: "application/problem+json",
          body: '{"title":"Busy","status":503,"detail":"the storage is busy"}',
        });
      } else {
        await route.continue();
      }
    });
    await page.getByRole("link", { name: "Machines" }).click();
    await page.locator(".loading").waitFor();
    await page.getByText("the storage is busy").waitFor();
    await page.getByRole("button", { name: "Try again" }).click();
    await page.locator("figure").first().waitFor();
  });

  it("say so when the server is gone", async () => {
    const { page, context } = await suite.openAs("viewer");
    await context.setOffline(true);
    await page.getByRole("link", { name: "Machines" }).click();
    await page.getByText("The server cannot be reached.").waitFor();
  });

  it("open under the address of another day of the range, widened as the server does", async () => {
    const overview = await figuresOf(suite.site.data, "overview");
    const period = String(overview.rows[2]?.period);
    const day = new Date(Date.parse(period) + 10 * 86_400_000).toISOString().slice(0, 10);
    const { page } = await suite.openAs("viewer", { at: `/overview?from=${day}` });
    assert.equal(await page.getByLabel("From").inputValue(), period);
    const { rows } = await figuresOf(suite.site.data, "overview", "--from", day);
    assert.equal((await tableOf(figureAt(page, 0))).length, rows.length);
  });
});

describe("The health of the server", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  const line = (page: Page) => page.locator(".health:not([aria-busy])");

  it("is on the page of the intake, as the server says it", async () => {
    const { page } = await suite.openAs("viewer", { at: "/intake" });
    const version = (await collector("--version")).trim().split(" ").pop() ?? "";
    assert.match(version, /^\d+\.\d+/);
    const text = await line(page).innerText();
    assert.match(text, /^The server takes reports\b/);
    assert.match(text, new RegExp(`Version ${version.replaceAll(".", "\\.")} · \\d+ open conn`));
    assert.match(text, / · \d[\d.]* (B|KiB|MiB) of requests in memory/);
    assert.equal(await page.locator(".health.good").count(), 1);
  });

  const answers: [string, Parameters<Route["fulfill"]>[0], string, string][] = [
    [
      "says so when reports cannot be kept",
      { json: { ready: false, version: "1.2.0", connections: 4, bytes_in_flight: 0 } },
      "bad",
      "The server cannot keep reports at present",
    ],
    [
      "is unknown when the server fails to say it",
      { status: 503, contentType: "application/problem+json", body: '{"status":503}' },
      "unknown",
      "It is not known at present whether the server takes reports",
    ],
    [
      "is unknown when the answer has another shape",
      { contentType: "text/html", body: "<h1>A proxy</h1>" },
      "unknown",
      "It is not known at present whether the server takes reports",
    ],
  ];
  for (const [name, answer, kind, title] of answers) {
    it(`${name}, and the figures are there all the same`, async () => {
      const { page } = await suite.openAs("viewer");
      await page.route("**/api/v1/health", (route) => route.fulfill(answer));
      await goTo(page, suite.site, "/intake");
      assert.ok((await line(page).innerText()).startsWith(title));
      assert.equal(await page.locator(`.health.${kind}`).count(), 1);
      assert.equal(await page.locator("figure").count(), 3);
    });
  }

  it("is unknown after a while without an answer, which the figures do not wait for", async () => {
    // A clock stays with its page.
    const { page } = await suite.openAs("viewer", { options: {} });
    await page.clock.install();
    // Nothing answers this request.
    await page.route("**/api/v1/health", () => undefined);
    await page.getByRole("link", { name: "Intake" }).click();
    await page.locator("figure").first().waitFor();
    await page.getByText("Asking the server how it is…").waitFor();
    await page.clock.fastForward(10_000);
    assert.ok((await line(page).innerText()).startsWith("It is not known at present"));
  });
});

describe("Several products", () => {
  const suite = new Suite({ data: "two products" });
  afterEach(() => suite.closePages());

  it("are chosen in the filter, and each has figures of its own", async () => {
    const { page } = await suite.openAs("viewer", { at: "/overview" });
    for (const product of ["designer", "viewer"]) {
      await page.getByLabel("Product").selectOption(product);
      await page.waitForURL(/product=/);
      await settled(page);
      assert.equal(new URL(page.url()).searchParams.get("product"), product);
      const { rows } = await figuresOf(suite.site.data, "overview", "--product", product);
      const cells = await tableOf(figureAt(page, 0));
      assert.deepEqual(
        cells.map((row) => row[1]),
        rows.map((row) => shown(row.installations)),
      );
    }
  });
});

describe("A server without reports", () => {
  const suite = new Suite({ data: "empty" });
  afterEach(() => suite.closePages());

  it("says on each page that there are none", async () => {
    const { page } = await suite.openAs("viewer");
    for (const view of ["overview", "commands", "file-types", "versions", "machines"]) {
      await goTo(page, suite.site, `/${view}`);
      await page.getByRole("heading", { name: "No reports in this range" }).waitFor();
    }
    await goTo(page, suite.site, "/intake");
    await page.getByText("Every delivery in this range was taken.").waitFor();
  });
});

describe("A server with the reports of three installations", () => {
  const suite = new Suite({ data: "few" });
  afterEach(() => suite.closePages());

  it("says that they are too few, and shows no number", async () => {
    const { page } = await suite.openAs("viewer");
    for (const view of ["overview", "commands", "file-types", "versions", "machines"]) {
      await goTo(page, suite.site, `/${view}`);
      await page.getByRole("heading", { name: "Too few installations to show" }).waitFor();
    }
  });
});

describe("20,000 commands", () => {
  const suite = new Suite({ data: "many commands" });
  afterEach(() => suite.closePages());

  it("are listed without stopping the page", async () => {
    const { page } = await suite.openAs("viewer");
    let stop = Infinity;
    for (let attempt = 0; attempt < 3 && stop >= 500; ++attempt) {
      await goTo(page, suite.site, "/overview");
      stop = await longestStop(page, async () => {
        await page.getByRole("link", { name: "Commands" }).click();
        await settled(page);
        const figure = figureAt(page, 0);
        await figure.getByRole("button", { name: "Table", exact: true }).click();
        await figure.getByRole("button", { name: "Show all 20,000" }).click();
        await figure.getByRole("button", { name: "Show more" }).click();
        await figure.getByRole("searchbox").fill("Command 19999");
        await figure.getByRole("rowheader", { name: "Command 19999" }).waitFor();
      });
    }
    assert.ok(stop < 500, `a stop of ${stop} ms`);
  });
});
