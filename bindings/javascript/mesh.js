// SPDX-License-Identifier: MIT
import { check } from './errors.js';
import { Owner } from './owner.js';
import { placeOf, sizeOf } from './memory.js';

/** A polygon mesh. Its arrays are views of the memory: they hold until it is disposed of or the memory grows. */
export class Mesh extends Owner {
  constructor(library, place) {
    super(library, place, (own) => {
      library.raw.ogawa_free_polymesh(own);
      library.memory.free(own);
    });
  }

  #field(name) {
    return this.library.memory.field('ogawa_polymesh', this.place, name);
  }

  #array(kind, pointer, count) {
    return this.library.memory.array(kind, this.#field(pointer), count);
  }

  get name() { return this.#field('name'); }
  get path() { return this.#field('path'); }
  get vertexCount() { return this.#field('vertex_count'); }
  get faceCount() { return this.#field('face_count'); }
  get positions() { return this.#array('float', 'positions', this.vertexCount * 3); }
  get faceCounts() { return this.#array('uint32_t', 'face_counts', this.faceCount); }
  get faceIndices() { return this.#array('uint32_t', 'face_indices', this.#field('face_index_count')); }
  get normals() { return this.#array('float', 'normals', this.#field('normal_count') * 3); }
  /** Column vectors in rows: x, y and z of the origin are the last row's first three. */
  get transform() { return this.#field('transform'); }
  get bounds() {
    const { memory } = this.library;
    return memory.array('float', placeOf('ogawa_polymesh', this.place, 'bounds_min'), 6);
  }

  /** The UV sets: name, values as pairs, and indices into them or null. */
  get uvSets() {
    const { memory } = this.library, first = this.#field('uv_sets');
    return Array.from({ length: this.#field('uv_set_count') }, (_, i) => {
      const at = first + i * sizeOf('ogawa_uv_set'), field = (name) => memory.field('ogawa_uv_set', at, name);
      return {
        name: field('name'),
        values: memory.array('float', field('values'), field('value_count') * 2),
        indices: memory.array('uint32_t', field('indices'), field('index_count')),
      };
    });
  }

  /** Triples of vertex numbers, faces cut into fans: an array of the caller's own. */
  triangles() {
    const counts = this.faceCounts, indices = this.faceIndices, out = [];
    for (let face = 0, from = 0; face < counts.length; from += counts[face++])
      for (let corner = 2; corner < counts[face]; ++corner)
        out.push(indices[from], indices[from + corner - 1], indices[from + corner]);
    return Uint32Array.from(out);
  }

  /** The mesh as bytes of a mesh cache, a file of the kind .qelm. */
  toCache() {
    const { library } = this;
    return library.saved('.qelm', (path) => check('qel_mesh_save', library.raw.qel_mesh_save(this.place, 0, path)));
  }
}

/** A mesh cache (.qelm). The library reads its positions, normals and triangles in place. */
export class Cache extends Owner {
  constructor(library, source) {
    const { memory, raw } = library, place = memory.allocate(sizeOf('qel_mesh'));
    super(library, place, (own) => {
      raw.qel_mesh_free(own);
      memory.free(own);
    });
    library.withFile(source, '.qelm', (path, name) => check('qel_mesh_load', raw.qel_mesh_load(path, place), name), this);
    this.#mustFit();
  }

  #header(name) {
    return this.library.memory.field('qel_mesh_header', this.place, name);
  }

  // The library takes a cache's counts on trust; what leads beyond the file's end is refused here.
  #mustFit() {
    const { memory } = this.library, size = Number(memory.field('qel_mesh', this.place, 'file_size'));
    const ends = [this.#header('positions_offset') + this.vertexCount * 12, this.#header('indices_offset') + this.triangleCount * 12,
      ...(this.normals ? [this.#header('normals_offset') + this.vertexCount * 12] : [])];
    if (Math.max(...ends) <= size) return;
    this.dispose();
    throw new RangeError('The counts of this mesh cache lead beyond its end');
  }

  #view(kind, name, count) {
    const { memory } = this.library;
    return memory.array(kind, memory.field('qel_mesh', this.place, name), count);
  }

  get vertexCount() { return this.#header('vertex_count'); }
  get triangleCount() { return this.#header('triangle_count'); }
  get positions() { return this.#view('float', 'positions', this.vertexCount * 3); }
  get normals() { return this.#view('float', 'normals', this.vertexCount * 3); }
  get indices() { return this.#view('uint32_t', 'indices', this.triangleCount * 3); }
  get bounds() { return this.library.memory.array('float', placeOf('qel_mesh_header', this.place, 'bounds_min'), 6); }
}
