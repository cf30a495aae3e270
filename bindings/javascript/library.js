// SPDX-License-Identifier: MIT
// The module, loaded: files in, records out.
import { addSource, blobSource, bytesSource } from './sources.js';
import { Archive } from './archive.js';
import { Cache } from './mesh.js';
import { Memory, sizeOf } from './memory.js';
import { QelError, check } from './errors.js';
import { Scene, SceneMesh } from './scene.js';
import { Unit } from './unit.js';
import { codes, constants, records, results } from './raw.js';

export { QelError, codes, constants, records };

// A module of one function that uses SIMD128: valid where the machine's kernels may.
const SIMD_PROBE = Uint8Array.of(0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11);
export const hasSimd = () => WebAssembly.validate(SIMD_PROBE);

const UNSIGNED = {
  uint8_t: (value) => value & 0xFF, uint16_t: (value) => value & 0xFFFF, uint32_t: (value) => value >>> 0,
  pointer: (value) => value >>> 0, uint64_t: (value) => BigInt.asUintN(64, value),
};

/** The functions of the C interface; what has no sign comes back without one. */
function rawOf(module) {
  const raw = {};
  for (const [name, result] of Object.entries(results)) {
    const call = module[`_${name}`], unsigned = UNSIGNED[result];
    raw[name] = unsigned ? (...given) => unsigned(call(...given)) : call;
  }
  return raw;
}

export class Library {
  #module;
  #platform;
  #files = 0;

  constructor(module, platform, simd) {
    this.#module = module;
    this.#platform = platform;
    this.simd = simd;
    this.memory = new Memory(module);
    this.raw = rawOf(module);
    module.FS.mkdir('/in');
    module.FS.mkdir('/out');
  }

  /** Opens an archive (.abc) by what it says. */
  openArchive(source) { return new Archive(this, source); }
  /** Loads a scene of tokens (.bqel). */
  loadScene(source) { return new Scene(this, source); }
  /** Loads a unit of tokens (.qel). */
  loadUnit(source) { return Unit.load(this, source); }
  /** Makes a unit of arrays as long as each other; identities have eight characters each. */
  createUnit(tokens) { return Unit.create(this, tokens); }
  /** Opens a mesh cache (.qelm). */
  openCache(source) { return new Cache(this, source); }
  /** Makes tokens of positions, and of triangles where they are given. */
  createSceneMesh(positions, triangles, name = 'mesh') { return new SceneMesh(this, positions, triangles, name); }

  // ---- for the classes
  /** Calls `use` with the place of a path that leads to a source, which is there while `keeper` lives, if one is given. */
  withFile(source, ending, use, keeper) {
    const { FS } = this.#module, name = this.#platform.nameOf?.(source) ?? source.name ?? `file${ending}`;
    const path = `/in/${++this.#files}${ending}`, opened = this.#open(source);
    addSource(FS, path, opened);
    const close = () => {
      FS.unlink(path);
      opened.close?.();
    };
    try {
      const result = this.memory.scope((take) => use(this.memory.textIn(take, path), name));
      if (keeper?.keep) keeper.keep(close);
      else close();
      return result;
    } catch (error) {
      close();
      throw error;
    }
  }

  #open(source) {
    if (typeof source === 'string' || source instanceof URL) {
      if (!this.#platform.openPath) throw new TypeError('Paths are for Node: give a Blob or its bytes');
      return this.#platform.openPath(source);
    }
    if (typeof Blob !== 'undefined' && source instanceof Blob) return blobSource(source);
    if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) return bytesSource(source);
    throw new TypeError('A file is a path, a Blob, or bytes');
  }

  /** The bytes of a file that `write` makes at the place of a path. */
  saved(ending, write) {
    const { FS } = this.#module, path = `/out/${++this.#files}${ending}`;
    try {
      this.memory.scope((take) => write(this.memory.textIn(take, path)));
      return FS.readFile(path).slice();
    } finally {
      if (FS.analyzePath(path).exists) FS.unlink(path);
    }
  }

  record(name) {
    return this.memory.allocate(sizeOf(name));
  }

  check(fn, code, subject) {
    check(fn, code, subject);
  }
}

/** `wasm`: the module's file where the package should not look for it: bytes, or a place that the platform reads. */
export async function loadWith(platform, createModule, { wasm, simd = hasSimd() } = {}) {
  const binary = wasm instanceof ArrayBuffer || ArrayBuffer.isView(wasm) ? wasm : await platform.readModule(wasm, simd);
  const compiled = await WebAssembly.compile(binary);
  const module = await createModule({
    instantiateWasm(imports, done) {
      WebAssembly.instantiate(compiled, imports).then((instance) => done(instance, compiled));
      return {};
    },
    print() {},
    printErr() {},
  });
  return new Library(module, platform, simd);
}
