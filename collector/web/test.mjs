// Runs the tests: node test.mjs [unit|browser] [PATTERN]. The browser's need the built pages
// (PELTO_WEB; build/web without it), the collector's binary with the same pages in it
// (PELTO_COLLECTOR; build/collector/pelto-collector without it) and Chromium. Writes
// "PASSED FAILED" into the file PELTO_COUNTS, if that names one.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdir, mkdtemp, readdir, rm, stat } from 'node:fs/promises';
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

const found = [];
for (const folder of folders) {
  for (const name of await readdir(path.join(tests, folder))) {
    const file = path.join(tests, folder, name);
    if (name.endsWith('.test.ts') && name.includes(pattern))
      found.push({ file, size: (await stat(file)).size });
  }
}
if (found.length === 0) throw new Error('no test has this name');
// As many run side by side as there are cores. The largest come first, so that none of them is left
// to run alone at the end.
const files = found.sort((a, b) => b.size - a.size).map(({ file }) => file);

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

/** The tests as files that Node runs, in the order of their names. */
async function bundle() {
  const names = files.map(
    (file, place) => `${String(place).padStart(2, '0')}-${path.basename(file, '.test.ts')}`,
  );
  await esbuild.build({
    entryPoints: files.map((file, place) => ({ in: file, out: names[place] })),
    bundle: true,
    platform: 'node',
    target: 'node18',
    format: 'esm',
    outdir: out,
    outExtension: { '.js': '.mjs' },
    alias: { '@pages': path.join(here, 'src') },
    external: ['playwright-core', 'axe-core'],
    sourcemap: 'inline',
    logLevel: 'warning',
  });
  return names.map((name) => path.join(out, `${name}.mjs`));
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
    [
      '--enable-source-maps',
      '--test',
      `--test-concurrency=${os.cpus().length}`,
      ...options,
      ...bundles,
    ],
    { stdio: 'inherit', env: { ...process.env, PELTO_REPO: root, TMPDIR: scratch } },
  );
  // It ends the tests, and these what they started.
  for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP'])
    process.on(signal, () => runner.kill('SIGTERM'));
  const [code] = await once(runner, 'exit');
  return code ?? 1;
}
