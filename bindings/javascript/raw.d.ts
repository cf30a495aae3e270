// Made from the headers by scripts/generate_javascript.py.
// Pointers are numbers: places in the memory of the library.
export declare const constants: {
  readonly QEL_UNIT_VERSION_MAJOR: 1;
  readonly QEL_UNIT_VERSION_MINOR: 0;
  readonly QEL_UNIT_VERSION_PATCH: 0;
  readonly QEL_NOT_FOUND: 4294967295;
  readonly QEL_OK: 0;
  readonly QEL_UNIT_CREATE_BAD_ARGUMENT: -1;
  readonly QEL_UNIT_CREATE_TOKENS_NO_MEMORY: -2;
  readonly QEL_UNIT_CREATE_INDEX_NO_MEMORY: -3;
  readonly QEL_UNIT_CREATE_ORDER_NO_MEMORY: -4;
  readonly QEL_UNIT_SAVE_BAD_ARGUMENT: -1;
  readonly QEL_UNIT_SAVE_CANNOT_CREATE: -2;
  readonly QEL_UNIT_SAVE_CANNOT_WRITE_HEADER: -3;
  readonly QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS: -4;
  readonly QEL_UNIT_LOAD_CANNOT_OPEN: -1;
  readonly QEL_UNIT_LOAD_TOO_SHORT: -2;
  readonly QEL_UNIT_LOAD_NOT_A_UNIT: -3;
  readonly QEL_UNIT_LOAD_TOKENS_NO_MEMORY: -4;
  readonly QEL_UNIT_LOAD_INDEX_NO_MEMORY: -5;
  readonly QEL_UNIT_LOAD_ORDER_NO_MEMORY: -6;
  readonly QEL_UNIT_GET_TOKEN_NOT_FOUND: -1;
  readonly OGAWA_OPEN_CANNOT_OPEN: -1;
  readonly OGAWA_OPEN_NOT_AN_ARCHIVE: -2;
  readonly OGAWA_OPEN_UNFINISHED: -3;
  readonly OGAWA_OPEN_NO_VERSION: -4;
  readonly OGAWA_OPEN_NO_ROOT: -5;
  readonly OGAWA_READ_POLYMESH_NOT_FOUND: -1;
  readonly OGAWA_READ_POLYMESH_NO_MEMORY: -2;
  readonly OGAWA_READ_POSITIONS_NOT_FOUND: -1;
  readonly OGAWA_READ_POSITIONS_NO_MEMORY: -2;
  readonly OGAWA_READ_NORMALS_NOT_FOUND: -1;
  readonly OGAWA_READ_NORMALS_NO_MEMORY: -2;
  readonly OGAWA_READ_UVS_NOT_FOUND: -1;
  readonly OGAWA_READ_UVS_NO_MEMORY: -2;
  readonly OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT: -1;
  readonly OGAWA_BUILD_MANIFOLD_NO_MEMORY: -2;
  readonly OGAWA_GET_VERTEX_FACES_NOT_FOUND: -1;
  readonly OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND: -1;
  readonly OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY: -2;
  readonly OGAWA_READ_TANGENT_FRAME_NOT_FOUND: -1;
  readonly OGAWA_READ_TANGENT_FRAME_NO_MEMORY: -2;
  readonly OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT: -1;
  readonly OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND: -2;
  readonly OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY: -3;
  readonly OGAWA_TRIANGULATE_FACE_BAD_ARGUMENT: -1;
  readonly OGAWA_TRIANGULATE_FACE_NO_MEMORY: -2;
  readonly QEL_ALEMBIC_PROCESS_MESH_BAD_ARGUMENT: -1;
  readonly QEL_ALEMBIC_PROCESS_MESH_NO_MEMORY: -4;
  readonly QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT: -1;
  readonly QEL_ALEMBIC_LOAD_RAW_NO_MEMORY: -4;
  readonly QEL_ALEMBIC_SAVE_CANNOT_CREATE: -1;
  readonly QEL_ALEMBIC_LOAD_CANNOT_OPEN: -1;
  readonly QEL_ALEMBIC_LOAD_NOT_A_SCENE: -2;
  readonly QEL_ALEMBIC_LOAD_UNKNOWN_VERSION: -3;
  readonly QEL_ALEMBIC_LOAD_NO_MEMORY: -4;
  readonly QEL_ALEMBIC_BUILD_HASH_TABLE_BAD_ARGUMENT: -1;
  readonly QEL_ALEMBIC_BUILD_HASH_TABLE_NO_MEMORY: -4;
  readonly QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT: -1;
  readonly QEL_ALEMBIC_VALIDATE_NO_MESHES: -2;
  readonly QEL_ALEMBIC_VALIDATE_NO_POSITIONS: -3;
  readonly QEL_ALEMBIC_VALIDATE_NO_VERTICES: -4;
  readonly QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE: -5;
  readonly QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE: -6;
  readonly QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND: -1;
  readonly QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND: -1;
  readonly QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND: -1;
  readonly QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND: -1;
  readonly QEL_ALEMBIC_INTERPOLATE_TIME_NO_MEMORY: -4;
  readonly QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE: -1;
  readonly QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE: -1;
  readonly QEL_MESH_VERIFY_IDENTITY_BAD_ARGUMENT: -1;
  readonly OGAWA_READ_SKINNING_NOT_FOUND: -1;
  readonly QEL_MESH_SAVE_BAD_ARGUMENT: -1;
  readonly QEL_MESH_SAVE_CANNOT_CREATE: -2;
  readonly QEL_MESH_SAVE_INDEX_OUTSIDE: -10;
  readonly QEL_MESH_LOAD_BAD_ARGUMENT: -1;
  readonly QEL_MESH_LOAD_CANNOT_OPEN: -2;
  readonly QEL_MESH_LOAD_CANNOT_MAP: -3;
  readonly QEL_MESH_LOAD_NO_MEMORY: -4;
  readonly QEL_MESH_LOAD_NOT_A_CACHE: -5;
  readonly QEL_MESH_GET_GPU_DATA_BAD_ARGUMENT: -1;
  readonly QEL_AGENT_DIR_INIT_DIRECTORY_NO_MEMORY: -1;
  readonly QEL_AGENT_DIR_INIT_CONTENTS_NO_MEMORY: -2;
  readonly QEL_AGENT_DIR_LOAD_NO_MEMORY: -1;
  readonly QEL_AGENT_DIR_LOAD_CANNOT_OPEN: -2;
  readonly QEL_AGENT_DIR_LOAD_TOO_SHORT: -3;
  readonly QEL_AGENT_DIR_LOAD_NOT_A_DIRECTORY: -4;
  readonly QEL_AGENT_DIR_SAVE_NO_DIRECTORY: -1;
  readonly QEL_AGENT_DIR_SAVE_NO_PATH: -2;
  readonly QEL_AGENT_DIR_SAVE_CANNOT_CREATE: -3;
  readonly QEL_AGENT_SPAWN_NO_MEMORY: -1;
  readonly QEL_AGENT_SPAWN_FULL: -2;
  readonly QEL_AGENT_TERMINATE_NO_DIRECTORY: -1;
  readonly QEL_AGENT_TERMINATE_NOT_FOUND: -2;
  readonly QEL_AGENT_TERMINATE_TERMINATED: -3;
  readonly QEL_AGENT_DELEGATE_NO_DIRECTORY: -1;
  readonly QEL_AGENT_DELEGATE_FROM_NOT_FOUND: -2;
  readonly QEL_AGENT_DELEGATE_TO_NOT_FOUND: -3;
  readonly QEL_AGENT_DELEGATE_TO_TERMINATED: -4;
  readonly QEL_AGENT_QUERY_NO_DIRECTORY: -1;
  readonly QEL_AGENT_QUERY_NOT_FOUND: -2;
  readonly QEL_AGENT_CONTROL_NO_DIRECTORY: -1;
  readonly QEL_AGENT_CONTROL_NOT_FOUND: -2;
  readonly QEL_AGENT_CONTROL_UNKNOWN_COMMAND: -3;
  readonly QEL_ILOGIC_REVERSE: -1;
  readonly QEL_ILOGIC_DOUBLE: 2;
  readonly QEL_ILOGIC_HALVE: 3;
  readonly QEL_HASH_BUCKETS: 8388608;
  readonly QEL_REPRODUCE_CROSSOVER: 0;
  readonly QEL_REPRODUCE_PROJECTIVE: 1;
  readonly QEL_REPRODUCE_TACHYON: 2;
  readonly OGAWA_SCOPE_CONSTANT: 0;
  readonly OGAWA_SCOPE_FACE: 1;
  readonly OGAWA_SCOPE_VARYING: 2;
  readonly OGAWA_SCOPE_VERTEX: 3;
  readonly OGAWA_SCOPE_FACE_VARYING: 4;
  readonly OGAWA_SCHEMA_UNKNOWN: 0;
  readonly OGAWA_SCHEMA_XFORM: 1;
  readonly OGAWA_SCHEMA_POLYMESH: 2;
  readonly OGAWA_SCHEMA_SUBD: 3;
  readonly OGAWA_SCHEMA_POINTS: 4;
  readonly OGAWA_SCHEMA_CURVES: 5;
  readonly OGAWA_SCHEMA_CAMERA: 8;
  readonly QEL_MESH_HAS_NORMALS: 1;
  readonly QEL_MESH_HAS_SKIN: 4;
  readonly QEL_AGENT_CAPACITY: 65536;
  readonly QEL_AGENT_STATE_SPAWNED: 0;
  readonly QEL_AGENT_STATE_RESET: 1;
  readonly QEL_AGENT_STATE_DELEGATED: 2;
  readonly QEL_AGENT_STATE_PAUSED: 3;
  readonly QEL_AGENT_STATE_4: 4;
  readonly QEL_AGENT_STATE_5: 5;
  readonly QEL_AGENT_STATE_TERMINATED: 6;
  readonly QEL_AGENT_COMMAND_PAUSE: 0;
  readonly QEL_AGENT_COMMAND_RESUME: 1;
  readonly QEL_AGENT_COMMAND_TO_STATE_5: 2;
  readonly QEL_AGENT_COMMAND_TO_STATE_4: 3;
  readonly QEL_AGENT_COMMAND_RESET: 4;
  readonly QEL_ARCHIVE_OK: 0;
  readonly QEL_ARCHIVE_BAD_ARGUMENT: -1;
  readonly QEL_ARCHIVE_CANNOT_OPEN: -2;
  readonly QEL_ARCHIVE_NOT_AN_ARCHIVE: -3;
  readonly QEL_ARCHIVE_HDF5: -4;
  readonly QEL_ARCHIVE_DAMAGED: -5;
  readonly QEL_ARCHIVE_NO_MEMORY: -6;
  readonly QEL_ARCHIVE_NOT_FOUND: -7;
  readonly QEL_ARCHIVE_WRONG_KIND: -8;
  readonly QEL_ARCHIVE_PROPERTY_COMPOUND: 0;
  readonly QEL_ARCHIVE_PROPERTY_SCALAR: 1;
  readonly QEL_ARCHIVE_PROPERTY_ARRAY: 2;
  readonly QEL_ARCHIVE_VALUE_BOOL: 0;
  readonly QEL_ARCHIVE_VALUE_U8: 1;
  readonly QEL_ARCHIVE_VALUE_I8: 2;
  readonly QEL_ARCHIVE_VALUE_U16: 3;
  readonly QEL_ARCHIVE_VALUE_I16: 4;
  readonly QEL_ARCHIVE_VALUE_U32: 5;
  readonly QEL_ARCHIVE_VALUE_I32: 6;
  readonly QEL_ARCHIVE_VALUE_U64: 7;
  readonly QEL_ARCHIVE_VALUE_I64: 8;
  readonly QEL_ARCHIVE_VALUE_F16: 9;
  readonly QEL_ARCHIVE_VALUE_F32: 10;
  readonly QEL_ARCHIVE_VALUE_F64: 11;
  readonly QEL_ARCHIVE_VALUE_TEXT: 12;
  readonly QEL_ARCHIVE_VALUE_WIDE_TEXT: 13;
  readonly QEL_ARCHIVE_TOPOLOGY_CONSTANT: 0;
  readonly QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE: 1;
  readonly QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE: 2;
};

/** The functions of the C interface. */
export interface Raw {
  /** The integer square root of `n` by way of single precision. */
  ruv_sqrt(n: bigint): bigint;
  /** The integer square root of a signed number, by way of single precision. */
  ruv_isqrt(n: number): number;
  /** The integer square root of `n`, kept between two bounds. The lower bound is tested first. */
  ruv_bounded_sqrt(n: number, lo: number, hi: number): number;
  /** The distance of two keys in hops: ::ruv_sqrt of their absolute difference. */
  ruv_hop_distance(a: bigint, b: bigint): bigint;
  /** Transforms one token record in place. No index is updated. */
  qel_token_apply_ilogic(token: number, op: number): void;
  /**
   * Requires ascending keys, or ::qel_unit_query_nearest returns wrong tokens and no error: builds a unit from
   * caller arrays, without sorting them.
   */
  qel_unit_create(unit: number, count: number, mortons: number, hex_ids: number, payloads: number, layers: number): number;
  /** Releases a unit's tokens and both indexes and nulls them. */
  qel_unit_free(unit: number): void;
  /** Writes a unit file: a 24-byte header with the present time, then the tokens in storage order. */
  qel_unit_save(path: number, unit: number): number;
  /** Reads a unit file, sorts its tokens by key and builds both indexes. */
  qel_unit_load(path: number, unit: number): number;
  /** The number of tokens. */
  qel_unit_get_count(unit: number): number;
  /** Copies key, identity and layer of one token. The payload is not handed out. */
  qel_unit_get_token(unit: number, index: number, morton: number, hex_id: number, layer: number): number;
  /** Copies key, identity and layer of every token, in storage order. */
  qel_unit_get_all_tokens(unit: number, mortons: number, hex_ids: number, layers: number): number;
  /** Finds a token by key, in constant time. */
  qel_unit_lookup_morton(unit: number, morton: bigint): number;
  /** Finds a token by identity, in constant time. */
  qel_unit_lookup_hex(unit: number, hex_id: number): number;
  /** Finds a token by lattice vertex: ::qel_unit_lookup_morton of the key (x << 32) | (y << 16) | z. */
  qel_unit_query_lattice_vertex(unit: number, x: number, y: number, z: number): number;
  /** Lists the tokens of one layer, in storage order. */
  qel_unit_query_layer(unit: number, layer: number, numbers: number, max: number): number;
  /**
   * Requires tokens in ascending key order, as a loaded unit's are, or returns wrong ones and no error: finds the
   * `k` tokens nearest to a key by ::ruv_hop_distance, nearest first.
   */
  qel_unit_query_nearest(unit: number, morton: bigint, k: number, numbers: number, distances: number): number;
  /** Interleaves the low 6 bits of each coordinate: bit i of x goes to bit 3i, of y to 3i + 1, of z to 3i + 2. */
  qel_matrix_48_morton_encode(x: number, y: number, z: number): bigint;
  /** The mirror cell: 47 minus each coordinate, kept to its low 8 bits (50 gives 253). */
  qel_matrix_48_palindrome(x: number, y: number, z: number, out_x: number, out_y: number, out_z: number): void;
  /** The level of a cell: (a + b + c) mod 23, minus 11. */
  qel_matrix_48_k11_level(a: number, b: number, c: number): number;
  /** The state of a level: 0, 1, 255 or 2 for the two low bits 0, 1, 2 or 3 of `v`. */
  qel_matrix_48_i_state(v: number): number;
  /**
   * The norm of a cell: its distance from the lattice centre, scaled so that a corner of the cube has about
   * 1.618034.
   */
  qel_matrix_48_phi_norm(x: number, y: number, z: number): number;
  /** The coupling of a cell: (norm / 48 + 1) in single precision, times 10.665754185164001 in double precision. */
  qel_matrix_48_em_coupling(x: number, y: number, z: number): number;
  /** Fills the identity record of a cell. */
  qel_matrix_48_identity(x: number, y: number, z: number, identity: number): bigint;
  /** The cell between two cells: the truncated average of each axis. */
  qel_matrix_48_crossover_bind(a0: number, a1: number, a2: number, b0: number, b1: number, b2: number, c0: number, c1: number, c2: number): void;
  /** Reflects a cell: for each coordinate v, 0 gives 47, 1..48 give 48 - v, larger ones give 0. */
  qel_matrix_48_mutate_tachyon(x: number, y: number, z: number, out_x: number, out_y: number, out_z: number): void;
  /** Compares two coordinates. */
  qel_matrix_48_chirality(a: number, b: number): number;
  /** Fills the offspring record of two parents, of which the cells and norms are read. */
  qel_matrix_48_reproduce(a: number, b: number, mode: number, child: number): void;
  /** The number of cells. Nothing is examined. */
  qel_matrix_48_validate_all(): number;
  /** Opens an archive and checks its 16-byte header. The record may be passed to the readers only after a 0. */
  ogawa_open(path: number, archive: number): number;
  /** Writes a description of the archive: path, version, counts, time range and frame rate. */
  ogawa_get_info(archive: number, buffer: number, size: number): void;
  /** Closes the stream, releases the cached mesh and every listed object, and clears the record. */
  ogawa_close(archive: number): void;
  /** Releases an object with its mesh, its auxiliary record, its children (recursively) and the record itself. */
  ogawa_free_object(object: number): void;
  /**
   * Classifies a schema name by the first of these words that it contains, in this order and with this case:
   * PolyMesh, SubD, Points, Xform, Curves, Camera.
   */
  ogawa_schema_from_string(text: number): number;
  /** The text of a schema. */
  ogawa_schema_to_string(schema: number): number;
  /** Reads the archive's mesh. */
  ogawa_read_polymesh(archive: number, object: number, sample: bigint, mesh: number): number;
  /** The archive's mesh, read at the first call and cached in the archive. */
  ogawa_get_first_polymesh(archive: number): number;
  /**
   * Reads positions only, by the byte search: the largest array of float triples whose size word is within the
   * first 2 KiB.
   */
  ogawa_read_positions(archive: number, object: number, sample: bigint, positions: number, count: number): number;
  /** Releases everything a mesh owns, its UV sets, tangent frame and manifold included, and clears the record. */
  ogawa_free_polymesh(mesh: number): void;
  /**
   * Reads per-vertex normals by searching the archive's bytes for the longest block of float triples within [-1.1,
   * 1.1], at most 5,000,000 bytes long.
   */
  ogawa_read_normals(archive: number, object: number, sample: bigint, normals: number, indices: number, count: number, scope: number): number;
  /**
   * Reads one UV set: the longest block of float pairs that the mesh search of the archive finds, else the longest
   * block within [-10, 10] and 5,000,000 bytes.
   */
  ogawa_read_uvs(archive: number, object: number, sample: bigint, set_index: number, set: number): number;
  /** Releases a UV set's arrays and clears the record, its name included. */
  ogawa_free_uv_set(set: number): void;
  /** Builds a mesh's vertex-to-face and face-to-vertex adjacency into `mesh->manifold`. */
  ogawa_build_manifold(mesh: number): number;
  /** The faces around a vertex, ascending; a face that repeats the vertex is listed once per occurrence. */
  ogawa_get_vertex_faces(manifold: number, vertex: number, faces: number, count: number): number;
  /**
   * The vertices that share a face with a vertex, each once, in order of first appearance: faces ascending,
   * corners in face order.
   */
  ogawa_get_vertex_neighbors(manifold: number, faces: number, vertex: number, neighbors: number, count: number): number;
  /** Whether a mesh is closed is not determined. */
  ogawa_is_manifold_closed(manifold: number): number;
  /** Releases a manifold's owned arrays (never `face_vertices`) and clears the record. */
  ogawa_free_manifold(manifold: number): void;
  /**
   * Reads tangents and bitangents: the first pair of blocks of equal length among the first 32 blocks of the
   * archive that look like unit vectors.
   */
  ogawa_read_tangent_frame(archive: number, object: number, sample: bigint, frame: number): number;
  /** Computes per-vertex tangents and bitangents into `mesh->tangent_frame`, from positions, faces and a UV set. */
  ogawa_compute_tangent_frame(mesh: number, uv_set_name: number): number;
  /** Releases a tangent frame's arrays, nulls them and sets `count` to 0; `components` stays. */
  ogawa_free_tangent_frame(frame: number): void;
  /**
   * The axis-aligned box of positions. A coordinate replaces a bound only if it is strictly beyond it, so a NaN
   * after the first position never does.
   */
  ogawa_compute_bounds(positions: number, count: number, bounds: number): void;
  /** Splits a polygon into a fan about its first corner: (0, 1, 2), (0, 2, 3), … */
  ogawa_triangulate_face(face: number, corner_count: number, triangles: number, triangle_count: number): number;
  /** The axis-aligned box of positions, as ::ogawa_compute_bounds. */
  qel_alembic_compute_bounds(positions: number, vertex_count: number, bounds: number): void;
  /** Places a point on the 48-cube lattice of a box. */
  qel_alembic_world_to_matrix(x: number, y: number, z: number, bounds: number, mx: number, my: number, mz: number): void;
  /** The point of a lattice cell: m / 47 x (max - min) + min per axis, in single precision. */
  qel_alembic_matrix_to_world(mx: number, my: number, mz: number, bounds: number, x: number, y: number, z: number): void;
  /** Fills a vertex record: lattice cell, key, level, state, norm and coupling; the topology becomes 0. */
  qel_alembic_process_vertex(position: number, bounds: number, out: number): void;
  /** A hash of the faces that touch a vertex; it depends on their order and on the order within a face. */
  qel_alembic_topology_hash(vertex_index: number, indices: number, face_count: number): number;
  /** Makes the token of a processed vertex. */
  qel_alembic_generate_token(vertex: number, layer: number, mesh_index: number, vertex_index: number, out: number): void;
  /** Processes every vertex of a mesh and makes its tokens, all with mesh number 0. */
  qel_alembic_process_mesh(mesh: number, layer: number): number;
  /**
   * Builds a mesh record from caller arrays, which are copied, and processes it with layer 1, with the scratch of
   * ::qel_alembic_process_mesh.
   */
  qel_alembic_load_raw(positions: number, vertex_count: number, indices: number, face_count: number, name: number, out: number): number;
  /** Writes a scene file. Write errors are not reported. */
  qel_alembic_save(path: number, scene: number): number;
  /** Reads a scene file and builds its index. What a file that ends early does not hold is zero. */
  qel_alembic_load(path: number, scene: number): number;
  /**
   * Builds the scene's index, an open-addressing table of 0x800000 slots (32 MiB) from key to global token number.
   */
  qel_alembic_build_hash_table(scene: number): number;
  /** Releases a scene's meshes, frames and index; totals, times, source and `hash_size` stay. */
  qel_alembic_free(scene: number): void;
  /** Releases a mesh's arrays, nulls them and sets `vertex_count` to 0; `face_count` stays. */
  qel_alembic_mesh_free(mesh: number): void;
  /** Checks a scene's meshes in order; the first failure is returned. */
  qel_alembic_validate(scene: number): number;
  /** Writes a description of the scene: version, counts, totals, times and source. */
  qel_alembic_file_info(scene: number, buf: number, size: number): void;
  /** Writes a description of a mesh: name, counts, box, layer, and whether it is processed. */
  qel_alembic_mesh_info(mesh: number, buf: number, size: number): void;
  /**
   * Finds the token of a key through the scene's index; of several, the one with the lowest global number. Where
   * many vertices share cells, a key may lie hundreds of thousands of slots from its first one, and a lookup walks
   * them all. Where that walk leaves its first mesh and there are more than 256, the scratch is 8 bytes per mesh;
   * without it the answer is the same.
   */
  qel_alembic_lookup_morton(scene: number, morton: bigint, out: number): number;
  /** Addresses a vertex of a frame, or of the scene's own meshes when `frame` is 0 or there are no frames. */
  qel_alembic_lookup_frame_vertex(scene: number, frame: number, mesh_index: number, vertex_index: number, out: number): number;
  /** Finds the `k` vertices nearest to a key, nearest first; of equal distances the earlier vertex comes first. */
  qel_alembic_query_nearest(scene: number, morton: bigint, k: number, results: number): number;
  /** Lists the tokens of one layer, meshes and tokens in order. Meshes without tokens are skipped. */
  qel_alembic_query_layer(scene: number, layer: number, results: number, max: number): number;
  /** Copies the mesh record of a frame: its first mesh, or the scene's first mesh when there are no frames. */
  qel_alembic_sample_frame(scene: number, frame: number, out: number): number;
  /** Interpolates the first mesh's positions linearly between the first two consecutive frames around a time. */
  qel_alembic_interpolate_time(scene: number, time: number, out: number): number;
  /** The range of frame positions and the frame rate. */
  qel_alembic_get_frame_range(scene: number, start: number, end: number, fps: number): void;
  /** Writes one mesh's tokens as a unit file that ::qel_unit_load reads. Write errors are not reported. */
  qel_alembic_export_qel(mesh: number, path: number): number;
  /** Writes the tokens of all meshes in order as one unit file. Write errors are not reported. */
  qel_alembic_export_file_qel(scene: number, path: number): number;
  /** Checks that p - p is 0 for every coordinate, which holds exactly when all are finite. */
  qel_mesh_verify_p_minus_p(positions: number, count: number): number;
  /** Checks that p / p is 1 for every coordinate that is not zero. */
  qel_mesh_verify_p_div_p(positions: number, count: number): number;
  /**
   * Scores the proportions of a box: 1 / (1 + |ex - ey| + |ey - ez| + |ez - ex|) with the extents e, each taken as
   * 1 when it is not above 0 (a NaN is kept). Not scale-free.
   */
  qel_mesh_bounds_coherence(min_x: number, min_y: number, min_z: number, max_x: number, max_y: number, max_z: number): number;
  /** Makes all checks and fills a report. Null positions and a count of 0 are valid. */
  qel_mesh_verify_identity(positions: number, count: number, min_x: number, min_y: number, min_z: number, max_x: number, max_y: number, max_z: number, report: number): number;
  /** Whether both identities hold. */
  qel_mesh_is_static_valid(positions: number, count: number): number;
  /** Finds no skin: archives are not read for skins. */
  ogawa_read_skinning(archive: number, object: number, out: number): number;
  /** Moves positions by the skin's joints: linear blend skinning. */
  qel_skin_apply(skin: number, pose_matrices: number, positions_in: number, positions_out: number): void;
  /** Releases a skin's arrays and clears the record, `bind_extra` included. */
  qel_skin_free(skin: number): void;
  /** Writes a mesh cache file. Errors after the file is open are not reported. */
  qel_mesh_save(mesh: number, skin: number, path: number): number;
  /** Maps a mesh cache file into memory, read-only. Nothing but the header and the skin is copied. */
  qel_mesh_load(path: number, mesh: number): number;
  /** Unmaps the file, releases the skin and clears the record. */
  qel_mesh_free(mesh: number): void;
  /** Hands out what a renderer draws. */
  qel_mesh_get_gpu_data(mesh: number, positions: number, normals: number, indices: number, vertex_count: number, triangle_count: number): number;
  /** Makes the directory, empty. Where one exists already, nothing changes and the path is ignored. */
  qel_agent_dir_init(path: number): number;
  /** Reads a directory file into the directory. Makes a directory if there is none. */
  qel_agent_dir_load(path: number): number;
  /** Writes the directory through a temporary file, whose name is the target's followed by ".tmp". */
  qel_agent_dir_save(path: number): number;
  /** Saves the directory to its own path if it is dirty. */
  qel_agent_dir_sync(): number;
  /** Counts agents. */
  qel_agent_dir_stats(total: number, active: number, counts: number): void;
  /** Saves the directory to its path if it is dirty (the result is ignored) and releases it. */
  qel_agent_dir_free(): void;
  /**
   * Makes an agent with a generated id, in ::QEL_AGENT_STATE_SPAWNED. Makes a directory without a path if there is
   * none.
   */
  qel_agent_spawn(parent: number, type: number, tier: number, tag: number, id_out: number): number;
  /**
   * Ends an agent: ::QEL_AGENT_STATE_TERMINATED. It keeps its slot and can still be queried, listed and
   * controlled.
   */
  qel_agent_terminate(id: number): number;
  /** Gives an agent a task: ::QEL_AGENT_STATE_DELEGATED. The delegating agent's record does not change. */
  qel_agent_delegate(from: number, to: number, task: bigint): number;
  /** Copies an agent's record. */
  qel_agent_query(id: number, out: number): number;
  /**
   * Changes an agent's state by command; the directory becomes dirty even when the state stays. Resetting an ended
   * agent does not raise the number of active ones.
   */
  qel_agent_control(id: number, command: number): number;
  /** Lists the ids that match a pattern, in slot order, ended agents included. */
  qel_agent_monitor(pattern: number, ids_out: number, max: number): number;
  /** The meaning of a status in one line. */
  qel_archive_message(status: number): number;
  /**
   * Opens an archive: reads and checks its whole tree of objects and all property headers, once. Arrays stay in
   * the file.
   */
  qel_archive_open(path: number, archive: number): number;
  /** Closes an archive and frees its memory, including its texts. Meshes that were read stay. */
  qel_archive_close(archive: number): void;
  /** Describes an archive. */
  qel_archive_get_info(archive: number, info: number): number;
  /** Describes one object. */
  qel_archive_get_object(archive: number, object: number, out: number): number;
  /** The number of the object with a path, in the form of ::qel_archive_object. */
  qel_archive_find(archive: number, path: number): number;
  /** Describes one property of an object. */
  qel_archive_get_property(archive: number, object: number, property: number, out: number): number;
  /** The number of an object's property with a name, in the form of ::qel_archive_property. */
  qel_archive_find_property(archive: number, object: number, name: number): number;
  /** Copies the values of one sample as stored, without the digest before them. Each text ends with a zero byte. */
  qel_archive_read_property(archive: number, object: number, property: number, sample: bigint, bytes: number, capacity: bigint, size: number): number;
  /** The time of a property's sample. Nothing is read. */
  qel_archive_property_time(archive: number, object: number, property: number, sample: bigint, seconds: number): number;
  /** Describes a mesh from the sizes of its arrays, without reading them. */
  qel_archive_get_mesh_info(archive: number, object: number, out: number): number;
  /** Reads one sample of a mesh: positions, faces, normals, UV sets, bounds and the world transform at its time. */
  qel_archive_read_mesh(archive: number, object: number, sample: bigint, mesh: number): number;
  /** The last sample of an object's positions at or before a time. Nothing is read. */
  qel_archive_sample_at(archive: number, object: number, seconds: number, sample: number): number;
  /**
   * The object's own transform, from the last samples at or before a time, by the rule of ::qel_archive_sample_at.
   * An object that is not an Xform has the identity.
   */
  qel_archive_local_transform(archive: number, object: number, seconds: number, matrix: number): number;
  /**
   * The transform from the object's space to the world's: its own times the parent's world transform, or only its
   * own if it does not inherit.
   */
  qel_archive_world_transform(archive: number, object: number, seconds: number, matrix: number): number;
  /**
   * Whether an object is visible at a time. The nearest stored visibility decides, that of the object first, then
   * those of its ancestors: a visible child of a hidden parent is visible. Without any, the object is visible.
   */
  qel_archive_is_visible(archive: number, object: number, seconds: number, visible: number): number;
}

export type RecordName =
  | 'qel_token'
  | 'qel_hash_node'
  | 'qel_hash_index'
  | 'qel_unit'
  | 'qel_matrix_identity'
  | 'qel_matrix_offspring'
  | 'ogawa_uv_set'
  | 'ogawa_tangent_frame'
  | 'ogawa_manifold'
  | 'ogawa_polymesh'
  | 'ogawa_aux_record'
  | 'ogawa_object'
  | 'ogawa_archive'
  | 'qel_alembic_vertex'
  | 'qel_alembic_token'
  | 'qel_alembic_mesh'
  | 'qel_alembic_frame'
  | 'qel_alembic_file'
  | 'qel_alembic_hit'
  | 'qel_mesh_verify_report'
  | 'qel_skin_joint'
  | 'qel_skin_weight'
  | 'qel_skin'
  | 'qel_mesh_header'
  | 'qel_mesh'
  | 'qel_agent'
  | 'qel_agent_dir'
  | 'qel_archive_info'
  | 'qel_archive_object'
  | 'qel_archive_property'
  | 'qel_archive_mesh_info';
/** Where the fields of records lie: offset, kind and count of each. */
export declare const records: {
  readonly [name in RecordName]: { readonly size: number; readonly fields: { readonly [field: string]: readonly [number, string, number] } };
};
/** What a function returns, in C's words. */
export declare const results: { readonly [name in keyof Raw]: string };
/** For each function its failures: name and meaning. */
export declare const codes: { readonly [name: string]: { readonly [code: string]: readonly [string, string] } };
