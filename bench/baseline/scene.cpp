// SPDX-License-Identifier: MIT
#include "baseline/scene.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

template <class T>
void put(std::FILE *stream, const T &value) {
    std::fwrite(&value, sizeof value, 1, stream);
}

/// One write for each record of an array.
template <class T>
void put_each(std::FILE *stream, const T *values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        put(stream, values[i]);
}

template <class T>
void get(std::FILE *stream, T &value) {
    if (std::fread(&value, sizeof value, 1, stream) != 1) std::memset(&value, 0, sizeof value);
}

/// Reads a new array record by record; null when there is no memory.
template <class T>
T *get_each(std::FILE *stream, std::size_t count) {
    T *const values = static_cast<T *>(std::malloc(count * sizeof(T) + 1));
    for (std::size_t i = 0; values != nullptr && i < count; ++i)
        get(stream, values[i]);
    return values;
}

struct triple {
    std::uint32_t words[3];
};

/// The fields of a file's header after its version, and those of a mesh before its arrays.
template <class Scene, class Visit>
void each_header_field(Scene &scene, Visit visit) {
    visit(scene.mesh_count);
    visit(scene.frame_count);
    visit(scene.total_vertices);
    visit(scene.total_faces);
    visit(scene.fps);
    visit(scene.time_start);
    visit(scene.time_end);
    visit(scene.flags);
}

template <class Mesh, class Visit>
void each_mesh_field(Mesh &mesh, Visit visit) {
    visit(mesh.name);
    visit(mesh.vertex_count);
    visit(mesh.face_count);
    visit(mesh.bounds);
    visit(mesh.reserved);
    visit(mesh.layer);
}

} // namespace

std::int32_t save(const char *path, const qel_alembic_file *scene) {
    std::FILE *const stream = std::fopen(path, "wb");
    if (stream == nullptr) return -1;
    const auto write = [stream](const auto &field) { put(stream, field); };
    std::fwrite("BQEL", 4, 1, stream);
    put(stream, std::uint32_t{1});
    each_header_field(*scene, write);
    const char zeros[16] = {};
    put(stream, zeros);
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene->meshes[m];
        each_mesh_field(mesh, write);
        put_each(stream, reinterpret_cast<const triple *>(mesh.positions), mesh.vertex_count);
        put_each(stream, reinterpret_cast<const triple *>(mesh.indices), mesh.face_count);
        put_each(stream, mesh.vertices, mesh.vertex_count);
        put_each(stream, mesh.tokens, mesh.vertex_count);
    }
    std::fclose(stream);
    return 0;
}

std::int32_t load(const char *path, qel_alembic_file *scene) {
    std::FILE *const stream = std::fopen(path, "rb");
    if (stream == nullptr) return -1;
    const auto read = [stream](auto &field) { get(stream, field); };
    char magic[4], zeros[16];
    get(stream, magic);
    get(stream, scene->version);
    each_header_field(*scene, read);
    get(stream, zeros);
    scene->meshes = static_cast<qel_alembic_mesh *>(std::calloc(scene->mesh_count, sizeof(qel_alembic_mesh)));
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m) {
        qel_alembic_mesh &mesh = scene->meshes[m];
        each_mesh_field(mesh, read);
        mesh.positions = reinterpret_cast<float *>(get_each<triple>(stream, mesh.vertex_count));
        mesh.indices = reinterpret_cast<std::uint32_t *>(get_each<triple>(stream, mesh.face_count));
        mesh.vertices = get_each<qel_alembic_vertex>(stream, mesh.vertex_count);
        mesh.tokens = get_each<qel_alembic_token>(stream, mesh.vertex_count);
    }
    std::fclose(stream);
    std::snprintf(scene->source, sizeof scene->source, "%.255s", path);
    return 0;
}

} // namespace qel::baseline
