// SPDX-License-Identifier: MIT
// A mesh's faces, bounded by the corners that may be read.
#pragma once

#include "qel_unit.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace qel {

struct mesh_faces {
    const std::uint32_t *counts; // corners of each face; null: all are triangles
    std::uint32_t count;
    const std::uint32_t *indices;
    std::uint32_t readable; // corners that `indices` holds

    /// Counts and indices are read from an archive independently, so the counts may claim more corners than there are
    /// indices. A record filled by hand may leave `face_index_count` 0: then the face counts are trusted, up to the
    /// largest number of corners that a mesh can have.
    explicit mesh_faces(const ogawa_polymesh &mesh)
        : counts(mesh.face_counts), count(mesh.face_count), indices(mesh.face_indices),
          readable(mesh.face_index_count) {
        if (readable == 0) readable = std::numeric_limits<std::uint32_t>::max();
        if (indices == nullptr) readable = 0;
    }

    std::uint32_t corners_of(std::uint32_t face) const { return counts == nullptr ? 3 : counts[face]; }

    /// The end of a face that begins at corner `first`, at most the end of the readable corners.
    std::uint32_t end_of(std::uint32_t face, std::uint32_t first) const {
        const std::uint64_t end = std::uint64_t{first} + corners_of(face);
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(end, readable));
    }

    /// The corners of all faces, readable or not.
    std::uint64_t claimed_corners() const {
        if (counts == nullptr) return std::uint64_t{count} * 3;
        std::uint64_t corners = 0;
        for (std::uint32_t face = 0; face < count; ++face)
            corners += counts[face];
        return corners;
    }
};

} // namespace qel
