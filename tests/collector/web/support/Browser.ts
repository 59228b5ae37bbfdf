// Chromium, and pages that note what must not happen on them.

import {
  chromium,
  type Browser,
  type BrowserContext,
  type BrowserContextOptions,
  type Cookie,
  type Page,
} from "playwright-core";
import type { Account } from "./Site";

const flags = [
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

const screen = { width: 1280, height: 900 };

let browser: Promise<Browser> | null = null;

/** The browser of this process's tests. It goes with `closeBrowser`. */
function theBrowser(): Promise<Browser> {
  browser ??= chromium.launch({
    executablePath: process.env.PELTO_CHROMIUM ?? "/usr/bin/chromium-headless-shell",
    args: flags,
  });
  return browser;
}

export async function closeBrowser(): Promise<void> {
  await (await browser)?.close();
}

/** A page, and what went wrong on it: errors, violations of the policy, requests to other hosts. */
export interface WatchedPage {
  page: Page;
  context: BrowserContext;
  faults: string[];
  /** Requests other than for the page's own files. */
  requests: string[];
}

let usualPage: WatchedPage | null = null;
let isUsualPageInUse = false;

/**
 * A page as most tests need it, which `closePage` leaves to the next test: to open one takes longer
 * than most tests do. While it is in use, and with options, it is a new one.
 */
export async function openPage(options?: BrowserContextOptions): Promise<WatchedPage> {
  if (options || isUsualPageInUse) return newPage(options);
  usualPage ??= await newPage();
  isUsualPageInUse = true;
  return usualPage;
}

/** Ends the use of a page; gives what went wrong on it. */
export async function closePage(watched: WatchedPage): Promise<string[]> {
  const { page, context, faults, requests } = watched;
  if (watched !== usualPage) {
    await context.close();
    return faults;
  }
  for (const other of context.pages()) if (other !== page) await other.close();
  await page.unrouteAll({ behavior: "ignoreErrors" });
  await page.mouse.move(0, 0);
  const address = new URL(page.url());
  if (address.protocol === "http:") {
    await page.evaluate(() => {
      localStorage.clear();
    });
  }
  await page.goto("about:blank");
  await page.emulateMedia({ colorScheme: "light", media: null });
  await page.setViewportSize(screen);
  await context.setOffline(false);
  await context.clearCookies();
  isUsualPageInUse = false;
  requests.length = 0;
  return faults.splice(0);
}

async function newPage(options: BrowserContextOptions = {}): Promise<WatchedPage> {
  const context = await (
    await theBrowser()
  ).newContext({
    viewport: screen,
    locale: "en-US",
    timezoneId: "UTC",
    // Nothing to wait for, and no color between two.
    reducedMotion: "reduce",
    ...options,
  });
  const page = await context.newPage();
  page.setDefaultTimeout(10_000);
  const faults: string[] = [];
  const requests: string[] = [];
  page.on("pageerror", (error) => {
    faults.push(`error: ${error.message}`);
  });
  page.on("console", (message) => {
    // A refused request is part of what the tests provoke.
    if (message.type() === "error" && !message.text().startsWith("Failed to load resource"))
      faults.push(`console: ${message.text()}`);
  });
  page.on("request", (request) => {
    const url = new URL(request.url());
    const isLocal =
      url.hostname === "127.0.0.1" || ["data:", "blob:", "file:"].includes(url.protocol);
    if (!isLocal) faults.push(`request to ${url.host}`);
    if (!url.pathname.includes("/assets/"))
      requests.push(`${request.method()} ${url.pathname}${url.search}`);
  });
  return { page, context, faults, requests };
}

/** Gives the context a session, as logging in does: one of these cookies if it has not ended. */
export async function beginSession(
  context: BrowserContext,
  pages: string,
  account: Account,
  cookies: Cookie[] = [],
): Promise<void> {
  await context.addCookies(cookies);
  if (cookies.length > 0 && (await context.request.get(`${pages}/api/v1/session`)).ok()) return;
  const response = await context.request.post(`${pages}/api/v1/session`, {
    data: account,
    headers: { Origin: pages },
  });
  if (!response.ok()) throw new Error(`log-in: ${await response.text()}`);
}

/** Logs in as a user does. */
export async function logIn(page: Page, pages: string, account: Account): Promise<void> {
  await page.goto(`${pages}/login`);
  await page.getByLabel("User").fill(account.user);
  await page.getByLabel("Password").fill(account.password);
  await page.getByRole("button", { name: "Log in" }).click();
  await page.getByRole("button", { name: "Log out" }).waitFor();
  await settled(page);
}

/** Waits until the content is there and each chart is drawn. */
export async function settled(page: Page): Promise<void> {
  await page.waitForFunction(() => {
    const isBusy = document.querySelector("[aria-busy], .loading") !== null;
    const pictures = [...document.querySelectorAll(".picture")];
    return !isBusy && pictures.every((picture) => picture.childElementCount > 0);
  });
}

/** The longest time in milliseconds in which the page did nothing else while `use` ran. */
export async function longestStop(page: Page, use: () => Promise<void>): Promise<number> {
  await page.evaluate(() => {
    const longest = { stop: 0 };
    Object.assign(window, { longest });
    new PerformanceObserver((list) => {
      for (const entry of list.getEntries()) longest.stop = Math.max(longest.stop, entry.duration);
    }).observe({ type: "longtask" });
  });
  await use();
  return page.evaluate(() => (window as unknown as { longest: { stop: number } }).longest.stop);
}
