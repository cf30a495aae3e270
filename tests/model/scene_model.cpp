// SPDX-License-Identifier: MIT
#include "model/scene_model.h"

#include <algorithm>
#include <cstring>

namespace qel::model {

namespace {

constexpr std::uint32_t slots = 0x800000;

std::uint32_t first_slot(std::uint64_t key) {
    const std::uint64_t folded = key ^ (key >> 32);
    return static_cast<std::uint32_t>(folded & 0xFFFFFFFFu) & 0x7FFFFFu;
}

void put(std::vector<std::uint8_t> &file, const void *bytes, std::size_t size) {
    const auto *const first = static_cast<const std::uint8_t *>(bytes);
    if (bytes == nullptr)
        file.insert(file.end(), size, 0);
    else
        file.insert(file.end(), first, first + size);
}

template <class T>
void put(std::vector<std::uint8_t> &file, const T &value) {
    put(file, &value, sizeof value);
}

} // namespace

std::vector<std::uint32_t> index_table(const qel_alembic_file &scene) {
    std::vector<std::uint32_t> table(slots, 0xFFFFFFFFu);
    std::uint32_t number = 0, taken = 0;
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        for (std::uint32_t v = 0; v < scene.meshes[m].vertex_count; ++v, ++number) {
            if (scene.meshes[m].vertices == nullptr || taken == slots) continue;
            std::uint32_t slot = first_slot(scene.meshes[m].vertices[v].morton);
            while (table[slot] != 0xFFFFFFFFu)
                slot = (slot + 1) & 0x7FFFFFu;
            table[slot] = number;
            ++taken;
        }
    }
    return table;
}

std::int32_t lookup(const qel_alembic_file &scene, const std::vector<std::uint32_t> &table, std::uint64_t morton,
                    qel_alembic_hit &out) {
    const std::uint32_t start = first_slot(morton);
    std::uint32_t slot = start;
    do {
        const std::uint32_t number = table[slot];
        if (number == 0xFFFFFFFFu) return -1;
        std::uint64_t sum = 0;
        for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
            const qel_alembic_mesh &mesh = scene.meshes[m];
            sum += mesh.vertex_count;
            if (number >= sum) continue;
            const auto local = static_cast<std::uint32_t>(number - (sum - mesh.vertex_count));
            if (mesh.vertices == nullptr || mesh.vertices[local].morton != morton) break;
            out = {m, local, 0, &mesh.vertices[local], &mesh.tokens[local], 0.0f};
            return 0;
        }
        slot = (slot + 1) & 0x7FFFFFu;
    } while (slot != start);
    return -1;
}

std::uint64_t newton_root(std::uint64_t value) {
    if (value < 2) return value;
    const auto middle = [](std::uint64_t a, std::uint64_t b) { return (a & b) + ((a ^ b) >> 1); };
    std::uint64_t x = value, y = middle(value / x, x);
    while (y < x) {
        x = y;
        y = middle(value / x, x);
    }
    return x;
}

std::vector<qel_alembic_hit> nearest(const qel_alembic_file &scene, std::uint64_t morton, std::size_t k) {
    struct entry {
        std::uint32_t mesh, vertex;
        std::uint64_t distance;
    };
    std::vector<entry> list(k, {0, 0, ~std::uint64_t{0}});
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        if (scene.meshes[m].vertices == nullptr) continue;
        for (std::uint32_t v = 0; v < scene.meshes[m].vertex_count; ++v) {
            const std::uint64_t key = scene.meshes[m].vertices[v].morton;
            const std::uint64_t distance = newton_root(key > morton ? key - morton : morton - key);
            if (distance >= list.back().distance) continue;
            list.back() = {m, v, distance};
            for (std::size_t i = k - 1; i > 0 && list[i].distance < list[i - 1].distance; --i)
                std::swap(list[i], list[i - 1]);
        }
    }
    std::vector<qel_alembic_hit> hits;
    for (const entry &e : list) {
        if (e.distance == ~std::uint64_t{0}) break;
        const qel_alembic_mesh &mesh = scene.meshes[e.mesh];
        hits.push_back({e.mesh, e.vertex, 0, mesh.vertices + e.vertex,
                        mesh.tokens == nullptr ? nullptr : mesh.tokens + e.vertex, static_cast<float>(e.distance)});
    }
    return hits;
}

std::vector<std::uint8_t> scene_file(const qel_alembic_file &scene) {
    std::vector<std::uint8_t> file;
    put(file, "BQEL", 4);
    put(file, std::uint32_t{1});
    put(file, scene.mesh_count);
    put(file, scene.frame_count);
    put(file, scene.total_vertices);
    put(file, scene.total_faces);
    put(file, scene.fps);
    put(file, scene.time_start);
    put(file, scene.time_end);
    put(file, scene.flags);
    put(file, nullptr, 16);
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        put(file, mesh.name, 64);
        put(file, mesh.vertex_count);
        put(file, mesh.face_count);
        put(file, mesh.bounds, 24);
        put(file, mesh.reserved);
        put(file, mesh.layer);
        put(file, mesh.positions, std::size_t{mesh.vertex_count} * 12);
        put(file, mesh.indices, std::size_t{mesh.face_count} * 12);
        put(file, mesh.vertices, std::size_t{mesh.vertex_count} * 40);
        put(file, mesh.tokens, std::size_t{mesh.vertex_count} * 32);
    }
    for (std::uint32_t f = 0; f < scene.frame_count; ++f) {
        put(file, scene.frames[f].frame);
        put(file, scene.frames[f].time);
        put(file, scene.frames[f].mesh_count);
        for (std::uint32_t m = 0; m < scene.frames[f].mesh_count; ++m) {
            const qel_alembic_mesh &mesh = scene.frames[f].meshes[m];
            put(file, mesh.vertex_count);
            put(file, mesh.positions, std::size_t{mesh.vertex_count} * 12);
        }
    }
    return file;
}

namespace {

/// Goes over a file, reading zeros beyond its end.
struct cursor {
    const std::vector<std::uint8_t> &file;
    std::uint64_t at = 0;

    std::uint32_t word() {
        std::uint32_t value = 0;
        for (std::uint64_t i = 0; i < 4; ++i)
            if (at + i < file.size()) value |= std::uint32_t{file[at + i]} << (8 * i);
        at += 4;
        return value;
    }
};

} // namespace

std::vector<std::uint8_t> completed_file(std::vector<std::uint8_t> file, std::uint64_t limit) {
    cursor here{file};
    here.at = 8;
    const std::uint32_t mesh_count = here.word(), frame_count = here.word();
    std::uint64_t total = 0;
    here.at = 64;
    for (std::uint32_t m = 0; m < mesh_count && here.at <= limit; ++m) {
        here.at += 64;
        const std::uint64_t vertices = here.word(), faces = here.word();
        here.at += 24 + 4 + 1 + vertices * (12 + 40 + 32) + faces * 12;
        total += vertices;
    }
    for (std::uint32_t f = 0; f < frame_count && here.at <= limit; ++f) {
        here.at += 8;
        const std::uint32_t meshes = here.word();
        for (std::uint32_t m = 0; m < meshes && here.at <= limit; ++m) {
            const std::uint64_t vertices = here.word();
            here.at += vertices * 12;
        }
    }
    if (here.at > limit) return {};
    file.resize(static_cast<std::size_t>(here.at));
    const std::uint32_t version = 1;
    std::memcpy(&file[4], &version, 4);
    if (mesh_count > 0) std::memcpy(&file[16], &total, 8);
    std::fill(file.begin() + 48, file.begin() + 64, std::uint8_t{0});
    return file;
}

} // namespace qel::model
