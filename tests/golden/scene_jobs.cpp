// SPDX-License-Identifier: MIT
// Token scenes: meshes into tokens, the scene file, queries, time, export.
#include "golden/inputs.h"
#include "golden/jobs.h"

#include <qel_unit.h>

#include <cstdlib>
#include <limits>

namespace qel::test {
namespace {

void add_vertex(digest &results, const qel_alembic_vertex &vertex) {
    results.add_array(vertex.position, 3);
    for (const std::uint8_t part : {vertex.matrix_x, vertex.matrix_y, vertex.matrix_z})
        results.add(part);
    results.add(vertex.morton, vertex.k11_level, vertex.i_state, vertex.phi_norm, vertex.em_coupling, vertex.topology);
}

void add_token(digest &results, const qel_alembic_token &token) {
    results.add(token.morton);
    results.add_bytes(token.hex_id, sizeof token.hex_id);
    results.add(token.payload, token.layer);
}

void add_mesh(digest &results, const qel_alembic_mesh &mesh) {
    results.add(std::string(mesh.name));
    results.add(mesh.face_count);
    results.add_array(mesh.positions, std::uint64_t{mesh.vertex_count} * 3);
    results.add_array(mesh.indices, std::uint64_t{mesh.face_count} * 3);
    results.add_array(mesh.bounds, 6);
    results.add(mesh.layer);
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        if (mesh.vertices != nullptr) add_vertex(results, mesh.vertices[i]);
        if (mesh.tokens != nullptr) add_token(results, mesh.tokens[i]);
    }
    char text[600];
    qel_alembic_mesh_info(&mesh, text, sizeof text);
    results.add(std::string(text));
}

void lattice(digest &results) {
    noise random(41);
    for (int i = 0; i < 4000; ++i) {
        float values[9]; // a box and a point
        for (float &value : values)
            value = random.coordinate(4) * (i % 3 == 0 ? 1e-5f : 30.0f);
        if (i % 10 == 0) random.set_any(values[random.below(9)]);
        std::uint8_t cell[3] = {};
        qel_alembic_world_to_matrix(values[6], values[7], values[8], values, cell, cell + 1, cell + 2);
        results.add_array(cell, 3);
        float point[3] = {};
        qel_alembic_matrix_to_world(random.byte(), cell[1], cell[2], values, point, point + 1, point + 2);
        results.add_array(point, 3);
        qel_alembic_vertex vertex{};
        qel_alembic_process_vertex(values + 6, values, &vertex);
        vertex.topology = static_cast<std::uint32_t>(random.next());
        add_vertex(results, vertex);
        qel_alembic_token token{};
        const std::uint8_t layer = random.byte();
        qel_alembic_generate_token(&vertex, layer, random.below(300), static_cast<std::uint32_t>(i) << 12, &token);
        add_token(results, token);
        float box[6];
        qel_alembic_compute_bounds(values, 3, box);
        results.add_array(box, 6);
    }
}

/// Two meshes of triangles, one of them without, and three frames of the first.
qel_alembic_file make_scene(digest &results) {
    qel_alembic_file scene{};
    scene.mesh_count = 3;
    scene.meshes = static_cast<qel_alembic_mesh *>(std::calloc(3, sizeof(qel_alembic_mesh)));
    for (std::uint32_t i = 0; i < 3; ++i) {
        plain_mesh mesh = make_grid(20 + i, 25, true);
        noise random(42 + i);
        for (float &value : mesh.positions)
            value = value * 3.0f + random.coordinate(2) / 3.0f;
        const std::uint32_t *const indices = i == 2 ? nullptr : mesh.face_indices.data();
        results.add(qel_alembic_load_raw(mesh.positions.data(), mesh.vertex_count(), indices,
                                         i == 2 ? 0 : mesh.face_count(), i == 1 ? nullptr : "sheet", &scene.meshes[i]));
    }
    scene.meshes[1].bounds[3] = 20.0f; // another box, which is kept
    results.add(qel_alembic_process_mesh(&scene.meshes[1], 7));
    scene.frame_count = 3;
    scene.frames = static_cast<qel_alembic_frame *>(std::calloc(3, sizeof(qel_alembic_frame)));
    const std::uint32_t count = scene.meshes[0].vertex_count;
    for (std::uint32_t f = 0; f < 3; ++f) {
        qel_alembic_frame &frame = scene.frames[f];
        frame.frame = static_cast<std::int32_t>(f * 10);
        frame.time = static_cast<float>(f) / 3.0f;
        frame.mesh_count = 1;
        frame.meshes = static_cast<qel_alembic_mesh *>(std::calloc(1, sizeof(qel_alembic_mesh)));
        frame.meshes->vertex_count = count;
        frame.meshes->positions = static_cast<float *>(std::malloc(sizeof(float) * 3 * count));
        for (std::uint32_t i = 0; i < count * 3; ++i)
            frame.meshes->positions[i] = scene.meshes[0].positions[i] * static_cast<float>(f + 1);
    }
    scene.time_end = 2.0f / 3.0f;
    scene.fps = 24.0f;
    scene.total_faces = 2050;
    return scene;
}

void add_hit(digest &results, const qel_alembic_hit &hit) {
    results.add(hit.mesh_index, hit.vertex_index, hit.frame_index, hit.distance, hit.vertex != nullptr);
    if (hit.vertex != nullptr) add_vertex(results, *hit.vertex);
    results.add(hit.token != nullptr);
    if (hit.token != nullptr) add_token(results, *hit.token);
}

void query_all(digest &results, const qel_alembic_file &scene) {
    noise random(45);
    std::vector<qel_alembic_hit> hits(2000);
    for (int i = 0; i < 60; ++i) {
        const std::uint64_t key = random.below(10) == 0 ? random.next() : random.below(1u << 18);
        results.add(qel_alembic_lookup_morton(&scene, key, hits.data()) == 0 && hits[0].token != nullptr);
        const std::uint32_t found = qel_alembic_query_nearest(
            &scene, key, static_cast<std::int32_t>(random.below(i % 20 == 0 ? 2000 : 10)), hits.data());
        results.add(found);
        for (std::uint32_t h = 0; h < found; ++h)
            add_hit(results, hits[h]);
        const auto frame = static_cast<std::int32_t>(random.below(4) * 10);
        const std::uint32_t mesh = random.below(3);
        const std::int32_t status =
            qel_alembic_lookup_frame_vertex(&scene, frame, mesh, random.below(600), hits.data());
        results.add(status);
        if (status == 0) add_hit(results, hits[0]);
    }
    for (std::uint32_t i = 0; i < 100; ++i) {
        const std::uint64_t key = scene.meshes[1].tokens[i * 5].morton;
        results.add(qel_alembic_lookup_morton(&scene, key, hits.data()));
        add_hit(results, hits[0]);
    }
    for (const std::uint8_t layer : {std::uint8_t{1}, std::uint8_t{7}, std::uint8_t{9}})
        results.add(qel_alembic_query_layer(&scene, layer, hits.data(), 1000));
    add_hit(results, hits[0]);
}

void add_times(digest &results, const qel_alembic_file &scene) {
    for (int i = -1; i < 30; ++i) {
        qel_alembic_mesh mesh{};
        results.add(qel_alembic_interpolate_time(&scene, static_cast<float>(i) / 37.0f, &mesh));
        results.add_array(mesh.positions, std::uint64_t{mesh.vertex_count} * 3);
        std::free(mesh.positions);
        results.add(qel_alembic_sample_frame(&scene, i, &mesh));
        results.add(mesh.vertex_count);
    }
    std::uint32_t start = 0, end = 0;
    float fps = 0;
    qel_alembic_get_frame_range(&scene, &start, &end, &fps);
    results.add(start, end, fps);
}

void add_scene(digest &results, const qel_alembic_file &scene) {
    results.add(scene.version, scene.flags, scene.total_vertices, scene.total_faces, scene.total_tokens);
    for (std::uint32_t i = 0; i < scene.mesh_count; ++i)
        add_mesh(results, scene.meshes[i]);
    results.add(scene.hash_size);
    for (std::uint32_t slot = 0; slot < scene.hash_size; ++slot)
        if (scene.hash[slot] != QEL_NOT_FOUND) {
            results.add(slot, scene.hash[slot]);
        }
    results.add(qel_alembic_validate(&scene));
    char text[1000];
    qel_alembic_file_info(&scene, text, sizeof text);
    results.add(std::string(text));
}

void scenes(digest &results) {
    qel_alembic_file scene = make_scene(results);
    results.add(qel_alembic_save("scene.bqel", &scene));
    results.add_file("scene.bqel");
    for (std::uint32_t i = 0; i < 3; ++i)
        add_mesh(results, scene.meshes[i]);
    results.add(qel_alembic_export_qel(&scene.meshes[0], "mesh.qel"));
    results.add_file("mesh.qel");
    results.add(qel_alembic_topology_hash(30, scene.meshes[0].indices, scene.meshes[0].face_count));
    qel_alembic_free(&scene);

    qel_alembic_file loaded{};
    results.add(qel_alembic_load("scene.bqel", &loaded));
    add_scene(results, loaded);
    query_all(results, loaded);
    add_times(results, loaded);
    results.add(qel_alembic_export_file_qel(&loaded, "all.qel"));
    results.add_file("all.qel");
    std::free(loaded.hash);
    loaded.hash = nullptr;
    loaded.meshes[2].layer = 3;
    results.add(qel_alembic_process_mesh(&loaded.meshes[2], 9));
    results.add(qel_alembic_build_hash_table(&loaded));
    add_scene(results, loaded);
    qel_alembic_mesh_free(&loaded.meshes[2]);
    results.add(qel_alembic_validate(&loaded));
    qel_alembic_free(&loaded);
}

void damaged_scenes(digest &results) {
    const bytes file = read_file("scene.bqel");
    for (const std::size_t size : {std::size_t{63}, std::size_t{64}, std::size_t{200}, file.size() / 2}) {
        write_file("cut.bqel", bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        qel_alembic_file scene{};
        results.add(qel_alembic_load("cut.bqel", &scene));
        results.add(scene.mesh_count, scene.total_tokens);
        for (std::uint32_t i = 0; i < scene.mesh_count; ++i)
            add_mesh(results, scene.meshes[i]);
        qel_alembic_free(&scene);
    }
    bytes newer = file;
    newer[4] = 2;
    write_file("cut.bqel", newer);
    qel_alembic_file scene{};
    results.add(qel_alembic_load("cut.bqel", &scene));
    results.add(scene.version);
    results.add(qel_alembic_load("missing.bqel", &scene));
}

} // namespace

const job scene_jobs[] = {
    {"lattice", lattice}, {"scenes", scenes}, {"damaged_scenes", damaged_scenes}, {nullptr, nullptr}};

} // namespace qel::test
