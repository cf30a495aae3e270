// SPDX-License-Identifier: MIT
// The mesh cache file in its plainest form: written value by value, read at offsets.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <vector>

namespace qel::model {

/// Triangles of the fans of all faces.
std::uint64_t triangle_count(const ogawa_polymesh &mesh);

struct saved_mesh {
    std::int32_t status;
    std::vector<std::uint8_t> content; // of the file; empty where none is made
};

/// The file of a mesh, with memory for everything.
saved_mesh save_mesh(const ogawa_polymesh &mesh, const qel_skin *skin);

struct loaded_mesh {
    std::int32_t status = 0;
    qel_mesh_header header = {};
    bool has_skin = false;
    std::vector<qel_skin_joint> joints;
    std::vector<qel_skin_weight> weights;
    std::vector<std::uint8_t> bind_extra;
};

/// What loading finds in a file's bytes, with memory for everything.
loaded_mesh load_mesh(const std::vector<std::uint8_t> &file);

/// The first difference of a loaded mesh; null if there is none.
const char *difference(const qel_mesh &mesh, const std::vector<std::uint8_t> &file, const loaded_mesh &expected);

} // namespace qel::model
