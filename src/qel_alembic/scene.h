// SPDX-License-Identifier: MIT
// The number of meshes and frames that a scene holds, and the hit for one of its vertices.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

// A count without an array, as a load without memory leaves it, is 0.

inline std::uint32_t meshes_in(const qel_alembic_file &scene) {
    return scene.meshes != nullptr ? scene.mesh_count : 0;
}

inline std::uint32_t meshes_in(const qel_alembic_frame &frame) {
    return frame.meshes != nullptr ? frame.mesh_count : 0;
}

inline std::uint32_t frames_in(const qel_alembic_file &scene) {
    return scene.frames != nullptr ? scene.frame_count : 0;
}

inline qel_alembic_hit hit_at(const qel_alembic_mesh &mesh, std::uint32_t mesh_index, std::uint32_t vertex_index) {
    qel_alembic_hit hit = {};
    hit.mesh_index = mesh_index;
    hit.vertex_index = vertex_index;
    hit.vertex = mesh.vertices != nullptr ? mesh.vertices + vertex_index : nullptr;
    hit.token = mesh.tokens != nullptr ? mesh.tokens + vertex_index : nullptr;
    return hit;
}

} // namespace qel
