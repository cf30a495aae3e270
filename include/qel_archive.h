/* SPDX-License-Identifier: MIT */
/**
 * @file qel_archive.h
 * @brief The whole interface of qel_archive: 16 functions that read an archive by its structure.
 *
 * Readable as C99 and as C++17. The reader of qel_unit.h recognizes arrays by their bytes; this one follows the
 * archive's own objects, properties, samples and times. These conventions hold everywhere:
 *
 * 1. **Status.** A function that can fail returns a value of ::qel_archive_status: 0 for success, else below 0. Lookups
 *    return a number, or ::QEL_NOT_FOUND. Nothing is printed, logged or kept in a global variable.
 * 2. **Numbers.** Objects are numbered depth first, children in the order in which the archive lists them; the top
 *    object is 0. The properties of an object are numbered in the same way: a compound, then its properties, then its
 *    next sibling.
 * 3. **Ownership.** Texts belong to the archive and live until ::qel_archive_close. Arrays of a mesh come from `malloc`
 *    and are released with ::ogawa_free_polymesh. Filling a record that already owns arrays overwrites their pointers
 *    without freeing: release first.
 * 4. **Failure.** A failed call does not change its outputs, except where the comments of ::qel_archive_open,
 *    ::qel_archive_read_property and ::qel_archive_read_mesh say otherwise. A failed call leaks no memory.
 * 5. **Threads.** After ::qel_archive_open any number of threads may call every function but ::qel_archive_close on one
 *    archive at the same time. No function starts a thread, waits or locks; there is no global state.
 * 6. **Files.** Paths are bytes on POSIX and UTF-8 on Windows. The file is open from open to close and is read at
 *    positions, never mapped: a read of a file that was truncated returns a status. Arrays are read only on request.
 * 7. **Memory.** An open archive takes at most 8 bytes for each byte of headers in the file; shared headers count once
 *    per reference. A read holds its result and bounded scratch memory.
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

/** The version, which is that of qel_unit: both libraries are released together. */
#define QEL_ARCHIVE_VERSION_MAJOR QEL_UNIT_VERSION_MAJOR
/** Grows when something is added to the interface. */
#define QEL_ARCHIVE_VERSION_MINOR QEL_UNIT_VERSION_MINOR
/** Grows when only the implementation changes. */
#define QEL_ARCHIVE_VERSION_PATCH QEL_UNIT_VERSION_PATCH

/* ------------------------------------------------------------------------------------------------ */
/** @defgroup archive_reader Archives by their headers
 * Alembic scene files in the Ogawa container: objects, properties, samples, meshes, transforms, visibility.
 * @{ */

/** An open archive. */
typedef struct qel_archive qel_archive;

/** The values that functions return. */
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

/** The kind of a property. */
typedef enum qel_archive_property_kind {
    QEL_ARCHIVE_PROPERTY_COMPOUND = 0, /**< it holds properties and no values */
    QEL_ARCHIVE_PROPERTY_SCALAR = 1,   /**< one element per sample */
    QEL_ARCHIVE_PROPERTY_ARRAY = 2     /**< any number of elements per sample */
} qel_archive_property_kind;

/** The type of a property's values. */
typedef enum qel_archive_value_type {
    QEL_ARCHIVE_VALUE_BOOL = 0,      /**< a byte, 0 or 1 */
    QEL_ARCHIVE_VALUE_U8 = 1,        /**< unsigned, 1 byte */
    QEL_ARCHIVE_VALUE_I8 = 2,        /**< signed, 1 byte */
    QEL_ARCHIVE_VALUE_U16 = 3,       /**< unsigned, 2 bytes */
    QEL_ARCHIVE_VALUE_I16 = 4,       /**< signed, 2 bytes */
    QEL_ARCHIVE_VALUE_U32 = 5,       /**< unsigned, 4 bytes */
    QEL_ARCHIVE_VALUE_I32 = 6,       /**< signed, 4 bytes */
    QEL_ARCHIVE_VALUE_U64 = 7,       /**< unsigned, 8 bytes */
    QEL_ARCHIVE_VALUE_I64 = 8,       /**< signed, 8 bytes */
    QEL_ARCHIVE_VALUE_F16 = 9,       /**< floating point, 2 bytes */
    QEL_ARCHIVE_VALUE_F32 = 10,      /**< floating point, 4 bytes */
    QEL_ARCHIVE_VALUE_F64 = 11,      /**< floating point, 8 bytes */
    QEL_ARCHIVE_VALUE_TEXT = 12,     /**< a text that ends with a zero byte */
    QEL_ARCHIVE_VALUE_WIDE_TEXT = 13 /**< a text of wide characters, whose size the archive does not record */
} qel_archive_value_type;

/** The differences between the samples of a mesh. */
typedef enum qel_archive_topology {
    QEL_ARCHIVE_TOPOLOGY_CONSTANT = 0,         /**< nothing */
    QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE = 1, /**< only positions */
    QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE = 2      /**< face counts or indices */
} qel_archive_topology;

/** The description of an archive. */
typedef struct qel_archive_info {
    int32_t library_version;      /**< of the writing library: 10709 is 1.7.9 */
    uint32_t object_count;        /**< objects, including the top object and those that instances repeat */
    uint32_t mesh_count;          /**< objects of the schemas PolyMesh and SubD */
    uint32_t time_sampling_count; /**< time samplings; number 0 is the static one */
    double start; /**< seconds: the first sample time of all properties with more than one sample; 0 without */
    double end;   /**< seconds: the last sample time of all properties with more than one sample; 0 without */
    double frames_per_second; /**< 1 / cycle of the first uniform sampling with a number above 0, else 0 */
    const char *metadata;     /**< the archive's text: `key=value` pairs joined by `;` */
} qel_archive_info;

/** One object of an archive. */
typedef struct qel_archive_object {
    const char *name;        /**< "" for the top object */
    const char *path;        /**< "/" for the top object, "/a/b" below */
    const char *metadata;    /**< the object's text: `key=value` pairs joined by `;` */
    const char *schema;      /**< the value of the key `schema`, "" without one */
    ogawa_schema kind;       /**< by the schema's name; ::OGAWA_SCHEMA_UNKNOWN for one without a value of its own */
    uint32_t parent;         /**< number of the parent; ::QEL_NOT_FOUND for the top object */
    uint32_t child_count;    /**< objects directly below */
    uint32_t property_count; /**< properties, with those inside compounds, compounds included */
} qel_archive_object;

/** One property of an object. */
typedef struct qel_archive_property {
    const char *name;       /**< preceded by the compounds that contain it: ".geom/P" */
    const char *metadata;   /**< the property's text: `key=value` pairs joined by `;` */
    uint32_t kind;          /**< a ::qel_archive_property_kind */
    uint32_t value;         /**< a ::qel_archive_value_type; 0 for a compound */
    uint32_t extent;        /**< values per element; 0 for a compound */
    uint32_t sample_count;  /**< samples; 0 for a compound */
    uint32_t time_sampling; /**< number of the time sampling; 0 for a compound */
    uint32_t constant;      /**< 1 where the archive says that all samples are equal, or there is at most one */
} qel_archive_property;

/** The description of a mesh, without its arrays. */
typedef struct qel_archive_mesh_info {
    uint32_t sample_count; /**< samples of the positions, at least 1 */
    uint32_t topology;     /**< a ::qel_archive_topology */
    uint32_t vertex_count; /**< points of sample 0 */
    uint32_t face_count;   /**< faces of sample 0 */
    uint32_t corner_count; /**< face corners of sample 0 */
    double start;          /**< seconds of the first sample of the positions */
    double end;            /**< seconds of the last sample of the positions */
} qel_archive_mesh_info;

/**
 * The meaning of a status in one line.
 *
 * @param status  any value
 * @return static text without a period, never null, not to be freed; a text of its own for a value that is no status
 */
QEL_ARCHIVE_API const char *qel_archive_message(int32_t status);

/**
 * Opens an archive: reads and checks its whole tree of objects and all property headers, once. Arrays stay in the file.
 *
 * A group counts once per reference to it, and an instance as a copy of its source: more than 2^20 objects, 2^24
 * properties, or 1,000 levels of objects or of properties in one object are damage. The time is proportional to the
 * bytes of headers, times the logarithm of the number of siblings if their names are not in order.
 *
 * @retval  0 opened
 * @retval -1 an argument is null
 * @retval -2 there is no such file, it is no regular file, it may not be read, or the system failed to read it. Nothing
 *            is waited for
 * @retval -3 the file has fewer than 16 bytes or begins with others than an archive
 * @retval -4 it is an older archive in the HDF5 container
 * @retval -5 it contradicts itself, was cut short or never finished, holds itself, or is beyond the limits
 * @retval -6 no memory
 * @param path          the file; bytes on POSIX, UTF-8 on Windows
 * @param[out] archive  the open archive, to be closed with ::qel_archive_close; null after every failure
 */
QEL_ARCHIVE_API int32_t qel_archive_open(const char *path, qel_archive **archive);

/**
 * Closes an archive and frees its memory, including its texts. Meshes that were read stay.
 *
 * @param archive  an open archive that no other thread uses; may be null
 */
QEL_ARCHIVE_API void qel_archive_close(qel_archive *archive);

/**
 * Describes an archive.
 *
 * @retval  0 filled
 * @retval -1 an argument is null
 * @param archive    an open archive
 * @param[out] info  the record; its text belongs to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_info(const qel_archive *archive, qel_archive_info *info);

/**
 * Describes one object.
 *
 * The path is made at the first request and kept until the archive is closed.
 *
 * @retval  0 filled
 * @retval -1 an argument is null
 * @retval -6 no memory for the path
 * @retval -7 there is no object of that number
 * @param archive   an open archive
 * @param object    number of the object
 * @param[out] out  the record; its texts belong to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_object(const qel_archive *archive, uint32_t object, qel_archive_object *out);

/**
 * The number of the object with a path, in the form of ::qel_archive_object.
 *
 * Takes one search among siblings for each name in the path; its time grows with the logarithm of their number.
 *
 * @param archive  an open archive; null gives ::QEL_NOT_FOUND
 * @param path     "/" or "/a/b", terminated; null gives ::QEL_NOT_FOUND
 * @return the number, ::QEL_NOT_FOUND when there is none
 */
QEL_ARCHIVE_API uint32_t qel_archive_find(const qel_archive *archive, const char *path);

/**
 * Describes one property of an object.
 *
 * The name of a property in a compound is made at the first request and kept until the archive is closed.
 *
 * @retval  0 filled
 * @retval -1 an argument is null
 * @retval -6 no memory for the name
 * @retval -7 there is no object of that number, or it has no property of that number
 * @param archive   an open archive
 * @param object    number of the object
 * @param property  number of the property, below the object's `property_count`
 * @param[out] out  the record; its texts belong to the archive
 */
QEL_ARCHIVE_API int32_t qel_archive_get_property(const qel_archive *archive, uint32_t object, uint32_t property,
                                                 qel_archive_property *out);

/**
 * The number of an object's property with a name, in the form of ::qel_archive_property.
 *
 * Takes the same time as ::qel_archive_find.
 *
 * @param archive  an open archive; null gives ::QEL_NOT_FOUND
 * @param object   number of the object; one that is not there gives ::QEL_NOT_FOUND
 * @param name     ".geom/P", terminated; null gives ::QEL_NOT_FOUND
 * @return the number, ::QEL_NOT_FOUND when there is none
 */
QEL_ARCHIVE_API uint32_t qel_archive_find_property(const qel_archive *archive, uint32_t object, const char *name);

/**
 * Copies the values of one sample as stored, without the digest before them. Each text ends with a zero byte.
 *
 * Only samples that differ from the previous one are stored; any sample below the count can be read. If the buffer is
 * too small nothing is copied, which is not a failure: a call with null and 0 returns the size.
 *
 * @retval  0 copied, or the buffer is too small: `*size` says which
 * @retval -1 `archive` or `size` is null, or `bytes` is null and `capacity` is not 0
 * @retval -2 the system failed to read the file
 * @retval -5 the sample is not stored whole, or has another number of values than the property or its dimensions say
 * @retval -7 there is no such object, property or sample
 * @retval -8 the property is a compound
 * @param archive     an open archive
 * @param object      number of the object
 * @param property    number of the property
 * @param sample      number of the sample
 * @param[out] bytes  room for `capacity` bytes; may be null where that is 0. What it holds after a failure is undefined
 * @param capacity    bytes of room
 * @param[out] size   bytes of the sample's values, also where they were not copied; untouched after a failure
 */
QEL_ARCHIVE_API int32_t qel_archive_read_property(const qel_archive *archive, uint32_t object, uint32_t property,
                                                  uint64_t sample, void *bytes, uint64_t capacity, uint64_t *size);

/**
 * The time of a property's sample. Nothing is read.
 *
 * @retval  0 set
 * @retval -1 `archive` or `seconds` is null
 * @retval -7 there is no such object, property or sample
 * @retval -8 the property is a compound
 * @param archive       an open archive
 * @param object        number of the object
 * @param property      number of the property
 * @param sample        number of the sample
 * @param[out] seconds  the time
 */
QEL_ARCHIVE_API int32_t qel_archive_property_time(const qel_archive *archive, uint32_t object, uint32_t property,
                                                  uint64_t sample, double *seconds);

/**
 * Describes a mesh from the sizes of its arrays, without reading them.
 *
 * @retval  0 filled
 * @retval -1 an argument is null
 * @retval -2 the system failed to read the file
 * @retval -5 an array of sample 0 is not stored whole, or the positions, face counts or indices are of another type
 * @retval -7 there is no such object, or its positions have no samples
 * @retval -8 the object has no positions
 * @param archive   an open archive
 * @param object    number of the object
 * @param[out] out  the record
 */
QEL_ARCHIVE_API int32_t qel_archive_get_mesh_info(const qel_archive *archive, uint32_t object,
                                                  qel_archive_mesh_info *out);

/**
 * Reads one sample of a mesh: positions, faces, normals, UV sets, bounds and the world transform at its time.
 *
 * The arrays can be indexed without a check: no count is negative, the counts sum to the number of indices, each index
 * is below the number of points, normals and UVs have the number of entries of their scope, and their indices are below
 * the number of their values. Other normals and UVs are left out. A property with fewer samples than the positions
 * gives its last one. Objects that are neither PolyMesh nor SubD have only positions.
 *
 * An array of no entries is null. Scopes are ::OGAWA_SCOPE_CONSTANT, FACE, VARYING, VERTEX and FACE_VARYING (corners);
 * a scope that is not stored is deduced from the number of entries, in the order corner, vertex, face, constant. The
 * first UV set is that of the property `uv`, named by its key `sourceName`, else "uv"; the others are the pairs of
 * floats among the arbitrary parameters, with their names. `self_bounds_min` and `self_bounds_max` are the archive's,
 * rounded to single precision, or else the positions' box.
 *
 * Nothing but the result is allocated.
 *
 * @retval  0 read
 * @retval -1 `archive` or `mesh` is null
 * @retval -2 the system failed to read the file
 * @retval -5 an array is not stored whole or is of another type, the mesh is not sound, or a transform is damaged
 * @retval -6 no memory
 * @retval -7 there is no such object, or `sample` is not below the samples of its positions
 * @retval -8 the object has no positions
 * @param archive    an open archive
 * @param object     number of the object
 * @param sample     number of the sample
 * @param[out] mesh  the record; cleared first, what it held is not freed. Release it with ::ogawa_free_polymesh. After
 *                   a failure it is all zero
 */
QEL_ARCHIVE_API int32_t qel_archive_read_mesh(const qel_archive *archive, uint32_t object, uint64_t sample,
                                              ogawa_polymesh *mesh);

/**
 * The last sample of an object's positions at or before a time. Nothing is read.
 *
 * Times may differ by a millionth of a cycle, except for samples whose times are listed one by one.
 *
 * @retval  0 set
 * @retval -1 `archive` or `sample` is null
 * @retval -5 the positions are of another type
 * @retval -7 there is no such object, or its positions have no samples
 * @retval -8 the object has no positions
 * @param archive      an open archive
 * @param object       number of the object
 * @param seconds      the time; a NaN is before all
 * @param[out] sample  number of the sample; 0 where all are later
 */
QEL_ARCHIVE_API int32_t qel_archive_sample_at(const qel_archive *archive, uint32_t object, double seconds,
                                              uint64_t *sample);

/**
 * The object's own transform, from the last samples at or before a time, by the rule of ::qel_archive_sample_at. An
 * object that is not an Xform has the identity.
 *
 * Computed in double precision in the order written. Sine and cosine are the C library's: the last bit of a rotation
 * may differ between platforms. The axis of a rotation may have any length; a zero axis gives no rotation, and an
 * infinite or NaN axis gives NaNs. Values after those that the operations use are ignored.
 *
 * @retval  0 set
 * @retval -1 `archive` or `matrix` is null
 * @retval -2 the system failed to read the file
 * @retval -5 there is an unknown operation, there are too few values, or they are not stored whole
 * @retval -7 there is no such object
 * @param archive      an open archive
 * @param object       number of the object
 * @param seconds      the time
 * @param[out] matrix  16 numbers, row by row; points are rows
 */
QEL_ARCHIVE_API int32_t qel_archive_local_transform(const qel_archive *archive, uint32_t object, double seconds,
                                                    double matrix[16]);

/**
 * The transform from the object's space to the world's: its own times the parent's world transform, or only its own if
 * it does not inherit.
 *
 * @retval  0 set
 * @retval -1 `archive` or `matrix` is null
 * @retval -2 the system failed to read the file
 * @retval -5 as for ::qel_archive_local_transform, of any object on the way
 * @retval -7 there is no such object
 * @param archive      an open archive
 * @param object       number of the object
 * @param seconds      the time
 * @param[out] matrix  16 numbers, row by row; points are rows
 */
QEL_ARCHIVE_API int32_t qel_archive_world_transform(const qel_archive *archive, uint32_t object, double seconds,
                                                    double matrix[16]);

/**
 * Whether an object is visible at a time. The nearest stored visibility decides, that of the object first, then those
 * of its ancestors: a visible child of a hidden parent is visible. Without any, the object is visible.
 *
 * @retval  0 set
 * @retval -1 `archive` or `visible` is null
 * @retval -2 the system failed to read the file
 * @retval -5 a sample that was asked for is not stored whole
 * @retval -7 there is no such object
 * @param archive       an open archive
 * @param object        number of the object
 * @param seconds       the time
 * @param[out] visible  1 or 0
 */
QEL_ARCHIVE_API int32_t qel_archive_is_visible(const qel_archive *archive, uint32_t object, double seconds,
                                               int32_t *visible);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
