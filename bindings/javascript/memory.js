// SPDX-License-Identifier: MIT
// The memory of the module: records by their fields, arrays as views, texts.
import { records } from './raw.js';

const ARRAYS = {
  char: Uint8Array, uint8_t: Uint8Array, int8_t: Int8Array, uint16_t: Uint16Array, int16_t: Int16Array, int: Int32Array,
  int32_t: Int32Array, uint32_t: Uint32Array, pointer: Uint32Array, float: Float32Array, double: Float64Array,
  int64_t: BigInt64Array, uint64_t: BigUint64Array,
};
const READERS = {
  uint8_t: 'getUint8', int8_t: 'getInt8', char: 'getUint8', uint16_t: 'getUint16', int16_t: 'getInt16', int: 'getInt32',
  int32_t: 'getInt32', uint32_t: 'getUint32', pointer: 'getUint32', float: 'getFloat32', double: 'getFloat64',
  int64_t: 'getBigInt64', uint64_t: 'getBigUint64',
};
const decoder = new TextDecoder(), encoder = new TextEncoder();

export class Memory {
  constructor(module) {
    this.module = module;
  }

  get buffer() {
    return this.module.HEAPU8.buffer; // another one after it has grown
  }

  /** Bytes that `free` releases; zeros. */
  allocate(size) {
    const place = this.module._malloc(Math.max(size, 1)) >>> 0;
    if (place === 0) throw new RangeError('The memory of the module has no room left');
    new Uint8Array(this.buffer, place, size).fill(0);
    return place;
  }

  free(place) {
    this.module._free(place);
  }

  /** Calls `use` with a function that allocates what is freed when `use` is done. */
  scope(use) {
    const places = [];
    const take = (size) => {
      places.push(this.allocate(size));
      return places[places.length - 1];
    };
    try {
      return use(take);
    } finally {
      for (const place of places) this.free(place);
    }
  }

  /** An array in the memory; a copy of `values` where these are given. */
  array(kind, place, count) {
    if (place === 0) return null;
    return new ARRAYS[kind](this.buffer, place, count);
  }

  copyIn(take, kind, values) {
    const place = take(values.length * ARRAYS[kind].BYTES_PER_ELEMENT);
    this.array(kind, place, values.length).set(values);
    return place;
  }

  textIn(take, text) {
    return this.copyIn(take, 'uint8_t', encoder.encode(`${text}\0`));
  }

  /** The text at a place, up to its zero byte or `limit` bytes. */
  text(place, limit = Infinity) {
    if (place === 0) return null;
    const bytes = new Uint8Array(this.buffer, place, Math.min(limit, this.buffer.byteLength - place)), end = bytes.indexOf(0);
    return decoder.decode(bytes.slice(0, end < 0 ? bytes.length : end));
  }

  /** A number out of a record, an array of them, or a text where the field holds characters. */
  field(record, place, name) {
    const [offset, kind, count] = records[record].fields[name];
    if (kind === 'char' && count > 1) return this.text(place + offset, count);
    if (count > 1) return this.array(kind, place + offset, count);
    return this.number(kind, place + offset);
  }

  number(kind, place) {
    return new DataView(this.buffer)[READERS[kind]](place, true);
  }
}

/** Where a field of a record lies. */
export const placeOf = (record, place, name) => place + records[record].fields[name][0];
export const sizeOf = (record) => records[record].size;
