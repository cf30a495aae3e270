// SPDX-License-Identifier: MIT
import { check } from './errors.js';
import { Owner } from './owner.js';
import { placeOf, sizeOf } from './memory.js';

const NOT_FOUND = 0xFFFFFFFF;

/** A store of tokens with its indexes. */
export class Unit extends Owner {
  constructor(library, fill) {
    const { memory, raw } = library, place = library.record('qel_unit');
    const release = (own) => {
      raw.qel_unit_free(own);
      memory.free(memory.field('qel_unit', own, 'order')); // which a unit's release leaves to its owner
      memory.free(own);
    };
    super(library, place, release);
    try {
      fill(place);
    } catch (error) {
      this.dispose();
      throw error;
    }
  }

  static load(library, source) {
    return new Unit(library, (place) => library.withFile(source, '.qel', (path, name) =>
      check('qel_unit_load', library.raw.qel_unit_load(path, place), name)));
  }

  static create(library, { keys, identities, payloads, layers }) {
    const { memory } = library, count = keys.length, text = identities.join('');
    if (identities.length !== count || payloads.length !== count || layers.length !== count || text.length !== count * 8)
      throw new RangeError('Keys, identities of eight characters, payloads and layers must be as many');
    return new Unit(library, (place) => memory.scope((take) => check('qel_unit_create', library.raw.qel_unit_create(place, count,
      memory.copyIn(take, 'uint64_t', BigUint64Array.from(keys)), memory.textIn(take, text),
      memory.copyIn(take, 'uint64_t', BigUint64Array.from(payloads)), memory.copyIn(take, 'uint8_t', Uint8Array.from(layers))))));
  }

  get count() { return this.library.raw.qel_unit_get_count(this.place); }

  /** A token by its number: key, identity, payload, layer. */
  token(number) {
    if (!(number >= 0 && number < this.count)) throw new RangeError(`There is no token ${number}`);
    const { memory } = this.library, at = memory.field('qel_unit', this.place, 'tokens') + number * sizeOf('qel_token');
    return {
      key: memory.field('qel_token', at, 'morton'), identity: memory.text(placeOf('qel_token', at, 'hex_id'), 8),
      payload: memory.field('qel_token', at, 'payload'), layer: memory.field('qel_token', at, 'layer'),
    };
  }

  /** Keys of all tokens, the caller's own. */
  keys() {
    const { memory, raw } = this.library, { count } = this;
    return memory.scope((take) => {
      const out = take(count * 8);
      raw.qel_unit_get_all_tokens(this.place, out, 0, 0);
      return memory.array('uint64_t', out, count).slice();
    });
  }

  #number(number) { return number === NOT_FOUND ? null : number; }

  /** The number of the token with a key, or null. */
  findKey(key) { return this.#number(this.library.raw.qel_unit_lookup_morton(this.place, BigInt(key))); }
  findCell(x, y, z) { return this.#number(this.library.raw.qel_unit_query_lattice_vertex(this.place, x, y, z)); }
  findIdentity(identity) {
    const { memory, raw } = this.library;
    return this.#number(memory.scope((take) => raw.qel_unit_lookup_hex(this.place, memory.textIn(take, identity))));
  }

  /** The tokens nearest to a key, nearest first: their numbers, and how far they are in hops. */
  nearest(key, count) {
    const { memory, raw } = this.library;
    return memory.scope((take) => {
      const numbers = take(count * 4), distances = take(count * 8);
      const found = raw.qel_unit_query_nearest(this.place, BigInt(key), count, numbers, distances);
      return { numbers: memory.array('uint32_t', numbers, found).slice(), distances: memory.array('uint64_t', distances, found).slice() };
    });
  }

  /** The unit as bytes of its file. */
  toBytes() {
    const { library } = this;
    return library.saved('.qel', (path) => check('qel_unit_save', library.raw.qel_unit_save(path, this.place)));
  }
}
