// Chromium, and pages that note what must not happen on them.

import { mkdtemp, rm } from "node:fs/promises";
import os from "node:os";
import path from "node:path";
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

export function startBrowser(): Promise<Browser> {
  return chromium.launch({
    executablePath: process.env.PELTO_CHROMIUM ?? "/usr/bin/chromium",
    args: flags,
  });
}

/** A page, and what went wrong on it: errors, violations of the policy, requests to other hosts. */
export interface WatchedPage {
  page: Page;
  context: BrowserContext;
  faults: string[];
  /** Requests other than for the page's own files. */
  requests: string[];
}

export async function openPage(
  browser: Browser,
  options: BrowserContextOptions = {},
): Promise<WatchedPage> {
  const context = await browser.newContext({
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

export function temporaryFile(
  name: string,
): Promise<{ file: string; remove: () => Promise<void> }> {
  return mkdtemp(path.join(os.tmpdir(), "pelto-web-")).then((folder) => ({
    file: path.join(folder, name),
    remove: () => rm(folder, { recursive: true, force: true }),
  }));
}
