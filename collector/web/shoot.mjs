// Takes screenshots of the pages: node shoot.mjs LINK INTAKE REPORT FOLDER. LINK is the one-time link
// of a server without accounts, INTAKE its intake listener, REPORT a report for the viewer.

import { mkdir } from 'node:fs/promises';
import path from 'node:path';
import { chromium } from 'playwright-core';

const [link, intake, report, folder] = process.argv.slice(2);
const views = [
  'overview',
  'commands',
  'file-types',
  'versions',
  'machines',
  'intake',
  'data-protection',
  'users',
  'audit',
  'api',
];
const password = 'a demonstration only';

await mkdir(folder, { recursive: true });
const browser = await chromium.launch({
  executablePath: process.env.PELTO_CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-background-networking'],
});
try {
  const page = await browser.newPage({ viewport: { width: 1280, height: 900 }, locale: 'en-US' });

  async function shoot(name) {
    await page.waitForLoadState('networkidle');
    await page.waitForFunction(
      () =>
        document.querySelector('[aria-busy], .loading') === null &&
        [...document.querySelectorAll('.picture')].every(
          (picture) => picture.childElementCount > 0,
        ),
    );
    await page.screenshot({ path: path.join(folder, `${name}.png`), fullPage: true });
  }

  await page.goto(link);
  await shoot('setup');
  await page.getByLabel('Name of the first user').fill('demo');
  for (const field of await page.locator('input[type=password]').all()) await field.fill(password);
  await page.locator('form button').click();
  await page.getByRole('button', { name: 'Log out' }).waitFor();
  for (const view of views) {
    await page.goto(new URL(`/${view}`, link).href);
    await shoot(view);
  }
  await page.emulateMedia({ colorScheme: 'dark' });
  await page.goto(new URL('/overview', link).href);
  await shoot('overview-dark');
  await page.emulateMedia({ colorScheme: 'light' });
  await page.getByRole('button', { name: 'Log out' }).click();
  await page.getByLabel('Password').waitFor();
  await shoot('login');
  await page.goto(new URL('/mine', intake).href);
  await page.locator('input[type=file]').setInputFiles(report);
  await page.locator('.picture').first().waitFor();
  await shoot('mine');
} finally {
  await browser.close();
}
