// SPDX-License-Identifier: MIT
// The package under Node: files are paths, read in slices.
import { closeSync, fstatSync, openSync, readSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import createModule from './qel.js';
import { loadWith } from './library.js';

export * from './exports.js';

function openPath(path) {
  const file = openSync(path, 'r');
  try {
    if (!fstatSync(file).isFile()) throw new TypeError(`${path}: no regular file`);
  } catch (error) {
    closeSync(file);
    throw error;
  }
  return {
    size: fstatSync(file).size,
    readAt(position, length) {
      const bytes = new Uint8Array(length);
      return bytes.subarray(0, readSync(file, bytes, 0, length, position));
    },
    close: () => closeSync(file),
  };
}

const platform = {
  openPath,
  nameOf: (source) => (typeof source === 'string' || source instanceof URL ? String(source) : undefined),
  readModule: (place, simd) => readFile(place ?? new URL(simd ? './qel-simd.wasm' : './qel.wasm', import.meta.url)),
};

export const load = (options) => loadWith(platform, createModule, options);
