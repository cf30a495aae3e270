// SPDX-License-Identifier: MIT
// Makes the page as one file: node build.mjs FOLDER-OF-NPM FOLDER-OF-ENGINE OUTPUT-FOLDER
import { copyFileSync, readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const [npm, engine, output] = process.argv.slice(2).map((folder) => resolve(folder));
const here = dirname(fileURLToPath(import.meta.url));
const esbuild = createRequire(join(npm, 'package.json'))('esbuild');
const bundled = (file) => esbuild.buildSync({
  entryPoints: [join(here, file)], bundle: true, minify: true, write: false, format: 'iife', target: 'es2022',
  charset: 'ascii',
  alias: { engine: join(engine, 'qel_page_engine.js') }, define: { process: 'undefined' }, logLevel: 'warning',
  external: ['fs', 'path', 'crypto'],
}).outputFiles[0].text.replaceAll('</script', '<\\/script');

const parts = {
  STYLE: readFileSync(join(here, 'style.css'), 'utf8'),
  ENGINE: readFileSync(join(engine, 'qel_page_engine.wasm')).toString('base64'),
  WORKER: bundled('worker.js'),
  SCRIPT: bundled('main.js'),
};
const page = readFileSync(join(here, 'index.html'), 'utf8').replace(/@(\w+)@/g, (_, name) => parts[name]);
writeFileSync(join(output, 'index.html'), page);
copyFileSync(join(here, '..', 'LICENSE'), join(output, 'LICENSE'));
