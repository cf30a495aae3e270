// SPDX-License-Identifier: MIT
// A torus of quads as a mesh record, the input of the geometry rows.
#pragma once

#include "qel_unit.h"

#include "support/mesh_maker.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace qel::bench {

/// A record that borrows the arrays of a torus of `side` x `side` quads, with normals per corner and one UV set whose
/// indices are the corners' vertices.
struct mesh_input {
    explicit mesh_input(std::size_t side)
        : torus(test::make_torus(static_cast<std::uint32_t>(side), static_cast<std::uint32_t>(side), 3.0f, 1.0f)) {
        test::set_normals(mesh, torus.corner_normals, OGAWA_SCOPE_FACE_VARYING);
        std::strcpy(uvs.name, "uv");
        uvs.values = torus.vertex_uvs.data();
        uvs.value_count = mesh.vertex_count;
        uvs.indices = torus.face_indices.data();
        uvs.index_count = mesh.face_index_count;
        uvs.scope = OGAWA_SCOPE_FACE_VARYING;
        mesh.uv_sets = &uvs;
        mesh.uv_set_count = 1;
        ogawa_compute_bounds(mesh.positions, mesh.vertex_count, box);
        std::memcpy(mesh.bounds_min, box, sizeof mesh.bounds_min);
        std::memcpy(mesh.bounds_max, box + 3, sizeof mesh.bounds_max);
    }
    mesh_input(const mesh_input &) = delete;
    mesh_input &operator=(const mesh_input &) = delete;

    test::plain_mesh torus;
    ogawa_uv_set uvs = {};
    ogawa_polymesh mesh = test::record_of(torus);
    float box[6] = {};
};

/// The side of a torus of about `vertices` vertices.
inline std::size_t side_of(std::size_t vertices) {
    return static_cast<std::size_t>(std::lround(std::sqrt(static_cast<double>(vertices))));
}

} // namespace qel::bench
