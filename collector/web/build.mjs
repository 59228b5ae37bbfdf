// Builds the pages: node build.mjs [FOLDER]. Without a folder, PELTO_WEB_OUT or build/web. The names of
// the packages that are in them go into FOLDER-packages.json.

import { createHash } from 'node:crypto';
import { mkdir, readFile, rm, writeFile } from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import * as esbuild from 'esbuild';

const here = path.dirname(fileURLToPath(import.meta.url));
const source = path.join(here, 'src');
const out = path.resolve(
  process.argv[2] ?? process.env.PELTO_WEB_OUT ?? path.join(here, '../../build/web'),
);

const common = {
  absWorkingDir: here,
  bundle: true,
  minify: true,
  target: ['chrome109', 'firefox115', 'safari16.4'],
  legalComments: 'none',
  logLevel: 'warning',
};

/** The packages of which something is in the pages. */
const packages = new Set();

function notePackages({ outputs }) {
  for (const { inputs } of Object.values(outputs)) {
    for (const [input, { bytesInOutput }] of Object.entries(inputs)) {
      const found = /.*node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(input);
      if (found && bytesInOutput > 0) packages.add(found[1]);
    }
  }
}

/** The files with hashed names; gives their paths in the folder by the names of their sources. */
async function buildAssets() {
  const sources = ['app.ts', 'mine.ts', 'theme.ts', 'styles/app.css', 'icon.svg'];
  const result = await esbuild.build({
    ...common,
    entryPoints: sources.map((name) => path.join('src', name)),
    outdir: out,
    format: 'esm',
    splitting: true,
    entryNames: 'assets/[name]-[hash]',
    chunkNames: 'assets/[name]-[hash]',
    loader: { '.svg': 'copy' },
    metafile: true,
  });
  notePackages(result.metafile);
  const paths = {};
  for (const [file, { entryPoint, inputs }] of Object.entries(result.metafile.outputs)) {
    const [input] = entryPoint ? [entryPoint] : Object.keys(inputs);
    if (input && sources.includes(path.relative('src', input))) {
      paths[path.basename(input)] = path
        .relative(out, path.resolve(here, file))
        .replaceAll(path.sep, '/');
    }
  }
  return paths;
}

/** A script and a style sheet as texts, for the page that is one file. */
async function buildInline(entry) {
  const result = await esbuild.build({
    ...common,
    entryPoints: [path.join('src', entry)],
    format: 'iife',
    write: false,
    outdir: out,
    metafile: true,
  });
  notePackages(result.metafile);
  return result.outputFiles[0].text.trim();
}

function fill(template, values) {
  return template.replace(/\{\{(\w+)\}\}/g, (_, name) => {
    if (!(name in values)) throw new Error(`nothing for {{${name}}}`);
    return values[name];
  });
}

/** As a content security policy names an inline script or style. */
function hashOf(text) {
  return `'sha256-${createHash('sha256').update(text).digest('base64')}'`;
}

async function writePage(name, values) {
  const template = await readFile(path.join(source, name), 'utf8');
  await writeFile(path.join(out, name), fill(template, values));
}

await rm(out, { recursive: true, force: true });
await mkdir(out, { recursive: true });
const assets = await buildAssets();
const names = {
  app: assets['app.ts'],
  mine: assets['mine.ts'],
  theme: assets['theme.ts'],
  style: assets['app.css'],
  icon: assets['icon.svg'],
};
await writePage('index.html', names);
await writePage('mine.html', names);

const script = await buildInline('viewerPage.ts');
const style = await buildInline('styles/app.css');
const policy = `default-src 'none'; script-src ${hashOf(script)}; style-src ${hashOf(style)}; img-src data:; base-uri 'none'; form-action 'none'`;
await writePage('viewer.html', { script, style, policy });

await writeFile(`${out}-packages.json`, JSON.stringify([...packages].sort()) + '\n');
