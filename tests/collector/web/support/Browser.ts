// Chromium, and pages that note what must not happen on them.

import {
  chromium,
  type Browser,
  type BrowserContext,
  type BrowserContextOptions,
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

let browser: Promise<Browser> | null = null;

/** The browser of this process's tests. It goes with `closeBrowser`. */
function theBrowser(): Promise<Browser> {
  browser ??= chromium.launch({
    executablePath: process.env.PELTO_CHROMIUM ?? "/usr/bin/chromium",
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

export async function openPage(options: BrowserContextOptions = {}): Promise<WatchedPage> {
  const context = await (
    await theBrowser()
  ).newContext({
    viewport: { width: 1280, height: 900 },
    locale: "en-US",
    timezoneId: "UTC",
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

/** Gives the context a session, as logging in does. */
export async function beginSession(
  context: BrowserContext,
  pages: string,
  account: Account,
): Promise<void> {
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
