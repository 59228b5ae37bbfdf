// Runs the tests: node test.mjs [unit|browser] [PATTERN]. The browser's need the built pages, the
// collector's binary (PELTO_COLLECTOR) and Chromium.

import { spawnSync } from 'node:child_process';
import { mkdir, readdir, rm } from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import * as esbuild from 'esbuild';

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.join(here, '../..');
const tests = path.join(root, 'tests/collector/web');
// Packages are found from here, and nothing of it is kept.
const out = path.join(here, 'node_modules/.cache/tests');

const [kind = 'all', pattern = ''] = process.argv.slice(2);
const folders = { unit: ['unit'], browser: ['.'], all: ['unit', '.'] }[kind];
if (!folders) throw new Error('node test.mjs [unit|browser] [PATTERN]');

const files = [];
for (const folder of folders) {
  for (const name of (await readdir(path.join(tests, folder))).sort()) {
    if (name.endsWith('.test.ts') && name.includes(pattern))
      files.push(path.join(tests, folder, name));
  }
}
if (files.length === 0) throw new Error('no test has this name');

await rm(out, { recursive: true, force: true });
await mkdir(out, { recursive: true });
await esbuild.build({
  entryPoints: files,
  bundle: true,
  platform: 'node',
  target: 'node18',
  format: 'esm',
  outdir: out,
  outbase: tests,
  outExtension: { '.js': '.mjs' },
  alias: { '@pages': path.join(here, 'src') },
  external: ['playwright-core', 'axe-core'],
  sourcemap: 'inline',
  logLevel: 'warning',
});

const bundles = files.map((file) =>
  path.join(out, path.relative(tests, file).replace(/\.ts$/, '.mjs')),
);
const run = spawnSync(process.execPath, ['--enable-source-maps', '--test', ...bundles], {
  stdio: 'inherit',
  env: { ...process.env, PELTO_REPO: root },
});
process.exitCode = run.status ?? 1;
