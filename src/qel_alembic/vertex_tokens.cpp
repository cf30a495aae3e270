// SPDX-License-Identifier: MIT
#include "qel_alembic/vertex_tokens.h"

#include "common/bounds.h"

using namespace qel;

extern "C" {

void qel_alembic_compute_bounds(const float *positions, std::uint32_t vertex_count, float *bounds) {
    if (positions == nullptr || vertex_count == 0 || bounds == nullptr) return;
    compute_bounds(positions, vertex_count, bounds);
}

void qel_alembic_world_to_matrix(float x, float y, float z, const float *bounds, std::uint8_t *mx, std::uint8_t *my,
                                 std::uint8_t *mz) {
    if (bounds == nullptr) return;
    const lattice_box box = span_lattice(bounds);
    *mx = lattice_coordinate(x, box.low[0], box.span[0]);
    *my = lattice_coordinate(y, box.low[1], box.span[1]);
    *mz = lattice_coordinate(z, box.low[2], box.span[2]);
}

void qel_alembic_matrix_to_world(std::uint8_t mx, std::uint8_t my, std::uint8_t mz, const float *bounds, float *x,
                                 float *y, float *z) {
    if (bounds == nullptr) return;
    const auto coordinate = [bounds](std::uint8_t cell, int axis) {
        return static_cast<float>(cell) / 47.0f * (bounds[axis + 3] - bounds[axis]) + bounds[axis];
    };
    *x = coordinate(mx, 0);
    *y = coordinate(my, 1);
    *z = coordinate(mz, 2);
}

void qel_alembic_process_vertex(const float *position, const float *bounds, qel_alembic_vertex *out) {
    if (position == nullptr || bounds == nullptr || out == nullptr) return;
    place_vertex(position, span_lattice(bounds), *out);
}

void qel_alembic_generate_token(const qel_alembic_vertex *vertex, std::uint8_t layer, std::uint32_t mesh_index,
                                std::uint32_t vertex_index, qel_alembic_token *out) {
    if (vertex == nullptr || out == nullptr) return;
    make_token(*vertex, layer, mesh_index, vertex_index, *out);
}

} // extern "C"
