// SPDX-License-Identifier: MIT
// Saves a mesh with a skin to a cache file, maps the file, and replaces the mesh's positions by the skinned ones.
#include <qel_unit.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr double identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// A strip of quads along x: two vertices in each of `columns` columns.
struct strip {
    std::vector<float> positions;
    std::vector<std::uint32_t> corners, counts;
    std::vector<qel_skin_joint> joints;
    std::vector<qel_skin_weight> weights;
    ogawa_polymesh mesh{};
    qel_skin skin{};

    explicit strip(std::uint32_t columns) : joints(2) {
        for (std::uint32_t i = 0; i < columns; ++i) {
            const float x = static_cast<float>(i), second = x / static_cast<float>(columns - 1);
            positions.insert(positions.end(), {x, 0.0f, 0.0f, x, 1.0f, 0.0f});
            weights.insert(weights.end(), 2, {{0, 1, 0, 0}, {1.0f - second, second, 0.0f, 0.0f}});
            if (i == 0) continue;
            counts.push_back(4);
            corners.insert(corners.end(), {2 * i - 2, 2 * i, 2 * i + 1, 2 * i - 1});
        }
        for (qel_skin_joint &joint : joints)
            std::memcpy(joint.joint_transform, identity, sizeof identity);
        mesh.positions = positions.data();
        mesh.vertex_count = columns * 2;
        mesh.face_counts = counts.data();
        mesh.face_count = static_cast<std::uint32_t>(counts.size());
        mesh.face_indices = corners.data();
        mesh.face_index_count = static_cast<std::uint32_t>(corners.size());
        float box[6];
        ogawa_compute_bounds(mesh.positions, mesh.vertex_count, box);
        std::copy(box, box + 3, mesh.bounds_min);
        std::copy(box + 3, box + 6, mesh.bounds_max);
        skin.joints = joints.data();
        skin.joint_count = 2;
        skin.weights = weights.data();
        skin.weight_count = mesh.vertex_count;
    }
};

bool draw_skinned(const qel_mesh &cache) {
    const float *positions = nullptr;
    const std::uint32_t *indices = nullptr;
    std::uint32_t vertices = 0, triangles = 0;
    if (qel_mesh_get_gpu_data(&cache, &positions, nullptr, &indices, &vertices, &triangles) != 0) return false;
    if (cache.skin == nullptr || cache.skin->weight_count != vertices) return false;
    double poses[32];
    std::memcpy(poses, identity, sizeof identity);
    std::memcpy(poses + 16, identity, sizeof identity);
    poses[16 + 14] = 2.0; // the second joint moves by 2 along z
    std::vector<float> moved(std::size_t{vertices} * 3);
    qel_skin_apply(cache.skin, poses, positions, moved.data());
    std::printf("%u vertices, %u triangles, %u joints\n", vertices, triangles, cache.skin->joint_count);
    for (std::uint32_t i = 0; i < vertices; i += 2)
        std::printf("x %.0f rises to z %.2f\n", positions[i * 3], moved[i * 3 + 2]);
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const char *path = argc > 1 ? argv[1] : "strip.qelm";
    const strip strip(5);
    int code = qel_mesh_save(&strip.mesh, &strip.skin, path);
    if (code != 0) {
        std::fprintf(stderr, "%s could not be written: code %d\n", path, code);
        return 1;
    }
    qel_mesh cache;
    code = qel_mesh_load(path, &cache);
    if (code != 0) {
        std::fprintf(stderr, "%s could not be mapped: code %d\n", path, code);
        return 1;
    }
    const bool drawn = draw_skinned(cache);
    qel_mesh_free(&cache);
    if (!drawn) std::fprintf(stderr, "%s holds no skinned mesh\n", path);
    return drawn ? 0 : 1;
}
