// SPDX-License-Identifier: MIT
// What owns memory of the module until it is disposed of.

const disposal = Symbol.dispose ?? Symbol.for('Symbol.dispose');

export class Owner {
  #place;
  #release;

  constructor(library, place, release) {
    this.library = library;
    this.#place = place;
    this.#release = release;
  }

  /** The record's place in the memory, for the functions of `raw`. */
  get place() {
    if (this.#place === 0) throw new TypeError('This object has been disposed of');
    return this.#place;
  }

  get disposed() {
    return this.#place === 0;
  }

  /** Releases the memory; may be called again. Views into it must not be used any more. */
  dispose() {
    const place = this.#place;
    this.#place = 0;
    if (place !== 0) this.#release(place);
  }

  [disposal]() {
    this.dispose();
  }
}
