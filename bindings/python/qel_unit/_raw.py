# SPDX-License-Identifier: MIT
# Generated from include/qel_unit.h by scripts/generate_python.py: change the header, not this file.
"""The C interface as it is: records, constants, signatures and the meanings of codes."""

from ctypes import CDLL, POINTER, Structure
from ctypes import (
    c_char, c_char_p, c_double, c_float, c_int, c_int32, c_int64, c_int8, c_uint16, c_uint32, c_uint64,
    c_uint8, c_void_p
)
from typing import Any, Callable, Dict, Optional, Tuple

VERSION = "1.0.0"
QEL_UNIT_VERSION_MAJOR = 1
QEL_UNIT_VERSION_MINOR = 0
QEL_UNIT_VERSION_PATCH = 0
QEL_NOT_FOUND = 0xFFFFFFFF
QEL_OK = 0
QEL_UNIT_CREATE_BAD_ARGUMENT = -1
QEL_UNIT_CREATE_TOKENS_NO_MEMORY = -2
QEL_UNIT_CREATE_INDEX_NO_MEMORY = -3
QEL_UNIT_CREATE_ORDER_NO_MEMORY = -4
QEL_UNIT_SAVE_BAD_ARGUMENT = -1
QEL_UNIT_SAVE_CANNOT_CREATE = -2
QEL_UNIT_SAVE_CANNOT_WRITE_HEADER = -3
QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS = -4
QEL_UNIT_LOAD_CANNOT_OPEN = -1
QEL_UNIT_LOAD_TOO_SHORT = -2
QEL_UNIT_LOAD_NOT_A_UNIT = -3
QEL_UNIT_LOAD_TOKENS_NO_MEMORY = -4
QEL_UNIT_LOAD_INDEX_NO_MEMORY = -5
QEL_UNIT_LOAD_ORDER_NO_MEMORY = -6
QEL_UNIT_GET_TOKEN_NOT_FOUND = -1
OGAWA_OPEN_CANNOT_OPEN = -1
OGAWA_OPEN_NOT_AN_ARCHIVE = -2
OGAWA_OPEN_UNFINISHED = -3
OGAWA_OPEN_NO_VERSION = -4
OGAWA_OPEN_NO_ROOT = -5
OGAWA_READ_POLYMESH_NOT_FOUND = -1
OGAWA_READ_POLYMESH_NO_MEMORY = -2
OGAWA_READ_POSITIONS_NOT_FOUND = -1
OGAWA_READ_POSITIONS_NO_MEMORY = -2
OGAWA_READ_NORMALS_NOT_FOUND = -1
OGAWA_READ_NORMALS_NO_MEMORY = -2
OGAWA_READ_UVS_NOT_FOUND = -1
OGAWA_READ_UVS_NO_MEMORY = -2
OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT = -1
OGAWA_BUILD_MANIFOLD_NO_MEMORY = -2
OGAWA_GET_VERTEX_FACES_NOT_FOUND = -1
OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND = -1
OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY = -2
OGAWA_READ_TANGENT_FRAME_NOT_FOUND = -1
OGAWA_READ_TANGENT_FRAME_NO_MEMORY = -2
OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT = -1
OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND = -2
OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY = -3
OGAWA_TRIANGULATE_FACE_BAD_ARGUMENT = -1
OGAWA_TRIANGULATE_FACE_NO_MEMORY = -2
QEL_ALEMBIC_PROCESS_MESH_BAD_ARGUMENT = -1
QEL_ALEMBIC_PROCESS_MESH_NO_MEMORY = -4
QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT = -1
QEL_ALEMBIC_LOAD_RAW_NO_MEMORY = -4
QEL_ALEMBIC_SAVE_CANNOT_CREATE = -1
QEL_ALEMBIC_LOAD_CANNOT_OPEN = -1
QEL_ALEMBIC_LOAD_NOT_A_SCENE = -2
QEL_ALEMBIC_LOAD_UNKNOWN_VERSION = -3
QEL_ALEMBIC_LOAD_NO_MEMORY = -4
QEL_ALEMBIC_BUILD_HASH_TABLE_BAD_ARGUMENT = -1
QEL_ALEMBIC_BUILD_HASH_TABLE_NO_MEMORY = -4
QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT = -1
QEL_ALEMBIC_VALIDATE_NO_MESHES = -2
QEL_ALEMBIC_VALIDATE_NO_POSITIONS = -3
QEL_ALEMBIC_VALIDATE_NO_VERTICES = -4
QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE = -5
QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE = -6
QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND = -1
QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND = -1
QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND = -1
QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND = -1
QEL_ALEMBIC_INTERPOLATE_TIME_NO_MEMORY = -4
QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE = -1
QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE = -1
QEL_MESH_VERIFY_IDENTITY_BAD_ARGUMENT = -1
OGAWA_READ_SKINNING_NOT_FOUND = -1
QEL_MESH_SAVE_BAD_ARGUMENT = -1
QEL_MESH_SAVE_CANNOT_CREATE = -2
QEL_MESH_SAVE_INDEX_OUTSIDE = -10
QEL_MESH_LOAD_BAD_ARGUMENT = -1
QEL_MESH_LOAD_CANNOT_OPEN = -2
QEL_MESH_LOAD_CANNOT_MAP = -3
QEL_MESH_LOAD_NO_MEMORY = -4
QEL_MESH_LOAD_NOT_A_CACHE = -5
QEL_MESH_GET_GPU_DATA_BAD_ARGUMENT = -1
QEL_AGENT_DIR_INIT_DIRECTORY_NO_MEMORY = -1
QEL_AGENT_DIR_INIT_CONTENTS_NO_MEMORY = -2
QEL_AGENT_DIR_LOAD_NO_MEMORY = -1
QEL_AGENT_DIR_LOAD_CANNOT_OPEN = -2
QEL_AGENT_DIR_LOAD_TOO_SHORT = -3
QEL_AGENT_DIR_LOAD_NOT_A_DIRECTORY = -4
QEL_AGENT_DIR_SAVE_NO_DIRECTORY = -1
QEL_AGENT_DIR_SAVE_NO_PATH = -2
QEL_AGENT_DIR_SAVE_CANNOT_CREATE = -3
QEL_AGENT_SPAWN_NO_MEMORY = -1
QEL_AGENT_SPAWN_FULL = -2
QEL_AGENT_TERMINATE_NO_DIRECTORY = -1
QEL_AGENT_TERMINATE_NOT_FOUND = -2
QEL_AGENT_TERMINATE_TERMINATED = -3
QEL_AGENT_DELEGATE_NO_DIRECTORY = -1
QEL_AGENT_DELEGATE_FROM_NOT_FOUND = -2
QEL_AGENT_DELEGATE_TO_NOT_FOUND = -3
QEL_AGENT_DELEGATE_TO_TERMINATED = -4
QEL_AGENT_QUERY_NO_DIRECTORY = -1
QEL_AGENT_QUERY_NOT_FOUND = -2
QEL_AGENT_CONTROL_NO_DIRECTORY = -1
QEL_AGENT_CONTROL_NOT_FOUND = -2
QEL_AGENT_CONTROL_UNKNOWN_COMMAND = -3
QEL_ILOGIC_REVERSE = -1
QEL_ILOGIC_DOUBLE = 2
QEL_ILOGIC_HALVE = 3
QEL_HASH_BUCKETS = 0x800000
QEL_REPRODUCE_CROSSOVER = 0
QEL_REPRODUCE_PROJECTIVE = 1
QEL_REPRODUCE_TACHYON = 2
OGAWA_SCOPE_CONSTANT = 0
OGAWA_SCOPE_FACE = 1
OGAWA_SCOPE_VARYING = 2
OGAWA_SCOPE_VERTEX = 3
OGAWA_SCOPE_FACE_VARYING = 4
OGAWA_SCHEMA_UNKNOWN = 0
OGAWA_SCHEMA_XFORM = 1
OGAWA_SCHEMA_POLYMESH = 2
OGAWA_SCHEMA_SUBD = 3
OGAWA_SCHEMA_POINTS = 4
OGAWA_SCHEMA_CURVES = 5
OGAWA_SCHEMA_CAMERA = 8
QEL_MESH_HAS_NORMALS = 1
QEL_MESH_HAS_SKIN = 4
QEL_AGENT_CAPACITY = 65536
QEL_AGENT_STATE_SPAWNED = 0
QEL_AGENT_STATE_RESET = 1
QEL_AGENT_STATE_DELEGATED = 2
QEL_AGENT_STATE_PAUSED = 3
QEL_AGENT_STATE_4 = 4
QEL_AGENT_STATE_5 = 5
QEL_AGENT_STATE_TERMINATED = 6
QEL_AGENT_COMMAND_PAUSE = 0
QEL_AGENT_COMMAND_RESUME = 1
QEL_AGENT_COMMAND_TO_STATE_5 = 2
QEL_AGENT_COMMAND_TO_STATE_4 = 3
QEL_AGENT_COMMAND_RESET = 4


class qel_token(Structure):
    """One token: 25 packed bytes, the same in memory and in the unit file."""

    _pack_ = 1
    _layout_ = "ms"


class qel_hash_node(Structure):
    """One link of a chain."""


class qel_hash_index(Structure):
    """A chained hash index: the newest entry of a bucket is its head."""


class qel_unit(Structure):
    """A store of tokens. All pointers are null in an empty unit and set in a built one."""


class qel_matrix_identity(Structure):
    """The attributes of one cell."""


class qel_matrix_offspring(Structure):
    """The child of two cells. The order of its fields deliberately differs from that of an identity."""


class ogawa_uv_set(Structure):
    """One set of texture coordinates."""


class ogawa_tangent_frame(Structure):
    """Per-vertex tangents and bitangents."""


class ogawa_manifold(Structure):
    """Vertex-to-face and face-to-vertex adjacency in flat arrays."""


class ogawa_polymesh(Structure):
    """One polygon mesh."""


class ogawa_aux_record(Structure):
    """An auxiliary record of an object. The library creates none and only releases it."""


class ogawa_object(Structure):
    """One scene object on the heap. The reader lists none; a caller may."""


class ogawa_archive(Structure):
    """One open archive. A cleared (all-zero) record is a closed one."""


class qel_alembic_vertex(Structure):
    """One processed vertex: 40 bytes, the same in memory and in the scene file."""


class qel_alembic_token(Structure):
    """One token of a scene: the fields of qel_token, aligned in a slot of 32 bytes, as in the scene file."""


class qel_alembic_mesh(Structure):
    """One mesh of a scene."""


class qel_alembic_frame(Structure):
    """Positions of one or more meshes at one moment."""


class qel_alembic_file(Structure):
    """A token scene."""


class qel_alembic_hit(Structure):
    """One answer of a lookup or query. The pointers point into the scene and live as long as its arrays."""


class qel_mesh_verify_report(Structure):
    """The report of qel_mesh_verify_identity."""


class qel_skin_joint(Structure):
    """One joint: 328 bytes, the same in memory and in the mesh cache file."""


class qel_skin_weight(Structure):
    """The joints of one vertex: 20 bytes, the same in memory and in the mesh cache file."""


class qel_skin(Structure):
    """A skin."""


class qel_mesh_header(Structure):
    """The 64-byte header of a mesh cache file. Offsets are from the file's start."""


class qel_mesh(Structure):
    """A mapped mesh cache file. Counts are in header."""


class qel_agent(Structure):
    """One agent: 40 bytes, the same in memory and in the directory file."""


class qel_agent_dir(Structure):
    """The directory. The one instance is private to the library; its layout is given for tools."""


# The fields come last: records point at one another.
qel_token._fields_ = [
    ("morton", c_uint64),
    ("hex_id", c_char * 8),
    ("payload", c_uint64),
    ("layer", c_uint8),
]
qel_hash_node._fields_ = [
    ("token", c_uint32),
    ("next", c_uint32),
]
qel_hash_index._fields_ = [
    ("nodes", POINTER(qel_hash_node)),
    ("buckets", POINTER(c_uint32)),
    ("node_count", c_uint32),
]
qel_unit._fields_ = [
    ("version", c_uint32),
    ("count", c_uint32),
    ("extra", c_uint32),
    ("tokens", POINTER(qel_token)),
    ("morton_index", POINTER(qel_hash_index)),
    ("hex_index", POINTER(qel_hash_index)),
    ("order", POINTER(c_uint32)),
]
qel_matrix_identity._fields_ = [
    ("x", c_uint8),
    ("y", c_uint8),
    ("z", c_uint8),
    ("mirror_x", c_uint8),
    ("mirror_y", c_uint8),
    ("mirror_z", c_uint8),
    ("k11_level", c_int8),
    ("i_state", c_uint8),
    ("morton", c_uint64),
    ("phi_norm", c_float),
    ("em_coupling", c_float),
]
qel_matrix_offspring._fields_ = [
    ("x", c_uint8),
    ("y", c_uint8),
    ("z", c_uint8),
    ("chirality", c_int8),
    ("phi_blend", c_float),
    ("em_coupling", c_float),
    ("k11_level", c_int8),
    ("i_state", c_uint8),
]
ogawa_uv_set._fields_ = [
    ("name", c_char * 64),
    ("values", POINTER(c_float)),
    ("value_count", c_uint32),
    ("indices", POINTER(c_uint32)),
    ("index_count", c_uint32),
    ("scope", c_uint32),
]
ogawa_tangent_frame._fields_ = [
    ("tangents", POINTER(c_float)),
    ("bitangents", POINTER(c_float)),
    ("count", c_uint32),
    ("components", c_uint32),
]
ogawa_manifold._fields_ = [
    ("vertex_faces", POINTER(c_uint32)),
    ("vertex_face_offsets", POINTER(c_uint32)),
    ("vertex_count", c_uint32),
    ("face_vertices", POINTER(c_uint32)),
    ("face_offsets", POINTER(c_uint32)),
    ("face_count", c_uint32),
    ("aux_array_a", c_void_p),
    ("aux_count", c_uint32),
    ("aux_array_b", c_void_p),
    ("aux_array_c", c_void_p),
]
ogawa_polymesh._fields_ = [
    ("name", c_char * 256),
    ("path", c_char * 1024),
    ("positions", POINTER(c_float)),
    ("vertex_count", c_uint32),
    ("reserved_array", c_void_p),
    ("reserved_count", c_uint32),
    ("normals", POINTER(c_float)),
    ("normal_count", c_uint32),
    ("normal_indices", POINTER(c_uint32)),
    ("normal_scope", c_uint32),
    ("face_counts", POINTER(c_uint32)),
    ("face_count", c_uint32),
    ("face_indices", POINTER(c_uint32)),
    ("face_index_count", c_uint32),
    ("uv_sets", POINTER(ogawa_uv_set)),
    ("uv_set_count", c_uint32),
    ("tangent_frame", ogawa_tangent_frame),
    ("manifold", ogawa_manifold),
    ("bounds_min", c_float * 3),
    ("bounds_max", c_float * 3),
    ("self_bounds_min", c_float * 3),
    ("self_bounds_max", c_float * 3),
    ("reserved_word", c_uint32),
    ("reserved_buffer", c_void_p),
    ("transform", c_double * 16),
]
ogawa_aux_record._fields_ = [
    ("aux_buffer", c_void_p),
]
ogawa_object._fields_ = [
    ("name", c_char * 256),
    ("path", c_char * 1024),
    ("schema", c_uint32),
    ("polymesh", POINTER(ogawa_polymesh)),
    ("aux_record", POINTER(ogawa_aux_record)),
    ("children", POINTER(POINTER(ogawa_object))),
    ("child_count", c_uint32),
]
ogawa_archive._fields_ = [
    ("path", c_char * 1024),
    ("file", c_void_p),
    ("version", c_uint8 * 2),
    ("objects", POINTER(POINTER(ogawa_object))),
    ("object_count", c_uint32),
    ("polymeshes", POINTER(POINTER(ogawa_polymesh))),
    ("polymesh_count", c_uint32),
    ("time_start", c_double),
    ("time_end", c_double),
    ("fps", c_double),
    ("reserved", c_uint8 * 64),
]
qel_alembic_vertex._fields_ = [
    ("position", c_float * 3),
    ("matrix_x", c_uint8),
    ("matrix_y", c_uint8),
    ("matrix_z", c_uint8),
    ("padding0", c_uint8),
    ("morton", c_uint64),
    ("k11_level", c_int8),
    ("i_state", c_int8),
    ("padding1", c_uint8 * 2),
    ("phi_norm", c_float),
    ("em_coupling", c_float),
    ("topology", c_uint32),
]
qel_alembic_token._fields_ = [
    ("morton", c_uint64),
    ("hex_id", c_char * 8),
    ("payload", c_uint64),
    ("layer", c_uint8),
    ("padding", c_uint8 * 7),
]
qel_alembic_mesh._fields_ = [
    ("name", c_char * 64),
    ("vertex_count", c_uint32),
    ("face_count", c_uint32),
    ("positions", POINTER(c_float)),
    ("indices", POINTER(c_uint32)),
    ("bounds", c_float * 6),
    ("reserved", c_uint32),
    ("vertices", POINTER(qel_alembic_vertex)),
    ("tokens", POINTER(qel_alembic_token)),
    ("layer", c_uint8),
]
qel_alembic_frame._fields_ = [
    ("frame", c_int32),
    ("time", c_float),
    ("meshes", POINTER(qel_alembic_mesh)),
    ("mesh_count", c_uint32),
]
qel_alembic_file._fields_ = [
    ("version", c_uint32),
    ("flags", c_uint32),
    ("source", c_char * 256),
    ("mesh_count", c_uint32),
    ("meshes", POINTER(qel_alembic_mesh)),
    ("frame_count", c_uint32),
    ("time_start", c_float),
    ("time_end", c_float),
    ("fps", c_float),
    ("frames", POINTER(qel_alembic_frame)),
    ("hash", POINTER(c_uint32)),
    ("hash_size", c_uint32),
    ("total_vertices", c_uint64),
    ("total_faces", c_uint64),
    ("total_tokens", c_uint64),
]
qel_alembic_hit._fields_ = [
    ("mesh_index", c_uint32),
    ("vertex_index", c_uint32),
    ("frame_index", c_uint32),
    ("vertex", POINTER(qel_alembic_vertex)),
    ("token", POINTER(qel_alembic_token)),
    ("distance", c_float),
]
qel_mesh_verify_report._fields_ = [
    ("p_minus_p_ok", c_uint32),
    ("p_div_p_ok", c_uint32),
    ("coherence", c_float),
    ("valid", c_uint32),
    ("vertex_count", c_uint64),
    ("verified_at", c_int64),
]
qel_skin_joint._fields_ = [
    ("descriptor", c_uint8 * 200),
    ("joint_transform", c_double * 16),
]
qel_skin_weight._fields_ = [
    ("joints", c_uint8 * 4),
    ("weights", c_float * 4),
]
qel_skin._fields_ = [
    ("joints", POINTER(qel_skin_joint)),
    ("joint_count", c_uint32),
    ("weights", POINTER(qel_skin_weight)),
    ("weight_count", c_uint32),
    ("bind_extra", c_uint8 * 128),
]
qel_mesh_header._fields_ = [
    ("magic", c_char * 4),
    ("version", c_uint16),
    ("flags", c_uint16),
    ("vertex_count", c_uint32),
    ("triangle_count", c_uint32),
    ("joint_count", c_uint32),
    ("reserved", c_uint32),
    ("bounds_min", c_float * 3),
    ("bounds_max", c_float * 3),
    ("positions_offset", c_uint32),
    ("normals_offset", c_uint32),
    ("indices_offset", c_uint32),
    ("skin_offset", c_uint32),
]
qel_mesh._fields_ = [
    ("header", qel_mesh_header),
    ("positions", POINTER(c_float)),
    ("normals", POINTER(c_float)),
    ("indices", POINTER(c_uint32)),
    ("skin", POINTER(qel_skin)),
    ("view", c_void_p),
    ("file_size", c_uint64),
]
qel_agent._fields_ = [
    ("id", c_char * 8),
    ("parent", c_char * 8),
    ("type", c_uint8),
    ("state", c_uint8),
    ("flag_idle", c_uint8),
    ("flag_terminated", c_uint8),
    ("flag_delegated", c_uint8),
    ("cleared", c_uint8),
    ("tag", c_uint8),
    ("tier", c_uint8),
    ("reserved", c_uint64),
    ("task", c_uint64),
]
qel_agent_dir._fields_ = [
    ("magic", c_char * 4),
    ("version", c_uint32),
    ("agent_count", c_uint32),
    ("active_count", c_uint32),
    ("saved_at", c_int64),
    ("agents", POINTER(qel_agent)),
    ("index", POINTER(qel_hash_index)),
    ("next_id_counter", c_uint32),
    ("path", c_char * 256),
    ("dirty", c_uint32),
]

#: Result and arguments of every function.
SIGNATURES: Dict[str, Tuple[Any, Tuple[Any, ...]]] = {
    # uint64_t ruv_sqrt(uint64_t n)
    "ruv_sqrt": (c_uint64, (c_uint64,)),
    # uint32_t ruv_isqrt(int32_t n)
    "ruv_isqrt": (c_uint32, (c_int32,)),
    # int32_t ruv_bounded_sqrt(int32_t n, int32_t lo, int32_t hi)
    "ruv_bounded_sqrt": (c_int32, (c_int32, c_int32, c_int32)),
    # uint64_t ruv_hop_distance(uint64_t a, uint64_t b)
    "ruv_hop_distance": (c_uint64, (c_uint64, c_uint64)),
    # void qel_token_apply_ilogic(qel_token *token, int32_t op)
    "qel_token_apply_ilogic": (None, (POINTER(qel_token), c_int32)),
    # int32_t qel_unit_create(qel_unit *unit, uint32_t count, const uint64_t *mortons, const char *hex_ids,
    # const uint64_t *payloads, const uint8_t *layers)
    "qel_unit_create": (c_int32, (
        POINTER(qel_unit), c_uint32, POINTER(c_uint64), c_char_p, POINTER(c_uint64), POINTER(c_uint8)
    )),
    # void qel_unit_free(qel_unit *unit)
    "qel_unit_free": (None, (POINTER(qel_unit),)),
    # int32_t qel_unit_save(const char *path, const qel_unit *unit)
    "qel_unit_save": (c_int32, (c_char_p, POINTER(qel_unit))),
    # int32_t qel_unit_load(const char *path, qel_unit *unit)
    "qel_unit_load": (c_int32, (c_char_p, POINTER(qel_unit))),
    # uint32_t qel_unit_get_count(const qel_unit *unit)
    "qel_unit_get_count": (c_uint32, (POINTER(qel_unit),)),
    # int32_t qel_unit_get_token(const qel_unit *unit, uint32_t index, uint64_t *morton, char *hex_id, uint8_t
    # *layer)
    "qel_unit_get_token": (c_int32, (
        POINTER(qel_unit), c_uint32, POINTER(c_uint64), POINTER(c_char), POINTER(c_uint8)
    )),
    # uint32_t qel_unit_get_all_tokens(const qel_unit *unit, uint64_t *mortons, char *hex_ids, uint8_t
    # *layers)
    "qel_unit_get_all_tokens": (c_uint32, (
        POINTER(qel_unit), POINTER(c_uint64), POINTER(c_char), POINTER(c_uint8)
    )),
    # uint32_t qel_unit_lookup_morton(const qel_unit *unit, uint64_t morton)
    "qel_unit_lookup_morton": (c_uint32, (POINTER(qel_unit), c_uint64)),
    # uint32_t qel_unit_lookup_hex(const qel_unit *unit, const char *hex_id)
    "qel_unit_lookup_hex": (c_uint32, (POINTER(qel_unit), c_char_p)),
    # uint32_t qel_unit_query_lattice_vertex(const qel_unit *unit, uint16_t x, uint16_t y, uint16_t z)
    "qel_unit_query_lattice_vertex": (c_uint32, (POINTER(qel_unit), c_uint16, c_uint16, c_uint16)),
    # uint32_t qel_unit_query_layer(const qel_unit *unit, uint8_t layer, uint32_t *numbers, int32_t max)
    "qel_unit_query_layer": (c_uint32, (POINTER(qel_unit), c_uint8, POINTER(c_uint32), c_int32)),
    # uint32_t qel_unit_query_nearest(const qel_unit *unit, uint64_t morton, int32_t k, uint32_t *numbers,
    # uint64_t *distances)
    "qel_unit_query_nearest": (c_uint32, (
        POINTER(qel_unit), c_uint64, c_int32, POINTER(c_uint32), POINTER(c_uint64)
    )),
    # uint64_t qel_matrix_48_morton_encode(uint32_t x, uint32_t y, uint32_t z)
    "qel_matrix_48_morton_encode": (c_uint64, (c_uint32, c_uint32, c_uint32)),
    # void qel_matrix_48_palindrome(uint32_t x, uint32_t y, uint32_t z, uint8_t *out_x, uint8_t *out_y,
    # uint8_t *out_z)
    "qel_matrix_48_palindrome": (None, (
        c_uint32, c_uint32, c_uint32, POINTER(c_uint8), POINTER(c_uint8), POINTER(c_uint8)
    )),
    # int32_t qel_matrix_48_k11_level(uint8_t a, uint8_t b, uint8_t c)
    "qel_matrix_48_k11_level": (c_int32, (c_uint8, c_uint8, c_uint8)),
    # uint8_t qel_matrix_48_i_state(int32_t v)
    "qel_matrix_48_i_state": (c_uint8, (c_int32,)),
    # float qel_matrix_48_phi_norm(uint8_t x, uint8_t y, uint8_t z)
    "qel_matrix_48_phi_norm": (c_float, (c_uint8, c_uint8, c_uint8)),
    # float qel_matrix_48_em_coupling(uint8_t x, uint8_t y, uint8_t z)
    "qel_matrix_48_em_coupling": (c_float, (c_uint8, c_uint8, c_uint8)),
    # uint64_t qel_matrix_48_identity(uint8_t x, uint8_t y, uint32_t z, qel_matrix_identity *identity)
    "qel_matrix_48_identity": (c_uint64, (c_uint8, c_uint8, c_uint32, POINTER(qel_matrix_identity))),
    # void qel_matrix_48_crossover_bind(uint8_t a0, uint8_t a1, uint8_t a2, uint8_t b0, uint8_t b1, uint8_t
    # b2, uint8_t *c0, uint8_t *c1, uint8_t *c2)
    "qel_matrix_48_crossover_bind": (None, (
        c_uint8, c_uint8, c_uint8, c_uint8, c_uint8, c_uint8, POINTER(c_uint8), POINTER(c_uint8),
        POINTER(c_uint8)
    )),
    # void qel_matrix_48_mutate_tachyon(uint8_t x, uint8_t y, uint8_t z, uint8_t *out_x, uint8_t *out_y,
    # uint8_t *out_z)
    "qel_matrix_48_mutate_tachyon": (None, (
        c_uint8, c_uint8, c_uint8, POINTER(c_uint8), POINTER(c_uint8), POINTER(c_uint8)
    )),
    # int32_t qel_matrix_48_chirality(uint8_t a, uint8_t b)
    "qel_matrix_48_chirality": (c_int32, (c_uint8, c_uint8)),
    # void qel_matrix_48_reproduce(const qel_matrix_identity *a, const qel_matrix_identity *b, uint32_t mode,
    # qel_matrix_offspring *child)
    "qel_matrix_48_reproduce": (None, (
        POINTER(qel_matrix_identity), POINTER(qel_matrix_identity), c_uint32, POINTER(qel_matrix_offspring)
    )),
    # uint32_t qel_matrix_48_validate_all(void)
    "qel_matrix_48_validate_all": (c_uint32, ()),
    # int ogawa_open(const char *path, ogawa_archive *archive)
    "ogawa_open": (c_int, (c_char_p, POINTER(ogawa_archive))),
    # void ogawa_get_info(const ogawa_archive *archive, char *buffer, int size)
    "ogawa_get_info": (None, (POINTER(ogawa_archive), POINTER(c_char), c_int)),
    # void ogawa_close(ogawa_archive *archive)
    "ogawa_close": (None, (POINTER(ogawa_archive),)),
    # void ogawa_free_object(ogawa_object *object)
    "ogawa_free_object": (None, (POINTER(ogawa_object),)),
    # ogawa_schema ogawa_schema_from_string(const char *text)
    "ogawa_schema_from_string": (c_uint32, (c_char_p,)),
    # const char *ogawa_schema_to_string(ogawa_schema schema)
    "ogawa_schema_to_string": (c_char_p, (c_uint32,)),
    # int ogawa_read_polymesh(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
    # ogawa_polymesh *mesh)
    "ogawa_read_polymesh": (c_int, (
        POINTER(ogawa_archive), POINTER(ogawa_object), c_uint64, POINTER(ogawa_polymesh)
    )),
    # ogawa_polymesh *ogawa_get_first_polymesh(ogawa_archive *archive)
    "ogawa_get_first_polymesh": (POINTER(ogawa_polymesh), (POINTER(ogawa_archive),)),
    # int ogawa_read_positions(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
    # float **positions, uint32_t *count)
    "ogawa_read_positions": (c_int, (
        POINTER(ogawa_archive), POINTER(ogawa_object), c_uint64, POINTER(POINTER(c_float)), POINTER(c_uint32)
    )),
    # void ogawa_free_polymesh(ogawa_polymesh *mesh)
    "ogawa_free_polymesh": (None, (POINTER(ogawa_polymesh),)),
    # int32_t ogawa_read_normals(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
    # float **normals, uint32_t **indices, uint32_t *count, uint32_t *scope)
    "ogawa_read_normals": (c_int32, (
        POINTER(ogawa_archive), POINTER(ogawa_object), c_uint64, POINTER(POINTER(c_float)),
        POINTER(POINTER(c_uint32)), POINTER(c_uint32), POINTER(c_uint32)
    )),
    # int32_t ogawa_read_uvs(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
    # uint32_t set_index, ogawa_uv_set *set)
    "ogawa_read_uvs": (c_int32, (
        POINTER(ogawa_archive), POINTER(ogawa_object), c_uint64, c_uint32, POINTER(ogawa_uv_set)
    )),
    # void ogawa_free_uv_set(ogawa_uv_set *set)
    "ogawa_free_uv_set": (None, (POINTER(ogawa_uv_set),)),
    # int32_t ogawa_build_manifold(ogawa_polymesh *mesh)
    "ogawa_build_manifold": (c_int32, (POINTER(ogawa_polymesh),)),
    # int32_t ogawa_get_vertex_faces(const ogawa_manifold *manifold, uint32_t vertex, const uint32_t **faces,
    # uint32_t *count)
    "ogawa_get_vertex_faces": (c_int32, (
        POINTER(ogawa_manifold), c_uint32, POINTER(POINTER(c_uint32)), POINTER(c_uint32)
    )),
    # int32_t ogawa_get_vertex_neighbors(const ogawa_manifold *manifold, const void *faces, uint32_t vertex,
    # uint32_t **neighbors, uint32_t *count)
    "ogawa_get_vertex_neighbors": (c_int32, (
        POINTER(ogawa_manifold), c_void_p, c_uint32, POINTER(POINTER(c_uint32)), POINTER(c_uint32)
    )),
    # int32_t ogawa_is_manifold_closed(const ogawa_manifold *manifold)
    "ogawa_is_manifold_closed": (c_int32, (POINTER(ogawa_manifold),)),
    # void ogawa_free_manifold(ogawa_manifold *manifold)
    "ogawa_free_manifold": (None, (POINTER(ogawa_manifold),)),
    # int32_t ogawa_read_tangent_frame(const ogawa_archive *archive, const ogawa_object *object, uint64_t
    # sample, ogawa_tangent_frame *frame)
    "ogawa_read_tangent_frame": (c_int32, (
        POINTER(ogawa_archive), POINTER(ogawa_object), c_uint64, POINTER(ogawa_tangent_frame)
    )),
    # int32_t ogawa_compute_tangent_frame(ogawa_polymesh *mesh, const char *uv_set_name)
    "ogawa_compute_tangent_frame": (c_int32, (POINTER(ogawa_polymesh), c_char_p)),
    # void ogawa_free_tangent_frame(ogawa_tangent_frame *frame)
    "ogawa_free_tangent_frame": (None, (POINTER(ogawa_tangent_frame),)),
    # void ogawa_compute_bounds(const float *positions, uint32_t count, float *bounds)
    "ogawa_compute_bounds": (None, (POINTER(c_float), c_uint32, POINTER(c_float))),
    # int32_t ogawa_triangulate_face(const uint32_t *face, uint32_t corner_count, uint32_t **triangles,
    # uint32_t *triangle_count)
    "ogawa_triangulate_face": (c_int32, (
        POINTER(c_uint32), c_uint32, POINTER(POINTER(c_uint32)), POINTER(c_uint32)
    )),
    # void qel_alembic_compute_bounds(const float *positions, uint32_t vertex_count, float *bounds)
    "qel_alembic_compute_bounds": (None, (POINTER(c_float), c_uint32, POINTER(c_float))),
    # void qel_alembic_world_to_matrix(float x, float y, float z, const float *bounds, uint8_t *mx, uint8_t
    # *my, uint8_t *mz)
    "qel_alembic_world_to_matrix": (None, (
        c_float, c_float, c_float, POINTER(c_float), POINTER(c_uint8), POINTER(c_uint8), POINTER(c_uint8)
    )),
    # void qel_alembic_matrix_to_world(uint8_t mx, uint8_t my, uint8_t mz, const float *bounds, float *x,
    # float *y, float *z)
    "qel_alembic_matrix_to_world": (None, (
        c_uint8, c_uint8, c_uint8, POINTER(c_float), POINTER(c_float), POINTER(c_float), POINTER(c_float)
    )),
    # void qel_alembic_process_vertex(const float *position, const float *bounds, qel_alembic_vertex *out)
    "qel_alembic_process_vertex": (None, (POINTER(c_float), POINTER(c_float), POINTER(qel_alembic_vertex))),
    # uint32_t qel_alembic_topology_hash(uint32_t vertex_index, const uint32_t *indices, uint32_t face_count)
    "qel_alembic_topology_hash": (c_uint32, (c_uint32, POINTER(c_uint32), c_uint32)),
    # void qel_alembic_generate_token(const qel_alembic_vertex *vertex, uint8_t layer, uint32_t mesh_index,
    # uint32_t vertex_index, qel_alembic_token *out)
    "qel_alembic_generate_token": (None, (
        POINTER(qel_alembic_vertex), c_uint8, c_uint32, c_uint32, POINTER(qel_alembic_token)
    )),
    # int32_t qel_alembic_process_mesh(qel_alembic_mesh *mesh, uint8_t layer)
    "qel_alembic_process_mesh": (c_int32, (POINTER(qel_alembic_mesh), c_uint8)),
    # int32_t qel_alembic_load_raw(const float *positions, uint32_t vertex_count, const uint32_t *indices,
    # uint32_t face_count, const char *name, qel_alembic_mesh *out)
    "qel_alembic_load_raw": (c_int32, (
        POINTER(c_float), c_uint32, POINTER(c_uint32), c_uint32, c_char_p, POINTER(qel_alembic_mesh)
    )),
    # int32_t qel_alembic_save(const char *path, const qel_alembic_file *scene)
    "qel_alembic_save": (c_int32, (c_char_p, POINTER(qel_alembic_file))),
    # int32_t qel_alembic_load(const char *path, qel_alembic_file *scene)
    "qel_alembic_load": (c_int32, (c_char_p, POINTER(qel_alembic_file))),
    # int32_t qel_alembic_build_hash_table(qel_alembic_file *scene)
    "qel_alembic_build_hash_table": (c_int32, (POINTER(qel_alembic_file),)),
    # void qel_alembic_free(qel_alembic_file *scene)
    "qel_alembic_free": (None, (POINTER(qel_alembic_file),)),
    # void qel_alembic_mesh_free(qel_alembic_mesh *mesh)
    "qel_alembic_mesh_free": (None, (POINTER(qel_alembic_mesh),)),
    # int32_t qel_alembic_validate(const qel_alembic_file *scene)
    "qel_alembic_validate": (c_int32, (POINTER(qel_alembic_file),)),
    # void qel_alembic_file_info(const qel_alembic_file *scene, char *buf, int32_t size)
    "qel_alembic_file_info": (None, (POINTER(qel_alembic_file), POINTER(c_char), c_int32)),
    # void qel_alembic_mesh_info(const qel_alembic_mesh *mesh, char *buf, int32_t size)
    "qel_alembic_mesh_info": (None, (POINTER(qel_alembic_mesh), POINTER(c_char), c_int32)),
    # int32_t qel_alembic_lookup_morton(const qel_alembic_file *scene, uint64_t morton, qel_alembic_hit *out)
    "qel_alembic_lookup_morton": (c_int32, (POINTER(qel_alembic_file), c_uint64, POINTER(qel_alembic_hit))),
    # int32_t qel_alembic_lookup_frame_vertex(const qel_alembic_file *scene, int32_t frame, uint32_t
    # mesh_index, uint32_t vertex_index, qel_alembic_hit *out)
    "qel_alembic_lookup_frame_vertex": (c_int32, (
        POINTER(qel_alembic_file), c_int32, c_uint32, c_uint32, POINTER(qel_alembic_hit)
    )),
    # uint32_t qel_alembic_query_nearest(const qel_alembic_file *scene, uint64_t morton, int32_t k,
    # qel_alembic_hit *results)
    "qel_alembic_query_nearest": (c_uint32, (
        POINTER(qel_alembic_file), c_uint64, c_int32, POINTER(qel_alembic_hit)
    )),
    # uint32_t qel_alembic_query_layer(const qel_alembic_file *scene, uint8_t layer, qel_alembic_hit *results,
    # int32_t max)
    "qel_alembic_query_layer": (c_uint32, (
        POINTER(qel_alembic_file), c_uint8, POINTER(qel_alembic_hit), c_int32
    )),
    # int32_t qel_alembic_sample_frame(const qel_alembic_file *scene, int32_t frame, qel_alembic_mesh *out)
    "qel_alembic_sample_frame": (c_int32, (POINTER(qel_alembic_file), c_int32, POINTER(qel_alembic_mesh))),
    # int32_t qel_alembic_interpolate_time(const qel_alembic_file *scene, float time, qel_alembic_mesh *out)
    "qel_alembic_interpolate_time": (c_int32, (
        POINTER(qel_alembic_file), c_float, POINTER(qel_alembic_mesh)
    )),
    # void qel_alembic_get_frame_range(const qel_alembic_file *scene, uint32_t *start, uint32_t *end, float
    # *fps)
    "qel_alembic_get_frame_range": (None, (
        POINTER(qel_alembic_file), POINTER(c_uint32), POINTER(c_uint32), POINTER(c_float)
    )),
    # int32_t qel_alembic_export_qel(const qel_alembic_mesh *mesh, const char *path)
    "qel_alembic_export_qel": (c_int32, (POINTER(qel_alembic_mesh), c_char_p)),
    # int32_t qel_alembic_export_file_qel(const qel_alembic_file *scene, const char *path)
    "qel_alembic_export_file_qel": (c_int32, (POINTER(qel_alembic_file), c_char_p)),
    # uint32_t qel_mesh_verify_p_minus_p(const float *positions, uint32_t count)
    "qel_mesh_verify_p_minus_p": (c_uint32, (POINTER(c_float), c_uint32)),
    # uint32_t qel_mesh_verify_p_div_p(const float *positions, uint32_t count)
    "qel_mesh_verify_p_div_p": (c_uint32, (POINTER(c_float), c_uint32)),
    # float qel_mesh_bounds_coherence(float min_x, float min_y, float min_z, float max_x, float max_y, float
    # max_z)
    "qel_mesh_bounds_coherence": (c_float, (c_float, c_float, c_float, c_float, c_float, c_float)),
    # int32_t qel_mesh_verify_identity(const float *positions, uint32_t count, float min_x, float min_y, float
    # min_z, float max_x, float max_y, float max_z, qel_mesh_verify_report *report)
    "qel_mesh_verify_identity": (c_int32, (
        POINTER(c_float), c_uint32, c_float, c_float, c_float, c_float, c_float, c_float,
        POINTER(qel_mesh_verify_report)
    )),
    # uint32_t qel_mesh_is_static_valid(const float *positions, uint32_t count)
    "qel_mesh_is_static_valid": (c_uint32, (POINTER(c_float), c_uint32)),
    # int32_t ogawa_read_skinning(const ogawa_archive *archive, const ogawa_object *object, qel_skin *out)
    "ogawa_read_skinning": (c_int32, (POINTER(ogawa_archive), POINTER(ogawa_object), POINTER(qel_skin))),
    # void qel_skin_apply(const qel_skin *skin, const double *pose_matrices, const float *positions_in, float
    # *positions_out)
    "qel_skin_apply": (None, (POINTER(qel_skin), POINTER(c_double), POINTER(c_float), POINTER(c_float))),
    # void qel_skin_free(qel_skin *skin)
    "qel_skin_free": (None, (POINTER(qel_skin),)),
    # int32_t qel_mesh_save(const ogawa_polymesh *mesh, const qel_skin *skin, const char *path)
    "qel_mesh_save": (c_int32, (POINTER(ogawa_polymesh), POINTER(qel_skin), c_char_p)),
    # int32_t qel_mesh_load(const char *path, qel_mesh *mesh)
    "qel_mesh_load": (c_int32, (c_char_p, POINTER(qel_mesh))),
    # void qel_mesh_free(qel_mesh *mesh)
    "qel_mesh_free": (None, (POINTER(qel_mesh),)),
    # int32_t qel_mesh_get_gpu_data(const qel_mesh *mesh, const float **positions, const float **normals,
    # const uint32_t **indices, uint32_t *vertex_count, uint32_t *triangle_count)
    "qel_mesh_get_gpu_data": (c_int32, (
        POINTER(qel_mesh), POINTER(POINTER(c_float)), POINTER(POINTER(c_float)), POINTER(POINTER(c_uint32)),
        POINTER(c_uint32), POINTER(c_uint32)
    )),
    # int32_t qel_agent_dir_init(const char *path)
    "qel_agent_dir_init": (c_int32, (c_char_p,)),
    # int32_t qel_agent_dir_load(const char *path)
    "qel_agent_dir_load": (c_int32, (c_char_p,)),
    # int32_t qel_agent_dir_save(const char *path)
    "qel_agent_dir_save": (c_int32, (c_char_p,)),
    # int32_t qel_agent_dir_sync(void)
    "qel_agent_dir_sync": (c_int32, ()),
    # void qel_agent_dir_stats(uint32_t *total, uint32_t *active, uint32_t *counts)
    "qel_agent_dir_stats": (None, (POINTER(c_uint32), POINTER(c_uint32), POINTER(c_uint32))),
    # void qel_agent_dir_free(void)
    "qel_agent_dir_free": (None, ()),
    # int32_t qel_agent_spawn(const char *parent, uint8_t type, uint8_t tier, uint8_t tag, char *id_out)
    "qel_agent_spawn": (c_int32, (c_char_p, c_uint8, c_uint8, c_uint8, POINTER(c_char))),
    # int32_t qel_agent_terminate(const char *id)
    "qel_agent_terminate": (c_int32, (c_char_p,)),
    # int32_t qel_agent_delegate(const char *from, const char *to, uint64_t task)
    "qel_agent_delegate": (c_int32, (c_char_p, c_char_p, c_uint64)),
    # int32_t qel_agent_query(const char *id, qel_agent *out)
    "qel_agent_query": (c_int32, (c_char_p, POINTER(qel_agent))),
    # int32_t qel_agent_control(const char *id, uint32_t command)
    "qel_agent_control": (c_int32, (c_char_p, c_uint32)),
    # uint32_t qel_agent_monitor(const char *pattern, char *ids_out, int32_t max)
    "qel_agent_monitor": (c_uint32, (c_char_p, POINTER(c_char), c_int32)),
}

#: What each code of a function means.
CODES: Dict[str, Dict[int, str]] = {
    "qel_unit_create": {
        0: "built",
        -1: "unit is null or count is 0: nothing touched",
        -2: (
            "no memory for the tokens: version, count and extra are set, tokens is null, the other pointers "
            "are as they were: only a record that was zeroed before can be released then"
        ),
        -3: (
            "no memory for an index: tokens and indexes are released and null, the numbers set, order as it "
            "was"
        ),
        -4: "no memory for order: as after qel_unit_free, and order is null",
    },
    "qel_unit_save": {
        0: "written, as far as could be seen before the file was closed",
        -1: "unit or its tokens is null, or its count is 0: no file is created",
        -2: "the file cannot be created",
        -3: "the header could not be written whole",
        -4: (
            "the tokens could not be written whole. Their byte count is taken modulo 2^32: a unit of more "
            "than 171,798,691 tokens is cut short without this code"
        ),
    },
    "qel_unit_load": {
        0: "loaded, an empty file (count 0) included",
        -1: "the file cannot be opened: unit untouched",
        -2: "fewer than 24 bytes: unit untouched",
        -3: "the file does not begin with \"QEL\" and a zero byte: unit untouched",
        -4: (
            "no memory for as many tokens as the header claims: version, count (as claimed) and extra are "
            "set, tokens is null, the other pointers are as they were: only a record that was zeroed before "
            "can be released then"
        ),
        -5: (
            "no memory for an index: tokens and indexes are released and null, the numbers set, order as it "
            "was"
        ),
        -6: "no memory for order: as after qel_unit_free, and order is null",
    },
    "qel_unit_get_token": {
        0: "copied",
        -1: "unit or its tokens is null, or there is no such token: outputs untouched",
    },
    "ogawa_open": {
        0: "open",
        -1: (
            "path or archive is null (record untouched); the file cannot be opened, or has fewer than 5 "
            "bytes"
        ),
        -2: "the file does not begin with \"Ogawa\"",
        -3: "the sixth byte is missing or not 0xFF: the file is still being written",
        -4: "the two version bytes are missing",
        -5: "the 8-byte root reference is missing",
    },
    "ogawa_read_polymesh": {
        0: "there is at least one vertex; positions are null where only memory for them was missing",
        -1: (
            "archive, its stream or mesh is null (nothing touched); or there are no positions: mesh is "
            "cleared, name and path are set, and it may hold a positions buffer, so release it. Where the "
            "tree named positions that are cut short, the rest of the mesh is there all the same"
        ),
        -2: (
            "no memory for the positions found by the byte search: as for -1, but vertex_count is the "
            "number sought, beside null positions"
        ),
    },
    "ogawa_read_positions": {
        0: "read",
        -1: (
            "archive, its stream or an output is null, or no array of at least 100 triples was found "
            "(outputs untouched); or nothing could be read or kept (*count is 0 and *positions is a buffer "
            "to free)"
        ),
        -2: "no memory: *count is the number of triples sought, *positions null",
    },
    "ogawa_read_normals": {
        0: "read",
        -1: (
            "archive or its stream is null, or no block was found (outputs untouched); or the block is cut "
            "short (*normals is null, *count the number sought, the other outputs untouched)"
        ),
        -2: "no memory: as where the block is cut short",
    },
    "ogawa_read_uvs": {
        0: "read: the set is named \"uv\", its scope is OGAWA_SCOPE_FACE_VARYING, it has no indices",
        -1: (
            "archive, its stream or set is null, or no block was found (set untouched); or the block is cut "
            "short (set is cleared but for its name)"
        ),
        -2: "no memory (set is cleared but for its name)",
    },
    "ogawa_build_manifold": {
        0: "built",
        -1: "mesh is null or has no vertices: nothing touched",
        -2: (
            "no memory: the arrays built so far stay in the record. When it was the face list that failed, "
            "vertex_face_offsets is left pointing at freed memory: do not release the record (nor the mesh) "
            "before setting that field to null"
        ),
    },
    "ogawa_get_vertex_faces": {
        0: "found",
        -1: "manifold is null or was not built, or there is no such vertex: outputs untouched",
    },
    "ogawa_get_vertex_neighbors": {
        0: "listed",
        -1: (
            "manifold or faces is null, the manifold was not built, or there is no such vertex: outputs "
            "untouched"
        ),
        -2: "no memory: outputs untouched",
    },
    "ogawa_read_tangent_frame": {
        0: "read",
        -1: (
            "archive, its stream or frame is null (nothing touched); or the file is too short or has no "
            "pair (frame is empty)"
        ),
        -2: (
            "no memory: count is set; where only one array failed, the other's pointer is left pointing at "
            "freed memory: do not release the record"
        ),
    },
    "ogawa_compute_tangent_frame": {
        0: "computed",
        -1: "mesh is null, or has no vertices or no UV sets: nothing touched",
        -2: "no UV set of that name, or uv_sets is null: nothing touched",
        -3: "no memory: count and both pointers are set, one or both of them null; components stays",
    },
    "ogawa_triangulate_face": {
        0: "split",
        -1: "a pointer is null or there are fewer than 3 corners: outputs untouched",
        -2: "no memory: outputs untouched",
    },
    "qel_alembic_process_mesh": {
        0: "processed",
        -1: "mesh is null or has no vertices: nothing touched",
        -4: (
            "no memory: an array that was allocated before stays in the record, which is not changed "
            "otherwise"
        ),
    },
    "qel_alembic_load_raw": {
        0: "built",
        -1: (
            "positions or out is null (nothing touched), or vertex_count is 0 (the record holds name, "
            "counts and arrays)"
        ),
        -4: (
            "no memory. When it was the index copy that failed, positions is left pointing at freed memory: "
            "do not release the record. Otherwise qel_alembic_mesh_free releases what it holds"
        ),
    },
    "qel_alembic_save": {
        0: "written",
        -1: "path or scene is null, or the file cannot be created",
    },
    "qel_alembic_load": {
        0: "loaded",
        -1: "path or scene is null, or the file cannot be opened: nothing touched",
        -2: "fewer than 64 bytes, or the file does not begin with \"BQEL\": nothing touched",
        -3: "the version is above 1: it is stored in the scene, and nothing else is touched",
        -4: (
            "no memory, or counts that the file cannot hold and that would take more than 1 GiB beyond its "
            "length: everything read is released and both counts are 0 (they stay when the mesh array "
            "itself was refused); totals, times and flags of the header stay"
        ),
    },
    "qel_alembic_build_hash_table": {
        0: "built",
        -1: "scene is null or has no meshes, or a count without an array: nothing touched",
        -4: "no memory: hash is null, hash_size and the totals are set",
    },
    "qel_alembic_validate": {
        0: "sound",
        -1: "scene is null",
        -2: "no meshes, or a count without an array",
        -3: "a mesh without positions",
        -4: "a mesh without vertices",
        -5: "a vertex record whose lattice cell is outside 0..47",
        -6: "a vertex record whose level is outside -11..11",
    },
    "qel_alembic_lookup_morton": {
        0: "found",
        -1: "scene or out is null, the scene has no index, or no token has that key: out untouched",
    },
    "qel_alembic_lookup_frame_vertex": {
        0: "found",
        -1: "scene or out is null, or there is no such frame, mesh or vertex: out untouched",
    },
    "qel_alembic_sample_frame": {
        0: "copied",
        -1: "scene or out is null, there is no mesh, or no frame with meshes has that number: out untouched",
    },
    "qel_alembic_interpolate_time": {
        0: "interpolated",
        -1: (
            "scene or out is null, there are fewer than 2 frames, no pair encloses time, one of the two has "
            "no meshes, or vertices without positions, or their vertex counts differ: out untouched"
        ),
        -4: "no memory: vertex_count is set, positions null",
    },
    "qel_alembic_export_qel": {
        0: "written",
        -1: "mesh or path is null, the mesh has no vertices or tokens, or the file cannot be created",
    },
    "qel_alembic_export_file_qel": {
        0: "written",
        -1: "scene or path is null, the scene has no meshes, or the file cannot be created",
    },
    "ogawa_read_skinning": {
        -1: "always",
    },
    "qel_mesh_save": {
        0: "written",
        -1: "mesh or path is null, or the mesh has no vertices: no file is created",
        -10: "a face index is not below vertex_count: no file is created",
        -2: "the file cannot be created",
    },
    "qel_mesh_load": {
        0: "mapped",
        -1: "path or mesh is null: nothing touched",
        -2: "the file cannot be opened",
        -3: "the file cannot be mapped: it is empty, or not a regular file",
        -4: "no memory: the address space has no room for the file",
        -5: "the file does not begin with \"QELM\". After -2 to -5 the record is cleared",
    },
    "qel_mesh_get_gpu_data": {
        0: "handed out",
        -1: "mesh is null or not mapped: outputs untouched",
    },
    "qel_agent_dir_init": {
        0: "made, or there already",
        -1: "no memory for the directory",
        -2: "no memory for its agents or index: there is no directory",
    },
    "qel_agent_dir_load": {
        0: "read; the directory is clean and path is its path",
        -1: "no memory for the directory, which was not there",
        -2: "path is null or the file cannot be opened: a directory made by this call stays",
        -3: "fewer than 16 bytes: as for -2",
        -4: "the file does not begin with \"QEAG\": as for -2",
    },
    "qel_agent_dir_save": {
        0: "written, or a write or rename failed: the code does not tell",
        -1: "there is no directory",
        -2: "there is no path",
        -3: "the temporary file cannot be created",
    },
    "qel_agent_spawn": {
        0: "made",
        -1: "no memory for the directory, which was not there",
        -2: "the directory is full: id_out untouched",
    },
    "qel_agent_terminate": {
        0: "ended",
        -1: "there is no directory",
        -2: "the id is not found",
        -3: "the agent is terminated already. After every failure nothing is changed",
    },
    "qel_agent_delegate": {
        0: "delegated",
        -1: "there is no directory",
        -2: "from is not found",
        -3: "to is not found",
        -4: "to is terminated. After every failure nothing is changed",
    },
    "qel_agent_query": {
        0: "copied",
        -1: "out is null or there is no directory",
        -2: "the id is not found: out untouched",
    },
    "qel_agent_control": {
        0: "done",
        -1: "there is no directory",
        -2: "the id is not found",
        -3: "no such command. After every failure nothing is changed",
    },
}

#: The names of the failures' codes.
CODE_NAMES: Dict[str, Dict[int, str]] = {
    "qel_unit_create": {
        -1: "QEL_UNIT_CREATE_BAD_ARGUMENT",
        -2: "QEL_UNIT_CREATE_TOKENS_NO_MEMORY",
        -3: "QEL_UNIT_CREATE_INDEX_NO_MEMORY",
        -4: "QEL_UNIT_CREATE_ORDER_NO_MEMORY",
    },
    "qel_unit_save": {
        -1: "QEL_UNIT_SAVE_BAD_ARGUMENT",
        -2: "QEL_UNIT_SAVE_CANNOT_CREATE",
        -3: "QEL_UNIT_SAVE_CANNOT_WRITE_HEADER",
        -4: "QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS",
    },
    "qel_unit_load": {
        -1: "QEL_UNIT_LOAD_CANNOT_OPEN",
        -2: "QEL_UNIT_LOAD_TOO_SHORT",
        -3: "QEL_UNIT_LOAD_NOT_A_UNIT",
        -4: "QEL_UNIT_LOAD_TOKENS_NO_MEMORY",
        -5: "QEL_UNIT_LOAD_INDEX_NO_MEMORY",
        -6: "QEL_UNIT_LOAD_ORDER_NO_MEMORY",
    },
    "qel_unit_get_token": {
        -1: "QEL_UNIT_GET_TOKEN_NOT_FOUND",
    },
    "ogawa_open": {
        -1: "OGAWA_OPEN_CANNOT_OPEN",
        -2: "OGAWA_OPEN_NOT_AN_ARCHIVE",
        -3: "OGAWA_OPEN_UNFINISHED",
        -4: "OGAWA_OPEN_NO_VERSION",
        -5: "OGAWA_OPEN_NO_ROOT",
    },
    "ogawa_read_polymesh": {
        -1: "OGAWA_READ_POLYMESH_NOT_FOUND",
        -2: "OGAWA_READ_POLYMESH_NO_MEMORY",
    },
    "ogawa_read_positions": {
        -1: "OGAWA_READ_POSITIONS_NOT_FOUND",
        -2: "OGAWA_READ_POSITIONS_NO_MEMORY",
    },
    "ogawa_read_normals": {
        -1: "OGAWA_READ_NORMALS_NOT_FOUND",
        -2: "OGAWA_READ_NORMALS_NO_MEMORY",
    },
    "ogawa_read_uvs": {
        -1: "OGAWA_READ_UVS_NOT_FOUND",
        -2: "OGAWA_READ_UVS_NO_MEMORY",
    },
    "ogawa_build_manifold": {
        -1: "OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT",
        -2: "OGAWA_BUILD_MANIFOLD_NO_MEMORY",
    },
    "ogawa_get_vertex_faces": {
        -1: "OGAWA_GET_VERTEX_FACES_NOT_FOUND",
    },
    "ogawa_get_vertex_neighbors": {
        -1: "OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND",
        -2: "OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY",
    },
    "ogawa_read_tangent_frame": {
        -1: "OGAWA_READ_TANGENT_FRAME_NOT_FOUND",
        -2: "OGAWA_READ_TANGENT_FRAME_NO_MEMORY",
    },
    "ogawa_compute_tangent_frame": {
        -1: "OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT",
        -2: "OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND",
        -3: "OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY",
    },
    "ogawa_triangulate_face": {
        -1: "OGAWA_TRIANGULATE_FACE_BAD_ARGUMENT",
        -2: "OGAWA_TRIANGULATE_FACE_NO_MEMORY",
    },
    "qel_alembic_process_mesh": {
        -1: "QEL_ALEMBIC_PROCESS_MESH_BAD_ARGUMENT",
        -4: "QEL_ALEMBIC_PROCESS_MESH_NO_MEMORY",
    },
    "qel_alembic_load_raw": {
        -1: "QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT",
        -4: "QEL_ALEMBIC_LOAD_RAW_NO_MEMORY",
    },
    "qel_alembic_save": {
        -1: "QEL_ALEMBIC_SAVE_CANNOT_CREATE",
    },
    "qel_alembic_load": {
        -1: "QEL_ALEMBIC_LOAD_CANNOT_OPEN",
        -2: "QEL_ALEMBIC_LOAD_NOT_A_SCENE",
        -3: "QEL_ALEMBIC_LOAD_UNKNOWN_VERSION",
        -4: "QEL_ALEMBIC_LOAD_NO_MEMORY",
    },
    "qel_alembic_build_hash_table": {
        -1: "QEL_ALEMBIC_BUILD_HASH_TABLE_BAD_ARGUMENT",
        -4: "QEL_ALEMBIC_BUILD_HASH_TABLE_NO_MEMORY",
    },
    "qel_alembic_validate": {
        -1: "QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT",
        -2: "QEL_ALEMBIC_VALIDATE_NO_MESHES",
        -3: "QEL_ALEMBIC_VALIDATE_NO_POSITIONS",
        -4: "QEL_ALEMBIC_VALIDATE_NO_VERTICES",
        -5: "QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE",
        -6: "QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE",
    },
    "qel_alembic_lookup_morton": {
        -1: "QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND",
    },
    "qel_alembic_lookup_frame_vertex": {
        -1: "QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND",
    },
    "qel_alembic_sample_frame": {
        -1: "QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND",
    },
    "qel_alembic_interpolate_time": {
        -1: "QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND",
        -4: "QEL_ALEMBIC_INTERPOLATE_TIME_NO_MEMORY",
    },
    "qel_alembic_export_qel": {
        -1: "QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE",
    },
    "qel_alembic_export_file_qel": {
        -1: "QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE",
    },
    "qel_mesh_verify_identity": {
        -1: "QEL_MESH_VERIFY_IDENTITY_BAD_ARGUMENT",
    },
    "ogawa_read_skinning": {
        -1: "OGAWA_READ_SKINNING_NOT_FOUND",
    },
    "qel_mesh_save": {
        -1: "QEL_MESH_SAVE_BAD_ARGUMENT",
        -2: "QEL_MESH_SAVE_CANNOT_CREATE",
        -10: "QEL_MESH_SAVE_INDEX_OUTSIDE",
    },
    "qel_mesh_load": {
        -1: "QEL_MESH_LOAD_BAD_ARGUMENT",
        -2: "QEL_MESH_LOAD_CANNOT_OPEN",
        -3: "QEL_MESH_LOAD_CANNOT_MAP",
        -4: "QEL_MESH_LOAD_NO_MEMORY",
        -5: "QEL_MESH_LOAD_NOT_A_CACHE",
    },
    "qel_mesh_get_gpu_data": {
        -1: "QEL_MESH_GET_GPU_DATA_BAD_ARGUMENT",
    },
    "qel_agent_dir_init": {
        -1: "QEL_AGENT_DIR_INIT_DIRECTORY_NO_MEMORY",
        -2: "QEL_AGENT_DIR_INIT_CONTENTS_NO_MEMORY",
    },
    "qel_agent_dir_load": {
        -1: "QEL_AGENT_DIR_LOAD_NO_MEMORY",
        -2: "QEL_AGENT_DIR_LOAD_CANNOT_OPEN",
        -3: "QEL_AGENT_DIR_LOAD_TOO_SHORT",
        -4: "QEL_AGENT_DIR_LOAD_NOT_A_DIRECTORY",
    },
    "qel_agent_dir_save": {
        -1: "QEL_AGENT_DIR_SAVE_NO_DIRECTORY",
        -2: "QEL_AGENT_DIR_SAVE_NO_PATH",
        -3: "QEL_AGENT_DIR_SAVE_CANNOT_CREATE",
    },
    "qel_agent_spawn": {
        -1: "QEL_AGENT_SPAWN_NO_MEMORY",
        -2: "QEL_AGENT_SPAWN_FULL",
    },
    "qel_agent_terminate": {
        -1: "QEL_AGENT_TERMINATE_NO_DIRECTORY",
        -2: "QEL_AGENT_TERMINATE_NOT_FOUND",
        -3: "QEL_AGENT_TERMINATE_TERMINATED",
    },
    "qel_agent_delegate": {
        -1: "QEL_AGENT_DELEGATE_NO_DIRECTORY",
        -2: "QEL_AGENT_DELEGATE_FROM_NOT_FOUND",
        -3: "QEL_AGENT_DELEGATE_TO_NOT_FOUND",
        -4: "QEL_AGENT_DELEGATE_TO_TERMINATED",
    },
    "qel_agent_query": {
        -1: "QEL_AGENT_QUERY_NO_DIRECTORY",
        -2: "QEL_AGENT_QUERY_NOT_FOUND",
    },
    "qel_agent_control": {
        -1: "QEL_AGENT_CONTROL_NO_DIRECTORY",
        -2: "QEL_AGENT_CONTROL_NOT_FOUND",
        -3: "QEL_AGENT_CONTROL_UNKNOWN_COMMAND",
    },
}


class Functions:
    """The functions of a loaded library, each with its signature. Nothing is checked."""

    ruv_sqrt: Callable[..., int]
    ruv_isqrt: Callable[..., int]
    ruv_bounded_sqrt: Callable[..., int]
    ruv_hop_distance: Callable[..., int]
    qel_token_apply_ilogic: Callable[..., None]
    qel_unit_create: Callable[..., int]
    qel_unit_free: Callable[..., None]
    qel_unit_save: Callable[..., int]
    qel_unit_load: Callable[..., int]
    qel_unit_get_count: Callable[..., int]
    qel_unit_get_token: Callable[..., int]
    qel_unit_get_all_tokens: Callable[..., int]
    qel_unit_lookup_morton: Callable[..., int]
    qel_unit_lookup_hex: Callable[..., int]
    qel_unit_query_lattice_vertex: Callable[..., int]
    qel_unit_query_layer: Callable[..., int]
    qel_unit_query_nearest: Callable[..., int]
    qel_matrix_48_morton_encode: Callable[..., int]
    qel_matrix_48_palindrome: Callable[..., None]
    qel_matrix_48_k11_level: Callable[..., int]
    qel_matrix_48_i_state: Callable[..., int]
    qel_matrix_48_phi_norm: Callable[..., float]
    qel_matrix_48_em_coupling: Callable[..., float]
    qel_matrix_48_identity: Callable[..., int]
    qel_matrix_48_crossover_bind: Callable[..., None]
    qel_matrix_48_mutate_tachyon: Callable[..., None]
    qel_matrix_48_chirality: Callable[..., int]
    qel_matrix_48_reproduce: Callable[..., None]
    qel_matrix_48_validate_all: Callable[..., int]
    ogawa_open: Callable[..., int]
    ogawa_get_info: Callable[..., None]
    ogawa_close: Callable[..., None]
    ogawa_free_object: Callable[..., None]
    ogawa_schema_from_string: Callable[..., int]
    ogawa_schema_to_string: Callable[..., Optional[bytes]]
    ogawa_read_polymesh: Callable[..., int]
    ogawa_get_first_polymesh: Callable[..., Any]
    ogawa_read_positions: Callable[..., int]
    ogawa_free_polymesh: Callable[..., None]
    ogawa_read_normals: Callable[..., int]
    ogawa_read_uvs: Callable[..., int]
    ogawa_free_uv_set: Callable[..., None]
    ogawa_build_manifold: Callable[..., int]
    ogawa_get_vertex_faces: Callable[..., int]
    ogawa_get_vertex_neighbors: Callable[..., int]
    ogawa_is_manifold_closed: Callable[..., int]
    ogawa_free_manifold: Callable[..., None]
    ogawa_read_tangent_frame: Callable[..., int]
    ogawa_compute_tangent_frame: Callable[..., int]
    ogawa_free_tangent_frame: Callable[..., None]
    ogawa_compute_bounds: Callable[..., None]
    ogawa_triangulate_face: Callable[..., int]
    qel_alembic_compute_bounds: Callable[..., None]
    qel_alembic_world_to_matrix: Callable[..., None]
    qel_alembic_matrix_to_world: Callable[..., None]
    qel_alembic_process_vertex: Callable[..., None]
    qel_alembic_topology_hash: Callable[..., int]
    qel_alembic_generate_token: Callable[..., None]
    qel_alembic_process_mesh: Callable[..., int]
    qel_alembic_load_raw: Callable[..., int]
    qel_alembic_save: Callable[..., int]
    qel_alembic_load: Callable[..., int]
    qel_alembic_build_hash_table: Callable[..., int]
    qel_alembic_free: Callable[..., None]
    qel_alembic_mesh_free: Callable[..., None]
    qel_alembic_validate: Callable[..., int]
    qel_alembic_file_info: Callable[..., None]
    qel_alembic_mesh_info: Callable[..., None]
    qel_alembic_lookup_morton: Callable[..., int]
    qel_alembic_lookup_frame_vertex: Callable[..., int]
    qel_alembic_query_nearest: Callable[..., int]
    qel_alembic_query_layer: Callable[..., int]
    qel_alembic_sample_frame: Callable[..., int]
    qel_alembic_interpolate_time: Callable[..., int]
    qel_alembic_get_frame_range: Callable[..., None]
    qel_alembic_export_qel: Callable[..., int]
    qel_alembic_export_file_qel: Callable[..., int]
    qel_mesh_verify_p_minus_p: Callable[..., int]
    qel_mesh_verify_p_div_p: Callable[..., int]
    qel_mesh_bounds_coherence: Callable[..., float]
    qel_mesh_verify_identity: Callable[..., int]
    qel_mesh_is_static_valid: Callable[..., int]
    ogawa_read_skinning: Callable[..., int]
    qel_skin_apply: Callable[..., None]
    qel_skin_free: Callable[..., None]
    qel_mesh_save: Callable[..., int]
    qel_mesh_load: Callable[..., int]
    qel_mesh_free: Callable[..., None]
    qel_mesh_get_gpu_data: Callable[..., int]
    qel_agent_dir_init: Callable[..., int]
    qel_agent_dir_load: Callable[..., int]
    qel_agent_dir_save: Callable[..., int]
    qel_agent_dir_sync: Callable[..., int]
    qel_agent_dir_stats: Callable[..., None]
    qel_agent_dir_free: Callable[..., None]
    qel_agent_spawn: Callable[..., int]
    qel_agent_terminate: Callable[..., int]
    qel_agent_delegate: Callable[..., int]
    qel_agent_query: Callable[..., int]
    qel_agent_control: Callable[..., int]
    qel_agent_monitor: Callable[..., int]

    def __init__(self, library: CDLL) -> None:
        for name, (result, arguments) in SIGNATURES.items():
            function = getattr(library, name)
            function.restype = result
            function.argtypes = arguments
            setattr(self, name, function)
