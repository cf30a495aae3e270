// SPDX-License-Identifier: MIT
#include "golden/inputs.h"

namespace qel::test {

void append_unit_vector(noise &random, std::vector<float> &out) {
    static constexpr float vectors[4][3] = {
        {1.0f / 3, 2.0f / 3, 2.0f / 3}, {0.6f, 0.8f, 0.0f}, {0.0f, 0.6f, -0.8f}, {-0.8f, 0.0f, 0.6f}};
    const float *const vector = vectors[random.below(4)];
    const std::uint32_t turn = random.below(3);
    const float sign = random.below(2) == 0 ? 1.0f : -1.0f;
    for (std::uint32_t axis = 0; axis < 3; ++axis)
        out.push_back(sign * vector[(axis + turn) % 3]);
}

plain_mesh make_sheet(std::uint64_t seed, std::uint32_t columns, std::uint32_t rows) {
    noise random(seed);
    plain_mesh mesh = make_grid(columns, rows, false);
    for (std::uint32_t i = 0; i < mesh.vertex_count(); ++i) {
        mesh.positions[i * 3] *= 0.5f;
        mesh.positions[i * 3 + 2] = random.coordinate(8);
        append_unit_vector(random, mesh.vertex_normals);
        append_unit_vector(random, mesh.tangents);
        append_unit_vector(random, mesh.bitangents);
        mesh.vertex_uvs.insert(mesh.vertex_uvs.end(), {random.coordinate(1), random.coordinate(1)});
    }
    for (std::size_t corner = 0; corner < mesh.face_indices.size(); ++corner) {
        append_unit_vector(random, mesh.corner_normals);
        mesh.corner_uvs.insert(mesh.corner_uvs.end(), {random.coordinate(2), random.coordinate(2)});
    }
    return mesh;
}

plain_mesh make_tangle(std::uint64_t seed, std::uint32_t vertices, std::uint32_t faces) {
    noise random(seed);
    plain_mesh mesh;
    for (std::uint32_t i = 0; i < vertices * 3; ++i)
        mesh.positions.push_back(random.coordinate(100));
    for (std::uint32_t f = 0; f < faces; ++f) {
        mesh.face_counts.push_back(random.below(7));
        for (std::uint32_t c = 0; c < mesh.face_counts.back(); ++c)
            mesh.face_indices.push_back(random.below(vertices + (f % 16 == 0 ? 3 : 0)));
    }
    return mesh;
}

} // namespace qel::test
