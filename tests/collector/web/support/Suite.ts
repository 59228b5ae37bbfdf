// What the browser's tests begin and end with.

import { after, before } from "node:test";
import assert from "node:assert/strict";
import type { BrowserContextOptions, Cookie, Page } from "playwright-core";
import {
  beginSession,
  closeBrowser,
  closePage,
  openPage,
  settled,
  type WatchedPage,
} from "./Browser";
import { accounts, startSite, type Site, type SiteOptions } from "./Site";

after(closeBrowser);

/** A site for the tests of a group. */
export class Suite {
  private runningSite: Site | null = null;
  private readonly opened: WatchedPage[] = [];
  private readonly sessions = new Map<string, Cookie[]>();

  constructor(options: SiteOptions = {}) {
    before(async () => {
      this.runningSite = await startSite(options);
    });
    after(() => this.runningSite?.stop());
  }

  get site(): Site {
    assert.ok(this.runningSite);
    return this.runningSite;
  }

  /** A page; a new one if there are options. */
  async open(options?: BrowserContextOptions): Promise<WatchedPage> {
    const watched = await openPage(options);
    this.opened.push(watched);
    return watched;
  }

  /** A page with a session of the role, at an address of the site. */
  async openAs(
    role: keyof typeof accounts,
    { at = "/overview", options }: { at?: string; options?: BrowserContextOptions } = {},
  ): Promise<WatchedPage> {
    const watched = await this.open(options);
    const { context } = watched;
    await beginSession(context, this.site.pages, accounts[role], this.sessions.get(role));
    this.sessions.set(role, await context.cookies());
    await goTo(watched.page, this.site, at);
    return watched;
  }

  /** Closes the pages of a test, and fails if something went wrong on one of them. */
  async closePages(): Promise<void> {
    const faults: string[] = [];
    for (const watched of this.opened.splice(0)) faults.push(...(await closePage(watched)));
    assert.deepEqual(faults, []);
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
  await settled(page);
}
