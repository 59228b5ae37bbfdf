// Runs the tests: node test.mjs [unit|browser] [PATTERN]. The browser's need the built pages
// (PELTO_WEB; build/web without it), the collector's binary with the same pages in it
// (PELTO_COLLECTOR; build/collector/pelto-collector without it) and Chromium. Writes
// "PASSED FAILED" into the file PELTO_COUNTS, if that names one.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdir, mkdtemp, readdir, rm } from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import * as esbuild from 'esbuild';

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.join(here, '../..');
const tests = path.join(root, 'tests/collector/web');

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

// Packages are found from below here.
const cache = path.join(here, 'node_modules/.cache');
await mkdir(cache, { recursive: true });
const out = await mkdtemp(path.join(cache, 'tests-'));
// A browser that is killed leaves its files, so all of them are in one folder.
const scratch = await mkdtemp(path.join(os.tmpdir(), 'pelto-pages-'));
try {
  process.exitCode = await run(await bundle());
} finally {
  for (const folder of [out, scratch]) await rm(folder, { recursive: true, force: true });
}

/** The tests as files that Node runs. */
async function bundle() {
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
  return files.map((file) => path.join(out, path.relative(tests, file).replace(/\.ts$/, '.mjs')));
}

/** The runner's exit code. */
async function run(bundles) {
  const reporters = [['spec', 'stdout']];
  if (process.env.PELTO_COUNTS)
    reporters.push([path.join(here, 'counts.mjs'), path.resolve(process.env.PELTO_COUNTS)]);
  const options = reporters.flatMap(([reporter, destination]) => [
    `--test-reporter=${reporter}`,
    `--test-reporter-destination=${destination}`,
  ]);
  const runner = spawn(
    process.execPath,
    ['--enable-source-maps', '--test', '--test-concurrency=2', ...options, ...bundles],
    { stdio: 'inherit', env: { ...process.env, PELTO_REPO: root, TMPDIR: scratch } },
  );
  // It ends the tests, and these what they started.
  for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP'])
    process.on(signal, () => runner.kill('SIGTERM'));
  const [code] = await once(runner, 'exit');
  return code ?? 1;
}
