// SPDX-License-Identifier: MIT
// The positions scan and the mesh-data search in their plainest form: a seek and a small read at every step.
#pragma once

#include <cstdint>
#include <cstdio>

namespace qel::model {

/// Returns 0, -1 or -2; on 0, and on a late -1, `*positions` is for the caller to free.
int scan_positions(std::FILE *stream, float **positions, std::uint32_t *count);

/// Position and size of positions, UVs, normals, face counts and the reserved pair.
struct mesh_locations {
    std::uint64_t positions_at, positions_size, uvs_at, uvs_size, normals_at, normals_size, face_counts_at,
        face_counts_size, reserved_at, reserved_size;
};

void find_mesh_data(std::FILE *stream, mesh_locations *out);

} // namespace qel::model
