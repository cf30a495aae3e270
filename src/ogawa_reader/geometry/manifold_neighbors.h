// SPDX-License-Identifier: MIT
// The vertices that share a face with one vertex.
#pragma once

#include "common/cpu.h"
#include "ogawa_reader/geometry/vertex_faces.h"

#include <cstdint>

namespace qel {

/// A vertex and the corners of its faces.
struct vertex_star {
    std::uint32_t centre;
    face_list list;
    const std::uint32_t *face_offsets;
    const std::uint32_t *face_indices;
};

/// Allocates a list of the vertices of a star's faces, except the centre, in the order of their first appearance.
/// False, with nothing changed, when there is no memory.
using neighbors_function = bool(const vertex_star &star, std::uint32_t **neighbors, std::uint32_t *count);

extern dispatched<neighbors_function> neighbors_kernel;

} // namespace qel
