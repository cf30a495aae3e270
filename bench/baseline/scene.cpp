// SPDX-License-Identifier: MIT
#include "baseline/scene.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

constexpr std::uint32_t slots = 0x800000;

std::uint64_t newton_root_of(std::uint64_t value) {
    if (value < 2) return value;
    std::uint64_t x = value, y = (value / x + x) >> 1;
    while (y < x) {
        x = y;
        y = (value / x + x) >> 1;
    }
    return x;
}

} // namespace

std::int32_t build_index(qel_alembic_file *scene) {
    if (scene == nullptr || scene->mesh_count == 0) return -1;
    std::uint64_t total = 0;
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m)
        total += scene->meshes[m].vertex_count;
    scene->total_vertices = scene->total_tokens = total;
    scene->hash_size = slots;
    scene->hash = static_cast<std::uint32_t *>(std::malloc(slots * sizeof(std::uint32_t)));
    if (scene->hash == nullptr) return -4;
    std::memset(scene->hash, 0xFF, slots * sizeof(std::uint32_t));
    std::uint32_t number = 0;
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m)
        for (std::uint32_t v = 0; v < scene->meshes[m].vertex_count && number < slots; ++v) {
            const std::uint64_t key = scene->meshes[m].vertices[v].morton;
            std::uint32_t slot = static_cast<std::uint32_t>(key ^ (key >> 32)) & (slots - 1);
            while (scene->hash[slot] != 0xFFFFFFFF)
                slot = (slot + 1) & (slots - 1);
            scene->hash[slot] = number++;
        }
    return 0;
}

std::uint32_t query_nearest(const qel_alembic_file *scene, std::uint64_t morton, std::int32_t k,
                            qel_alembic_hit *results) {
    struct entry {
        std::uint32_t mesh, vertex;
        std::uint64_t distance;
    };
    if (scene == nullptr || results == nullptr || k < 1) return 0;
    const auto size = static_cast<std::size_t>(k);
    entry *const list = static_cast<entry *>(std::malloc(size * sizeof(entry)));
    if (list == nullptr) return 0;
    for (std::size_t i = 0; i < size; ++i)
        list[i] = {0, 0, UINT64_MAX};
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m)
        for (std::uint32_t v = 0; v < scene->meshes[m].vertex_count; ++v) {
            const std::uint64_t key = scene->meshes[m].vertices[v].morton;
            const std::uint64_t distance = newton_root_of(key > morton ? key - morton : morton - key);
            if (distance >= list[size - 1].distance) continue;
            list[size - 1] = {m, v, distance};
            for (std::size_t i = size - 1; i > 0 && list[i].distance < list[i - 1].distance; --i) {
                const entry moved = list[i];
                list[i] = list[i - 1];
                list[i - 1] = moved;
            }
        }
    std::uint32_t found = 0;
    for (; found < size && list[found].distance != UINT64_MAX; ++found) {
        const qel_alembic_mesh &mesh = scene->meshes[list[found].mesh];
        const std::uint32_t v = list[found].vertex;
        results[found] = {list[found].mesh,
                          v,
                          0,
                          mesh.vertices + v,
                          mesh.tokens + v,
                          static_cast<float>(list[found].distance)};
    }
    std::free(list);
    return found;
}

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

/// A new array, read record by record; null when there is no memory.
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

} // namespace

std::int32_t save(const char *path, const qel_alembic_file *scene) {
    std::FILE *const stream = std::fopen(path, "wb");
    if (stream == nullptr) return -1;
    std::fwrite("BQEL", 4, 1, stream);
    put(stream, std::uint32_t{1});
    put(stream, scene->mesh_count);
    put(stream, scene->frame_count);
    put(stream, scene->total_vertices);
    put(stream, scene->total_faces);
    put(stream, scene->fps);
    put(stream, scene->time_start);
    put(stream, scene->time_end);
    put(stream, scene->flags);
    const char zeros[16] = {};
    put(stream, zeros);
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene->meshes[m];
        put(stream, mesh.name);
        put(stream, mesh.vertex_count);
        put(stream, mesh.face_count);
        put(stream, mesh.bounds);
        put(stream, mesh.reserved);
        put(stream, mesh.layer);
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
    char magic[4], zeros[16];
    get(stream, magic);
    get(stream, scene->version);
    get(stream, scene->mesh_count);
    get(stream, scene->frame_count);
    get(stream, scene->total_vertices);
    get(stream, scene->total_faces);
    get(stream, scene->fps);
    get(stream, scene->time_start);
    get(stream, scene->time_end);
    get(stream, scene->flags);
    get(stream, zeros);
    scene->meshes = static_cast<qel_alembic_mesh *>(std::calloc(scene->mesh_count, sizeof(qel_alembic_mesh)));
    for (std::uint32_t m = 0; m < scene->mesh_count; ++m) {
        qel_alembic_mesh &mesh = scene->meshes[m];
        get(stream, mesh.name);
        get(stream, mesh.vertex_count);
        get(stream, mesh.face_count);
        get(stream, mesh.bounds);
        get(stream, mesh.reserved);
        get(stream, mesh.layer);
        mesh.positions = reinterpret_cast<float *>(get_each<triple>(stream, mesh.vertex_count));
        mesh.indices = reinterpret_cast<std::uint32_t *>(get_each<triple>(stream, mesh.face_count));
        mesh.vertices = get_each<qel_alembic_vertex>(stream, mesh.vertex_count);
        mesh.tokens = get_each<qel_alembic_token>(stream, mesh.vertex_count);
    }
    std::fclose(stream);
    std::snprintf(scene->source, sizeof scene->source, "%.255s", path);
    return build_index(scene);
}

} // namespace qel::baseline
