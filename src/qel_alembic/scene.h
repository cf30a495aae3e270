// SPDX-License-Identifier: MIT
// How many meshes and frames a scene really has: a count without an array, such as a load that ran out of memory
// leaves behind, counts nothing.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

inline std::uint32_t meshes_in(const qel_alembic_file &scene) {
    return scene.meshes != nullptr ? scene.mesh_count : 0;
}

inline std::uint32_t meshes_in(const qel_alembic_frame &frame) {
    return frame.meshes != nullptr ? frame.mesh_count : 0;
}

inline std::uint32_t frames_in(const qel_alembic_file &scene) {
    return scene.frames != nullptr ? scene.frame_count : 0;
}

} // namespace qel
