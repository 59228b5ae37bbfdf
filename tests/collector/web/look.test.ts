// What all pages have in common: readable by everybody, at every size, quickly, and nothing from
// another host.

import assert from "node:assert/strict";
import { readdir, readFile } from "node:fs/promises";
import { createRequire } from "node:module";
import path from "node:path";
import { afterEach, describe, it } from "node:test";
import { gzipSync } from "node:zlib";
import type { AxeResults } from "axe-core";
import type { BrowserContextOptions, Page } from "playwright-core";
import { settled } from "./support/Browser";
import { reportFile, reportText } from "./support/Report";
import { accounts, pagesFolder } from "./support/Site";
import { goTo, Suite, views } from "./support/Suite";

const axe = createRequire(import.meta.url).resolve("axe-core/axe.min.js");

/** The violations that axe finds, each as a line. */
async function violationsOn(page: Page): Promise<string[]> {
  // The page's policy lets no script in, but the browser's debugger.
  await page.evaluate(await readFile(axe, "utf8"));
  const results = await page.evaluate(() =>
    (window as unknown as { axe: { run: () => Promise<AxeResults> } }).axe.run(),
  );
  return results.violations.map(
    ({ id, nodes }) =>
      `${id}: ${nodes
        .map((node) => node.html)
        .slice(0, 2)
        .join(" ")}`,
  );
}

async function isTooWide(page: Page): Promise<boolean> {
  return page.evaluate(
    () => document.documentElement.scrollWidth > document.documentElement.clientWidth,
  );
}

const shapes: Record<string, BrowserContextOptions> = {
  "in light colors": { colorScheme: "light" },
  "in dark colors": { colorScheme: "dark" },
  "on a phone of 360 pixels": { viewport: { width: 360, height: 740 } },
  "on a screen of 2560 pixels": { viewport: { width: 2560, height: 1300 } },
};

describe("Every page", () => {
  const suite = new Suite();
  afterEach(() => suite.closePages());

  for (const [shape, options] of Object.entries(shapes)) {
    it(`has no violation that axe finds, and fits, ${shape}`, async () => {
      const { page } = await suite.openAs("admin", options);
      for (const view of views) {
        await goTo(page, suite.site, `/${view}`);
        assert.deepEqual(await violationsOn(page), [], view);
        assert.equal(await isTooWide(page), false, view);
      }
    });
  }

  it("has none with its tables, either", async () => {
    const { page } = await suite.openAs("viewer");
    for (const view of ["overview", "commands", "versions", "intake"]) {
      await goTo(page, suite.site, `/${view}`);
      for (const button of await page.getByRole("button", { name: "Table", exact: true }).all())
        await button.click();
      assert.deepEqual(await violationsOn(page), [], view);
    }
  });

  it("has none before log-in, on the participants’ page and in the viewer", async () => {
    const { page } = await suite.open();
    for (const address of [
      `${suite.site.pages}/login`,
      `${suite.site.pages}/setup#x`,
      `${suite.site.intake}/mine`,
    ]) {
      await page.goto(address);
      await page.locator("form").first().waitFor();
      assert.deepEqual(await violationsOn(page), [], address);
    }
    await page.setInputFiles("input[type=file]", reportFile(reportText()));
    await page.getByRole("heading", { name: "Line most" }).waitFor();
    await settled(page);
    assert.deepEqual(await violationsOn(page), []);
  });

  it("has none in its dialogs", async () => {
    const { page } = await suite.openAs("admin");
    await page
      .getByRole("button", { name: `${accounts.admin.user}: change your password` })
      .click();
    assert.deepEqual(await violationsOn(page), []);
    await page.getByRole("button", { name: "Close" }).click();
    await goTo(page, suite.site, "/data-protection");
    await page.getByLabel("Identifier", { exact: true }).fill("x");
    await page.getByRole("button", { name: "Erase…" }).click();
    await page.getByRole("dialog").waitFor();
    assert.deepEqual(await violationsOn(page), []);
  });

  it("says in a picture’s place what is in it", async () => {
    const { page } = await suite.openAs("viewer");
    for (const view of ["overview", "commands", "file-types", "versions", "machines", "intake"]) {
      await goTo(page, suite.site, `/${view}`);
      const pictures = page.locator(".picture");
      assert.ok((await pictures.count()) > 0);
      for (const picture of await pictures.all()) {
        assert.equal(await picture.getAttribute("role"), "img");
        assert.match((await picture.getAttribute("aria-label")) ?? "", /\w{3}.*\w{3}/);
      }
    }
  });

  it("has the colors of its system, or those of its switch, from the first paint on", async () => {
    const { page } = await suite.openAs("viewer", { colorScheme: "dark" });
    const ground = () =>
      page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    const dark = await ground();
    await page.emulateMedia({ colorScheme: "light" });
    const light = await ground();
    assert.notEqual(dark, light);
    await page.getByLabel("Colors").selectOption("dark");
    assert.equal(await ground(), dark);
    await page.reload({ waitUntil: "commit" });
    await page.locator("header").waitFor();
    assert.equal(await ground(), dark);
    await settled(page);
    await page.getByLabel("Colors").selectOption("system");
    assert.equal(await ground(), light);
  });

  it("prints light, without controls, and with the filter in words", async () => {
    const { page } = await suite.openAs("viewer", { at: "/overview", colorScheme: "dark" });
    await page.emulateMedia({ media: "print", colorScheme: "dark" });
    assert.equal(
      await page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor),
      "rgb(255, 255, 255)",
    );
    assert.equal(await page.getByRole("navigation").isVisible(), false);
    assert.equal(
      await page.getByRole("button", { name: "Table", exact: true }).first().isVisible(),
      false,
    );
    assert.equal(await page.getByText("All versions, from the first period").isVisible(), true);
  });

  it("can be used by keyboard alone", async () => {
    const { page } = await suite.open();
    await page.goto(`${suite.site.pages}/login`);
    await page.getByLabel("User").waitFor();
    await page.keyboard.type(accounts.viewer.user);
    await page.keyboard.press("Tab");
    await page.keyboard.type(accounts.viewer.password);
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { name: "Overview" }).waitFor();
    await settled(page);

    const focused = () => page.evaluate(() => document.activeElement?.textContent ?? "");
    const tabTo = async (text: string) => {
      for (let count = 0; count < 60; ++count) {
        if ((await focused()).trim() === text) return;
        await page.keyboard.press("Tab");
      }
      assert.fail(`"${text}" is not reached`);
    };
    await page.reload();
    await settled(page);
    await page.keyboard.press("Tab");
    assert.equal(await focused(), "Skip to the content");
    await tabTo("Commands");
    await page.keyboard.press("Enter");
    await page.getByRole("heading", { name: "Commands", exact: true }).waitFor();
    await settled(page);
    assert.equal(await focused(), "Commands");
    await tabTo("Table");
    await page.keyboard.press("Space");
    await page.getByRole("columnheader", { name: "Uses" }).waitFor();
    assert.equal(await focused(), "Table");

    // A select that changes keeps the focus, so that the next value is one key away.
    await page.getByLabel("Version").focus();
    await page.keyboard.press("ArrowDown");
    await page.waitForURL(/version=/);
    await settled(page);
    assert.equal(
      await page.evaluate(() => (document.activeElement as HTMLSelectElement).name),
      "version",
    );
  });

  it("shows where the focus is", async () => {
    const { page } = await suite.openAs("viewer");
    await page.keyboard.press("Tab");
    const outline = await page.evaluate(() => {
      const style = getComputedStyle(document.activeElement ?? document.body);
      return `${style.outlineStyle} ${style.outlineWidth}`;
    });
    assert.equal(outline, "solid 2px");
  });

  it("is in the program as it was built", async () => {
    const { pages, intake } = suite.site;
    const files = new Map([
      [`${pages}/`, "index.html"],
      [`${intake}/mine`, "mine.html"],
    ]);
    for (const name of await readdir(path.join(pagesFolder, "assets"))) {
      files.set(`${pages}/assets/${name}`, `assets/${name}`);
      files.set(`${intake}/mine/assets/${name}`, `assets/${name}`);
    }
    for (const [address, file] of files) {
      const response = await fetch(address);
      assert.equal(response.status, 200, address);
      const built = await readFile(path.join(pagesFolder, file));
      assert.ok(built.equals(Buffer.from(await response.arrayBuffer())), address);
    }
  });

  it("has no script or style in its document", async () => {
    for (const address of [`${suite.site.pages}/`, `${suite.site.intake}/mine`]) {
      const text = await (await fetch(address)).text();
      assert.match(text, /<script /);
      assert.doesNotMatch(text, /<script(?![^>]*\bsrc=)|<style|\sstyle=|\son\w+=/);
    }
  });

  it("paints within 200 ms", async () => {
    const { page } = await suite.openAs("viewer");
    const paints: number[] = [];
    for (let count = 0; count < 5; ++count) {
      await page.goto(`${suite.site.pages}/overview`);
      await settled(page);
      paints.push(
        await page.evaluate(
          () => performance.getEntriesByName("first-contentful-paint")[0]?.startTime ?? Infinity,
        ),
      );
    }
    const median = paints.sort((a, b) => a - b)[2] ?? Infinity;
    assert.ok(median < 200, `${median} ms`);
  });

  it("is small: all assets together stay under 250 KiB compressed", async () => {
    const folder = path.join(pagesFolder, "assets");
    let size = 0;
    for (const name of await readdir(folder))
      size += gzipSync(await readFile(path.join(folder, name)), { level: 9 }).length;
    assert.ok(size > 50 * 1024);
    assert.ok(size < 250 * 1024, `${size} bytes`);
  });
});
