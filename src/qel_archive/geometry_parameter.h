// SPDX-License-Identifier: MIT
// Normals, UVs and the like: values for the whole mesh, its faces, points or corners, plain or indexed.
#pragma once

#include "qel_archive/mesh_arrays.h"

namespace qel::archives {

enum geometry_scope : std::uint8_t { scope_constant, scope_face, scope_varying, scope_vertex, scope_corner };

/// One parameter; what it points to is the owner's.
struct geometry_parameter {
    float *values; // null where it has none, or is left out
    std::uint32_t value_count;
    std::uint32_t *indices; // null where it is not indexed
    std::uint32_t index_count;
    std::uint32_t scope;
    bool sound; // whether it is there at all
};

/// The properties that make one parameter.
struct parameter_entries {
    property_entry parameter; // the array of values, or the compound of values and indices
    property_entry values, indices;
    bool indexed;
};

/// Finds the properties of a parameter of `extent` floats, plain or indexed; false where `entry` is no such parameter.
bool find_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent,
                    parameter_entries &entries);

/// Reads a parameter. One that is unsound is left out, which is no failure.
status read_parameter(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                      const mesh_size &size, geometry_parameter &parameter);

/// A value of the parameter's metadata, or else of the metadata of its values; null without.
const char *parameter_metadata(const parameter_entries &entries, const char *key, std::size_t &length);

} // namespace qel::archives
