// SPDX-License-Identifier: MIT
#include "qel_alembic/vertex_tokens.h"

#include "common/bounds.h"

extern "C" {

void qel_alembic_compute_bounds(const float *positions, uint32_t vertex_count, float *bounds) {
    if (positions == nullptr || vertex_count == 0 || bounds == nullptr) return;
    qel::compute_bounds(positions, vertex_count, bounds);
}

void qel_alembic_world_to_matrix(float x, float y, float z, const float *bounds, uint8_t *mx, uint8_t *my,
                                 uint8_t *mz) {
    if (bounds == nullptr) return;
    const qel::lattice_box box = qel::span_lattice(bounds);
    *mx = qel::lattice_coordinate(x, box.low[0], box.span[0]);
    *my = qel::lattice_coordinate(y, box.low[1], box.span[1]);
    *mz = qel::lattice_coordinate(z, box.low[2], box.span[2]);
}

void qel_alembic_matrix_to_world(uint8_t mx, uint8_t my, uint8_t mz, const float *bounds, float *x, float *y,
                                 float *z) {
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
    qel::place_vertex(position, qel::span_lattice(bounds), *out);
}

void qel_alembic_generate_token(const qel_alembic_vertex *vertex, uint8_t layer, uint32_t mesh_index,
                                uint32_t vertex_index, qel_alembic_token *out) {
    if (vertex == nullptr || out == nullptr) return;
    qel::make_token(*vertex, layer, mesh_index, vertex_index, *out);
}

} // extern "C"
