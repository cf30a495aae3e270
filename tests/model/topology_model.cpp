// SPDX-License-Identifier: MIT
#include "model/topology_model.h"

#include "model/matrix_model.h"

#include <cstdio>
#include <cstring>

namespace qel::model {

namespace {

std::uint8_t coordinate(float value, float low, float high) {
    float span = high - low;
    if (span < 0.0001f) span = 1.0f;
    const float s = (value - low) / span * 47.0f;
    if (s < 0.0f) return 0;
    if (s > 47.0f) return 47;
    if (s != s) return 0;
    return static_cast<std::uint8_t>(static_cast<int>(s));
}

} // namespace

std::uint32_t topology_hash(std::uint32_t vertex, const std::vector<std::uint32_t> &indices) {
    if (indices.empty()) return 0;
    std::uint32_t h = 0x5A5A5A5A;
    for (std::size_t f = 0; f < indices.size(); f += 3) {
        const std::uint32_t a = indices[f], b = indices[f + 1], c = indices[f + 2];
        if (a != vertex && b != vertex && c != vertex) continue;
        const std::uint32_t mixed = (a * 0x1F1F1F1Fu) ^ (b * 0x2E2E2E2Eu) ^ h ^ (c * 0x3D3D3D3Du);
        h = (mixed << 5) | (mixed >> 27);
    }
    return h;
}

qel_alembic_vertex process_vertex(const float *position, const float *bounds) {
    qel_alembic_vertex v;
    std::memset(&v, 0, sizeof v);
    std::memcpy(v.position, position, 12);
    v.matrix_x = coordinate(position[0], bounds[0], bounds[3]);
    v.matrix_y = coordinate(position[1], bounds[1], bounds[4]);
    v.matrix_z = coordinate(position[2], bounds[2], bounds[5]);
    const qel_matrix_identity cell = identity(v.matrix_x, v.matrix_y, v.matrix_z);
    v.phi_norm = cell.phi_norm;
    v.morton = cell.morton;
    float coupling = v.phi_norm / 48.0f;
    coupling = coupling + 1.0f;
    v.em_coupling = coupling * 10.665754f;
    v.k11_level = cell.k11_level;
    v.i_state = static_cast<std::int8_t>(cell.i_state);
    return v;
}

qel_alembic_token generate_token(const qel_alembic_vertex &vertex, std::uint8_t layer, std::uint32_t mesh,
                                 std::uint32_t index) {
    qel_alembic_token token;
    std::memset(&token, 0, sizeof token);
    char text[9];
    std::snprintf(text, sizeof text, "%08X", (index & 0xFFFFFFu) | (mesh << 24));
    std::memcpy(token.hex_id, text, 8);
    token.morton = vertex.morton;
    token.layer = layer;
    token.payload = vertex.topology;
    token.payload ^= vertex.morton;
    token.payload ^= static_cast<std::uint64_t>(vertex.matrix_x) << 48;
    token.payload ^= static_cast<std::uint64_t>(vertex.matrix_y) << 40;
    token.payload ^= static_cast<std::uint64_t>(vertex.matrix_z) << 32;
    return token;
}

processed_mesh process_mesh(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                            const float *bounds, std::uint8_t layer) {
    processed_mesh mesh;
    for (std::uint32_t i = 0; i < positions.size() / 3; ++i) {
        qel_alembic_vertex vertex = process_vertex(&positions[3 * i], bounds);
        vertex.topology = topology_hash(i, indices);
        mesh.vertices.push_back(vertex);
        mesh.tokens.push_back(generate_token(vertex, layer, 0, i));
    }
    return mesh;
}

} // namespace qel::model
