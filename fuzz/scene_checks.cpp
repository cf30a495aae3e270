// SPDX-License-Identifier: MIT
#include "scene_checks.h"

#include "model/scene_model.h"
#include "support/units.h"

#include <algorithm>

namespace qel::fuzz {

namespace {

/// The mesh and number of a vertex, listed in the order of global numbers.
struct vertex_place {
    std::uint32_t mesh, vertex;
};

std::vector<vertex_place> all_vertices(const qel_alembic_file &scene) {
    std::vector<vertex_place> places;
    for (std::uint32_t m = 0; scene.meshes != nullptr && m < scene.mesh_count; ++m)
        for (std::uint32_t v = 0; v < scene.meshes[m].vertex_count; ++v)
            places.push_back({m, v});
    return places;
}

qel_alembic_hit hit_of(const qel_alembic_mesh *meshes, vertex_place place) {
    const qel_alembic_mesh &mesh = meshes[place.mesh];
    return {place.mesh,
            place.vertex,
            0,
            mesh.vertices == nullptr ? nullptr : mesh.vertices + place.vertex,
            mesh.tokens == nullptr ? nullptr : mesh.tokens + place.vertex,
            0.0f};
}

bool same_hit(const qel_alembic_hit &a, const qel_alembic_hit &b) {
    return a.mesh_index == b.mesh_index && a.vertex_index == b.vertex_index && a.frame_index == b.frame_index &&
           a.vertex == b.vertex && a.token == b.token && a.distance == b.distance;
}

std::uint64_t any_key(const qel_alembic_file &scene, const std::vector<vertex_place> &places,
                      FuzzedDataProvider &fuzz) {
    if (places.empty() || fuzz.ConsumeBool()) return fuzz.ConsumeIntegral<std::uint64_t>();
    const vertex_place place = places[fuzz.ConsumeIntegralInRange<std::size_t>(0, places.size() - 1)];
    const qel_alembic_vertex *const vertices = scene.meshes[place.mesh].vertices;
    const std::uint64_t key = vertices == nullptr ? 0 : vertices[place.vertex].morton;
    return key + fuzz.ConsumeIntegralInRange<std::uint64_t>(0, 3);
}

void check_lookup(const qel_alembic_file &scene, const std::vector<vertex_place> &places, std::uint64_t key) {
    const auto found = std::find_if(places.begin(), places.end(), [&](vertex_place place) {
        const qel_alembic_vertex *const vertices = scene.meshes[place.mesh].vertices;
        return vertices != nullptr && vertices[place.vertex].morton == key;
    });
    qel_alembic_hit hit = {9, 9, 9, nullptr, nullptr, 9.0f};
    const qel_alembic_hit before = hit;
    const bool there = scene.hash != nullptr && found != places.end();
    require(qel_alembic_lookup_morton(&scene, key, &hit) == (there ? 0 : -1));
    require(same_hit(hit, there ? hit_of(scene.meshes, *found) : before));
}

void check_nearest(const qel_alembic_file &scene, std::uint64_t key, std::int32_t k) {
    std::vector<qel_alembic_hit> expected;
    if (k > 0) expected = model::nearest(scene, key, static_cast<std::size_t>(k));
    std::vector<qel_alembic_hit> hits(expected.size() + 1);
    require(qel_alembic_query_nearest(&scene, key, k, hits.data()) == expected.size());
    require(std::equal(expected.begin(), expected.end(), hits.begin(), same_hit));
}

void check_layer(const qel_alembic_file &scene, const std::vector<vertex_place> &places, std::uint8_t layer,
                 std::int32_t max) {
    std::vector<qel_alembic_hit> expected;
    for (const vertex_place place : places) {
        const qel_alembic_token *const tokens = scene.meshes[place.mesh].tokens;
        if (tokens == nullptr || tokens[place.vertex].layer != layer) continue;
        if (static_cast<std::int64_t>(expected.size()) < max) expected.push_back(hit_of(scene.meshes, place));
    }
    std::vector<qel_alembic_hit> hits(expected.size() + 1);
    require(qel_alembic_query_layer(&scene, layer, hits.data(), max) == expected.size());
    require(std::equal(expected.begin(), expected.end(), hits.begin(), same_hit));
}

void check_frame_vertex(const qel_alembic_file &scene, std::int32_t number, std::uint32_t mesh, std::uint32_t vertex) {
    bool there = false;
    qel_alembic_hit expected = {9, 9, 9, nullptr, nullptr, 9.0f}, hit = expected;
    const std::uint32_t frames = scene.frames == nullptr ? 0 : scene.frame_count;
    if (number != 0 && frames > 0) {
        std::uint32_t f = 0;
        while (f < frames && scene.frames[f].frame != number)
            ++f;
        there = f < frames && scene.frames[f].meshes != nullptr && mesh < scene.frames[f].mesh_count &&
                vertex < scene.frames[f].meshes[mesh].vertex_count;
        if (there) expected = {mesh, vertex, f, nullptr, nullptr, 0.0f};
    } else {
        there = scene.meshes != nullptr && mesh < scene.mesh_count && vertex < scene.meshes[mesh].vertex_count;
        if (there) expected = hit_of(scene.meshes, {mesh, vertex});
    }
    require(qel_alembic_lookup_frame_vertex(&scene, number, mesh, vertex, &hit) == (there ? 0 : -1));
    require(same_hit(hit, expected));
}

void check_sample(const qel_alembic_file &scene, std::int32_t number) {
    const qel_alembic_mesh *expected = nullptr;
    const std::uint32_t frames = scene.frames == nullptr ? 0 : scene.frame_count;
    if (frames == 0 && scene.meshes != nullptr && scene.mesh_count > 0) expected = scene.meshes;
    for (std::uint32_t f = frames; f-- > 0;)
        if (scene.frames[f].frame == number && scene.frames[f].meshes != nullptr && scene.frames[f].mesh_count != 0)
            expected = scene.frames[f].meshes;
    qel_alembic_mesh mesh;
    require(qel_alembic_sample_frame(&scene, number, &mesh) == (expected == nullptr ? -1 : 0));
    if (expected != nullptr)
        require(mesh.positions == expected->positions && mesh.vertex_count == expected->vertex_count &&
                mesh.vertices == expected->vertices && mesh.tokens == expected->tokens &&
                mesh.indices == expected->indices && std::memcmp(mesh.name, expected->name, sizeof mesh.name) == 0);
}

/// The first mesh of a frame if it has positions, else null.
const qel_alembic_mesh *first_mesh(const qel_alembic_frame &frame) {
    if (frame.meshes == nullptr || frame.mesh_count == 0) return nullptr;
    const bool whole = frame.meshes->vertex_count == 0 || frame.meshes->positions != nullptr;
    return whole ? frame.meshes : nullptr;
}

void check_interpolation(const qel_alembic_file &scene, float time) {
    const qel_alembic_mesh *from = nullptr, *to = nullptr;
    float alpha = 0;
    for (std::uint32_t f = 0; scene.frames != nullptr && f + 1 < scene.frame_count; ++f) {
        const qel_alembic_frame *const pair = scene.frames + f;
        if (!(pair[0].time <= time && time <= pair[1].time)) continue;
        from = first_mesh(pair[0]);
        to = first_mesh(pair[1]);
        alpha = (time - pair[0].time) / (pair[1].time - pair[0].time);
        break;
    }
    const bool there = from != nullptr && to != nullptr && from->vertex_count == to->vertex_count;
    qel_alembic_mesh mesh = {};
    require(qel_alembic_interpolate_time(&scene, time, &mesh) == (there ? 0 : -1));
    require(there || mesh.positions == nullptr);
    if (!there) return;
    require(mesh.vertex_count == from->vertex_count);
    std::vector<float> expected(std::size_t{from->vertex_count} * 3);
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] = from->positions[i] + (to->positions[i] - from->positions[i]) * alpha;
    require(same_floats(mesh.positions, expected.data(), expected.size()));
    std::free(mesh.positions);
}

std::int32_t plain_validation(const qel_alembic_file &scene) {
    if (scene.meshes == nullptr || scene.mesh_count == 0) return -2;
    for (std::uint32_t m = 0; m < scene.mesh_count; ++m) {
        const qel_alembic_mesh &mesh = scene.meshes[m];
        if (mesh.positions == nullptr) return -3;
        if (mesh.vertex_count == 0) return -4;
        for (std::uint32_t v = 0; mesh.vertices != nullptr && v < mesh.vertex_count; ++v) {
            const qel_alembic_vertex &vertex = mesh.vertices[v];
            if (vertex.matrix_x >= 48 || vertex.matrix_y > 47 || vertex.matrix_z > 47) return -5;
            if (static_cast<std::uint8_t>(vertex.k11_level + 11) > 22) return -6;
        }
    }
    return 0;
}

/// Requires a text in a buffer of exactly its size to be the beginning of the full text.
template <class Write>
void check_text(Write write, std::int32_t size) {
    std::vector<char> whole(4000, '#');
    write(whole.data(), 4000);
    const std::size_t length = std::strlen(whole.data());
    require(length > 0 && length < whole.size() - 1);
    const exact<char> text(std::vector<char>(static_cast<std::size_t>(size), '#'));
    write(text, size);
    if (size > 0) {
        const std::size_t kept = std::min(length, static_cast<std::size_t>(size) - 1);
        require(std::memcmp(text, whole.data(), kept) == 0 && text[kept] == '\0');
    }
}

/// The expected unit file of exported meshes, with a time of 0.
bytes exported(const qel_alembic_mesh *meshes, std::uint32_t count) {
    std::vector<qel_token> tokens;
    for (std::uint32_t m = 0; m < count; ++m)
        for (std::uint32_t v = 0; v < meshes[m].vertex_count; ++v) {
            const qel_alembic_token from = meshes[m].tokens == nullptr ? qel_alembic_token{} : meshes[m].tokens[v];
            tokens.push_back(make_token(from.morton, std::string(from.hex_id, 8), from.payload, from.layer));
        }
    bytes file = unit_file(tokens);
    std::fill_n(file.begin() + 16, 8, std::uint8_t{0});
    return file;
}

} // namespace

std::uint64_t vertex_count(const qel_alembic_file &scene) {
    std::uint64_t count = 0;
    for (std::uint32_t m = 0; scene.meshes != nullptr && m < scene.mesh_count; ++m)
        count += scene.meshes[m].vertex_count;
    return count;
}

bool is_small(const qel_alembic_file &scene) {
    return vertex_count(scene) <= 3000 && scene.mesh_count <= 20'000 && scene.frame_count <= 20'000;
}

void question_scene(const qel_alembic_file &scene, FuzzedDataProvider &fuzz) {
    const std::vector<vertex_place> places = all_vertices(scene);
    require(qel_alembic_validate(&scene) == plain_validation(scene));
    std::uint32_t start = 7, end = 7;
    float fps = 0;
    qel_alembic_get_frame_range(&scene, &start, &end, &fps);
    require(start == 0 && end == (scene.frame_count == 0 ? 0 : scene.frame_count - 1));
    for (int i = 0; i < 6; ++i) {
        check_lookup(scene, places, any_key(scene, places, fuzz));
        const std::uint64_t key = any_key(scene, places, fuzz);
        check_nearest(scene, key, fuzz.ConsumeIntegralInRange(-1, 40));
        check_layer(scene, places, fuzz.ConsumeIntegralInRange<std::uint8_t>(0, 4),
                    fuzz.ConsumeIntegralInRange(-1, 60));
        const std::int32_t number = fuzz.ConsumeIntegralInRange(-2, 5);
        const auto mesh = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, 4);
        check_frame_vertex(scene, number, mesh, fuzz.ConsumeIntegral<std::uint8_t>());
        check_sample(scene, number);
        check_interpolation(scene, fuzz.PickValueInArray({0.0f, 0.25f, 0.5f, 1.0f, 1.5f, 2.0f, 3.0f}));
    }
    check_nearest(scene, 1000, static_cast<std::int32_t>(std::min<std::size_t>(places.size(), 150)));
    check_text([&](char *text, std::int32_t size) { qel_alembic_file_info(&scene, text, size); },
               fuzz.ConsumeIntegral<std::uint8_t>());
    if (scene.meshes == nullptr || scene.mesh_count == 0) return;
    const auto m = fuzz.ConsumeIntegralInRange<std::uint32_t>(0, scene.mesh_count - 1);
    check_text([&](char *text, std::int32_t size) { qel_alembic_mesh_info(&scene.meshes[m], text, size); },
               fuzz.ConsumeIntegral<std::uint8_t>());
}

void check_saving(const qel_alembic_file &scene) {
    const memory_file file;
    require(qel_alembic_save(file.path(), &scene) == 0);
    require(file.content() == model::scene_file(scene));
}

void check_export(const qel_alembic_file &scene) {
    const memory_file file;
    const bool has_meshes = scene.meshes != nullptr && scene.mesh_count > 0;
    require(qel_alembic_export_file_qel(&scene, file.path()) == (has_meshes ? 0 : -1));
    if (!has_meshes) return;
    require(file.content() == exported(scene.meshes, scene.mesh_count));

    const qel_alembic_mesh &first = scene.meshes[0];
    const bool exportable = first.vertex_count != 0 && first.tokens != nullptr;
    const memory_file mesh_file;
    require(qel_alembic_export_qel(&first, mesh_file.path()) == (exportable ? 0 : -1));
    require(mesh_file.content() == (exportable ? exported(&first, 1) : bytes()));
}

} // namespace qel::fuzz
