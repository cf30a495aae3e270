/* SPDX-License-Identifier: MIT */
/**
 * @file qel_archive.h
 * @brief The whole interface of qel_archive: 16 functions that read an archive by what it says.
 *
 * Readable as C99 and as C++17. Beside the reader of qel_unit.h, which recognises arrays by their bytes, this one
 * follows the archive's own objects, properties, samples and times. These conventions hold everywhere:
 *
 * 1. **Status.** A function that can fail returns a value of ::qel_archive_status: 0 for success, else below 0. Lookups
 *    return a number, or ::QEL_NOT_FOUND. Nothing is printed, logged or kept in a global variable.
 * 2. **Numbers.** Objects are numbered depth first, children in the order in which the archive lists them; the top
 *    object is 0. The properties of an object are numbered likewise: a compound, then what it holds, then its next
 *    sister.
 * 3. **Ownership.** Texts belong to the archive and live until ::qel_archive_close. Arrays that leave with a mesh come
 *    from `malloc` and are released with ::ogawa_free_polymesh. Filling a record that already owns arrays overwrites
 *    their pointers without freeing: release first.
 * 4. **Failure.** A call that fails leaves its outputs as they were, but for those that say otherwise:
 *    ::qel_archive_open, ::qel_archive_read_property and ::qel_archive_read_mesh. It leaves no memory behind.
 * 5. **Threads.** After ::qel_archive_open any number of threads may call everything but ::qel_archive_close on one
 *    archive at once. No function starts a thread, waits or locks; there is no global state.
 * 6. **Files.** Paths are bytes on POSIX and UTF-8 on Windows. The file stays open from open to close and is read at
 *    positions, never mapped: one that is cut short meanwhile gives a status. Arrays stay in the file until asked for.
 * 7. **Memory.** An open archive takes at most 8 bytes for each byte of headers in the file, shared ones counted at
 *    every place where they stand. Reading holds its result and a bounded scratch.
 */
#ifndef QEL_ARCHIVE_H
#define QEL_ARCHIVE_H

#include "qel_unit.h"

#include <stdint.h>

/** @cond */
#if defined(QEL_UNIT_STATIC)
#define QEL_ARCHIVE_API
#elif defined(_WIN32)
#if defined(QEL_ARCHIVE_BUILDING)
#define QEL_ARCHIVE_API __declspec(dllexport)
#else
#define QEL_ARCHIVE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define QEL_ARCHIVE_API __attribute__((visibility("default")))
#else
#define QEL_ARCHIVE_API
#endif
/** @endcond */

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup archive_reader Archives read by what they say
 * Alembic scene files in the Ogawa container: objects, properties, samples, meshes, transforms, visibility.
 * @{ */

/** An open archive. */
typedef struct qel_archive qel_archive;

/** What functions answer. */
typedef enum qel_archive_status {
    QEL_ARCHIVE_OK = 0,              /**< done */
    QEL_ARCHIVE_BAD_ARGUMENT = -1,   /**< a null pointer where one is needed */
    QEL_ARCHIVE_CANNOT_OPEN = -2,    /**< no such file, no regular file, no permission, an I/O error */
    QEL_ARCHIVE_NOT_AN_ARCHIVE = -3, /**< other bytes at the beginning, or shorter than 16 bytes */
    QEL_ARCHIVE_HDF5 = -4,           /**< an older archive in the HDF5 container */
    QEL_ARCHIVE_DAMAGED = -5,        /**< what it says contradicts what it holds; unfinished, cut, circular */
    QEL_ARCHIVE_NO_MEMORY = -6,      /**< an allocation failed */
    QEL_ARCHIVE_NOT_FOUND = -7,      /**< no such object, property or sample */
    QEL_ARCHIVE_WRONG_KIND = -8      /**< an object without points; a property that is a compound */
} qel_archive_status;

/** What an archive says of itself. */
typedef struct qel_archive_info {
    int32_t library_version;      /**< of the writing library: 10709 is 1.7.9 */
    uint32_t object_count;        /**< objects, the top object and what instances show included */
    uint32_t mesh_count;          /**< objects of the schemas PolyMesh and SubD */
    uint32_t time_sampling_count; /**< time samplings; number 0 is the static one */
    double
        start;  /**< seconds: the first sample time of all properties with more than one sample; 0 without */
    double end; /**< seconds: the last sample time of all properties with more than one sample; 0 without */
    double frames_per_second; /**< 1 / cycle of the first uniform sampling with a number above 0, else 0 */
    const char *metadata;     /**< the archive's text: `key=value` pairs joined by `;` */
} qel_archive_info;

/** One object of an archive. */
typedef struct qel_archive_object {
    const char *name;     /**< "" for the top object */
    const char *path;     /**< "/" for the top object, "/a/b" below */
    const char *metadata; /**< the object's text: `key=value` pairs joined by `;` */
    const char *schema;   /**< the value of the key `schema`, "" without one */
    ogawa_schema kind; /**< by the schema's name; ::OGAWA_SCHEMA_UNKNOWN for one without a value of its own */
    uint32_t parent;   /**< number of the parent; ::QEL_NOT_FOUND for the top object */
    uint32_t child_count;    /**< objects directly below */
    uint32_t property_count; /**< properties, with those inside compounds, compounds included */
} qel_archive_object;

/** One property of an object. */
typedef struct qel_archive_property {
    const char *name;     /**< with the compounds that it stands in: ".geom/P" */
    const char *metadata; /**< the property's text: `key=value` pairs joined by `;` */
    uint32_t kind;        /**< 0 compound, 1 scalar, 2 array */
    uint32_t value;  /**< 0 bool, 1 u8, 2 i8, 3 u16, 4 i16, 5 u32, 6 i32, 7 u64, 8 i64, 9 f16, 10 f32, 11 f64,
                                 12 text, 13 wide text; 0 for a compound */
    uint32_t extent; /**< values an element; 0 for a compound */
    uint32_t sample_count;  /**< samples; 0 for a compound */
    uint32_t time_sampling; /**< number of the time sampling; 0 for a compound */
    uint32_t constant; /**< 1 where the archive says that all samples are equal, or there is at most one */
} qel_archive_property;

/** What a mesh holds, without its arrays. */
typedef struct qel_archive_mesh_info {
    uint32_t sample_count; /**< samples of the positions, at least 1 */
    uint32_t topology;     /**< 0 constant, 1 only positions change, 2 face counts or indices change */
    uint32_t vertex_count; /**< points of sample 0 */
    uint32_t face_count;   /**< faces of sample 0 */
    uint32_t corner_count; /**< face corners of sample 0 */
    double start;          /**< seconds of the first sample of the positions */
    double end;            /**< seconds of the last sample of the positions */
} qel_archive_mesh_info;

/**
 * One line that says what a status means.
 *
 * @param status  any value
 * @return static text without a period, never null, not to be freed; a text of its own for a value that is no status
 */
QEL_ARCHIVE_API const char *qel_archive_message(int32_t status);

/**
 * Opens an archive: reads and checks its whole tree of objects and all property headers. Arrays stay in the file.
 *
 * An instance is opened as a copy of its source: only name, path and parent are its own. More than 2^20 objects, 2^24
 * properties or 1,000 levels are taken for damage, which bounds what an archive whose groups share one another costs.
 *
 * @retval  0 open
 * @retval -1 `path` or `archive` is null
 * @retval -2 there is no such file, it is no regular file, or it cannot be read
 * @retval -3 the file does not begin with "Ogawa", or has fewer than 16 bytes
 * @retval -4 the archive is in the older HDF5 container
 * @retval -5 what the archive says contradicts what it holds, or its writer did not finish it
 * @retval -6 no memory
 * @param path          the file; bytes on POSIX, UTF-8 on Windows
 * @param[out] archive  the open archive, to be closed with ::qel_archive_close; null after every failure
 */
QEL_ARCHIVE_API int32_t qel_archive_open(const char *path, qel_archive **archive);

/**
 * Closes an archive and frees all that belongs to it, its texts included. Meshes that were read stay.
 *
 * @param archive  an open archive that no other thread uses; may be null
 */
QEL_ARCHIVE_API void qel_archive_close(qel_archive *archive);

/**
 * What the archive says of itself.
 *
 * @retval  0 filled
 * @retval -1 `archive` or `info` is null
 * @param archive    an open archive; may be null
 * @param[out] info  the record to fill; its text belongs to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_info(const qel_archive *archive, qel_archive_info *info);

/**
 * One object.
 *
 * @retval  0 filled
 * @retval -1 `archive` or `out` is null
 * @retval -6 no memory for the path, which is made when it is first asked for
 * @retval -7 there is no such object
 * @param archive   an open archive; may be null
 * @param object    its number; 0 is the top object
 * @param[out] out  the record to fill; its texts belong to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_object(const qel_archive *archive, uint32_t object,
                                               qel_archive_object *out);

/**
 * Finds an object by its path.
 *
 * @param archive  an open archive; null finds nothing
 * @param path     "/" for the top object, "/a/b" below, byte for byte; null finds nothing
 * @return the object's number, or ::QEL_NOT_FOUND
 */
QEL_ARCHIVE_API uint32_t qel_archive_find(const qel_archive *archive, const char *path);

/**
 * One property of an object.
 *
 * @retval  0 filled
 * @retval -1 `archive` or `out` is null
 * @retval -6 no memory for the name, which is made when it is first asked for
 * @retval -7 there is no such object or property
 * @param archive   an open archive; may be null
 * @param object    the object's number
 * @param property  the property's number among all of the object, those inside compounds included
 * @param[out] out  the record to fill; its texts belong to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_property(const qel_archive *archive, uint32_t object,
                                                 uint32_t property, qel_archive_property *out);

/**
 * Finds a property of an object by its name.
 *
 * @param archive  an open archive; null finds nothing
 * @param object   the object's number; one that is not there finds nothing
 * @param name     with the compounds that the property stands in: ".geom/P"; null finds nothing
 * @return the property's number, or ::QEL_NOT_FOUND
 */
QEL_ARCHIVE_API uint32_t qel_archive_find_property(const qel_archive *archive, uint32_t object,
                                                   const char *name);

/**
 * Copies the values of one sample as they are stored, without the digest. Texts end with a zero byte each.
 *
 * Where `capacity` is smaller than the values, none is copied and the call succeeds all the same: null and 0 ask for
 * the size. A read that fails may leave some of the values in `bytes`.
 *
 * @retval  0 `size` is set, and the values are copied where they fit
 * @retval -1 `archive` or `size` is null, or `bytes` is null and `capacity` is not 0
 * @retval -2 the file cannot be read
 * @retval -5 the sample is damaged: not stored, cut short, or of another size than its dimensions or extent say
 * @retval -7 there is no such object, property or sample
 * @retval -8 the property is a compound
 * @param archive     an open archive; may be null
 * @param object      the object's number
 * @param property    the property's number
 * @param sample      the sample's number, from 0
 * @param[out] bytes  room for `capacity` bytes; may be null when `capacity` is 0
 * @param capacity    how many bytes `bytes` has room for
 * @param[out] size   the number of bytes of the values; untouched after a failure
 */
QEL_ARCHIVE_API int32_t qel_archive_read_property(const qel_archive *archive, uint32_t object,
                                                  uint32_t property, uint64_t sample, void *bytes,
                                                  uint64_t capacity, uint64_t *size);

/**
 * The time of a property's sample.
 *
 * @retval  0 set
 * @retval -1 `archive` or `seconds` is null
 * @retval -7 there is no such object, property or sample
 * @retval -8 the property is a compound
 * @param archive       an open archive; may be null
 * @param object        the object's number
 * @param property      the property's number
 * @param sample        the sample's number, from 0
 * @param[out] seconds  the time in seconds
 */
QEL_ARCHIVE_API int32_t qel_archive_property_time(const qel_archive *archive, uint32_t object,
                                                  uint32_t property, uint64_t sample, double *seconds);

/**
 * What a mesh holds, without its arrays. Points, curves and patches are taken too: they have no faces.
 *
 * @retval  0 filled
 * @retval -1 `archive` or `out` is null
 * @retval -2 the file cannot be read
 * @retval -5 the arrays of sample 0 are damaged
 * @retval -7 there is no such object, or its positions have no samples
 * @retval -8 the object has no positions
 * @param archive   an open archive; may be null
 * @param object    the object's number
 * @param[out] out  the record to fill
 */
QEL_ARCHIVE_API int32_t qel_archive_get_mesh_info(const qel_archive *archive, uint32_t object,
                                                  qel_archive_mesh_info *out);

/**
 * Reads one sample of a mesh, of points, of curves or of a patch.
 *
 * The mesh is sound: the face counts sum to the number of indices, each index is below the number of vertices, and
 * normals and UVs are as many as their scope asks, with indices below their values. Normals and UVs that are not are
 * left out. Points, curves and patches give positions only.
 *
 * `name` and `path` are cut to the record. Scopes are 0 constant, 1 one a face, 2 varying, ::OGAWA_SCOPE_VERTEX
 * and ::OGAWA_SCOPE_FACE_VARYING; `normal_indices` and a set's `indices` are null where the values are not
 * indexed. There is a set for the property `uv`, and one for each parameter of two floats. `bounds_min` and
 * `bounds_max` are those of the positions; `self_bounds_min` and `self_bounds_max` those that the archive holds,
 * else the same. `transform` is the world transform at the sample's time. A property with fewer samples than the
 * positions gives its last one.
 *
 * @retval  0 read
 * @retval -1 `archive` or `mesh` is null
 * @retval -2 the file cannot be read
 * @retval -5 the mesh or a transform above it is damaged
 * @retval -6 no memory
 * @retval -7 there is no such object or sample
 * @retval -8 the object has no positions
 * @param archive    an open archive; may be null
 * @param object     the object's number
 * @param sample     the sample's number, from 0
 * @param[out] mesh  the record to fill, to be released with ::ogawa_free_polymesh; all zero after every failure
 */
QEL_ARCHIVE_API int32_t qel_archive_read_mesh(const qel_archive *archive, uint32_t object, uint64_t sample,
                                              ogawa_polymesh *mesh);

/**
 * The last sample of an object's positions at or before a time.
 *
 * A time may lie before its sample by 1e-6 of a cycle; where the archive lists each time by itself, it may not.
 *
 * @retval  0 set
 * @retval -1 `archive` or `sample` is null
 * @retval -5 the positions are of another kind than three floats each
 * @retval -7 there is no such object, or its positions have no samples
 * @retval -8 the object has no positions
 * @param archive      an open archive; may be null
 * @param object       the object's number
 * @param seconds      the time
 * @param[out] sample  the sample's number; 0 where all samples are later
 */
QEL_ARCHIVE_API int32_t qel_archive_sample_at(const qel_archive *archive, uint32_t object, double seconds,
                                              uint64_t *sample);

/**
 * The object's own transform at a time: from its space to its parent's.
 *
 * The last sample at or before the time counts, as with ::qel_archive_sample_at. Row by row; points are rows.
 *
 * @retval  0 set
 * @retval -1 `archive` or `matrix` is null
 * @retval -2 the file cannot be read
 * @retval -5 the transform is damaged
 * @retval -7 there is no such object
 * @param archive      an open archive; may be null
 * @param object       the object's number; one that is no Xform has the identity
 * @param seconds      the time
 * @param[out] matrix  4 x 4 numbers
 */
QEL_ARCHIVE_API int32_t qel_archive_local_transform(const qel_archive *archive, uint32_t object,
                                                    double seconds, double matrix[16]);

/**
 * The transform from the object's space to the world's at a time: its own, times that of the parent where it
 * inherits.
 *
 * @retval  0 set
 * @retval -1 `archive` or `matrix` is null
 * @retval -2 the file cannot be read
 * @retval -5 a transform on the way is damaged
 * @retval -7 there is no such object
 * @param archive      an open archive; may be null
 * @param object       the object's number
 * @param seconds      the time
 * @param[out] matrix  4 x 4 numbers, as those of ::qel_archive_local_transform
 */
QEL_ARCHIVE_API int32_t qel_archive_world_transform(const qel_archive *archive, uint32_t object,
                                                    double seconds, double matrix[16]);

/**
 * Whether an object is shown at a time.
 *
 * The object itself decides where it says hidden or shown, else the nearest one above that does; where none does, it
 * is shown. So a shown child of a hidden parent is visible.
 *
 * @retval  0 set
 * @retval -1 `archive` or `visible` is null
 * @retval -2 the file cannot be read
 * @retval -5 a visibility on the way is damaged
 * @retval -7 there is no such object
 * @param archive       an open archive; may be null
 * @param object        the object's number
 * @param seconds       the time
 * @param[out] visible  1 shown, 0 hidden
 */
QEL_ARCHIVE_API int32_t qel_archive_is_visible(const qel_archive *archive, uint32_t object, double seconds,
                                               int32_t *visible);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
