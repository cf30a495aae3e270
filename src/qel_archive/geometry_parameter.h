// SPDX-License-Identifier: MIT
// Normals, UVs and other parameters: values of the whole mesh, of its faces, points or corners, plain or indexed.
#pragma once

#include "qel_archive/mesh_arrays.h"

namespace qel::archives {

/// One parameter. The caller of read_parameter() owns the arrays.
struct geometry_parameter {
    float *values; // null if there are none
    std::uint32_t value_count;
    std::uint32_t *indices; // null if the parameter is not indexed
    std::uint32_t index_count;
    std::uint32_t scope;
    bool sound; // false if the parameter was left out
};

/// The properties of one parameter.
struct parameter_entries {
    property_entry parameter; // the array of values, or the compound of values and indices
    property_entry values, indices;
    bool indexed;
};

/// Finds the properties of a parameter of `extent` floats, plain or indexed; false if `entry` is not such a parameter.
bool find_parameter(const qel_archive &archive, const property_entry &entry, std::uint32_t extent,
                    parameter_entries &entries);

/// Reads a parameter. An unsound one is left out: the status is then OK and `sound` false.
status read_parameter(const qel_archive &archive, const parameter_entries &entries, std::uint64_t sample,
                      const mesh_size &size, geometry_parameter &parameter);

/// The value of a key in the parameter's metadata, else in the metadata of its values; null if neither has it.
const char *parameter_metadata(const parameter_entries &entries, const char *key, std::size_t &length);

} // namespace qel::archives
