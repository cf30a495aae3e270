// SPDX-License-Identifier: MIT
// One script for a page and for a worker; esbuild puts the files that it needs into it.
import plain from 'qel-unit/qel.wasm';
import simd from 'qel-unit/qel-simd.wasm';
import harbour from './harbour.abc';
import { checks } from './checks.js';

const inWorker = typeof document === 'undefined';
const source = inWorker ? new Blob([harbour]) : harbour;

async function all(): Promise<string> {
  const answers: string[] = [];
  for (const [wasm, wide] of [[plain, false], [simd, true]] as const) answers.push(await checks(source, { wasm, simd: wide }));
  if (!inWorker) {
    const refused = await checks(new Blob([harbour]), { wasm: plain, simd: false }).catch((error: Error) => error.message);
    answers.push(refused.startsWith('A Blob is read in slices in a worker only') ? 'refused' : refused);
  }
  return answers.join('; ');
}

all().catch((error: Error) => String(error)).then((text) => postMessage(text, inWorker ? undefined! : '*'));
