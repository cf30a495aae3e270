// SPDX-License-Identifier: MIT
// One vertex on the lattice of its mesh's box, and its token.
#pragma once

#include "common/text.h"
#include "qel_unit.h"
#include "qel_unit/matrix_48.h"

#include <cstddef>
#include <cstdint>

namespace qel {

// Both records are written to scene files as they are in memory.
static_assert(sizeof(qel_alembic_vertex) == 40);
static_assert(offsetof(qel_alembic_vertex, matrix_x) == 12);
static_assert(offsetof(qel_alembic_vertex, matrix_y) == 13);
static_assert(offsetof(qel_alembic_vertex, matrix_z) == 14);
static_assert(offsetof(qel_alembic_vertex, morton) == 16);
static_assert(offsetof(qel_alembic_vertex, k11_level) == 24);
static_assert(offsetof(qel_alembic_vertex, i_state) == 25);
static_assert(offsetof(qel_alembic_vertex, phi_norm) == 28);
static_assert(offsetof(qel_alembic_vertex, em_coupling) == 32);
static_assert(offsetof(qel_alembic_vertex, topology) == 36);

static_assert(sizeof(qel_alembic_token) == 32);
static_assert(offsetof(qel_alembic_token, hex_id) == 8);
static_assert(offsetof(qel_alembic_token, payload) == 16);
static_assert(offsetof(qel_alembic_token, layer) == 24);

constexpr float min_span = 0.0001f;

/// The lattice spanned over a box.
struct lattice_box {
    float low[3];
    float span[3]; // 1 on an axis that is shorter than min_span
};

inline lattice_box span_lattice(const float *bounds) {
    lattice_box box;
    for (int axis = 0; axis < 3; ++axis) {
        const float span = bounds[axis + 3] - bounds[axis];
        box.low[axis] = bounds[axis];
        box.span[axis] = span < min_span ? 1.0f : span;
    }
    return box;
}

/// Truncates, so that only values at or beyond the box's maximum are in the last cell.
inline std::uint8_t lattice_coordinate(float value, float low, float span) {
    constexpr float last_cell = lattice_edge - 1;
    const float scaled = (value - low) / span * last_cell;
    if (!(scaled >= 0.0f)) return 0; // also for NaN
    return static_cast<std::uint8_t>(scaled > last_cell ? last_cell : scaled);
}

inline float coupling_of(float phi_norm) {
    // Single precision throughout, unlike the coupling of the matrix algebra.
    return (phi_norm / static_cast<float>(lattice_edge) + 1.0f) * 10.665754f;
}

/// Fills everything but the padding; the topology becomes 0.
inline void place_vertex(const float *position, const lattice_box &box, qel_alembic_vertex &vertex) {
    const std::uint8_t x = lattice_coordinate(position[0], box.low[0], box.span[0]);
    const std::uint8_t y = lattice_coordinate(position[1], box.low[1], box.span[1]);
    const std::uint8_t z = lattice_coordinate(position[2], box.low[2], box.span[2]);
    const int level = level_48(x, y, z);
    vertex.position[0] = position[0];
    vertex.position[1] = position[1];
    vertex.position[2] = position[2];
    vertex.matrix_x = x;
    vertex.matrix_y = y;
    vertex.matrix_z = z;
    vertex.morton = morton_48(x, y, z);
    vertex.k11_level = static_cast<std::int8_t>(level);
    vertex.i_state = state_48(level);
    vertex.phi_norm = phi_norm_48(x, y, z);
    vertex.em_coupling = coupling_of(vertex.phi_norm);
    vertex.topology = 0;
}

/// Fills everything but the padding.
inline void make_token(const qel_alembic_vertex &vertex, std::uint8_t layer, std::uint32_t mesh_index,
                       std::uint32_t vertex_index, qel_alembic_token &token) {
    token.morton = vertex.morton;
    write_hex8((vertex_index & 0xFFFFFF) | mesh_index << 24, token.hex_id);
    token.layer = layer;
    token.payload = vertex.topology ^ vertex.morton ^ std::uint64_t{vertex.matrix_x} << 48 ^
                    std::uint64_t{vertex.matrix_y} << 40 ^ std::uint64_t{vertex.matrix_z} << 32;
}

} // namespace qel
