/* SPDX-License-Identifier: MIT */
/**
 * @file qel_unit.h
 * @brief The whole interface of qel_unit: 101 functions and every record that crosses them.
 *
 * Readable as C99 and as C++17. These conventions hold everywhere and are not repeated below:
 *
 * 1. **Status.** A function that can fail returns a signed 32-bit status: 0 for success, then -1, -2, -3, …
 *    mostly in the order in which its steps can fail. Every code has a name in ::qel_status: the function's in
 *    capitals, then what is wrong. Lookups in a unit return a token number, or ::QEL_NOT_FOUND.
 *    Queries return a count, 0 on bad arguments. Nothing is printed, logged or kept in a global variable.
 * 2. **Ownership.** The caller allocates every record and passes a pointer to it. The library allocates arrays
 *    of the record; the record's release function frees them and nulls the pointers, never the record itself.
 *    Filling a record that already owns arrays overwrites their pointers without freeing: release first.
 * 3. **Memory.** Every array that leaves the library comes from `malloc`, `calloc`, `realloc` or (POSIX)
 *    `aligned_alloc`. Arrays that a function returns are released with `free`; a record filled by hand with
 *    `malloc`ed arrays may be passed to a release function. An array of no entries is allocated with one
 *    byte, so that a platform's null for 0 bytes is not taken for a failure.
 *    A function holds its result and bounded scratch memory; if the scratch grows with the input, its comment
 *    says so.
 * 4. **Arguments.** Pointers are tested for null only if the function's comment says so. Arrays must hold as
 *    many entries as their counts say. Inputs are never written; outputs must not overlap inputs unless the
 *    function allows it (::qel_skin_apply).
 * 5. **Threads.** No function starts a thread, waits for one or locks. The agent directory is process-wide
 *    state, and an archive's stream and first-mesh cache are shared through its record: callers must serialize
 *    their calls on those. All other functions access only their arguments.
 * 6. **Files.** All formats are little-endian; paths are byte strings for `fopen`. Offsets are 64-bit. A file
 *    is opened, used and closed within one call, except an archive's stream (::ogawa_open to ::ogawa_close)
 *    and a mesh cache mapping (::qel_mesh_load to ::qel_mesh_free). A path that names a pipe waits until the
 *    pipe's other end is opened, as `fopen` does, except that ::qel_mesh_load refuses it at once.
 * 7. **Numbers.** Positions, normals and UVs are single precision and computed in single precision, in the
 *    order written, without fused multiply-add: results are the same bits on every platform, except the sign
 *    and payload of a NaN. Texts have a decimal point in every locale. Transforms are 4 x 4 doubles in
 *    row-major order. Times are 64-bit seconds since 1970-01-01 UTC.
 */
#ifndef QEL_UNIT_H
#define QEL_UNIT_H

#include <stdint.h>
#include <stdio.h>

#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__)
#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "qel_unit keeps its records and files little-endian and does not support big-endian targets"
#endif
#endif

/** @cond */
#if defined(QEL_UNIT_STATIC)
#define QEL_API
#elif defined(_WIN32)
#if defined(QEL_UNIT_BUILDING)
#define QEL_API __declspec(dllexport)
#else
#define QEL_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define QEL_API __attribute__((visibility("default")))
#else
#define QEL_API
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/** The version of this header and of the libraries that belong to it. Programs built with a lower minor version run
 *  with a library of a higher one; another major version has another interface and another SONAME. */
#define QEL_UNIT_VERSION_MAJOR 1
/** Grows when something is added to the interface. */
#define QEL_UNIT_VERSION_MINOR 0
/** Grows when nothing but the insides change. */
#define QEL_UNIT_VERSION_PATCH 0
/** Whether this header is of that version or a later one, in `#if` as well as in code.
 *  @param major  what QEL_UNIT_VERSION_MAJOR must be, or less
 *  @param minor  among versions of that major one, what QEL_UNIT_VERSION_MINOR must be, or less
 *  @param patch  among those of that minor one, what QEL_UNIT_VERSION_PATCH must be, or less */
#define QEL_UNIT_VERSION_AT_LEAST(major, minor, patch)                                                                 \
    (QEL_UNIT_VERSION_MAJOR > (major) ||                                                                               \
     (QEL_UNIT_VERSION_MAJOR == (major) &&                                                                             \
      (QEL_UNIT_VERSION_MINOR > (minor) || (QEL_UNIT_VERSION_MINOR == (minor) && QEL_UNIT_VERSION_PATCH >= (patch)))))

/** What a token lookup returns when nothing was found. */
#define QEL_NOT_FOUND 0xFFFFFFFFu

/* Every record can be named with or without `struct`, in C and in C++. */
/** @cond */
typedef struct qel_token qel_token;
typedef struct qel_hash_node qel_hash_node;
typedef struct qel_hash_index qel_hash_index;
typedef struct qel_unit qel_unit;
typedef struct qel_matrix_identity qel_matrix_identity;
typedef struct qel_matrix_offspring qel_matrix_offspring;
typedef struct ogawa_uv_set ogawa_uv_set;
typedef struct ogawa_tangent_frame ogawa_tangent_frame;
typedef struct ogawa_manifold ogawa_manifold;
typedef struct ogawa_polymesh ogawa_polymesh;
typedef struct ogawa_aux_record ogawa_aux_record;
typedef struct ogawa_object ogawa_object;
typedef struct ogawa_archive ogawa_archive;
typedef struct qel_alembic_vertex qel_alembic_vertex;
typedef struct qel_alembic_token qel_alembic_token;
typedef struct qel_alembic_mesh qel_alembic_mesh;
typedef struct qel_alembic_frame qel_alembic_frame;
typedef struct qel_alembic_file qel_alembic_file;
typedef struct qel_alembic_hit qel_alembic_hit;
typedef struct qel_mesh_verify_report qel_mesh_verify_report;
typedef struct qel_skin_joint qel_skin_joint;
typedef struct qel_skin_weight qel_skin_weight;
typedef struct qel_skin qel_skin;
typedef struct qel_mesh_header qel_mesh_header;
typedef struct qel_mesh qel_mesh;
typedef struct qel_agent qel_agent;
typedef struct qel_agent_dir qel_agent_dir;
/** @endcond */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup status Status codes
 * The names of all codes. Their numbers are the functions' own: the same number means another thing elsewhere, and
 * `NO_MEMORY` has several.
 * @{ */

/** What functions answer. A name is the function's in capitals, then what is wrong. */
typedef enum qel_status {
    QEL_OK = 0, /**< success, of every function that answers with a status */

    /* Units */
    QEL_UNIT_CREATE_BAD_ARGUMENT = -1,      /**< no unit, or no tokens */
    QEL_UNIT_CREATE_TOKENS_NO_MEMORY = -2,  /**< an allocation failed: the tokens */
    QEL_UNIT_CREATE_INDEX_NO_MEMORY = -3,   /**< an allocation failed: an index */
    QEL_UNIT_CREATE_ORDER_NO_MEMORY = -4,   /**< an allocation failed: `order` */
    QEL_UNIT_SAVE_BAD_ARGUMENT = -1,        /**< no unit, or no tokens */
    QEL_UNIT_SAVE_CANNOT_CREATE = -2,       /**< the file cannot be created */
    QEL_UNIT_SAVE_CANNOT_WRITE_HEADER = -3, /**< the header is not written whole */
    QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS = -4, /**< the tokens are not written whole */
    QEL_UNIT_LOAD_CANNOT_OPEN = -1,         /**< the file cannot be opened */
    QEL_UNIT_LOAD_TOO_SHORT = -2,           /**< no whole header */
    QEL_UNIT_LOAD_NOT_A_UNIT = -3,          /**< other bytes at the beginning */
    QEL_UNIT_LOAD_TOKENS_NO_MEMORY = -4,    /**< an allocation failed: the tokens */
    QEL_UNIT_LOAD_INDEX_NO_MEMORY = -5,     /**< an allocation failed: an index */
    QEL_UNIT_LOAD_ORDER_NO_MEMORY = -6,     /**< an allocation failed: `order` */
    QEL_UNIT_GET_TOKEN_NOT_FOUND = -1,      /**< no such token, or no tokens */

    /* Archives */
    OGAWA_OPEN_CANNOT_OPEN = -1,         /**< no such file, or fewer than 5 bytes; a null pointer */
    OGAWA_OPEN_NOT_AN_ARCHIVE = -2,      /**< other bytes at the beginning */
    OGAWA_OPEN_UNFINISHED = -3,          /**< the file is still being written */
    OGAWA_OPEN_NO_VERSION = -4,          /**< the file ends before its version */
    OGAWA_OPEN_NO_ROOT = -5,             /**< the file ends before its root reference */
    OGAWA_READ_POLYMESH_NOT_FOUND = -1,  /**< no positions; a null pointer */
    OGAWA_READ_POLYMESH_NO_MEMORY = -2,  /**< an allocation failed */
    OGAWA_READ_POSITIONS_NOT_FOUND = -1, /**< no positions; a null pointer */
    OGAWA_READ_POSITIONS_NO_MEMORY = -2, /**< an allocation failed */

    /* Mesh geometry */
    OGAWA_READ_NORMALS_NOT_FOUND = -1,             /**< no normals, or cut short; a null pointer */
    OGAWA_READ_NORMALS_NO_MEMORY = -2,             /**< an allocation failed */
    OGAWA_READ_UVS_NOT_FOUND = -1,                 /**< no UVs, or cut short; a null pointer */
    OGAWA_READ_UVS_NO_MEMORY = -2,                 /**< an allocation failed */
    OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT = -1,        /**< no mesh, or no vertices */
    OGAWA_BUILD_MANIFOLD_NO_MEMORY = -2,           /**< an allocation failed */
    OGAWA_GET_VERTEX_FACES_NOT_FOUND = -1,         /**< no such vertex, or no manifold */
    OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND = -1,     /**< no such vertex, no manifold or no faces */
    OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY = -2,     /**< an allocation failed */
    OGAWA_READ_TANGENT_FRAME_NOT_FOUND = -1,       /**< no tangents; a null pointer */
    OGAWA_READ_TANGENT_FRAME_NO_MEMORY = -2,       /**< an allocation failed */
    OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT = -1, /**< no mesh, no vertices or no UV sets */
    OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND = -2,    /**< no UV set of that name */
    OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY = -3,    /**< an allocation failed */
    OGAWA_TRIANGULATE_FACE_BAD_ARGUMENT = -1,      /**< a null pointer, or fewer than 3 corners */
    OGAWA_TRIANGULATE_FACE_NO_MEMORY = -2,         /**< an allocation failed */

    /* Token scenes */
    QEL_ALEMBIC_PROCESS_MESH_BAD_ARGUMENT = -1,     /**< no mesh, or no vertices */
    QEL_ALEMBIC_PROCESS_MESH_NO_MEMORY = -4,        /**< an allocation failed */
    QEL_ALEMBIC_LOAD_RAW_BAD_ARGUMENT = -1,         /**< a null pointer, or no vertices */
    QEL_ALEMBIC_LOAD_RAW_NO_MEMORY = -4,            /**< an allocation failed */
    QEL_ALEMBIC_SAVE_CANNOT_CREATE = -1,            /**< the file cannot be created; a null pointer */
    QEL_ALEMBIC_LOAD_CANNOT_OPEN = -1,              /**< the file cannot be opened; a null pointer */
    QEL_ALEMBIC_LOAD_NOT_A_SCENE = -2,              /**< no whole header, or other bytes at the beginning */
    QEL_ALEMBIC_LOAD_UNKNOWN_VERSION = -3,          /**< the version is above 1 */
    QEL_ALEMBIC_LOAD_NO_MEMORY = -4,                /**< an allocation failed or is refused */
    QEL_ALEMBIC_BUILD_HASH_TABLE_BAD_ARGUMENT = -1, /**< no scene, no meshes, or a count without an array */
    QEL_ALEMBIC_BUILD_HASH_TABLE_NO_MEMORY = -4,    /**< an allocation failed */
    QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT = -1,         /**< no scene */
    QEL_ALEMBIC_VALIDATE_NO_MESHES = -2,            /**< no meshes, or a count without an array */
    QEL_ALEMBIC_VALIDATE_NO_POSITIONS = -3,         /**< a mesh without positions */
    QEL_ALEMBIC_VALIDATE_NO_VERTICES = -4,          /**< a mesh without vertices */
    QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE = -5,         /**< a lattice cell is outside 0..47 */
    QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE = -6,        /**< a level is outside -11..11 */
    QEL_ALEMBIC_LOOKUP_MORTON_NOT_FOUND = -1,       /**< no token with that key; a null pointer */
    QEL_ALEMBIC_LOOKUP_FRAME_VERTEX_NOT_FOUND = -1, /**< no such frame, mesh or vertex; a null pointer */
    QEL_ALEMBIC_SAMPLE_FRAME_NOT_FOUND = -1,        /**< no such frame, or no mesh; a null pointer */
    QEL_ALEMBIC_INTERPOLATE_TIME_NOT_FOUND = -1,    /**< no two frames around the time; a null pointer */
    QEL_ALEMBIC_INTERPOLATE_TIME_NO_MEMORY = -4,    /**< an allocation failed */
    QEL_ALEMBIC_EXPORT_QEL_CANNOT_CREATE = -1,      /**< the file cannot be created; nothing to write */
    QEL_ALEMBIC_EXPORT_FILE_QEL_CANNOT_CREATE = -1, /**< the file cannot be created; nothing to write */

    /* Mesh verification, skinning and the mesh cache */
    QEL_MESH_VERIFY_IDENTITY_BAD_ARGUMENT = -1, /**< no report */
    OGAWA_READ_SKINNING_NOT_FOUND = -1,         /**< always: archives are not read for skins */
    QEL_MESH_SAVE_BAD_ARGUMENT = -1,            /**< no mesh, no vertices or no path */
    QEL_MESH_SAVE_CANNOT_CREATE = -2,           /**< the file cannot be created */
    QEL_MESH_SAVE_INDEX_OUTSIDE = -10,          /**< a face index is not below the vertex count */
    QEL_MESH_LOAD_BAD_ARGUMENT = -1,            /**< a null pointer */
    QEL_MESH_LOAD_CANNOT_OPEN = -2,             /**< the file cannot be opened */
    QEL_MESH_LOAD_CANNOT_MAP = -3,              /**< the file is empty or no regular file */
    QEL_MESH_LOAD_NO_MEMORY = -4,               /**< the address space has no room for the file */
    QEL_MESH_LOAD_NOT_A_CACHE = -5,             /**< other bytes at the beginning */
    QEL_MESH_GET_GPU_DATA_BAD_ARGUMENT = -1,    /**< no mesh, or not mapped */

    /* The agent directory; ::qel_agent_dir_sync answers as ::qel_agent_dir_save */
    QEL_AGENT_DIR_INIT_DIRECTORY_NO_MEMORY = -1, /**< an allocation failed: the directory */
    QEL_AGENT_DIR_INIT_CONTENTS_NO_MEMORY = -2,  /**< an allocation failed: its agents or index */
    QEL_AGENT_DIR_LOAD_NO_MEMORY = -1,           /**< an allocation failed: the directory */
    QEL_AGENT_DIR_LOAD_CANNOT_OPEN = -2,         /**< the file cannot be opened; no path */
    QEL_AGENT_DIR_LOAD_TOO_SHORT = -3,           /**< fewer than 16 bytes */
    QEL_AGENT_DIR_LOAD_NOT_A_DIRECTORY = -4,     /**< other bytes at the beginning */
    QEL_AGENT_DIR_SAVE_NO_DIRECTORY = -1,        /**< there is no directory */
    QEL_AGENT_DIR_SAVE_NO_PATH = -2,             /**< there is no path */
    QEL_AGENT_DIR_SAVE_CANNOT_CREATE = -3,       /**< the temporary file cannot be created */
    QEL_AGENT_SPAWN_NO_MEMORY = -1,              /**< an allocation failed: the directory */
    QEL_AGENT_SPAWN_FULL = -2,                   /**< the directory is full */
    QEL_AGENT_TERMINATE_NO_DIRECTORY = -1,       /**< there is no directory */
    QEL_AGENT_TERMINATE_NOT_FOUND = -2,          /**< no such agent */
    QEL_AGENT_TERMINATE_TERMINATED = -3,         /**< the agent is terminated already */
    QEL_AGENT_DELEGATE_NO_DIRECTORY = -1,        /**< there is no directory */
    QEL_AGENT_DELEGATE_FROM_NOT_FOUND = -2,      /**< no such agent: `from` */
    QEL_AGENT_DELEGATE_TO_NOT_FOUND = -3,        /**< no such agent: `to` */
    QEL_AGENT_DELEGATE_TO_TERMINATED = -4,       /**< `to` is terminated already */
    QEL_AGENT_QUERY_NO_DIRECTORY = -1,           /**< there is no directory; a null pointer */
    QEL_AGENT_QUERY_NOT_FOUND = -2,              /**< no such agent */
    QEL_AGENT_CONTROL_NO_DIRECTORY = -1,         /**< there is no directory */
    QEL_AGENT_CONTROL_NOT_FOUND = -2,            /**< no such agent */
    QEL_AGENT_CONTROL_UNKNOWN_COMMAND = -3       /**< no such command */
} qel_status;
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup token Tokens and lattice maths
 * A token couples a 64-bit spatial key with an eight-character identity, a state word and a layer. The
 * square roots work in single precision on purpose: large inputs have a 24-bit mantissa.
 * @{ */

#pragma pack(push, 1)
/** One token: 25 packed bytes, the same in memory and in the unit file. */
struct qel_token {
    uint64_t morton;  /**< spatial key; a lattice vertex packs x in bits 32..47, y in 16..31, z in 0..15 */
    char hex_id[8];   /**< identity: text of up to 8 characters, no terminator when all 8 are used */
    uint64_t payload; /**< state word carried with the token */
    uint8_t layer;    /**< layer number, any value */
};
#pragma pack(pop)

/**
 * The integer square root of `n` by way of single precision.
 *
 * `n` is rounded to the nearest float, its single-precision root is truncated towards zero.
 *
 * @param n  any value; 2^64 - 1 gives 4294967296 and 16777217 gives 4096, because the float is rounded first
 * @return the root; 0 for 0 and 1 for 1
 */
QEL_API uint64_t ruv_sqrt(uint64_t n);

/**
 * The integer square root of a signed number, by way of single precision.
 *
 * @param n  any value
 * @return the truncated root; 0 when `n` is below 1
 */
QEL_API uint32_t ruv_isqrt(int32_t n);

/**
 * The integer square root of `n`, kept between two bounds. The lower bound is tested first.
 *
 * @param n   any value; 0 and below count as root 0
 * @param lo  the result when the root is below it, also when `lo` is above `hi`
 * @param hi  the largest result otherwise
 * @return `lo` if `lo` is above the root, else the smaller of the root and `hi`
 */
QEL_API int32_t ruv_bounded_sqrt(int32_t n, int32_t lo, int32_t hi);

/**
 * The distance of two keys in hops: ::ruv_sqrt of their absolute difference.
 *
 * @param a  one key
 * @param b  the other key
 * @return the distance; 0 for equal keys, 1 for neighbours, symmetric in `a` and `b`
 */
QEL_API uint64_t ruv_hop_distance(uint64_t a, uint64_t b);

/** What ::qel_token_apply_ilogic does; any other number changes nothing. */
typedef enum qel_ilogic {
    QEL_ILOGIC_REVERSE = -1, /**< the 8 bytes of `payload` are reversed */
    QEL_ILOGIC_DOUBLE = 2,   /**< `morton` becomes 2 x `morton` + 1 (mod 2^64) */
    QEL_ILOGIC_HALVE = 3     /**< `morton` is shifted right by one bit */
} qel_ilogic;

/**
 * Transforms one token record in place. No index is updated.
 *
 * @param[in,out] token  the record; null does nothing
 * @param op  a ::qel_ilogic; any other value changes nothing
 */
QEL_API void qel_token_apply_ilogic(qel_token *token, int32_t op);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup unit Units: stores of tokens
 * A unit holds an array of tokens and two chained hash indexes over it, by key and by identity. Each index
 * has a fixed bucket array of 32 MiB, so a unit costs 64 MiB plus 45 bytes per token.
 * @{ */

/** Number of buckets of every hash index: hashes have 23 bits. */
#define QEL_HASH_BUCKETS 0x800000u

/** One link of a chain. */
struct qel_hash_node {
    uint32_t token; /**< the entry: a token number or an agent slot */
    uint32_t next;  /**< the node that was the bucket's head before, 0xFFFFFFFF at the chain's end */
};

/** A chained hash index: the newest entry of a bucket is its head. */
struct qel_hash_index {
    qel_hash_node *nodes; /**< owned; room for as many nodes as the store had entries at the build */
    uint32_t *buckets;    /**< owned; ::QEL_HASH_BUCKETS heads: a node number, 0xFFFFFFFF when empty */
    uint32_t node_count;  /**< nodes in use, at most ::QEL_HASH_BUCKETS; later entries are left out */
};

/** A store of tokens. All pointers are null in an empty unit and set in a built one. */
struct qel_unit {
    uint32_t version;             /**< 1 after create; the file's on load; written on save */
    uint32_t count;               /**< number of tokens; keeps its value after ::qel_unit_free */
    uint32_t extra;               /**< a word carried to and from the file, never interpreted; 0 after create */
    qel_token *tokens;            /**< owned; `count` packed records */
    qel_hash_index *morton_index; /**< owned; by hash ((key >> 32) xor key) and 0x7FFFFF */
    qel_hash_index *hex_index;    /**< owned; by the low 23 bits of djb2 (start 5381, times 33, signed bytes) */
    uint32_t *order;              /**< `count` token numbers 0, 1, 2, …; the caller frees it, see ::qel_unit_free */
};

/**
 * Requires ascending keys, or ::qel_unit_query_nearest returns wrong tokens and no error: builds a unit from
 * caller arrays, without sorting them.
 *
 * One token per entry, in the caller's order, with both indexes. A save and a load sort. The index leaves
 * out the 8,388,609th token and later ones; they stay reachable by number, by layer and by the nearest query.
 *
 * @retval  0 built
 * @retval -1 `unit` is null or `count` is 0: nothing touched
 * @retval -2 no memory for the tokens: `version`, `count` and `extra` are set, `tokens` is null, the other
 *            pointers are as they were: only a record that was zeroed before can be released then
 * @retval -3 no memory for an index: tokens and indexes are released and null, the numbers set, `order` as it
 *            was
 * @retval -4 no memory for `order`: as after ::qel_unit_free, and `order` is null
 * @param[out] unit  the record to fill; what it held is overwritten, not freed
 * @param count      number of tokens
 * @param mortons    `count` keys
 * @param hex_ids    `count` identities of 8 bytes each, without terminators
 * @param payloads   `count` state words
 * @param layers     `count` layer numbers
 */
QEL_API int32_t qel_unit_create(qel_unit *unit, uint32_t count, const uint64_t *mortons, const char *hex_ids,
                                const uint64_t *payloads, const uint8_t *layers);

/**
 * Releases a unit's tokens and both indexes and nulls them.
 *
 * `version`, `count`, `extra` and `order` stay as they are: `order` is not released, it belongs to the
 * caller, who frees it with `free`.
 *
 * @param[in,out] unit  the unit, not null; an empty one is left as it is
 */
QEL_API void qel_unit_free(qel_unit *unit);

/**
 * Writes a unit file: a 24-byte header with the present time, then the tokens in storage order.
 *
 * A failed save may leave a partly written file. The last few kilobytes are written when the file is closed,
 * and errors of that write are not reported: on a full device 0 may be returned, and is for few tokens. To be
 * sure, load the file again.
 *
 * @retval  0 written, as far as could be seen before the file was closed
 * @retval -1 `unit` or its `tokens` is null, or its `count` is 0: no file is created
 * @retval -2 the file cannot be created
 * @retval -3 the header could not be written whole
 * @retval -4 the tokens could not be written whole. Their byte count is taken modulo 2^32: a unit of more
 * than 171,798,691 tokens is cut short without this code
 * @param path  file to create or replace
 * @param unit  the unit; not changed
 */
QEL_API int32_t qel_unit_save(const char *path, const qel_unit *unit);

/**
 * Reads a unit file, sorts its tokens by key and builds both indexes.
 *
 * A file that ends early is no error: the whole records are kept, a partial one at the end is dropped,
 * `count` is the number kept. Records beyond the header's count are ignored. The version is not checked.
 * Tokens with equal keys keep the file's order. Sorting takes a scratch of 25 bytes per token, none for a
 * file that is sorted; without it, it takes longer.
 *
 * @retval  0 loaded, an empty file (count 0) included
 * @retval -1 the file cannot be opened: `unit` untouched
 * @retval -2 fewer than 24 bytes: `unit` untouched
 * @retval -3 the file does not begin with "QEL" and a zero byte: `unit` untouched
 * @retval -4 no memory for as many tokens as the header claims: `version`, `count` (as claimed) and `extra` are
 *            set, `tokens` is null, the other pointers are as they were: only a record that was zeroed before
 *            can be released then
 * @retval -5 no memory for an index: tokens and indexes are released and null, the numbers set, `order` as it
 *            was
 * @retval -6 no memory for `order`: as after ::qel_unit_free, and `order` is null
 * @param path       file to read
 * @param[out] unit  the record to fill; what it held is overwritten, not freed
 */
QEL_API int32_t qel_unit_load(const char *path, qel_unit *unit);

/**
 * The number of tokens.
 *
 * @param unit  the unit; may be null
 * @return `count`, also after ::qel_unit_free; 0 for null
 */
QEL_API uint32_t qel_unit_get_count(const qel_unit *unit);

/**
 * Copies key, identity and layer of one token. The payload is not handed out.
 *
 * @retval  0 copied
 * @retval -1 `unit` or its `tokens` is null, or there is no such token: outputs untouched
 * @param unit         the unit; may be null
 * @param index        token number
 * @param[out] morton  one key
 * @param[out] hex_id  8 bytes, no terminator is added
 * @param[out] layer   one layer number
 */
QEL_API int32_t qel_unit_get_token(const qel_unit *unit, uint32_t index, uint64_t *morton, char *hex_id,
                                   uint8_t *layer);

/**
 * Copies key, identity and layer of every token, in storage order.
 *
 * @param unit          the unit; null or without tokens gives 0
 * @param[out] mortons  room for `count` keys
 * @param[out] hex_ids  room for `count` identities of 8 bytes each, no terminators
 * @param[out] layers   room for `count` layer numbers
 * @return the number of tokens copied
 */
QEL_API uint32_t qel_unit_get_all_tokens(const qel_unit *unit, uint64_t *mortons, char *hex_ids, uint8_t *layers);

/**
 * Finds a token by key, in constant time.
 *
 * Only the newest entry of the key's bucket is examined: of two keys that share a bucket, only the one with
 * the higher token number can be found.
 *
 * @param unit    the unit, not null; one without a key index finds nothing
 * @param morton  the key
 * @return the token number, or ::QEL_NOT_FOUND
 */
QEL_API uint32_t qel_unit_lookup_morton(const qel_unit *unit, uint64_t morton);

/**
 * Finds a token by identity, in constant time.
 *
 * The identity is hashed up to its first zero byte, but all 8 bytes must agree. Only the newest entry of the
 * bucket is examined, as with ::qel_unit_lookup_morton.
 *
 * @param unit    the unit, not null; one without an identity index finds nothing
 * @param hex_id  exactly 8 bytes
 * @return the token number, or ::QEL_NOT_FOUND
 */
QEL_API uint32_t qel_unit_lookup_hex(const qel_unit *unit, const char *hex_id);

/**
 * Finds a token by lattice vertex: ::qel_unit_lookup_morton of the key (x << 32) | (y << 16) | z.
 *
 * @param unit  the unit, not null; one without a key index finds nothing
 * @param x     lattice coordinate
 * @param y     lattice coordinate
 * @param z     lattice coordinate
 * @return the token number, or ::QEL_NOT_FOUND
 */
QEL_API uint32_t qel_unit_query_lattice_vertex(const qel_unit *unit, uint16_t x, uint16_t y, uint16_t z);

/**
 * Lists the tokens of one layer, in storage order.
 *
 * @param unit          the unit, not null; one without tokens gives 0
 * @param layer         layer number
 * @param[out] numbers  room for `max` token numbers; entries beyond the result are untouched
 * @param max           where to stop; below 1 gives 0
 * @return the number of tokens written
 */
QEL_API uint32_t qel_unit_query_layer(const qel_unit *unit, uint8_t layer, uint32_t *numbers, int32_t max);

/**
 * Requires tokens in ascending key order, as a loaded unit's are, or returns wrong ones and no error: finds
 * the `k` tokens nearest to a key by ::ruv_hop_distance, nearest first.
 *
 * The search proceeds outward from the key's position. Of equal distances the token met first is kept and
 * comes first: nearer the key's position, the lower side first. Once the worst of `k` results is 2^32 hops
 * away the search ends: its square is 0 (mod 2^64). The scratch is 16 bytes per result.
 *
 * @param unit            the unit; null or without tokens gives 0
 * @param morton          the key to search around
 * @param k               results wanted; below 1 gives 0
 * @param[out] numbers    room for `k` token numbers
 * @param[out] distances  room for `k` distances, ascending
 * @return the number of results, the smaller of `k` and the unit's count; 0 when the scratch list cannot be
 *         allocated, and from 2^31 tokens on. Entries beyond it are untouched
 */
QEL_API uint32_t qel_unit_query_nearest(const qel_unit *unit, uint64_t morton, int32_t k, uint32_t *numbers,
                                        uint64_t *distances);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup matrix_48 Matrix-48: the algebra of the 48-cube
 * Pure functions over the 48 x 48 x 48 lattice, whose centre is 23.5 on every axis. Coordinates outside
 * 0..47 are not refused but computed through, with the wrap-arounds that each function names.
 * @{ */

/** The attributes of one cell. */
struct qel_matrix_identity {
    uint8_t x;         /**< the cell */
    uint8_t y;         /**< the cell */
    uint8_t z;         /**< the cell; the low 8 bits of the argument */
    uint8_t mirror_x;  /**< 47 - x, mod 256 */
    uint8_t mirror_y;  /**< 47 - y, mod 256 */
    uint8_t mirror_z;  /**< 47 - z, mod 256 */
    int8_t k11_level;  /**< ::qel_matrix_48_k11_level of the cell, -11..11 */
    uint8_t i_state;   /**< ::qel_matrix_48_i_state of the level: 0, 1, 255 or 2 */
    uint64_t morton;   /**< ::qel_matrix_48_morton_encode of the cell, 18 bits */
    float phi_norm;    /**< ::qel_matrix_48_phi_norm of the cell */
    float em_coupling; /**< ::qel_matrix_48_em_coupling of the cell */
};

/** The child of two cells. The order of its fields deliberately differs from that of an identity. */
struct qel_matrix_offspring {
    uint8_t x;         /**< the child's cell */
    uint8_t y;         /**< the child's cell */
    uint8_t z;         /**< the child's cell */
    int8_t chirality;  /**< ::qel_matrix_48_chirality of (x, y): 1, -1 or 0 */
    float phi_blend;   /**< (norm of parent a x 1.618034 + norm of parent b) / 2.618034 */
    float em_coupling; /**< ::qel_matrix_48_em_coupling of the child */
    int8_t k11_level;  /**< ::qel_matrix_48_k11_level of the child */
    uint8_t i_state;   /**< ::qel_matrix_48_i_state of the level */
};

/**
 * Interleaves the low 6 bits of each coordinate: bit i of x goes to bit 3i, of y to 3i + 1, of z to 3i + 2.
 *
 * @param x  coordinate; bits above the sixth are dropped
 * @param y  coordinate
 * @param z  coordinate
 * @return the code, at most 0x3FFFF; (47, 47, 47) gives 233471
 */
QEL_API uint64_t qel_matrix_48_morton_encode(uint32_t x, uint32_t y, uint32_t z);

/**
 * The mirror cell: 47 minus each coordinate, kept to its low 8 bits (50 gives 253).
 *
 * @param x  coordinate
 * @param y  coordinate
 * @param z  coordinate
 * @param[out] out_x  mirrored coordinate
 * @param[out] out_y  mirrored coordinate
 * @param[out] out_z  mirrored coordinate
 */
QEL_API void qel_matrix_48_palindrome(uint32_t x, uint32_t y, uint32_t z, uint8_t *out_x, uint8_t *out_y,
                                      uint8_t *out_z);

/**
 * The level of a cell: (a + b + c) mod 23, minus 11.
 *
 * @param a  coordinate
 * @param b  coordinate
 * @param c  coordinate
 * @return the level, -11..11
 */
QEL_API int32_t qel_matrix_48_k11_level(uint8_t a, uint8_t b, uint8_t c);

/**
 * The state of a level: 0, 1, 255 or 2 for the two low bits 0, 1, 2 or 3 of `v`.
 *
 * @param v  any value; of a negative one the two low bits count as well (-1 gives 2)
 * @return the state
 */
QEL_API uint8_t qel_matrix_48_i_state(int32_t v);

/**
 * The norm of a cell: its distance from the lattice centre, scaled so that a corner of the cube has about
 * 1.618034.
 *
 * sqrt((dx^2 + dy^2) + dz^2) / 40.703194 x 1.618034 in single precision, dx = x - 23.5 and so on.
 *
 * @param x  coordinate
 * @param y  coordinate
 * @param z  coordinate
 * @return the norm, always above 0
 */
QEL_API float qel_matrix_48_phi_norm(uint8_t x, uint8_t y, uint8_t z);

/**
 * The coupling of a cell: (norm / 48 + 1) in single precision, times 10.665754185164001 in double precision.
 *
 * @param x  coordinate
 * @param y  coordinate
 * @param z  coordinate
 * @return the coupling, rounded to single precision
 */
QEL_API float qel_matrix_48_em_coupling(uint8_t x, uint8_t y, uint8_t z);

/**
 * Fills the identity record of a cell.
 *
 * @param x              coordinate
 * @param y              coordinate
 * @param z              coordinate; its low 8 bits count
 * @param[out] identity  the record to fill, all fields
 * @return the code that was written to the record's `morton`
 */
QEL_API uint64_t qel_matrix_48_identity(uint8_t x, uint8_t y, uint32_t z, qel_matrix_identity *identity);

/**
 * The cell between two cells: the truncated average of each axis.
 *
 * @param a0  first cell
 * @param a1  first cell
 * @param a2  first cell
 * @param b0  second cell
 * @param b1  second cell
 * @param b2  second cell
 * @param[out] c0  result
 * @param[out] c1  result
 * @param[out] c2  result
 */
QEL_API void qel_matrix_48_crossover_bind(uint8_t a0, uint8_t a1, uint8_t a2, uint8_t b0, uint8_t b1, uint8_t b2,
                                          uint8_t *c0, uint8_t *c1, uint8_t *c2);

/**
 * Reflects a cell: for each coordinate v, 0 gives 47, 1..48 give 48 - v, larger ones give 0.
 *
 * This is not the mirror: 0 and 1 both give 47.
 *
 * @param x  coordinate
 * @param y  coordinate
 * @param z  coordinate
 * @param[out] out_x  reflected coordinate
 * @param[out] out_y  reflected coordinate
 * @param[out] out_z  reflected coordinate
 */
QEL_API void qel_matrix_48_mutate_tachyon(uint8_t x, uint8_t y, uint8_t z, uint8_t *out_x, uint8_t *out_y,
                                          uint8_t *out_z);

/**
 * Compares two coordinates.
 *
 * @param a  one coordinate
 * @param b  the other
 * @return 1 if `b` is below `a`, -1 if `a` is below `b`, 0 if they are equal
 */
QEL_API int32_t qel_matrix_48_chirality(uint8_t a, uint8_t b);

/** How ::qel_matrix_48_reproduce makes the child's cell; any number without a name is projective too. */
typedef enum qel_reproduce_mode {
    QEL_REPRODUCE_CROSSOVER = 0,  /**< the average of the cells */
    QEL_REPRODUCE_PROJECTIVE = 1, /**< the midpoint is moved away from the centre, by 1.618 cells */
    QEL_REPRODUCE_TACHYON = 2     /**< the first parent's cell is reflected, then averaged */
} qel_reproduce_mode;

/**
 * Fills the offspring record of two parents, of which the cells and norms are read.
 *
 * ::QEL_REPRODUCE_CROSSOVER: the average of the cells. ::QEL_REPRODUCE_TACHYON: the first parent's cell is
 * reflected by ::qel_matrix_48_mutate_tachyon, then averaged. Any other mode: the midpoint is pushed
 * outwards from the centre by about 1.618034 along the line through it, truncated towards zero, and taken
 * modulo 48 with the sign kept; a negative value then wraps to 8 bits.
 *
 * @param a           first parent
 * @param b           second parent
 * @param mode        a ::qel_reproduce_mode, or any other number
 * @param[out] child  the record to fill, all fields
 */
QEL_API void qel_matrix_48_reproduce(const qel_matrix_identity *a, const qel_matrix_identity *b, uint32_t mode,
                                     qel_matrix_offspring *child);

/**
 * The number of cells. Nothing is examined.
 *
 * @return 110592, always
 */
QEL_API uint32_t qel_matrix_48_validate_all(void);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup mesh_records Polygon meshes
 * What is read from an archive, and what the mesh geometry functions hang on it. A record filled by hand
 * needs only the fields that a function says it reads; the others may be zero. A count of 0 beside the array
 * that it bounds (`face_index_count`, `index_count`, `value_count` of a set with indices) means that it was not
 * set: the array is read as far as the rest of the record leads.
 * @{ */

/** Geometry scope: one value for the whole mesh. */
#define OGAWA_SCOPE_CONSTANT 0u
/** Geometry scope: one value per face (uniform). */
#define OGAWA_SCOPE_FACE 1u
/** Geometry scope: one value per vertex, interpolated over the surface (varying). */
#define OGAWA_SCOPE_VARYING 2u
/** Geometry scope: one value per vertex. */
#define OGAWA_SCOPE_VERTEX 3u
/** Geometry scope: one value per face corner (face-varying). */
#define OGAWA_SCOPE_FACE_VARYING 4u

/** One set of texture coordinates. */
struct ogawa_uv_set {
    char name[64];        /**< set name, terminated; the reader writes "uv" */
    float *values;        /**< owned; `value_count` pairs (u, v) */
    uint32_t value_count; /**< number of pairs; 0 beside an array: not set, so that `indices` are not bounded */
    uint32_t *indices;    /**< owned, may be null; per face corner an index into `values` */
    uint32_t index_count; /**< entries in `indices`; 0 beside an array: not bounded */
    uint32_t scope;       /**< ::OGAWA_SCOPE_VERTEX or ::OGAWA_SCOPE_FACE_VARYING; the reader writes the latter */
};

/** Per-vertex tangents and bitangents. */
struct ogawa_tangent_frame {
    float *tangents;     /**< owned; `count` vectors of three floats */
    float *bitangents;   /**< owned; `count` vectors of three floats */
    uint32_t count;      /**< vectors in each array */
    uint32_t components; /**< floats per vector: 3 once filled */
};

/** Vertex-to-face and face-to-vertex adjacency in flat arrays. */
struct ogawa_manifold {
    uint32_t *vertex_faces;        /**< owned; face numbers grouped by vertex, ascending within a vertex */
    uint32_t *vertex_face_offsets; /**< owned; `vertex_count` + 1 starts into `vertex_faces` */
    uint32_t vertex_count;         /**< the mesh's vertex count */
    uint32_t *face_vertices;       /**< borrowed: the mesh's `face_indices`, never freed here */
    uint32_t *face_offsets;        /**< owned; `face_count` + 1 starts into `face_vertices`, none unreadable */
    uint32_t face_count;           /**< the mesh's face count */
    void *aux_array_a;             /**< owned; the library leaves it null and only releases it */
    uint32_t aux_count;            /**< the library leaves it 0 */
    void *aux_array_b;             /**< owned; the library leaves it null and only releases it */
    void *aux_array_c;             /**< owned; the library leaves it null and only releases it */
};

/** One polygon mesh. */
struct ogawa_polymesh {
    char name[256];                    /**< terminated */
    char path[1024];                   /**< terminated */
    float *positions;                  /**< owned; `vertex_count` triples (x, y, z) */
    uint32_t vertex_count;             /**< number of triples */
    void *reserved_array;              /**< owned; the library leaves it null and only releases it */
    uint32_t reserved_count;           /**< the library leaves it 0 */
    float *normals;                    /**< owned; `normal_count` triples */
    uint32_t normal_count;             /**< number of triples */
    uint32_t *normal_indices;          /**< owned; the library leaves it null and only releases it */
    uint32_t normal_scope;             /**< ::OGAWA_SCOPE_FACE_VARYING or 0, see ::ogawa_read_polymesh */
    uint32_t *face_counts;             /**< owned; corners of each face */
    uint32_t face_count;               /**< number of faces */
    uint32_t *face_indices;            /**< owned; the vertex of every corner, face after face; not checked */
    uint32_t face_index_count;         /**< number of corners; where it is not 0 it bounds what is read */
    ogawa_uv_set *uv_sets;             /**< owned; `uv_set_count` records. Empty after reading */
    uint32_t uv_set_count;             /**< number of UV sets */
    ogawa_tangent_frame tangent_frame; /**< embedded. Empty after reading */
    ogawa_manifold manifold;           /**< embedded. Empty after reading */
    float bounds_min[3];               /**< lower corner of the positions' box */
    float bounds_max[3];               /**< upper corner */
    float self_bounds_min[3];          /**< a copy of `bounds_min` */
    float self_bounds_max[3];          /**< a copy of `bounds_max` */
    uint32_t reserved_word;            /**< 1 after a read */
    void *reserved_buffer;             /**< owned; the library leaves it null and only releases it */
    double transform[16];              /**< 4 x 4, row-major; identity after a read */
};
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup archive Archives
 * Alembic scene files in the Ogawa container, read through a buffered stream. Object and property headers
 * are not interpreted: arrays are recognized by their bytes, so a small mesh may be missed and other bytes
 * may be taken for one.
 * @{ */

/** What a scene object is; values 6 and 7 have no name. */
typedef uint32_t ogawa_schema;
/** The values of ::ogawa_schema. */
enum {
    OGAWA_SCHEMA_UNKNOWN = 0,  /**< "Unknown", as is every value without a name */
    OGAWA_SCHEMA_XFORM = 1,    /**< "Xform" */
    OGAWA_SCHEMA_POLYMESH = 2, /**< "PolyMesh" */
    OGAWA_SCHEMA_SUBD = 3,     /**< "SubD" */
    OGAWA_SCHEMA_POINTS = 4,   /**< "Points" */
    OGAWA_SCHEMA_CURVES = 5,   /**< "Curves" */
    OGAWA_SCHEMA_CAMERA = 8    /**< "Camera" */
};

/** An auxiliary record of an object. The library creates none and only releases it. */
struct ogawa_aux_record {
    void *aux_buffer; /**< owned, may be null */
};

/** One scene object on the heap. The reader lists none; a caller may. */
struct ogawa_object {
    char name[256];               /**< terminated */
    char path[1024];              /**< full object path, terminated */
    ogawa_schema schema;          /**< kind of object */
    ogawa_polymesh *polymesh;     /**< owned, may be null */
    ogawa_aux_record *aux_record; /**< owned, may be null */
    ogawa_object **children;      /**< owned; `child_count` pointers, null ones allowed */
    uint32_t child_count;         /**< number of children */
};

/** One open archive. A cleared (all-zero) record is a closed one. */
struct ogawa_archive {
    char path[1024];             /**< the path given to ::ogawa_open, cut to 1023 characters, terminated */
    FILE *file;                  /**< the stream; null when not open */
    uint8_t version[2];          /**< the two version bytes in file order */
    ogawa_object **objects;      /**< owned; stays empty, ::ogawa_close releases what a caller put there */
    uint32_t object_count;       /**< number of objects */
    ogawa_polymesh **polymeshes; /**< owned; the one-entry cache of ::ogawa_get_first_polymesh */
    uint32_t polymesh_count;     /**< 0 or 1 */
    double time_start;           /**< seconds; 0 after open (time samplings are not read) */
    double time_end;             /**< seconds; 1 after open */
    double fps;                  /**< frames per second; 24 after open */
    uint8_t reserved[64];        /**< zero, never used */
};

/**
 * Opens an archive and checks its 16-byte header. The record may be passed to the readers only after a 0.
 *
 * @retval  0 open
 * @retval -1 `path` or `archive` is null (record untouched); the file cannot be opened, or has fewer than
 *            5 bytes
 * @retval -2 the file does not begin with "Ogawa"
 * @retval -3 the sixth byte is missing or not 0xFF: the file is still being written
 * @retval -4 the two version bytes are missing
 * @retval -5 the 8-byte root reference is missing
 * @param path          the file
 * @param[out] archive  the record; cleared first. After a failure `file` is null, `path` stays recorded and
 *                      `version` as far as it was read; it may be opened again or closed
 */
QEL_API int ogawa_open(const char *path, ogawa_archive *archive);

/**
 * Writes a description of the archive: path, version, counts, time range and frame rate.
 *
 * @param archive      the archive; null writes nothing
 * @param[out] buffer  the text, cut to fit and terminated; null writes nothing
 * @param size         bytes in `buffer`, terminator included; below 1 writes nothing
 */
QEL_API void ogawa_get_info(const ogawa_archive *archive, char *buffer, int size);

/**
 * Closes the stream, releases the cached mesh and every listed object, and clears the record.
 *
 * Cached meshes are released with ::ogawa_free_polymesh and freed; objects with ::ogawa_free_object.
 *
 * @param[in,out] archive  open, failed or already closed; may be null
 */
QEL_API void ogawa_close(ogawa_archive *archive);

/**
 * Releases an object with its mesh, its auxiliary record, its children (recursively) and the record itself.
 *
 * @param object  from `malloc`; may be null
 */
QEL_API void ogawa_free_object(ogawa_object *object);

/**
 * Classifies a schema name by the first of these words that it contains, in this order and with this case:
 * PolyMesh, SubD, Points, Xform, Curves, Camera.
 *
 * @param text  the name; null gives ::OGAWA_SCHEMA_UNKNOWN
 * @return the schema, ::OGAWA_SCHEMA_UNKNOWN when no word is found
 */
QEL_API ogawa_schema ogawa_schema_from_string(const char *text);

/**
 * The text of a schema.
 *
 * @param schema  any value
 * @return static text, not to be freed; "Unknown" for a value without a name
 */
QEL_API const char *ogawa_schema_to_string(ogawa_schema schema);

/**
 * Reads the archive's mesh.
 *
 * The data nodes under the archive's top object are listed (at most 500, to depth 20; references beyond the
 * first 16,777,216 are not followed) and recognized by their contents; the largest of each kind is used. If
 * that gives no positions, the bytes themselves are searched: positions within the first 2 KiB, then unit
 * normals, then a run of small words read as triangles. An array that cannot be allocated is not a failure:
 * its pointer is null and its count stays (face counts of the byte search: both face arrays are released and
 * null, `face_index_count` is 0 and `face_count` stays). An array of the tree that the file's end cuts is null
 * and its count 0; normals of the byte search then keep their count, and missing face indices are 0.
 * `normal_scope` is ::OGAWA_SCOPE_FACE_VARYING if the tree has normals, read or not, or if the byte search has
 * read some.
 *
 * Without memory for its list of nodes the tree is not searched, and without memory for its references (8
 * bytes each) a group is skipped: the result is then that of the rest. The scratch is 8 KiB of nodes, a window
 * of 256 KiB, and at most 32 bytes for each distinct reference that lists nothing.
 *
 * @retval  0 there is at least one vertex; `positions` are null where only memory for them was missing
 * @retval -1 `archive`, its stream or `mesh` is null (nothing touched); or there are no positions: `mesh` is
 *            cleared, name and path are set, and it may hold a positions buffer, so release it. Where the
 *            tree named positions that are cut short, the rest of the mesh is there all the same
 * @retval -2 no memory for the positions found by the byte search: as for -1, but `vertex_count` is the number
 *            sought, beside null `positions`
 * @param archive    an open archive; its stream position moves
 * @param object     name and path are copied from it; null gives "mesh" and "/mesh"
 * @param sample     ignored: every archive is read as one static sample
 * @param[out] mesh  the record; cleared first, what it held is not freed. Release it with
 *                   ::ogawa_free_polymesh
 */
QEL_API int ogawa_read_polymesh(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
                                ogawa_polymesh *mesh);

/**
 * The archive's mesh, read at the first call and cached in the archive.
 *
 * @param[in,out] archive  an open archive; null gives null
 * @return the mesh, valid until ::ogawa_close, which releases it; null when there is none (what a failed read
 *         had allocated is then lost). Should the cache itself not be allocatable, the mesh is returned
 *         uncached and belongs to the caller: ::ogawa_free_polymesh, then `free`
 */
QEL_API ogawa_polymesh *ogawa_get_first_polymesh(ogawa_archive *archive);

/**
 * Reads positions only, by the byte search: the largest array of float triples whose size word is within the
 * first 2 KiB.
 *
 * Triples with a component that is not finite or above 10000 in magnitude are dropped.
 *
 * @retval  0 read
 * @retval -1 `archive`, its stream or an output is null, or no array of at least 100 triples was found
 *            (outputs untouched); or nothing could be read or kept (`*count` is 0 and `*positions` is a
 *            buffer to free)
 * @retval -2 no memory: `*count` is the number of triples sought, `*positions` null
 * @param archive         an open archive; its stream position moves
 * @param object          ignored
 * @param sample          ignored
 * @param[out] positions  an array of `*count` triples for the caller to free
 * @param[out] count      number of triples
 */
QEL_API int ogawa_read_positions(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
                                 float **positions, uint32_t *count);

/**
 * Releases everything a mesh owns, its UV sets, tangent frame and manifold included, and clears the record.
 *
 * @param[in,out] mesh  filled, partial or cleared; may be null. The record itself is not freed
 */
QEL_API void ogawa_free_polymesh(ogawa_polymesh *mesh);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup geometry Mesh geometry
 * Normals, UVs, adjacency and tangent frames of a mesh, its bounds and triangles.
 * @{ */

/**
 * Reads per-vertex normals by searching the archive's bytes for the longest block of float triples within
 * [-1.1, 1.1], at most 5,000,000 bytes long.
 *
 * Their number is not compared with any mesh. Of blocks of equal length the first is taken.
 *
 * @retval  0 read
 * @retval -1 `archive` or its stream is null, or no block was found (outputs untouched); or the block is cut
 *            short (`*normals` is null, `*count` the number sought, the other outputs untouched)
 * @retval -2 no memory: as where the block is cut short
 * @param archive       an open archive; its stream position moves
 * @param object        ignored
 * @param sample        ignored
 * @param[out] normals  an array of `*count` triples for the caller to free
 * @param[out] indices  null
 * @param[out] count    number of triples
 * @param[out] scope    ::OGAWA_SCOPE_VERTEX
 */
QEL_API int32_t ogawa_read_normals(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
                                   float **normals, uint32_t **indices, uint32_t *count, uint32_t *scope);

/**
 * Reads one UV set: the longest block of float pairs that the mesh search of the archive finds, else the
 * longest block within [-10, 10] and 5,000,000 bytes.
 *
 * @retval  0 read: the set is named "uv", its scope is ::OGAWA_SCOPE_FACE_VARYING, it has no indices
 * @retval -1 `archive`, its stream or `set` is null, or no block was found (`set` untouched); or the block is
 *            cut short (`set` is cleared but for its name)
 * @retval -2 no memory (`set` is cleared but for its name)
 * @param archive    an open archive; its stream position moves
 * @param object     ignored
 * @param sample     ignored
 * @param set_index  ignored
 * @param[out] set   the record; what it held is overwritten, not freed. Release it with ::ogawa_free_uv_set
 */
QEL_API int32_t ogawa_read_uvs(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
                               uint32_t set_index, ogawa_uv_set *set);

/**
 * Releases a UV set's arrays and clears the record, its name included.
 *
 * @param[in,out] set  may be null. The record itself is not freed
 */
QEL_API void ogawa_free_uv_set(ogawa_uv_set *set);

/**
 * Builds a mesh's vertex-to-face and face-to-vertex adjacency into `mesh->manifold`.
 *
 * Reads `vertex_count`, `face_counts`, `face_count` and `face_indices`; `face_index_count`, where it is not
 * 0, bounds the corners read. Null `face_counts` make every face a triangle; null `face_indices` count as no
 * corners. A corner whose index is not below `vertex_count` counts for no vertex but keeps its place in the
 * face. Faces beyond the readable corners are empty, and one that straddles their end is cut; with a
 * `face_index_count` of 0 at most 2^32 - 1 corners are read. A manifold held before is overwritten, not
 * freed. The scratch is 4 bytes per vertex.
 *
 * @retval  0 built
 * @retval -1 `mesh` is null or has no vertices: nothing touched
 * @retval -2 no memory: the arrays built so far stay in the record. When it was the face list that failed,
 *            `vertex_face_offsets` is left pointing at freed memory: do not release the record (nor the mesh)
 *            before setting that field to null
 * @param[in,out] mesh  the mesh
 */
QEL_API int32_t ogawa_build_manifold(ogawa_polymesh *mesh);

/**
 * The faces around a vertex, ascending; a face that repeats the vertex is listed once per occurrence.
 *
 * @retval  0 found
 * @retval -1 `manifold` is null or was not built, or there is no such vertex: outputs untouched
 * @param manifold    a built manifold; may be null
 * @param vertex      vertex number
 * @param[out] faces  a pointer into the manifold, valid until it is released
 * @param[out] count  number of faces
 */
QEL_API int32_t ogawa_get_vertex_faces(const ogawa_manifold *manifold, uint32_t vertex, const uint32_t **faces,
                                       uint32_t *count);

/**
 * The vertices that share a face with a vertex, each once, in order of first appearance: faces ascending,
 * corners in face order.
 *
 * The scratch is 40 bytes for each incident face; with more than 64 neighbours, 8 for each corner of these
 * faces that names another vertex where that is more.
 *
 * @retval  0 listed
 * @retval -1 `manifold` or `faces` is null, the manifold was not built, or there is no such vertex: outputs
 *            untouched
 * @retval -2 no memory: outputs untouched
 * @param manifold        a built manifold; may be null
 * @param faces           `&mesh->face_counts`: the mesh's fields `face_counts`, `face_count` and
 *                        `face_indices` in their places; only `face_indices` is read
 * @param vertex          vertex number
 * @param[out] neighbors  an array of `*count` vertex numbers for the caller to free
 * @param[out] count      number of neighbours
 */
QEL_API int32_t ogawa_get_vertex_neighbors(const ogawa_manifold *manifold, const void *faces, uint32_t vertex,
                                           uint32_t **neighbors, uint32_t *count);

/**
 * Whether a mesh is closed is not determined.
 *
 * @param manifold  ignored
 * @return 0, always
 */
QEL_API int32_t ogawa_is_manifold_closed(const ogawa_manifold *manifold);

/**
 * Releases a manifold's owned arrays (never `face_vertices`) and clears the record.
 *
 * @param[in,out] manifold  may be null. The record itself is not freed
 */
QEL_API void ogawa_free_manifold(ogawa_manifold *manifold);

/**
 * Reads tangents and bitangents: the first pair of blocks of equal length among the first 32 blocks of the
 * archive that look like unit vectors.
 *
 * A block counts when its length is a multiple of 12 from 36 to 5,000,000 and its first six floats lie
 * within [-1.1, 1.1]. A block cut short by the file's end is completed with zeros.
 *
 * @retval  0 read
 * @retval -1 `archive`, its stream or `frame` is null (nothing touched); or the file is too short or has
 *            no pair (`frame` is empty)
 * @retval -2 no memory: `count` is set; where only one array failed, the other's pointer is left pointing at
 *            freed memory: do not release the record
 * @param archive     an open archive; its stream position moves
 * @param object      ignored
 * @param sample      ignored
 * @param[out] frame  the record; what it held is overwritten, not freed. Release it with
 *                    ::ogawa_free_tangent_frame
 */
QEL_API int32_t ogawa_read_tangent_frame(const ogawa_archive *archive, const ogawa_object *object, uint64_t sample,
                                         ogawa_tangent_frame *frame);

/**
 * Computes per-vertex tangents and bitangents into `mesh->tangent_frame`, from positions, faces and a UV
 * set.
 *
 * Each face gives the tangent and bitangent of its first three corners to all its corners; sums are
 * normalized at the end (a sum not longer than 1e-8 is left as it is). They are not made orthogonal to the
 * normal. Tangent = (e1 dv2 - e2 dv1) / det, bitangent = (e2 du1 - e1 du2) / det with det = du1 dv2 - dv1
 * du2; where |det| is below 1e-8 the factor is 1e8 instead of 1 / det.
 *
 * Reads `positions`, `vertex_count`, `face_counts` (null: triangles), `face_count`, `face_indices`,
 * `uv_sets` and `uv_set_count`. `face_index_count` and the set's `index_count`, where they are not 0, bound
 * what is read. A face contributes nothing when one of its first three corners is missing or not below
 * `vertex_count`. A UV number beyond the set's `value_count` takes UV 0; where that count is 0, indices are
 * not bounded and vertices without indices all take UV 0. Null `values` are (0, 0) throughout.
 *
 * @retval  0 computed
 * @retval -1 `mesh` is null, or has no vertices or no UV sets: nothing touched
 * @retval -2 no UV set of that name, or `uv_sets` is null: nothing touched
 * @retval -3 no memory: `count` and both pointers are set, one or both of them null; `components` stays
 * @param[in,out] mesh  the mesh; a tangent frame held before is overwritten, not freed
 * @param uv_set_name   the set to use, compared exactly; null takes the first
 */
QEL_API int32_t ogawa_compute_tangent_frame(ogawa_polymesh *mesh, const char *uv_set_name);

/**
 * Releases a tangent frame's arrays, nulls them and sets `count` to 0; `components` stays.
 *
 * @param[in,out] frame  may be null. The record itself is not freed
 */
QEL_API void ogawa_free_tangent_frame(ogawa_tangent_frame *frame);

/**
 * The axis-aligned box of positions. A coordinate replaces a bound only if it is strictly beyond it, so a
 * NaN after the first position never does.
 *
 * @param positions    `count` triples; null does nothing
 * @param count        number of triples; 0 does nothing
 * @param[out] bounds  6 floats: minimum x, y, z, maximum x, y, z; null does nothing
 */
QEL_API void ogawa_compute_bounds(const float *positions, uint32_t count, float *bounds);

/**
 * Splits a polygon into a fan about its first corner: (0, 1, 2), (0, 2, 3), …
 *
 * @retval  0 split
 * @retval -1 a pointer is null or there are fewer than 3 corners: outputs untouched
 * @retval -2 no memory: outputs untouched
 * @param face                 `corner_count` vertex numbers
 * @param corner_count         number of corners
 * @param[out] triangles       an array of 3 x `*triangle_count` vertex numbers for the caller to free
 * @param[out] triangle_count  `corner_count` - 2
 */
QEL_API int32_t ogawa_triangulate_face(const uint32_t *face, uint32_t corner_count, uint32_t **triangles,
                                       uint32_t *triangle_count);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup scene Token scenes
 * Meshes whose vertices are placed on the 48-cube lattice of their own box, one token per vertex, with
 * frames over time, a scene file, an index and queries.
 * @{ */

/** One processed vertex: 40 bytes, the same in memory and in the scene file. */
struct qel_alembic_vertex {
    float position[3];   /**< x, y, z, copied from the mesh */
    uint8_t matrix_x;    /**< lattice coordinate, 0..47 */
    uint8_t matrix_y;    /**< lattice coordinate, 0..47 */
    uint8_t matrix_z;    /**< lattice coordinate, 0..47 */
    uint8_t padding0;    /**< not written by processing; 0 in arrays that the library allocates */
    uint64_t morton;     /**< ::qel_matrix_48_morton_encode of the cell */
    int8_t k11_level;    /**< level of the cell, -11..11 */
    int8_t i_state;      /**< state of the level: 0, 1, -1 or 2 */
    uint8_t padding1[2]; /**< not written by processing; 0 in arrays that the library allocates */
    float phi_norm;      /**< norm of the cell */
    float em_coupling;   /**< (norm / 48 + 1) x 10.665754, all in single precision */
    uint32_t topology;   /**< ::qel_alembic_topology_hash of the vertex */
};

/** One token of a scene: the fields of ::qel_token, aligned in a slot of 32 bytes, as in the scene file. */
struct qel_alembic_token {
    uint64_t morton;    /**< key of the vertex */
    char hex_id[8];     /**< eight hexadecimal digits, no terminator */
    uint64_t payload;   /**< the vertex's fields mixed, see ::qel_alembic_generate_token */
    uint8_t layer;      /**< layer of the mesh */
    uint8_t padding[7]; /**< not written by processing; 0 in arrays that the library allocates */
};

/** One mesh of a scene. */
struct qel_alembic_mesh {
    char name[64];                /**< at most 63 characters and a terminator; a loaded name is as the file holds it */
    uint32_t vertex_count;        /**< number of vertices */
    uint32_t face_count;          /**< number of triangles */
    float *positions;             /**< owned; `vertex_count` triples */
    uint32_t *indices;            /**< owned, may be null; `face_count` triples of vertex numbers */
    float bounds[6];              /**< minimum x, y, z, maximum x, y, z */
    uint32_t reserved;            /**< 0; carried through the scene file */
    qel_alembic_vertex *vertices; /**< owned; `vertex_count` records, null until processed */
    qel_alembic_token *tokens;    /**< owned; `vertex_count` tokens, null until processed */
    uint8_t layer;                /**< layer of every token of the mesh */
};

/** Positions of one or more meshes at one moment. */
struct qel_alembic_frame {
    int32_t frame;            /**< frame number */
    float time;               /**< seconds */
    qel_alembic_mesh *meshes; /**< owned; only `vertex_count` and `positions` of each are used */
    uint32_t mesh_count;      /**< number of meshes */
};

/** A token scene. */
struct qel_alembic_file {
    uint32_t version;          /**< file version, 0 or 1 */
    uint32_t flags;            /**< carried from and to the file, no meaning */
    char source[256];          /**< the file it was loaded from, cut to 255 characters, terminated */
    uint32_t mesh_count;       /**< number of meshes */
    qel_alembic_mesh *meshes;  /**< owned; `mesh_count` records */
    uint32_t frame_count;      /**< number of frames */
    float time_start;          /**< seconds */
    float time_end;            /**< seconds */
    float fps;                 /**< frames per second */
    qel_alembic_frame *frames; /**< owned; `frame_count` records */
    uint32_t *hash;            /**< owned; `hash_size` slots of global token numbers, 0xFFFFFFFF when empty */
    uint32_t hash_size;        /**< 0x800000 once built */
    uint64_t total_vertices;   /**< sum of the meshes' vertex counts, set by the index build */
    uint64_t total_faces;      /**< carried from and to the file, not computed */
    uint64_t total_tokens;     /**< as `total_vertices` */
};

/** One answer of a lookup or query. The pointers point into the scene and live as long as its arrays. */
struct qel_alembic_hit {
    uint32_t mesh_index;              /**< mesh of the scene, or of the frame */
    uint32_t vertex_index;            /**< vertex of that mesh */
    uint32_t frame_index;             /**< position of the frame's record for a frame lookup, else 0 */
    const qel_alembic_vertex *vertex; /**< null for a frame's vertex or an unprocessed mesh */
    const qel_alembic_token *token;   /**< null for a frame's vertex or an unprocessed mesh */
    float distance;                   /**< distance of the nearest query, else 0 */
};

/**
 * The axis-aligned box of positions, as ::ogawa_compute_bounds.
 *
 * @param positions     `vertex_count` triples; null does nothing
 * @param vertex_count  number of triples; 0 does nothing
 * @param[out] bounds   6 floats: minimum x, y, z, maximum x, y, z; null does nothing
 */
QEL_API void qel_alembic_compute_bounds(const float *positions, uint32_t vertex_count, float *bounds);

/**
 * Places a point on the 48-cube lattice of a box.
 *
 * Per axis s = (value - min) / span x 47 in single precision, truncated and kept within 0..47; a span below
 * 0.0001 counts as 1. Only a point at the maximum reaches 47. A NaN gives 0.
 *
 * @param x        point
 * @param y        point
 * @param z        point
 * @param bounds   the box, 6 floats; null does nothing
 * @param[out] mx  lattice coordinate
 * @param[out] my  lattice coordinate
 * @param[out] mz  lattice coordinate
 */
QEL_API void qel_alembic_world_to_matrix(float x, float y, float z, const float *bounds, uint8_t *mx, uint8_t *my,
                                         uint8_t *mz);

/**
 * The point of a lattice cell: m / 47 x (max - min) + min per axis, in single precision.
 *
 * Not the exact inverse of ::qel_alembic_world_to_matrix, which truncates.
 *
 * @param mx      lattice coordinate
 * @param my      lattice coordinate
 * @param mz      lattice coordinate
 * @param bounds  the box, 6 floats; null does nothing
 * @param[out] x  point
 * @param[out] y  point
 * @param[out] z  point
 */
QEL_API void qel_alembic_matrix_to_world(uint8_t mx, uint8_t my, uint8_t mz, const float *bounds, float *x, float *y,
                                         float *z);

/**
 * Fills a vertex record: lattice cell, key, level, state, norm and coupling; the topology becomes 0.
 *
 * @param position  3 floats; null does nothing
 * @param bounds    the box, 6 floats; null does nothing
 * @param[out] out  the record; null does nothing. Its padding bytes are not written
 */
QEL_API void qel_alembic_process_vertex(const float *position, const float *bounds, qel_alembic_vertex *out);

/**
 * A hash of the faces that touch a vertex; it depends on their order and on the order within a face.
 *
 * h starts at 0x5A5A5A5A; every face (a, b, c) that holds the vertex makes it rotl((a 0x1F1F1F1F) xor (b
 * 0x2E2E2E2E) xor h xor (c 0x3D3D3D3D), 5), mod 2^32.
 *
 * @param vertex_index  the vertex
 * @param indices       `face_count` triples of vertex numbers; null gives 0
 * @param face_count    number of triangles; 0 gives 0
 * @return the hash; 0x5A5A5A5A for a vertex in no face
 */
QEL_API uint32_t qel_alembic_topology_hash(uint32_t vertex_index, const uint32_t *indices, uint32_t face_count);

/**
 * Makes the token of a processed vertex.
 *
 * The identity is the low 24 bits of the vertex number under the low 8 bits of the mesh number, as eight
 * upper-case hexadecimal digits. The payload is topology xor key xor (x << 48) xor (y << 40) xor (z << 32).
 *
 * @param vertex        the processed vertex; null does nothing
 * @param layer         layer of the token
 * @param mesh_index    number of the mesh
 * @param vertex_index  number of the vertex
 * @param[out] out      the token; null does nothing. Its padding bytes are not written
 */
QEL_API void qel_alembic_generate_token(const qel_alembic_vertex *vertex, uint8_t layer, uint32_t mesh_index,
                                        uint32_t vertex_index, qel_alembic_token *out);

/**
 * Processes every vertex of a mesh and makes its tokens, all with mesh number 0.
 *
 * Vertex and token arrays are allocated where they are null, else reused. The box is computed when its
 * minimum and maximum x are both exactly 0 and there are positions; any other box is trusted. Without
 * positions the vertex records keep what they hold (new ones: zero) but for the topology. Linear in vertices
 * plus faces. Above 4,096 vertices the scratch is 4 bytes per vertex; without it the result is the same.
 *
 * @retval  0 processed
 * @retval -1 `mesh` is null or has no vertices: nothing touched
 * @retval -4 no memory: an array that was allocated before stays in the record, which is not changed otherwise
 * @param[in,out] mesh  the mesh; `layer`, `bounds`, `vertices` and `tokens` are written
 * @param layer         layer of the mesh and its tokens
 */
QEL_API int32_t qel_alembic_process_mesh(qel_alembic_mesh *mesh, uint8_t layer);

/**
 * Builds a mesh record from caller arrays, which are copied, and processes it with layer 1, with the scratch of
 * ::qel_alembic_process_mesh.
 *
 * @retval  0 built
 * @retval -1 `positions` or `out` is null (nothing touched), or `vertex_count` is 0 (the record holds name,
 *            counts and arrays)
 * @retval -4 no memory. When it was the index copy that failed, `positions` is left pointing at freed memory:
 *            do not release the record. Otherwise ::qel_alembic_mesh_free releases what it holds
 * @param positions     `vertex_count` triples
 * @param vertex_count  number of vertices
 * @param indices       `face_count` triples of vertex numbers, not checked; may be null
 * @param face_count    number of triangles, stored even when `indices` is null
 * @param name          at most 63 characters are copied; null gives "unnamed"
 * @param[out] out      the record; what it held is overwritten, not freed
 */
QEL_API int32_t qel_alembic_load_raw(const float *positions, uint32_t vertex_count, const uint32_t *indices,
                                     uint32_t face_count, const char *name, qel_alembic_mesh *out);

/**
 * Writes a scene file. Write errors are not reported.
 *
 * An array that is null is written as zero bytes, as many as the counts say.
 *
 * @retval  0 written
 * @retval -1 `path` or `scene` is null, or the file cannot be created
 * @param path   file to create or replace
 * @param scene  the scene, its meshes processed; not changed
 */
QEL_API int32_t qel_alembic_save(const char *path, const qel_alembic_file *scene);

/**
 * Reads a scene file and builds its index. What a file that ends early does not hold is zero.
 *
 * Of the meshes and frames that lie wholly beyond the end, the first 65,536 get arrays of no entries, the
 * rest null arrays. Afterwards `total_vertices` and `total_tokens` are the sums of what was read, whatever
 * the header says; a scene without meshes keeps the header's `total_vertices` and has no index. Should the
 * index not be allocatable, the scene is loaded without one.
 *
 * @retval  0 loaded
 * @retval -1 `path` or `scene` is null, or the file cannot be opened: nothing touched
 * @retval -2 fewer than 64 bytes, or the file does not begin with "BQEL": nothing touched
 * @retval -3 the version is above 1: it is stored in the scene, and nothing else is touched
 * @retval -4 no memory, or counts that the file cannot hold and that would take more than 1 GiB beyond its
 *            length: everything read is released and both counts are 0 (they stay when the mesh array itself
 *            was refused); totals, times and flags of the header stay
 * @param path        file to read
 * @param[out] scene  a zeroed record. Release it with ::qel_alembic_free
 */
QEL_API int32_t qel_alembic_load(const char *path, qel_alembic_file *scene);

/**
 * Builds the scene's index, an open-addressing table of 0x800000 slots (32 MiB) from key to global token
 * number.
 *
 * Numbers count over the meshes in order. A key's first slot is the low 23 bits of (key xor (key >> 32));
 * taken slots send it to the next one. Tokens that find no free slot are left out. Also sets
 * `total_vertices` and `total_tokens`. The index is not kept up to date: build it again after a change,
 * freeing `hash` first. Meshes without vertex records are left out and keep their numbers. No memory is
 * needed but the table's.
 *
 * @retval  0 built
 * @retval -1 `scene` is null or has no meshes, or a count without an array: nothing touched
 * @retval -4 no memory: `hash` is null, `hash_size` and the totals are set
 * @param[in,out] scene  the scene; the table it held is overwritten, not freed
 */
QEL_API int32_t qel_alembic_build_hash_table(qel_alembic_file *scene);

/**
 * Releases a scene's meshes, frames and index; totals, times, source and `hash_size` stay.
 *
 * @param[in,out] scene  may be null; a record with counts and null arrays is harmless. The record itself
 *                       is not freed
 */
QEL_API void qel_alembic_free(qel_alembic_file *scene);

/**
 * Releases a mesh's arrays, nulls them and sets `vertex_count` to 0; `face_count` stays.
 *
 * @param[in,out] mesh  may be null. The record itself is not freed
 */
QEL_API void qel_alembic_mesh_free(qel_alembic_mesh *mesh);

/**
 * Checks a scene's meshes in order; the first failure is returned.
 *
 * @retval  0 sound
 * @retval -1 `scene` is null
 * @retval -2 no meshes, or a count without an array
 * @retval -3 a mesh without positions
 * @retval -4 a mesh without vertices
 * @retval -5 a vertex record whose lattice cell is outside 0..47
 * @retval -6 a vertex record whose level is outside -11..11
 * @param scene  the scene; may be null. Meshes without vertex records pass the last two checks
 */
QEL_API int32_t qel_alembic_validate(const qel_alembic_file *scene);

/**
 * Writes a description of the scene: version, counts, totals, times and source.
 *
 * @param scene     the scene; null writes nothing
 * @param[out] buf  the text, cut to fit and terminated; null writes nothing
 * @param size      bytes in `buf`, terminator included; below 1 writes nothing
 */
QEL_API void qel_alembic_file_info(const qel_alembic_file *scene, char *buf, int32_t size);

/**
 * Writes a description of a mesh: name, counts, box, layer, and whether it is processed.
 *
 * @param mesh      the mesh; null writes nothing
 * @param[out] buf  the text, cut to fit and terminated; null writes nothing
 * @param size      bytes in `buf`, terminator included; below 1 writes nothing
 */
QEL_API void qel_alembic_mesh_info(const qel_alembic_mesh *mesh, char *buf, int32_t size);

/**
 * Finds the token of a key through the scene's index; of several, the one with the lowest global number.
 * Where many vertices share cells, a key may lie hundreds of thousands of slots from its first one, and a
 * lookup walks them all. Where that walk leaves its first mesh and there are more than 256, the scratch is 8
 * bytes per mesh; without it the answer is the same.
 *
 * @retval  0 found
 * @retval -1 `scene` or `out` is null, the scene has no index, or no token has that key: `out` untouched
 * @param scene     an indexed scene; may be null
 * @param morton    the key
 * @param[out] out  mesh, vertex, pointers; frame 0, distance 0
 */
QEL_API int32_t qel_alembic_lookup_morton(const qel_alembic_file *scene, uint64_t morton, qel_alembic_hit *out);

/**
 * Addresses a vertex of a frame, or of the scene's own meshes when `frame` is 0 or there are no frames.
 *
 * @retval  0 found
 * @retval -1 `scene` or `out` is null, or there is no such frame, mesh or vertex: `out` untouched
 * @param scene         the scene; may be null
 * @param frame         frame number; the first frame with it counts, 0 always means the base meshes
 * @param mesh_index    mesh of the frame or scene
 * @param vertex_index  vertex of that mesh
 * @param[out] out      indices; `frame_index` is the position of the frame's record; pointers are null for a
 *                      frame's vertex
 */
QEL_API int32_t qel_alembic_lookup_frame_vertex(const qel_alembic_file *scene, int32_t frame, uint32_t mesh_index,
                                                uint32_t vertex_index, qel_alembic_hit *out);

/**
 * Finds the `k` vertices nearest to a key, nearest first; of equal distances the earlier vertex comes first.
 *
 * The distance is floor(sqrt(|vertex key - key|)), exact for every 64-bit difference: it is measured on the
 * keys, not in space. The whole scene is scanned, but for meshes without vertex records. The scratch is at
 * most 16 bytes per result.
 *
 * @param scene         the scene; null gives 0
 * @param morton        the key to search around
 * @param k             results wanted; below 1 gives 0
 * @param[out] results  room for `k` hits; null gives 0
 * @return the number of hits; 0 when the scratch cannot be allocated
 */
QEL_API uint32_t qel_alembic_query_nearest(const qel_alembic_file *scene, uint64_t morton, int32_t k,
                                           qel_alembic_hit *results);

/**
 * Lists the tokens of one layer, meshes and tokens in order. Meshes without tokens are skipped.
 *
 * @param scene         the scene; null or without meshes gives 0
 * @param layer         layer number, compared with each token's
 * @param[out] results  room for `max` hits; null gives 0
 * @param max           where to stop; below 1 gives 0
 * @return the number of hits
 */
QEL_API uint32_t qel_alembic_query_layer(const qel_alembic_file *scene, uint8_t layer, qel_alembic_hit *results,
                                         int32_t max);

/**
 * Copies the mesh record of a frame: its first mesh, or the scene's first mesh when there are no frames.
 *
 * @retval  0 copied
 * @retval -1 `scene` or `out` is null, there is no mesh, or no frame with meshes has that number: `out`
 *            untouched
 * @param scene     the scene; may be null
 * @param frame     frame number; the first frame with it that has meshes counts
 * @param[out] out  a shallow copy that shares the scene's arrays: do not release it
 */
QEL_API int32_t qel_alembic_sample_frame(const qel_alembic_file *scene, int32_t frame, qel_alembic_mesh *out);

/**
 * Interpolates the first mesh's positions linearly between the first two consecutive frames around a time.
 *
 * Each coordinate is a + (b - a) x alpha with alpha = (time - t0) / (t1 - t0), in single precision. Two
 * frames at the same time divide by zero, and the quotient is used as it is. There is no clamping.
 *
 * @retval  0 interpolated
 * @retval -1 `scene` or `out` is null, there are fewer than 2 frames, no pair encloses `time`, one of the
 *            two has no meshes, or vertices without positions, or their vertex counts differ: `out`
 *            untouched
 * @retval -4 no memory: `vertex_count` is set, `positions` null
 * @param scene     the scene; may be null
 * @param time      seconds
 * @param[out] out  only `vertex_count` and `positions` are written; the caller frees `positions`
 */
QEL_API int32_t qel_alembic_interpolate_time(const qel_alembic_file *scene, float time, qel_alembic_mesh *out);

/**
 * The range of frame positions and the frame rate.
 *
 * @param scene       the scene; null does nothing
 * @param[out] start  0; may be null
 * @param[out] end    the number of frames minus 1, 0 without frames; may be null
 * @param[out] fps    the scene's frame rate; may be null
 */
QEL_API void qel_alembic_get_frame_range(const qel_alembic_file *scene, uint32_t *start, uint32_t *end, float *fps);

/**
 * Writes one mesh's tokens as a unit file that ::qel_unit_load reads. Write errors are not reported.
 *
 * @retval  0 written
 * @retval -1 `mesh` or `path` is null, the mesh has no vertices or tokens, or the file cannot be created
 * @param mesh  a processed mesh
 * @param path  file to create or replace; its extra word and time are 0
 */
QEL_API int32_t qel_alembic_export_qel(const qel_alembic_mesh *mesh, const char *path);

/**
 * Writes the tokens of all meshes in order as one unit file. Write errors are not reported.
 *
 * A mesh whose `tokens` are null is written as zero bytes, as many as its vertex count says.
 *
 * @retval  0 written
 * @retval -1 `scene` or `path` is null, the scene has no meshes, or the file cannot be created
 * @param scene  the scene
 * @param path   file to create or replace; its extra word and time are 0
 */
QEL_API int32_t qel_alembic_export_file_qel(const qel_alembic_file *scene, const char *path);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup verify Mesh verification
 * Numeric checks of bare positions: `count` triples, of which all 3 x `count` floats are examined.
 * @{ */

/** The report of ::qel_mesh_verify_identity. */
struct qel_mesh_verify_report {
    uint32_t p_minus_p_ok; /**< 1 if ::qel_mesh_verify_p_minus_p holds, else 0 */
    uint32_t p_div_p_ok;   /**< 1 if ::qel_mesh_verify_p_div_p holds, else 0 */
    float coherence;       /**< ::qel_mesh_bounds_coherence of the box */
    uint32_t valid;        /**< both identities hold; the coherence takes no part */
    uint64_t vertex_count; /**< the count that was passed */
    int64_t verified_at;   /**< seconds since 1970-01-01 UTC */
};

/**
 * Checks that p - p is 0 for every coordinate, which holds exactly when all are finite.
 *
 * @param positions  `count` triples; null holds
 * @param count      number of triples; 0 holds
 * @return 1 holds, 0 fails
 */
QEL_API uint32_t qel_mesh_verify_p_minus_p(const float *positions, uint32_t count);

/**
 * Checks that p / p is 1 for every coordinate that is not zero.
 *
 * @param positions  `count` triples; null holds
 * @param count      number of triples; 0 holds
 * @return 1 holds, 0 fails
 */
QEL_API uint32_t qel_mesh_verify_p_div_p(const float *positions, uint32_t count);

/**
 * Scores the proportions of a box: 1 / (1 + |ex - ey| + |ey - ez| + |ez - ex|) with the extents e, each
 * taken as 1 when it is not above 0 (a NaN is kept). Not scale-free.
 *
 * @param min_x  the box
 * @param min_y  the box
 * @param min_z  the box
 * @param max_x  the box
 * @param max_y  the box
 * @param max_z  the box
 * @return the score, 1 for a cube
 */
QEL_API float qel_mesh_bounds_coherence(float min_x, float min_y, float min_z, float max_x, float max_y, float max_z);

/**
 * Makes all checks and fills a report. Null positions and a count of 0 are valid.
 *
 * @param positions    `count` triples; may be null
 * @param count        number of triples
 * @param min_x        the box
 * @param min_y        the box
 * @param min_z        the box
 * @param max_x        the box
 * @param max_y        the box
 * @param max_z        the box
 * @param[out] report  the record to fill, all fields
 * @return the report's `valid`, 0 or 1; -1 when `report` is null
 */
QEL_API int32_t qel_mesh_verify_identity(const float *positions, uint32_t count, float min_x, float min_y, float min_z,
                                         float max_x, float max_y, float max_z, qel_mesh_verify_report *report);

/**
 * Whether both identities hold.
 *
 * @param positions  `count` triples; null is valid
 * @param count      number of triples; 0 is valid
 * @return 1 valid, 0 not
 */
QEL_API uint32_t qel_mesh_is_static_valid(const float *positions, uint32_t count);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup skin Skinning
 * Linear blend skinning. Skins come from the caller or from a mesh cache file, never from an archive.
 * @{ */

/** One joint: 328 bytes, the same in memory and in the mesh cache file. */
struct qel_skin_joint {
    uint8_t descriptor[200];    /**< never read, only copied */
    double joint_transform[16]; /**< 4 x 4, row-major */
};

/** The joints of one vertex: 20 bytes, the same in memory and in the mesh cache file. */
struct qel_skin_weight {
    uint8_t joints[4]; /**< joint numbers; those not below `joint_count` are skipped */
    float weights[4];  /**< the matching weights, used as given; below 1e-6 skipped */
};

/** A skin. */
struct qel_skin {
    qel_skin_joint *joints;   /**< owned; `joint_count` records */
    uint32_t joint_count;     /**< number of joints */
    qel_skin_weight *weights; /**< owned; `weight_count` records, one per vertex */
    uint32_t weight_count;    /**< number of vertices that are skinned */
    uint8_t bind_extra[128];  /**< opaque; stored and restored by the mesh cache file */
};

/**
 * Finds no skin: archives are not read for skins.
 *
 * @retval -1 always
 * @param archive   ignored but for null
 * @param object    ignored
 * @param[out] out  cleared, unless it or `archive` is null
 */
QEL_API int32_t ogawa_read_skinning(const ogawa_archive *archive, const ogawa_object *object, qel_skin *out);

/**
 * Moves positions by the skin's joints: linear blend skinning.
 *
 * Each joint's matrix is pose x joint transform in double precision. A vertex is the sum over its four
 * slots, in order, of weight x position transformed as a row vector, each product and sum in single
 * precision. Slots with a weight below 1e-6 or a joint number beyond the skin are skipped; weights are not
 * normalized; a vertex without a usable slot becomes (0, 0, 0). The scratch is 128 bytes per joint; without
 * it nothing is written, nor for a skin that has joints to count, or weights, but no array of them.
 *
 * @param skin                the skin; its `weight_count` says how many positions there are. Null does
 * nothing
 * @param pose_matrices       `joint_count` matrices of 16 doubles, row-major; null does nothing
 * @param positions_in        `weight_count` triples; null does nothing
 * @param[out] positions_out  room for `weight_count` triples; may be `positions_in`; null does nothing
 */
QEL_API void qel_skin_apply(const qel_skin *skin, const double *pose_matrices, const float *positions_in,
                            float *positions_out);

/**
 * Releases a skin's arrays and clears the record, `bind_extra` included.
 *
 * @param[in,out] skin  may be null. The record itself is not freed
 */
QEL_API void qel_skin_free(qel_skin *skin);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup mesh_cache Mesh cache
 * One mesh in the form that a renderer uses, mapped into memory and used in place. A mapped file must not be
 * truncated while it is in use: on POSIX, reading a removed page raises SIGBUS.
 * @{ */

/** Flag of ::qel_mesh_header: the file has a normals block. */
#define QEL_MESH_HAS_NORMALS 1u
/** Flag of ::qel_mesh_header: the file has a skin block. */
#define QEL_MESH_HAS_SKIN 4u

/** The 64-byte header of a mesh cache file. Offsets are from the file's start. */
struct qel_mesh_header {
    char magic[4];             /**< "QELM" */
    uint16_t version;          /**< 2; not checked on load */
    uint16_t flags;            /**< ::QEL_MESH_HAS_NORMALS, ::QEL_MESH_HAS_SKIN */
    uint32_t vertex_count;     /**< number of vertices */
    uint32_t triangle_count;   /**< number of triangles */
    uint32_t joint_count;      /**< the skin's joints, 0 without a skin */
    uint32_t reserved;         /**< 1 */
    float bounds_min[3];       /**< copied from the mesh */
    float bounds_max[3];       /**< copied from the mesh */
    uint32_t positions_offset; /**< 64 */
    uint32_t normals_offset;   /**< 0 without normals */
    uint32_t indices_offset;   /**< after positions and normals */
    uint32_t skin_offset;      /**< after the indices, 0 without a skin */
};

/** A mapped mesh cache file. Counts are in `header`. */
struct qel_mesh {
    qel_mesh_header header;  /**< a copy of the file's header */
    const float *positions;  /**< into the mapping; `vertex_count` triples */
    const float *normals;    /**< into the mapping; `vertex_count` triples; null without the flag */
    const uint32_t *indices; /**< into the mapping; `triangle_count` triples */
    qel_skin *skin;          /**< owned copy; null without the flag */
    const void *view;        /**< base of the read-only mapping */
    uint64_t file_size;      /**< length of the file in bytes */
};

/**
 * Writes a mesh cache file. Errors after the file is open are not reported.
 *
 * Faces are fanned into triangles about their first corner; faces of fewer than 3 corners give none. Normals
 * of vertex scope and matching count are written as they are, others are summed over the first
 * `face_index_count` corners, each for its vertex, and normalized. Where scratch memory (16 bytes per vertex;
 * 12 per triangle) is missing, that block is left out.
 *
 * Reads `positions`, `vertex_count`, `normals`, `normal_count`, `normal_scope`, `face_counts`, `face_count`,
 * `face_indices`, `face_index_count`, `bounds_min` and `bounds_max`. Null `positions` are written as zeros.
 * A corner beyond `face_index_count` (where that is not 0), or any with null `face_indices`, is vertex 0 in
 * the index block and gives no normal. With more than 2^24 such corners, or more than 2^32 - 1 triangles, the
 * index block is left out, so that hostile counts make no enormous file. A block left out is still counted in
 * the header, which holds the low 32 bits. With a `face_index_count` of 0 no index is checked: faces are fanned
 * by their counts with the indices in memory, and summed normals are all zero.
 *
 * @retval   0 written
 * @retval  -1 `mesh` or `path` is null, or the mesh has no vertices: no file is created
 * @retval -10 a face index is not below `vertex_count`: no file is created
 * @retval  -2 the file cannot be created
 * @param mesh  the mesh; not changed
 * @param skin  may be null; written when it has joints
 * @param path  file to create or replace
 */
QEL_API int32_t qel_mesh_save(const ogawa_polymesh *mesh, const qel_skin *skin, const char *path);

/**
 * Maps a mesh cache file into memory, read-only. Nothing but the header and the skin is copied.
 *
 * Version, counts and offsets are not compared with the file's length: a caller that does not trust the file
 * checks them against `file_size` before it follows the pointers. A header cut short is completed with
 * zeros. A skin block that does not lie inside the file leaves `skin` null, and so does missing memory for the
 * record. Without memory for the joints, `joints` is null and the weights are read from where the joints lie;
 * without memory for the weights, `weights` is null.
 *
 * @retval  0 mapped
 * @retval -1 `path` or `mesh` is null: nothing touched
 * @retval -2 the file cannot be opened
 * @retval -3 the file cannot be mapped: it is empty, or not a regular file
 * @retval -4 no memory: the address space has no room for the file
 * @retval -5 the file does not begin with "QELM". After -2 to -5 the record is cleared
 * @param path       file to map
 * @param[out] mesh  the record; what it held is overwritten, not released. Release it with ::qel_mesh_free
 */
QEL_API int32_t qel_mesh_load(const char *path, qel_mesh *mesh);

/**
 * Unmaps the file, releases the skin and clears the record.
 *
 * @param[in,out] mesh  may be null or cleared. The record itself is not freed
 */
QEL_API void qel_mesh_free(qel_mesh *mesh);

/**
 * Hands out what a renderer draws.
 *
 * @retval  0 handed out
 * @retval -1 `mesh` is null or not mapped: outputs untouched
 * @param mesh                 a mapped mesh; may be null
 * @param[out] positions       into the mapping, valid until ::qel_mesh_free; may be null
 * @param[out] normals         into the mapping, or null without normals; may be null
 * @param[out] indices         into the mapping; may be null
 * @param[out] vertex_count    number of vertices; may be null
 * @param[out] triangle_count  number of triangles; may be null
 */
QEL_API int32_t qel_mesh_get_gpu_data(const qel_mesh *mesh, const float **positions, const float **normals,
                                      const uint32_t **indices, uint32_t *vertex_count, uint32_t *triangle_count);
/** @} */

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup agents Agent directory
 * One process-wide directory of up to 65,536 agents, each known by an eight-character id, kept in one file.
 * It comes into being at the first ::qel_agent_dir_init, ::qel_agent_dir_load or ::qel_agent_spawn and ends
 * at ::qel_agent_dir_free.
 *
 * Ids are read as up to 8 characters and found by their hash alone: the newest entry of a bucket is trusted
 * without comparing the id. So of two ids that share a bucket only the later one is found, and an unknown id
 * that falls into a taken bucket finds that bucket's agent.
 * @{ */

/** The most agents a directory holds. */
#define QEL_AGENT_CAPACITY 65536u

/** The state of an agent. The library never sets the states 4 and 5; callers define them. */
typedef enum qel_agent_state {
    QEL_AGENT_STATE_SPAWNED = 0,   /**< set by ::qel_agent_spawn */
    QEL_AGENT_STATE_RESET = 1,     /**< by ::QEL_AGENT_COMMAND_RESET */
    QEL_AGENT_STATE_DELEGATED = 2, /**< by ::qel_agent_delegate, or ::QEL_AGENT_COMMAND_RESUME */
    QEL_AGENT_STATE_PAUSED = 3,    /**< by ::QEL_AGENT_COMMAND_PAUSE */
    QEL_AGENT_STATE_4 = 4,         /**< by ::QEL_AGENT_COMMAND_TO_STATE_4 */
    QEL_AGENT_STATE_5 = 5,         /**< by ::QEL_AGENT_COMMAND_TO_STATE_5 */
    QEL_AGENT_STATE_TERMINATED = 6 /**< by ::qel_agent_terminate */
} qel_agent_state;

/** What ::qel_agent_control does. */
typedef enum qel_agent_command {
    QEL_AGENT_COMMAND_PAUSE = 0,      /**< a delegated agent is paused, any other stays */
    QEL_AGENT_COMMAND_RESUME = 1,     /**< a paused agent is delegated, any other stays */
    QEL_AGENT_COMMAND_TO_STATE_5 = 2, /**< the state becomes 5, the task 0 */
    QEL_AGENT_COMMAND_TO_STATE_4 = 3, /**< the state becomes 4, the task 0 */
    QEL_AGENT_COMMAND_RESET = 4       /**< the state becomes 1, idle, the task 0; also of an ended agent */
} qel_agent_command;

/** One agent: 40 bytes, the same in memory and in the directory file. */
struct qel_agent {
    char id[8];              /**< eight upper-case hexadecimal digits (a loaded file's: any bytes), no terminator */
    char parent[8];          /**< id of the parent or of the last delegating agent; "2A9E0000" without one */
    uint8_t type;            /**< kind of agent; statistics count 0..3 */
    uint8_t state;           /**< a ::qel_agent_state (a loaded file's: any byte) */
    uint8_t flag_idle;       /**< 1 after spawn and reset */
    uint8_t flag_terminated; /**< 1 after terminate */
    uint8_t flag_delegated;  /**< 1 after delegate */
    uint8_t cleared;         /**< set to 0 by every transition that writes the flags */
    uint8_t tag;             /**< given at spawn */
    uint8_t tier;            /**< given at spawn */
    uint64_t reserved;       /**< never written: zero, or what a loaded file held */
    uint64_t task;           /**< given by delegate, else 0 */
};

/** The directory. The one instance is private to the library; its layout is given for tools. */
struct qel_agent_dir {
    char magic[4];            /**< "QEAG" */
    uint32_t version;         /**< 1, or the loaded file's */
    uint32_t agent_count;     /**< slots in use; a loaded file's count is kept even above ::QEL_AGENT_CAPACITY */
    uint32_t active_count;    /**< agents spawned and not terminated */
    int64_t saved_at;         /**< seconds since 1970-01-01 UTC of the last save, 0 when never saved */
    qel_agent *agents;        /**< owned; ::QEL_AGENT_CAPACITY records */
    qel_hash_index *index;    /**< owned; from id hash to slot. Node s holds slot s */
    uint32_t next_id_counter; /**< counter for generated ids, starts at 4096, not saved */
    char path[256];           /**< the directory's file, cut to 255 characters, terminated */
    uint32_t dirty;           /**< 1 when changed since the last save or load */
};

/**
 * Makes the directory, empty. Where one exists already, nothing changes and the path is ignored.
 *
 * @retval  0 made, or there already
 * @retval -1 no memory for the directory
 * @retval -2 no memory for its agents or index: there is no directory
 * @param path  the directory's file, not opened yet; may be null
 */
QEL_API int32_t qel_agent_dir_init(const char *path);

/**
 * Reads a directory file into the directory. Makes a directory if there is none.
 *
 * Records overwrite the slots from 0 on; slots that the file does not reach stay as they were. The index is
 * not cleared: ids that were there before can still be found unless a newer entry shares their bucket. The
 * counter for generated ids is not restored. `agent_count` is the header's, also when the file ends early; a
 * record cut short leaves its slot as it was, and a file of 16 to 23 bytes leaves `saved_at`. No memory is
 * needed beyond the directory's.
 *
 * @retval  0 read; the directory is clean and `path` is its path
 * @retval -1 no memory for the directory, which was not there
 * @retval -2 `path` is null or the file cannot be opened: a directory made by this call stays
 * @retval -3 fewer than 16 bytes: as for -2
 * @retval -4 the file does not begin with "QEAG": as for -2
 * @param path  file to read
 */
QEL_API int32_t qel_agent_dir_load(const char *path);

/**
 * Writes the directory through a temporary file, whose name is the target's followed by ".tmp".
 *
 * On POSIX the target is replaced atomically. If the temporary file cannot be written completely, it is
 * removed, the old file stays, and `dirty` and `saved_at` do not change. If it is complete but cannot replace
 * the target (a folder with files in it, or on Windows a file in use), it stays beside the target and counts
 * as saved. If the temporary name is a link to another file, that link is removed first. A count above
 * ::QEL_AGENT_CAPACITY is written unchanged, with the records that exist.
 *
 * @retval  0 written, or a write or rename failed: the code does not tell
 * @retval -1 there is no directory
 * @retval -2 there is no path
 * @retval -3 the temporary file cannot be created
 * @param path  target; null means the directory's own path. Another path does not become the directory's. The
 *              temporary name is cut to 259 characters: a target of just that length is written in place, a
 *              longer one through a file of its first 259 characters
 */
QEL_API int32_t qel_agent_dir_save(const char *path);

/**
 * Saves the directory to its own path if it is dirty.
 *
 * @return 0 when there is no directory or nothing to save, else the result of ::qel_agent_dir_save
 */
QEL_API int32_t qel_agent_dir_sync(void);

/**
 * Counts agents.
 *
 * @param[out] total   agents in use, 0 without a directory; may be null
 * @param[out] active  agents spawned and not terminated, 0 without a directory; may be null
 * @param[out] counts  4 counts of agents by type, 0..3; untouched without a directory; may be null
 */
QEL_API void qel_agent_dir_stats(uint32_t *total, uint32_t *active, uint32_t *counts);

/**
 * Saves the directory to its path if it is dirty (the result is ignored) and releases it.
 */
QEL_API void qel_agent_dir_free(void);

/**
 * Makes an agent with a generated id, in ::QEL_AGENT_STATE_SPAWNED. Makes a directory without a path if there is none.
 *
 * Tiers 0, 1 and 2 try 28 ids each (2A9E0100 to 2A9E011B for tier 0) and take the first whose bucket is
 * empty; when all are taken, and for other tiers, the id is 2A9E and a counter that starts at 1000
 * (hexadecimal).
 *
 * @retval  0 made
 * @retval -1 no memory for the directory, which was not there
 * @retval -2 the directory is full: `id_out` untouched
 * @param parent       8 characters; null gives "2A9E0000"
 * @param type         kind of agent
 * @param tier         tier, see above
 * @param tag          any value
 * @param[out] id_out  9 bytes: the id and a terminator
 */
QEL_API int32_t qel_agent_spawn(const char *parent, uint8_t type, uint8_t tier, uint8_t tag, char *id_out);

/**
 * Ends an agent: ::QEL_AGENT_STATE_TERMINATED. It keeps its slot and can still be queried, listed and controlled.
 *
 * @retval  0 ended
 * @retval -1 there is no directory
 * @retval -2 the id is not found
 * @retval -3 the agent is terminated already. After every failure nothing is changed
 * @param id  the agent
 */
QEL_API int32_t qel_agent_terminate(const char *id);

/**
 * Gives an agent a task: ::QEL_AGENT_STATE_DELEGATED. The delegating agent's record does not change.
 *
 * @retval  0 delegated
 * @retval -1 there is no directory
 * @retval -2 `from` is not found
 * @retval -3 `to` is not found
 * @retval -4 `to` is terminated. After every failure nothing is changed
 * @param from  8 characters: the delegating agent, which becomes the parent
 * @param to    the agent that gets the task
 * @param task  any value
 */
QEL_API int32_t qel_agent_delegate(const char *from, const char *to, uint64_t task);

/**
 * Copies an agent's record.
 *
 * @retval  0 copied
 * @retval -1 `out` is null or there is no directory
 * @retval -2 the id is not found: `out` untouched
 * @param id        the agent
 * @param[out] out  the record, all 40 bytes
 */
QEL_API int32_t qel_agent_query(const char *id, qel_agent *out);

/**
 * Changes an agent's state by command; the directory becomes dirty even when the state stays. Resetting an ended
 * agent does not raise the number of active ones.
 *
 * @retval  0 done
 * @retval -1 there is no directory
 * @retval -2 the id is not found
 * @retval -3 no such command. After every failure nothing is changed
 * @param id       the agent
 * @param command  a ::qel_agent_command
 */
QEL_API int32_t qel_agent_control(const char *id, uint32_t command);

/**
 * Lists the ids that match a pattern, in slot order, ended agents included.
 *
 * @param pattern       compared position by position; '*' stands for any character, characters beyond the
 * pattern are free and those beyond the eighth ignored. Not null; an empty one matches every agent
 * @param[out] ids_out  room for `max` ids of 9 bytes each, terminators included; null gives 0
 * @param max           where to stop; below 1 gives 0
 * @return the number of ids
 */
QEL_API uint32_t qel_agent_monitor(const char *pattern, char *ids_out, int32_t max);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
