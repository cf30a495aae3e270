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

/// Whether a property is an array of `extent` floats, plain or indexed.
bool is_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent);

/// Reads a parameter. One that is unsound is left out, which is no failure.
status read_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent,
                      std::uint64_t sample, const mesh_size &size, geometry_parameter &parameter);

/// A value of the parameter's metadata, or else of the metadata of its values; null without.
const char *parameter_metadata(const qel_archive &archive, const property_entry &entry, const char *key,
                               std::size_t &length);

} // namespace qel::archives
