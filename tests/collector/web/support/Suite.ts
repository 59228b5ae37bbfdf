// What the browser's tests begin and end with.

import { after, before } from "node:test";
import assert from "node:assert/strict";
import type { Browser, BrowserContextOptions, Page } from "playwright-core";
import { logIn, openPage, startBrowser, type WatchedPage } from "./Browser";
import { removeFolders } from "./Collector";
import { accounts, startSite, type Site, type SiteOptions } from "./Site";

/** A browser and a site for the tests of a file. */
export class Suite {
  private runningSite: Site | null = null;
  private browser: Browser | null = null;
  private readonly opened: WatchedPage[] = [];

  constructor(options: SiteOptions = {}) {
    before(async () => {
      this.runningSite = await startSite(options);
      this.browser = await startBrowser();
    });
    after(async () => {
      await this.browser?.close();
      await this.runningSite?.stop();
      await removeFolders();
    });
  }

  get site(): Site {
    assert.ok(this.runningSite);
    return this.runningSite;
  }

  async open(options: BrowserContextOptions = {}): Promise<WatchedPage> {
    assert.ok(this.browser);
    const watched = await openPage(this.browser, options);
    this.opened.push(watched);
    return watched;
  }

  /** A page with a session of the role. */
  async openAs(
    role: keyof typeof accounts,
    options: BrowserContextOptions = {},
  ): Promise<WatchedPage> {
    const watched = await this.open(options);
    await logIn(watched.page, this.site.pages, accounts[role]);
    return watched;
  }

  /** Closes the pages of a test, and fails if something went wrong on one of them. */
  async closePages(): Promise<void> {
    for (const { context, faults } of this.opened.splice(0)) {
      await context.close();
      assert.deepEqual(faults, []);
    }
  }
}

export const views = [
  "overview",
  "commands",
  "file-types",
  "versions",
  "machines",
  "intake",
  "data-protection",
  "users",
  "audit",
  "api",
];

export async function goTo(page: Page, site: Site, address: string): Promise<void> {
  await page.goto(`${site.pages}${address}`);
  await page.locator(".content > *").first().waitFor();
  await page.waitForFunction(() => {
    const isBusy = document.querySelector("[aria-busy], .loading") !== null;
    return (
      !isBusy &&
      [...document.querySelectorAll(".picture")].every((picture) => picture.childElementCount > 0)
    );
  });
}
