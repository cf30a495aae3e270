// SPDX-License-Identifier: MIT
import { codes } from './raw.js';

/** A function of the library answered with a code that is not 0. */
export class QelError extends Error {
  constructor(fn, code, subject) {
    const [constant, meaning] = codes[fn]?.[code] ?? ['', 'a code without a description'];
    super(`${subject ? `${subject}: ` : ''}${meaning} (${fn}: ${code})`);
    this.name = 'QelError';
    this.function = fn;
    this.code = code;
    this.constant = constant;
    this.meaning = meaning;
  }
}

export function check(fn, code, subject) {
  if (code !== 0) throw new QelError(fn, code, subject);
}
