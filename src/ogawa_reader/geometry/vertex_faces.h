// SPDX-License-Identifier: MIT
// The faces at one vertex of a manifold.
#pragma once

#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// A vertex's part of `vertex_faces`.
struct face_list {
    const std::uint32_t *faces;
    std::uint32_t count;
};

/// Whether the offsets are freed memory: the build had faces to list and no memory for the lists.
inline bool failed_half_way(const ogawa_manifold &manifold) {
    return manifold.vertex_faces == nullptr && manifold.face_offsets == nullptr && manifold.face_count != 0;
}

/// Finds a vertex's part; false if there is none. If no vertex has a face, `vertex_faces` may be null.
inline bool find_faces(const ogawa_manifold *manifold, std::uint32_t vertex, face_list &list) {
    if (manifold == nullptr || vertex >= manifold->vertex_count) return false;
    if (manifold->vertex_face_offsets == nullptr || failed_half_way(*manifold)) return false;
    const std::uint32_t first = manifold->vertex_face_offsets[vertex];
    list.count = manifold->vertex_face_offsets[std::size_t{vertex} + 1] - first;
    list.faces = manifold->vertex_faces != nullptr ? manifold->vertex_faces + first : nullptr;
    return list.faces != nullptr || list.count == 0;
}

} // namespace qel
