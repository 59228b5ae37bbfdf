// What all pages have in common: readable by everybody, at every size, quickly, and nothing from
// another host.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { readdir, readFile } from "node:fs/promises";
import { createRequire } from "node:module";
import path from "node:path";
import { afterEach, describe, it } from "node:test";
import { gzipSync } from "node:zlib";
import type Axe from "axe-core";
import type { Page } from "playwright-core";
import { settled } from "./support/Browser";
import { reportFile, reportText } from "./support/Report";
import { accounts, pagesFolder } from "./support/Site";
import { goTo, Suite, views } from "./support/Suite";

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

/** The violations that axe finds, each as a line. */
async function violationsOn(page: Page): Promise<string[]> {
  // The page's policy lets no script in, but the browser's debugger.
  if (await page.evaluate(() => !("axe" in window))) await page.evaluate(axe);
  return page.evaluate(async () => {
    const { axe } = window as unknown as { axe: typeof Axe };
    const { violations } = await axe.run({ resultTypes: ["violations"] });
    return violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html).join(" ")}`);
  });
}

async function isTooWide(page: Page): Promise<boolean> {
  return page.evaluate(
    () => document.documentElement.scrollWidth > document.documentElement.clientWidth,
  );
}

const shapes: Record<string, { colorScheme: "light" | "dark"; width: number }> = {
  "in light colors": { colorScheme: "light", width: 1280 },
  "in dark colors": { colorScheme: "dark", width: 1280 },
  "on a phone of 360 pixels": { colorScheme: "light", width: 360 },
  "on a screen of 2560 pixels": { colorScheme: "light", width: 2560 },
};

/** Gives the page a shape, and waits until its charts are drawn for it. */
async function take(page: Page, { colorScheme, width }: (typeof shapes)[string]): Promise<void> {
  await page.emulateMedia({ colorScheme });
  await page.setViewportSize({ width, height: 900 });
  await page.evaluate(
    () =>
      new Promise((drawn) => {
        requestAnimationFrame(() => requestAnimationFrame(drawn));
      }),
  );
  await settled(page);
}

describe("Every page", () => {
  const suite = new Suite();
  afterEach(() => suite.closePages());

  for (const view of views) {
    it(`has no violation that axe finds, and fits, in each shape: ${view}`, async () => {
      const { page } = await suite.openAs("admin", { at: `/${view}` });
      for (const [name, shape] of Object.entries(shapes)) {
        await take(page, shape);
        assert.deepEqual(await violationsOn(page), [], name);
        assert.equal(await isTooWide(page), false, name);
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
    const { page } = await suite.openAs("viewer", { options: { colorScheme: "dark" } });
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
    const { page } = await suite.openAs("viewer", { options: { colorScheme: "dark" } });
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
