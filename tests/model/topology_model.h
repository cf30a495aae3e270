// SPDX-License-Identifier: MIT
// A mesh turned into tokens vertex by vertex, each vertex walking all faces.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <vector>

namespace qel::model {

std::uint32_t topology_hash(std::uint32_t vertex, const std::vector<std::uint32_t> &indices);

qel_alembic_vertex process_vertex(const float *position, const float *bounds);

qel_alembic_token generate_token(const qel_alembic_vertex &vertex, std::uint8_t layer, std::uint32_t mesh,
                                 std::uint32_t index);

/// The results of processing a mesh of these arrays; padding is zero.
struct processed_mesh {
    std::vector<qel_alembic_vertex> vertices;
    std::vector<qel_alembic_token> tokens;
};
processed_mesh process_mesh(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                            const float *bounds, std::uint8_t layer);

} // namespace qel::model
