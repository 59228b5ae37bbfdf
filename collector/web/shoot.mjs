// Takes screenshots of the pages: node shoot.mjs LINK INTAKE REPORT FOLDER [all]. LINK is the one-time
// link of a server without accounts, INTAKE its intake listener, REPORT a report for the viewer. With
// "all" every page is also taken in dark colors, on a phone and on paper.

import { mkdir } from 'node:fs/promises';
import path from 'node:path';
import { chromium } from 'playwright-core';

const [link, intake, report, folder, extent] = process.argv.slice(2);
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
const screen = { width: 1280, height: 900 };
const usual = { colorScheme: 'light', media: 'screen', viewport: screen };
const shapes = {
  '': usual,
  '-dark': { ...usual, colorScheme: 'dark' },
  '-phone': { ...usual, viewport: { width: 360, height: 740 } },
  '-print': { ...usual, media: 'print', viewport: { width: 690, height: 980 } },
};
const password = 'a demonstration only';

await mkdir(folder, { recursive: true });
const browser = await chromium.launch({
  executablePath: process.env.PELTO_CHROMIUM ?? '/usr/bin/chromium-headless-shell',
  args: ['--no-sandbox', '--disable-gpu', '--disable-background-networking'],
});
try {
  const page = await browser.newPage({ viewport: screen, locale: 'en-US' });

  async function shoot(name) {
    // A pointer over a chart shows its tooltip.
    await page.mouse.move(0, 0);
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

  /** Opens the page anew for each of its shapes: colors do not change at once, nor do widths. */
  async function shootAll(name, names, open) {
    for (const shape of names) {
      const { colorScheme, media, viewport } = shapes[shape];
      await page.emulateMedia({ colorScheme, media });
      await page.setViewportSize(viewport);
      await open();
      await shoot(`${name}${shape}`);
    }
  }

  const isAll = extent === 'all';
  const all = isAll ? Object.keys(shapes) : [''];
  const onScreen = all.filter((shape) => shape !== '-print');

  await shootAll('setup', onScreen, () => page.goto(link));
  await page.getByLabel('Name of the first user').fill('demo');
  for (const field of await page.locator('input[type=password]').all()) await field.fill(password);
  await page.locator('form button').click();
  await page.getByRole('button', { name: 'Log out' }).waitFor();
  for (const view of views) {
    const names = isAll || view !== 'overview' ? all : ['', '-dark'];
    await shootAll(view, names, () => page.goto(new URL(`/${view}`, link).href));
  }
  await page.emulateMedia({ media: 'screen' });
  await page.getByRole('button', { name: 'Log out' }).click();
  await page.getByLabel('Password').waitFor();
  await shootAll('login', onScreen, () => page.goto(new URL('/login', link).href));
  await shootAll('mine', all, async () => {
    await page.goto(new URL('/mine', intake).href);
    await page.locator('input[type=file]').setInputFiles(report);
    await page.locator('.picture').first().waitFor();
  });
} finally {
  await browser.close();
}
