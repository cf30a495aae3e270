// SPDX-License-Identifier: MIT
// A run of vertices on the lattice of their mesh's box.
#pragma once

#include "qel_alembic/vertex_tokens.h"

#include <cstdint>

namespace qel {

/// Up to `size` vertices at once, with the same arithmetic as place_vertex(), one quantity after the other, so that the
/// compiler vectorizes it.
struct lattice_run {
    static constexpr std::uint32_t size = 64;

    float position[3][size] = {};
    std::uint8_t cell[3][size];
    float phi_norm[size];
    float em_coupling[size];
    std::uint32_t morton[size];
    std::int8_t level[size];

    /// Places `count` vertices, at most `size`.
    void place(const float *positions, std::uint32_t count, const lattice_box &box) {
        for (std::uint32_t i = 0; i < count; ++i, positions += 3) {
            position[0][i] = positions[0];
            position[1][i] = positions[1];
            position[2][i] = positions[2];
        }
        for (int axis = 0; axis < 3; ++axis) {
            const float low = box.low[axis], span = box.span[axis]; // copies: the stores may alias the box
            for (std::uint32_t i = 0; i < size; ++i)
                cell[axis][i] = lattice_coordinate(position[axis][i], low, span);
        }
        for (std::uint32_t i = 0; i < size; ++i)
            phi_norm[i] = phi_norm_48(cell[0][i], cell[1][i], cell[2][i]);
        for (std::uint32_t i = 0; i < size; ++i)
            em_coupling[i] = coupling_of(phi_norm[i]);
        for (std::uint32_t i = 0; i < size; ++i)
            morton[i] = static_cast<std::uint32_t>(morton_48(cell[0][i], cell[1][i], cell[2][i]));
        for (std::uint32_t i = 0; i < size; ++i)
            level[i] = static_cast<std::int8_t>(level_48(cell[0][i], cell[1][i], cell[2][i]));
    }

    /// Fills everything but the padding and the topology.
    void fill(std::uint32_t i, qel_alembic_vertex &vertex) const {
        vertex.position[0] = position[0][i];
        vertex.position[1] = position[1][i];
        vertex.position[2] = position[2][i];
        vertex.matrix_x = cell[0][i];
        vertex.matrix_y = cell[1][i];
        vertex.matrix_z = cell[2][i];
        vertex.morton = morton[i];
        vertex.k11_level = level[i];
        vertex.i_state = state_48(level[i]);
        vertex.phi_norm = phi_norm[i];
        vertex.em_coupling = em_coupling[i];
    }
};

} // namespace qel
