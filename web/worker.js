// SPDX-License-Identifier: MIT
// The page's work, off its thread: dropped files are read in slices, shown and converted. One worker for one drop.
import createEngine from 'engine';
import { addSource, blobSource } from '../bindings/javascript/sources.js';

const PAGE_ROOM = 256e6; // the most characters of a page; above, frames and points are thinned
const OUTPUT = '.made'; // a folder beside the dropped files
let engine = null, lastReport = 0;

const report = (text, done = 0, all = 0) => {
  const now = performance.now();
  if (done > 0 && done < all && now - lastReport < 100) return;
  lastReport = now;
  postMessage({ kind: 'step', text, done, all });
};

function watched(source, name) {
  let furthest = 0;
  return {
    size: source.size,
    readAt(position, length) {
      furthest = Math.max(furthest, position + length);
      report(`Reading ${name}`, furthest, source.size);
      return source.readAt(position, length);
    },
  };
}

/** Unique names for files of one folder. */
function namesOf(files) {
  const taken = new Set([OUTPUT]);
  return files.map(({ name }) => {
    const plain = name.replace(/[\n/]/g, '_'), dot = plain.lastIndexOf('.') < 1 ? plain.length : plain.lastIndexOf('.');
    let own = plain;
    for (let number = 2; taken.has(own); ++number) own = `${plain.slice(0, dot)}-${number}${plain.slice(dot)}`;
    taken.add(own);
    return own;
  });
}

function must(code) {
  if (code !== 0) throw new Error(engine.ccall('engine_message', 'string', [], []));
}

function filesIn(folder, below = '') {
  const { FS } = engine, found = [], inside = [];
  for (const name of FS.readdir(folder).filter((entry) => entry !== '.' && entry !== '..').sort()) {
    const path = `${folder}/${name}`;
    if (FS.isDir(FS.stat(path).mode)) inside.push(...filesIn(path, `${below}${name}/`));
    else {
      found.push({ name: below + name, blob: new Blob([FS.readFile(path)]) });
      FS.unlink(path);
    }
  }
  return [...found, ...inside];
}

const jobs = {
  async show({ wasm, files }) {
    engine = await createEngine({ wasmBinary: wasm, onStep: report, print() {}, printErr() {} });
    const names = namesOf(files), { FS } = engine;
    FS.mkdir('/in');
    FS.mkdir(`/in/${OUTPUT}`);
    FS.chdir('/in');
    files.forEach((file, i) => addSource(FS, `/in/${names[i]}`, watched(blobSource(file), names[i])));
    const request = [names.join('\n'), '/page.html', PAGE_ROOM];
    must(engine.ccall('engine_show', 'number', ['string', 'string', 'number'], request));
    const page = new Blob([FS.readFile('/page.html')], { type: 'text/html' });
    FS.unlink('/page.html');
    return { page, names };
  },
  convert({ name }) {
    must(engine.ccall('engine_convert', 'number', ['string', 'string'], [name, OUTPUT]));
    return { name, files: filesIn(`/in/${OUTPUT}`) };
  },
};

onmessage = async ({ data }) => {
  try {
    postMessage({ kind: data.job, ...await jobs[data.job](data) });
  } catch (error) {
    const ended = error instanceof WebAssembly.RuntimeError; // the engine cannot be called again
    const message = ended ? 'There is not enough memory for this in the browser.' : error.message;
    postMessage({ kind: 'failed', message });
  }
};
