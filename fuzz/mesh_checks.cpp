// SPDX-License-Identifier: MIT
#include "mesh_checks.h"

#include "model/bounds_model.h"
#include "model/manifold_model.h"
#include "model/mesh_cache_model.h"
#include "model/skin_model.h"
#include "model/tangent_model.h"
#include "model/verify_model.h"

#include <algorithm>
#include <random>

namespace qel::fuzz {

namespace {

constexpr std::uint64_t max_corners = 300'000;
constexpr std::uint32_t looked_at = 24; // vertices of a mesh whose neighbours are compared

bool same_numbers(const std::uint32_t *numbers, const std::vector<std::uint32_t> &expected) {
    return std::equal(expected.begin(), expected.end(), numbers);
}

void check_neighbors(const ogawa_polymesh &mesh, const model::plain_manifold &expected, std::uint32_t vertex) {
    // Exactly the fields that the function may read.
    struct face_fields {
        const std::uint32_t *counts;
        std::uint32_t count;
        const std::uint32_t *indices;
    };
    const exact<face_fields> fields({{mesh.face_counts, mesh.face_count, mesh.face_indices}});
    std::uint32_t *neighbors = nullptr;
    std::uint32_t count = 0;
    require(ogawa_get_vertex_neighbors(&mesh.manifold, fields, vertex, &neighbors, &count) == 0);
    const std::vector<std::uint32_t> plain = model::plain_neighbors(expected, mesh.face_indices, vertex);
    require(count == plain.size() && same_numbers(neighbors, plain));
    std::free(neighbors);
}

/// The number of corners of a vertex's faces; the plain search among them takes quadratic time.
std::uint64_t corners_around(const model::plain_manifold &manifold, std::uint32_t vertex) {
    std::uint64_t corners = 0;
    for (std::uint32_t i = manifold.vertex_face_offsets[vertex]; i < manifold.vertex_face_offsets[vertex + 1]; ++i) {
        const std::uint32_t face = manifold.vertex_faces[i];
        corners += manifold.face_offsets[face + 1] - manifold.face_offsets[face];
    }
    return corners;
}

/// Summed normals may be NaNs; everything else is copied.
void check_same_file(const bytes &content, const bytes &expected) {
    require(content.size() == expected.size());
    qel_mesh_header header;
    std::memcpy(&header, expected.data(), sizeof header);
    const std::size_t positions = std::size_t{header.vertex_count} * 12;
    const std::size_t normals_at = sizeof header + positions;
    std::size_t rest = normals_at;
    require(std::memcmp(content.data(), expected.data(), normals_at) == 0);
    if ((header.flags & QEL_MESH_HAS_NORMALS) != 0) {
        require(same_floats(&content[normals_at], &expected[normals_at], std::size_t{header.vertex_count} * 3));
        rest += positions;
    }
    require(std::equal(content.begin() + static_cast<std::ptrdiff_t>(rest), content.end(),
                       expected.begin() + static_cast<std::ptrdiff_t>(rest)));
}

void check_gpu_data(const qel_mesh &mesh) {
    const float *positions = nullptr, *normals = nullptr;
    const std::uint32_t *indices = nullptr;
    std::uint32_t vertices = 0, triangles = 0;
    require(qel_mesh_get_gpu_data(&mesh, &positions, &normals, &indices, &vertices, &triangles) == 0);
    require(positions == mesh.positions && normals == mesh.normals && indices == mesh.indices);
    require(vertices == mesh.header.vertex_count && triangles == mesh.header.triangle_count);
    require(qel_mesh_get_gpu_data(&mesh, nullptr, nullptr, nullptr, nullptr, nullptr) == 0);
}

} // namespace

bool models_are_quick(const ogawa_polymesh &mesh) {
    std::uint64_t corners = 0;
    for (std::uint32_t f = 0; f < mesh.face_count && corners <= max_corners; ++f)
        corners += mesh.face_counts != nullptr ? mesh.face_counts[f] : 3;
    return corners <= max_corners && mesh.vertex_count <= max_corners;
}

void check_manifold(ogawa_polymesh &mesh) {
    require(ogawa_build_manifold(&mesh) == (mesh.vertex_count == 0 ? -1 : 0));
    if (mesh.vertex_count == 0) return;
    const ogawa_manifold &manifold = mesh.manifold;
    require(manifold.vertex_count == mesh.vertex_count && manifold.face_count == mesh.face_count);
    require(manifold.face_vertices == mesh.face_indices && ogawa_is_manifold_closed(&manifold) == 0);
    const model::plain_manifold expected = model::build_plain_manifold(mesh);
    require(same_numbers(manifold.vertex_face_offsets, expected.vertex_face_offsets));
    require(same_numbers(manifold.vertex_faces, expected.vertex_faces));
    require(same_numbers(manifold.face_offsets, expected.face_offsets));
    for (std::uint32_t vertex = 0; vertex < mesh.vertex_count; vertex += 1 + mesh.vertex_count / looked_at) {
        const std::uint32_t *faces = nullptr;
        std::uint32_t count = 0;
        require(ogawa_get_vertex_faces(&manifold, vertex, &faces, &count) == 0);
        require(faces == manifold.vertex_faces + expected.vertex_face_offsets[vertex]);
        require(count == expected.vertex_face_offsets[vertex + 1] - expected.vertex_face_offsets[vertex]);
        if (corners_around(expected, vertex) < 3000) check_neighbors(mesh, expected, vertex);
    }
    require(ogawa_get_vertex_faces(&manifold, mesh.vertex_count, nullptr, nullptr) == -1);
    require(ogawa_get_vertex_neighbors(&manifold, &mesh, mesh.vertex_count, nullptr, nullptr) == -1);
    ogawa_free_manifold(&mesh.manifold);
}

void check_tangents(ogawa_polymesh &mesh, const char *set_name) {
    const ogawa_uv_set *set = nullptr;
    for (std::uint32_t i = 0; mesh.uv_sets != nullptr && i < mesh.uv_set_count && set == nullptr; ++i)
        if (set_name == nullptr || std::strncmp(mesh.uv_sets[i].name, set_name, 64) == 0) set = &mesh.uv_sets[i];
    const std::int32_t status = ogawa_compute_tangent_frame(&mesh, set_name);
    if (mesh.vertex_count == 0 || mesh.uv_set_count == 0) return require(status == -1);
    if (set == nullptr) return require(status == -2);
    require(status == 0 && mesh.tangent_frame.count == mesh.vertex_count && mesh.tangent_frame.components == 3);
    const model::plain_tangent_frame expected = model::compute_plain_tangent_frame(mesh, *set);
    require(same_floats(mesh.tangent_frame.tangents, expected.tangents.data(), expected.tangents.size()));
    require(same_floats(mesh.tangent_frame.bitangents, expected.bitangents.data(), expected.bitangents.size()));
    ogawa_free_tangent_frame(&mesh.tangent_frame);
}

void check_positions(const ogawa_polymesh &mesh) {
    const std::uint32_t count = mesh.vertex_count;
    if (mesh.positions == nullptr || count == 0) return;
    float expected[6], bounds[6], tokens_bounds[6];
    model::bounds(mesh.positions, count, expected);
    ogawa_compute_bounds(mesh.positions, count, bounds);
    qel_alembic_compute_bounds(mesh.positions, count, tokens_bounds);
    require(std::memcmp(bounds, expected, sizeof expected) == 0);
    require(std::memcmp(tokens_bounds, expected, sizeof expected) == 0);

    qel_mesh_verify_report report;
    const float *const b = bounds;
    const std::int32_t valid =
        qel_mesh_verify_identity(mesh.positions, count, b[0], b[1], b[2], b[3], b[4], b[5], &report);
    const std::uint32_t minus = model::p_minus_p(mesh.positions, count);
    const std::uint32_t div = model::p_div_p(mesh.positions, count);
    const float coherence = model::bounds_coherence(b, b + 3);
    require(report.p_minus_p_ok == minus && report.p_div_p_ok == div && report.vertex_count == count);
    require(report.valid == (minus & div) && static_cast<std::uint32_t>(valid) == report.valid);
    require(same_floats(&report.coherence, &coherence, 1));
    require(qel_mesh_is_static_valid(mesh.positions, count) == (minus & div));
}

void check_triangulation(const ogawa_polymesh &mesh) {
    const std::uint32_t corners = std::min(mesh.face_index_count, 40u);
    if (mesh.face_indices == nullptr) return;
    const std::vector<std::uint32_t> face(mesh.face_indices, mesh.face_indices + corners);
    const exact<std::uint32_t> corner_array(face);
    std::uint32_t *triangles = nullptr;
    std::uint32_t count = 0;
    const std::int32_t status = ogawa_triangulate_face(corner_array, corners, &triangles, &count);
    require(status == (corners < 3 ? -1 : 0) && count == (corners < 3 ? 0 : corners - 2));
    for (std::size_t t = 0; t < count; ++t)
        require(triangles[t * 3] == face[0] && triangles[t * 3 + 1] == face[t + 1] &&
                triangles[t * 3 + 2] == face[t + 2]);
    std::free(triangles);
}

void check_saving(const ogawa_polymesh &mesh, const qel_skin *skin) {
    if (model::triangle_count(mesh) > max_corners || !models_are_quick(mesh)) return;
    const memory_file file;
    const model::saved_mesh expected = model::save_mesh(mesh, skin);
    require(qel_mesh_save(&mesh, skin, file.path()) == expected.status);
    const bytes content = file.content();
    if (expected.status != 0) return require(content.empty());
    check_same_file(content, expected.content);
    check_cache_file(content);
}

void check_mesh(ogawa_polymesh &mesh) {
    if (!models_are_quick(mesh)) return;
    check_positions(mesh);
    check_triangulation(mesh);
    check_manifold(mesh);
    check_tangents(mesh, nullptr);
    check_saving(mesh, nullptr);
}

void check_skin(const qel_skin &skin, std::uint32_t seed) {
    constexpr float values[] = {0.0f, 1.0f, -1.0f, 0.5f, 3e38f, 1e-30f, 1234.5f};
    std::minstd_rand random(seed);
    const auto any = [&random, &values] { return values[random() % std::size(values)]; };
    std::vector<double> poses(std::size_t{skin.joint_count} * 16);
    std::vector<float> positions(std::size_t{skin.weight_count} * 3);
    std::generate(poses.begin(), poses.end(), any);
    std::generate(positions.begin(), positions.end(), any);
    const std::vector<float> expected = model::skin_apply(skin, poses, positions);
    const exact<double> exact_poses(poses);
    const exact<float> in(positions), out(positions);
    qel_skin_apply(&skin, exact_poses, in, out);
    require(same_floats(out, expected.data(), expected.size()));
    qel_skin_apply(&skin, exact_poses, in, in); // in place
    require(same_floats(in, expected.data(), expected.size()));
}

void check_cache_file(const bytes &content) {
    const memory_file file(content);
    const model::loaded_mesh expected = model::load_mesh(content);
    qel_mesh mesh;
    std::memset(&mesh, 0xA5, sizeof mesh);
    require(qel_mesh_load(file.path(), &mesh) == expected.status);
    if (expected.status == 0) {
        require(model::difference(mesh, content, expected) == nullptr);
        check_gpu_data(mesh);
        if (mesh.skin != nullptr) check_skin(*mesh.skin, 1 + mesh.header.reserved % 1000);
    }
    qel_mesh_free(&mesh);
    static const qel_mesh cleared = {};
    require(std::memcmp(&mesh, &cleared, sizeof mesh) == 0);
    require(qel_mesh_get_gpu_data(&mesh, nullptr, nullptr, nullptr, nullptr, nullptr) == -1);
}

} // namespace qel::fuzz
