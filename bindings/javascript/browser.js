// SPDX-License-Identifier: MIT
// The package in a browser's page or worker.
import createModule from './qel.js';
import { loadWith } from './library.js';

export * from './exports.js';

async function readModule(place, simd) {
  const url = place ?? (simd ? new URL('./qel-simd.wasm', import.meta.url) : new URL('./qel.wasm', import.meta.url));
  const answer = await fetch(url);
  if (!answer.ok) throw new Error(`${url}: ${answer.status} ${answer.statusText}`);
  return answer.arrayBuffer();
}

export const load = (options) => loadWith({ readModule }, createModule, options);
