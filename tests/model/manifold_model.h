// SPDX-License-Identifier: MIT
// Adjacency in its plainest form.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <vector>

namespace qel::model {

struct plain_manifold {
    std::vector<std::uint32_t> vertex_faces, vertex_face_offsets, face_offsets;
};

plain_manifold build_plain_manifold(const ogawa_polymesh &mesh);

/// The neighbours of a vertex, by looking at every corner of every listed face and searching what was found.
std::vector<std::uint32_t> plain_neighbors(const plain_manifold &manifold, const std::uint32_t *face_indices,
                                           std::uint32_t vertex);

} // namespace qel::model
