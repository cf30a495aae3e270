// SPDX-License-Identifier: MIT
import { QelError, check } from './errors.js';
import { Mesh } from './mesh.js';
import { Owner } from './owner.js';

const NOT_FOUND = 0xFFFFFFFF;

/** An archive by what it says. Its arrays stay in the file until a mesh is read. */
export class Archive extends Owner {
  #closeFile = () => {};

  constructor(library, source) {
    let place = 0;
    const opened = { keep: (close) => { opened.close = close; } };
    library.withFile(source, '.abc', (path, name) => library.memory.scope((take) => {
      const out = take(4);
      check('qel_archive_open', library.raw.qel_archive_open(path, out), name);
      place = library.memory.number('pointer', out);
    }), opened);
    super(library, place, (own) => {
      library.raw.qel_archive_close(own);
      this.#closeFile();
    });
    this.#closeFile = opened.close;
  }

  #record(type, fn, ...given) {
    const { memory, raw } = this.library;
    const out = this.library.record(type);
    try {
      const code = raw[fn](this.place, ...given, out);
      if (code !== 0) throw new QelError(fn, code);
      return Object.fromEntries(FIELDS[type].map(([ours, theirs, text]) => {
        const value = memory.field(type, out, theirs);
        return [ours, text ? memory.text(value) : value];
      }));
    } finally {
      memory.free(out);
    }
  }

  /** What is said of all: counts, times in seconds, frames a second. */
  get info() { return this.#record('qel_archive_info', 'qel_archive_get_info'); }

  /** An object by its number; 0 is the top. */
  object(number) { return { number, ...this.#record('qel_archive_object', 'qel_archive_get_object', number) }; }

  /** All objects, parents before their children. */
  get objects() { return Array.from({ length: this.info.objectCount }, (_, number) => this.object(number)); }

  /** The number of the object at a path, or null. */
  find(path) {
    const { memory, raw } = this.library;
    const number = memory.scope((take) => raw.qel_archive_find(this.place, memory.textIn(take, path)));
    return number === NOT_FOUND ? null : number;
  }

  /** Samples, counts and times of an object that is a mesh. */
  meshInfo(object) { return this.#record('qel_archive_mesh_info', 'qel_archive_get_mesh_info', object); }

  #answer(fn, kind, count, object, seconds) {
    const { memory, raw } = this.library;
    return memory.scope((take) => {
      const out = take(8 * count), code = raw[fn](this.place, object, seconds, out);
      if (code !== 0) throw new QelError(fn, code);
      return memory.array(kind, out, count).slice();
    });
  }

  /** The sample of a mesh that counts at a time. */
  sampleAt(object, seconds) { return Number(this.#answer('qel_archive_sample_at', 'uint64_t', 1, object, seconds)[0]); }

  /** The mesh of an object at a sample, or at `{ time }` in seconds. It lives on without its archive. */
  mesh(object, sample = 0) {
    const number = typeof sample === 'object' ? this.sampleAt(object, sample.time) : sample;
    const place = this.library.record('ogawa_polymesh');
    const code = this.library.raw.qel_archive_read_mesh(this.place, object, BigInt(number), place);
    if (code === 0) return new Mesh(this.library, place);
    this.library.memory.free(place);
    throw new QelError('qel_archive_read_mesh', code);
  }

  /** Sixteen numbers, rows of a matrix that vectors stand before. */
  worldTransform(object, seconds = 0) { return this.#answer('qel_archive_world_transform', 'double', 16, object, seconds); }
  localTransform(object, seconds = 0) { return this.#answer('qel_archive_local_transform', 'double', 16, object, seconds); }
  visible(object, seconds = 0) { return this.#answer('qel_archive_is_visible', 'int32_t', 1, object, seconds)[0] !== 0; }

  /** A property of an object by its number. */
  property(object, number) {
    return { number, ...this.#record('qel_archive_property', 'qel_archive_get_property', object, number) };
  }

  /** A property's number by its name, of which the beginning may be left out; or null. */
  findProperty(object, name) {
    const { memory, raw } = this.library;
    const number = memory.scope((take) => raw.qel_archive_find_property(this.place, object, memory.textIn(take, name)));
    return number === NOT_FOUND ? null : number;
  }

  /** The bytes of a property's sample, the caller's own. */
  readProperty(object, property, sample = 0) {
    const { memory, raw } = this.library, fn = 'qel_archive_read_property';
    return memory.scope((take) => {
      const size = take(8);
      check(fn, raw[fn](this.place, object, property, BigInt(sample), 0, 0n, size));
      const bytes = Number(memory.number('uint64_t', size)), out = take(bytes);
      check(fn, raw[fn](this.place, object, property, BigInt(sample), out, BigInt(bytes), size));
      return memory.array('uint8_t', out, bytes).slice();
    });
  }
}

// Our names of the fields, the header's, and whether the field leads to a text.
const FIELDS = {
  qel_archive_info: [['libraryVersion', 'library_version'], ['objectCount', 'object_count'], ['meshCount', 'mesh_count'],
    ['start', 'start'], ['end', 'end'], ['framesPerSecond', 'frames_per_second'], ['metadata', 'metadata', true]],
  qel_archive_object: [['name', 'name', true], ['path', 'path', true], ['metadata', 'metadata', true], ['schema', 'schema', true],
    ['kind', 'kind'], ['parent', 'parent'], ['childCount', 'child_count'], ['propertyCount', 'property_count']],
  qel_archive_property: [['name', 'name', true], ['metadata', 'metadata', true], ['kind', 'kind'], ['value', 'value'],
    ['extent', 'extent'], ['sampleCount', 'sample_count'], ['timeSampling', 'time_sampling'], ['constant', 'constant']],
  qel_archive_mesh_info: [['sampleCount', 'sample_count'], ['topology', 'topology'], ['vertexCount', 'vertex_count'],
    ['faceCount', 'face_count'], ['cornerCount', 'corner_count'], ['start', 'start'], ['end', 'end']],
};
