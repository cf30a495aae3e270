// SPDX-License-Identifier: MIT
#include "support/mesh_maker.h"

#include <cmath>
#include <cstring>

namespace qel::test {

namespace {

struct torus_point {
    float position[3], normal[3], uv[2], tangent[3], bitangent[3];
};

torus_point point_on_torus(std::uint32_t i, std::uint32_t j, std::uint32_t around, std::uint32_t across, float radius,
                           float tube) {
    const double turn = 6.283185307179586;
    const double u = turn * i / around, v = turn * j / across;
    const double ring = radius + tube * std::cos(v);
    const auto f = [](double value) { return static_cast<float>(value); };
    return {{f(ring * std::cos(u)), f(ring * std::sin(u)), f(tube * std::sin(v))},
            {f(std::cos(u) * std::cos(v)), f(std::sin(u) * std::cos(v)), f(std::sin(v))},
            {f(double(i) / around), f(double(j) / across)},
            {f(-std::sin(u)), f(std::cos(u)), 0.0f},
            {f(-std::cos(u) * std::sin(v)), f(-std::sin(u) * std::sin(v)), f(std::cos(v))}};
}

} // namespace

plain_mesh make_torus(std::uint32_t around, std::uint32_t across, float radius, float tube) {
    plain_mesh mesh;
    for (std::uint32_t i = 0; i < around; ++i)
        for (std::uint32_t j = 0; j < across; ++j) {
            const torus_point point = point_on_torus(i, j, around, across, radius, tube);
            mesh.positions.insert(mesh.positions.end(), point.position, point.position + 3);
            mesh.vertex_normals.insert(mesh.vertex_normals.end(), point.normal, point.normal + 3);
            mesh.vertex_uvs.insert(mesh.vertex_uvs.end(), point.uv, point.uv + 2);
            mesh.tangents.insert(mesh.tangents.end(), point.tangent, point.tangent + 3);
            mesh.bitangents.insert(mesh.bitangents.end(), point.bitangent, point.bitangent + 3);
        }
    for (std::uint32_t i = 0; i < around; ++i)
        for (std::uint32_t j = 0; j < across; ++j) {
            const std::uint32_t corners[4][2] = {{i, j}, {i + 1, j}, {i + 1, j + 1}, {i, j + 1}};
            mesh.face_counts.push_back(4);
            for (const auto &corner : corners) {
                const torus_point point = point_on_torus(corner[0], corner[1], around, across, radius, tube);
                mesh.face_indices.push_back(corner[0] % around * across + corner[1] % across);
                mesh.corner_normals.insert(mesh.corner_normals.end(), point.normal, point.normal + 3);
                mesh.corner_uvs.insert(mesh.corner_uvs.end(), point.uv, point.uv + 2);
            }
        }
    return mesh;
}

plain_mesh make_grid(std::uint32_t columns, std::uint32_t rows, bool triangles) {
    plain_mesh mesh;
    for (std::uint32_t y = 0; y <= rows; ++y)
        for (std::uint32_t x = 0; x <= columns; ++x) {
            mesh.positions.insert(mesh.positions.end(), {static_cast<float>(x), static_cast<float>(y), 0.0f});
        }
    for (std::uint32_t y = 0; y < rows; ++y)
        for (std::uint32_t x = 0; x < columns; ++x) {
            const std::uint32_t a = y * (columns + 1) + x, b = a + 1, d = a + columns + 1, c = d + 1;
            if (triangles) {
                mesh.face_counts.insert(mesh.face_counts.end(), {3, 3});
                mesh.face_indices.insert(mesh.face_indices.end(), {a, b, c, a, c, d});
            } else {
                mesh.face_counts.push_back(4);
                mesh.face_indices.insert(mesh.face_indices.end(), {a, b, c, d});
            }
        }
    return mesh;
}

plain_mesh make_random_mesh(std::mt19937 &random, std::uint32_t vertices, std::uint32_t faces, float reach,
                            std::uint32_t smallest, std::uint32_t largest) {
    plain_mesh mesh;
    std::uniform_real_distribution<float> coordinate(-reach, reach);
    for (std::uint32_t i = 0; i < vertices * 3; ++i)
        mesh.positions.push_back(coordinate(random));
    std::uniform_int_distribution<std::uint32_t> corners(smallest, largest);
    std::uniform_int_distribution<std::uint32_t> vertex(0, vertices - 1);
    for (std::uint32_t f = 0; f < faces; ++f) {
        mesh.face_counts.push_back(corners(random));
        for (std::uint32_t c = 0; c < mesh.face_counts.back(); ++c)
            mesh.face_indices.push_back(vertex(random));
    }
    return mesh;
}

ogawa_polymesh record_of(plain_mesh &mesh) {
    ogawa_polymesh record;
    std::memset(&record, 0, sizeof record);
    record.positions = mesh.positions.data();
    record.vertex_count = mesh.vertex_count();
    record.face_counts = mesh.face_counts.data();
    record.face_count = mesh.face_count();
    record.face_indices = mesh.face_indices.data();
    record.face_index_count = static_cast<std::uint32_t>(mesh.face_indices.size());
    return record;
}

void set_normals(ogawa_polymesh &record, std::vector<float> &normals, std::uint32_t scope) {
    record.normals = normals.data();
    record.normal_count = static_cast<std::uint32_t>(normals.size() / 3);
    record.normal_scope = scope;
}

} // namespace qel::test
