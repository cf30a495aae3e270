// SPDX-License-Identifier: MIT
import { readFileSync } from 'node:fs';
import { checks } from './checks.js';

const harbour = process.argv[2];
for (const simd of [false, true])
  for (const source of [harbour, readFileSync(harbour)]) console.log(await checks(source, { simd }));
