// SPDX-License-Identifier: MIT
import { check } from './errors.js';
import { Owner } from './owner.js';
import { placeOf, sizeOf } from './memory.js';

/** What the meshes of a scene and meshes made here share; `place` is the record's. */
const partsOf = (library, place) => {
  const field = (name) => library.memory.field('qel_alembic_mesh', place(), name);
  const array = (kind, name, count) => library.memory.array(kind, field(name), count);
  return {
    get name() { return field('name'); },
    get vertexCount() { return field('vertex_count'); },
    get triangleCount() { return field('face_count'); },
    get positions() { return array('float', 'positions', field('vertex_count') * 3); },
    get triangles() { return array('uint32_t', 'indices', field('face_count') * 3); },
    get bounds() { return field('bounds'); },
    get layer() { return field('layer'); },
    /** A vertex's token and its cell. */
    token(number) {
      if (!(number >= 0 && number < field('vertex_count'))) throw new RangeError(`There is no vertex ${number}`);
      const { memory } = library;
      const token = field('tokens') + number * sizeOf('qel_alembic_token'), vertex = field('vertices') + number * sizeOf('qel_alembic_vertex');
      const of = (name) => memory.field('qel_alembic_vertex', vertex, name);
      return {
        key: memory.field('qel_alembic_token', token, 'morton'), identity: memory.text(placeOf('qel_alembic_token', token, 'hex_id'), 8),
        payload: memory.field('qel_alembic_token', token, 'payload'), layer: memory.field('qel_alembic_token', token, 'layer'),
        cell: [of('matrix_x'), of('matrix_y'), of('matrix_z')], level: of('k11_level'), state: of('i_state'), norm: of('phi_norm'),
      };
    },
    /** The tokens as bytes of a unit's file (.qel). */
    toUnit: () => library.saved('.qel', (path) => check('qel_alembic_export_qel', library.raw.qel_alembic_export_qel(place(), path))),
  };
};

/** Copies accessors, not what they answer now. */
const mixIn = (target, parts) => Object.defineProperties(target, Object.getOwnPropertyDescriptors(parts));

/** Vertices made into tokens here. */
export class SceneMesh extends Owner {
  constructor(library, positions, triangles, name) {
    const { memory, raw } = library, place = library.record('qel_alembic_mesh');
    super(library, place, (own) => {
      raw.qel_alembic_mesh_free(own);
      memory.free(own);
    });
    mixIn(this, partsOf(library, () => this.place));
    try {
      memory.scope((take) => check('qel_alembic_load_raw', raw.qel_alembic_load_raw(
        memory.copyIn(take, 'float', positions), positions.length / 3,
        triangles ? memory.copyIn(take, 'uint32_t', triangles) : 0, triangles ? triangles.length / 3 : 0,
        memory.textIn(take, name), place)));
    } catch (error) {
      memory.free(place); // the library has left nothing in the record that is its owner's
      throw error;
    }
    try {
      check('qel_alembic_process_mesh', raw.qel_alembic_process_mesh(place, 1));
    } catch (error) {
      this.dispose();
      throw error;
    }
  }
}

/** A scene of tokens, with frames. */
export class Scene extends Owner {
  constructor(library, source) {
    const { memory, raw } = library, place = library.record('qel_alembic_file');
    super(library, place, (own) => {
      raw.qel_alembic_free(own);
      memory.free(own);
    });
    try {
      library.withFile(source, '.bqel', (path, name) => check('qel_alembic_load', raw.qel_alembic_load(path, place), name));
    } catch (error) {
      this.dispose();
      throw error;
    }
  }

  #field(name) { return this.library.memory.field('qel_alembic_file', this.place, name); }

  get frameCount() { return this.#field('frame_count'); }
  get framesPerSecond() { return this.#field('fps'); }
  get tokenCount() { return Number(this.#field('total_tokens')); }

  /** The meshes, views of the scene: they hold until it is disposed of. */
  get meshes() {
    return Array.from({ length: this.#field('mesh_count') }, (_, i) =>
      mixIn({}, partsOf(this.library, () => this.#field('meshes') + i * sizeOf('qel_alembic_mesh'))));
  }

  /** The tokens nearest to a key: mesh, vertex and distance of each, nearest first. */
  nearest(key, count) {
    const { memory, raw } = this.library, size = sizeOf('qel_alembic_hit');
    return memory.scope((take) => {
      const out = take(count * size), found = raw.qel_alembic_query_nearest(this.place, BigInt(key), count, out);
      return Array.from({ length: found }, (_, i) => {
        const field = (name) => memory.field('qel_alembic_hit', out + i * size, name);
        return { mesh: field('mesh_index'), vertex: field('vertex_index'), distance: field('distance') };
      });
    });
  }

  toBytes() {
    const { library } = this;
    return library.saved('.bqel', (path) => check('qel_alembic_save', library.raw.qel_alembic_save(path, this.place)));
  }

  /** The tokens of all meshes as bytes of a unit's file (.qel). */
  toUnit() {
    const { library } = this;
    return library.saved('.qel', (path) => check('qel_alembic_export_file_qel', library.raw.qel_alembic_export_file_qel(this.place, path)));
  }
}
