/* SPDX-License-Identifier: MIT */
/* Holds the records of qel_archive.h to the places that callers in other languages rely on. Included in C and in C++:
 * where a compiler lays a record out in another way, an array has a negative size. */
#pragma once

#include <qel_archive.h>

#include <stddef.h>

#define HOLDS(name, condition) typedef char name[(condition) ? 1 : -1]
#define FIELD(record, field, place) HOLDS(record##_##field##_is_there, offsetof(record, field) == (place))
#define TEXT sizeof(const char *)
/* After five numbers of 4 bytes, where doubles are aligned to 8 bytes and where to 4. */
#define DOUBLE_AFTER_5 (offsetof(struct number_and_double, d) == 8 ? 24 : 20)
struct number_and_double {
    uint32_t number;
    double d;
};

FIELD(qel_archive_info, library_version, 0);
FIELD(qel_archive_info, object_count, 4);
FIELD(qel_archive_info, mesh_count, 8);
FIELD(qel_archive_info, time_sampling_count, 12);
FIELD(qel_archive_info, start, 16);
FIELD(qel_archive_info, end, 24);
FIELD(qel_archive_info, frames_per_second, 32);
FIELD(qel_archive_info, metadata, 40);
HOLDS(qel_archive_info_ends_there, sizeof(qel_archive_info) == 40 + TEXT);

FIELD(qel_archive_object, name, 0);
FIELD(qel_archive_object, path, TEXT);
FIELD(qel_archive_object, metadata, 2 * TEXT);
FIELD(qel_archive_object, schema, 3 * TEXT);
FIELD(qel_archive_object, kind, 4 * TEXT);
FIELD(qel_archive_object, parent, 4 * TEXT + 4);
FIELD(qel_archive_object, child_count, 4 * TEXT + 8);
FIELD(qel_archive_object, property_count, 4 * TEXT + 12);
HOLDS(qel_archive_object_ends_there, sizeof(qel_archive_object) == 4 * TEXT + 16);

FIELD(qel_archive_property, name, 0);
FIELD(qel_archive_property, metadata, TEXT);
FIELD(qel_archive_property, kind, 2 * TEXT);
FIELD(qel_archive_property, value, 2 * TEXT + 4);
FIELD(qel_archive_property, extent, 2 * TEXT + 8);
FIELD(qel_archive_property, sample_count, 2 * TEXT + 12);
FIELD(qel_archive_property, time_sampling, 2 * TEXT + 16);
FIELD(qel_archive_property, constant, 2 * TEXT + 20);
HOLDS(qel_archive_property_ends_there, sizeof(qel_archive_property) == 2 * TEXT + 24);

FIELD(qel_archive_mesh_info, sample_count, 0);
FIELD(qel_archive_mesh_info, topology, 4);
FIELD(qel_archive_mesh_info, vertex_count, 8);
FIELD(qel_archive_mesh_info, face_count, 12);
FIELD(qel_archive_mesh_info, corner_count, 16);
FIELD(qel_archive_mesh_info, start, DOUBLE_AFTER_5);
FIELD(qel_archive_mesh_info, end, DOUBLE_AFTER_5 + 8);
HOLDS(qel_archive_mesh_info_ends_there, sizeof(qel_archive_mesh_info) == DOUBLE_AFTER_5 + 16);

HOLDS(the_status_has_numbers_from_0_down,
      QEL_ARCHIVE_OK == 0 && QEL_ARCHIVE_BAD_ARGUMENT == -1 && QEL_ARCHIVE_CANNOT_OPEN == -2 &&
          QEL_ARCHIVE_NOT_AN_ARCHIVE == -3 && QEL_ARCHIVE_HDF5 == -4 && QEL_ARCHIVE_DAMAGED == -5 &&
          QEL_ARCHIVE_NO_MEMORY == -6 && QEL_ARCHIVE_NOT_FOUND == -7 && QEL_ARCHIVE_WRONG_KIND == -8);
