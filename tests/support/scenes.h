// SPDX-License-Identifier: MIT
// Token scenes to test with.
#pragma once

#include "qel_unit.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace qel::test {

/// A copy of an array that a record may own.
template <class T>
T *owned_copy(const std::vector<T> &values) {
    T *copy = static_cast<T *>(std::malloc(values.size() * sizeof(T) + 1));
    if (!values.empty()) std::memcpy(copy, values.data(), values.size() * sizeof(T));
    return copy;
}

/// A mesh record, released at the end of its scope.
struct owned_mesh {
    qel_alembic_mesh mesh = {};
    owned_mesh() = default;
    ~owned_mesh() { qel_alembic_mesh_free(&mesh); }
    owned_mesh(const owned_mesh &) = delete;
    owned_mesh &operator=(const owned_mesh &) = delete;
};

/// Processes a mesh of positions and triangles.
inline std::int32_t load_raw(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                             qel_alembic_mesh &mesh, const char *name = "mesh") {
    return qel_alembic_load_raw(positions.data(), static_cast<std::uint32_t>(positions.size() / 3),
                                indices.empty() ? nullptr : indices.data(),
                                static_cast<std::uint32_t>(indices.size() / 3), name, &mesh);
}

/// A scene that grows, released at the end of its scope.
struct owned_scene {
    qel_alembic_file scene = {};
    std::uint32_t room = 0; // for meshes
    owned_scene() = default;
    ~owned_scene() { qel_alembic_free(&scene); }
    owned_scene(const owned_scene &) = delete;
    owned_scene &operator=(const owned_scene &) = delete;

    /// A mesh processed from positions and triangles.
    qel_alembic_mesh &add_mesh(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                               const char *name = "mesh") {
        qel_alembic_mesh &mesh = add_empty_mesh();
        load_raw(positions, indices, mesh, name);
        return mesh;
    }

    /// A mesh of vertex records and tokens with given keys; its positions are zero.
    qel_alembic_mesh &add_keys(const std::vector<std::uint64_t> &keys, std::uint8_t layer = 1) {
        qel_alembic_mesh &mesh = add_empty_mesh();
        mesh.vertex_count = static_cast<std::uint32_t>(keys.size());
        mesh.layer = layer;
        mesh.positions = owned_copy(std::vector<float>(keys.size() * 3));
        mesh.vertices = owned_copy(std::vector<qel_alembic_vertex>(keys.size()));
        mesh.tokens = owned_copy(std::vector<qel_alembic_token>(keys.size()));
        for (std::size_t i = 0; i < keys.size(); ++i) {
            mesh.vertices[i].morton = mesh.tokens[i].morton = keys[i];
            mesh.tokens[i].layer = layer;
        }
        return mesh;
    }

    qel_alembic_mesh &add_empty_mesh() {
        if (scene.mesh_count >= room) {
            room = std::max(scene.mesh_count + 1, room * 2);
            scene.meshes = static_cast<qel_alembic_mesh *>(std::realloc(scene.meshes, room * sizeof *scene.meshes));
        }
        qel_alembic_mesh &mesh = scene.meshes[scene.mesh_count++];
        std::memset(&mesh, 0, sizeof mesh);
        return mesh;
    }

    /// A frame with one mesh for each array of positions.
    qel_alembic_frame &add_frame(std::int32_t number, float time, const std::vector<std::vector<float>> &meshes) {
        scene.frames = static_cast<qel_alembic_frame *>(
            std::realloc(scene.frames, (scene.frame_count + 1) * sizeof(qel_alembic_frame)));
        qel_alembic_frame &frame = scene.frames[scene.frame_count++];
        frame.frame = number;
        frame.time = time;
        frame.mesh_count = static_cast<std::uint32_t>(meshes.size());
        frame.meshes = owned_copy(std::vector<qel_alembic_mesh>(meshes.size()));
        for (std::size_t i = 0; i < meshes.size(); ++i) {
            frame.meshes[i].vertex_count = static_cast<std::uint32_t>(meshes[i].size() / 3);
            frame.meshes[i].positions = owned_copy(meshes[i]);
        }
        return frame;
    }
};

inline std::vector<float> random_positions(std::mt19937 &random, std::size_t count, float reach = 10.0f) {
    std::uniform_real_distribution<float> coordinate(-reach, reach);
    std::vector<float> positions(count * 3);
    for (float &value : positions)
        value = coordinate(random);
    return positions;
}

/// Triangles; a vertex may repeat in one, and with `beyond` some numbers are not below `vertices`.
inline std::vector<std::uint32_t> random_triangles(std::mt19937 &random, std::uint32_t vertices, std::size_t count,
                                                   std::uint32_t beyond = 0) {
    std::uniform_int_distribution<std::uint32_t> vertex(0, vertices + beyond - 1);
    std::vector<std::uint32_t> indices(count * 3);
    for (std::uint32_t &index : indices)
        index = vertex(random);
    return indices;
}

} // namespace qel::test
