// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "support/scenes.h"

#include <memory>

namespace qel::test {
namespace {

/// An indexed scene of two meshes and three frames that is released after the changes are compared.
const qel_alembic_file &make_scene(caller &c) {
    const auto kept = std::make_shared<owned_scene>();
    c.afterwards = [kept] {};
    owned_scene &owned = *kept;
    const std::vector<float> two_points = {0, 0, 0, 1, 2, 3};
    owned.add_keys({5, 7});
    owned.add_keys({9}, 3);
    owned.add_frame(10, 0.0f, {two_points});
    owned.add_frame(11, 1.0f, {two_points});
    owned.add_frame(12, 2.0f, {{1, 2, 3}});
    qel_alembic_build_hash_table(&owned.scene);
    return owned.scene;
}

std::int32_t lookup(caller &c, std::uint64_t key) {
    const qel_alembic_file &scene = make_scene(c);
    c.watch(c.hit);
    return qel_alembic_lookup_morton(&scene, key, &c.hit);
}

std::int32_t frame_vertex(caller &c, std::int32_t frame, std::uint32_t mesh, std::uint32_t vertex) {
    const qel_alembic_file &scene = make_scene(c);
    c.watch(c.hit);
    return qel_alembic_lookup_frame_vertex(&scene, frame, mesh, vertex, &c.hit);
}

std::int32_t sample(caller &c, std::int32_t frame) {
    const qel_alembic_file &scene = make_scene(c);
    c.watch(c.scene_mesh);
    return qel_alembic_sample_frame(&scene, frame, &c.scene_mesh);
}

std::int32_t interpolate(caller &c, float time, std::uint64_t failing_allocation = 0) {
    const qel_alembic_file &scene = make_scene(c);
    c.watch(c.scene_mesh);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_alembic_interpolate_time(&scene, time, &c.scene_mesh);
}

std::int32_t export_mesh(caller &c, const std::string &path, bool with_tokens = true) {
    const qel_alembic_file &scene = make_scene(c);
    c.scene_mesh = scene.meshes[0];
    if (!with_tokens) c.scene_mesh.tokens = nullptr;
    c.watch(c.scene_mesh);
    c.watch_file();
    return qel_alembic_export_qel(&c.scene_mesh, path.c_str());
}

std::int32_t export_scene(caller &c, const std::string &path, bool with_meshes = true) {
    const qel_alembic_file &scene = make_scene(c);
    c.scene = scene;
    if (!with_meshes) c.scene.mesh_count = 0;
    c.watch(c.scene);
    c.watch_file();
    return qel_alembic_export_file_qel(&c.scene, path.c_str());
}

} // namespace

// "owned" means the scene's own arrays here, not the caller's.
const std::vector<outcome> scene_query_outcomes = {
    {"qel_alembic_lookup_morton", 0, "", [](caller &c) { return lookup(c, 9); },
     "mesh_index 1, vertex owned, token owned, rest 0"},
    {"qel_alembic_lookup_morton", -1, "no such key", [](caller &c) { return lookup(c, 8); }, "nothing"},
    {"qel_alembic_lookup_morton", -1, "no index",
     [](caller &c) {
         c.watch(c.hit);
         const qel_alembic_file empty = {};
         return qel_alembic_lookup_morton(&empty, 8, &c.hit);
     },
     "nothing"},

    {"qel_alembic_lookup_frame_vertex", 0, "of the scene", [](caller &c) { return frame_vertex(c, 0, 0, 1); },
     "vertex_index 1, vertex set, token set, rest 0"},
    {"qel_alembic_lookup_frame_vertex", 0, "of a frame", [](caller &c) { return frame_vertex(c, 11, 0, 1); },
     "vertex_index 1, frame_index 1, rest 0"},
    {"qel_alembic_lookup_frame_vertex", -1, "no such frame", [](caller &c) { return frame_vertex(c, 1, 0, 0); },
     "nothing"},
    {"qel_alembic_lookup_frame_vertex", -1, "no such mesh", [](caller &c) { return frame_vertex(c, 11, 1, 0); },
     "nothing"},
    {"qel_alembic_lookup_frame_vertex", -1, "no such vertex", [](caller &c) { return frame_vertex(c, 0, 0, 2); },
     "nothing"},

    {"qel_alembic_sample_frame", 0, "", [](caller &c) { return sample(c, 12); },
     "vertex_count 1, positions owned, rest 0"},
    {"qel_alembic_sample_frame", -1, "", [](caller &c) { return sample(c, 0); }, "nothing"},

    {"qel_alembic_interpolate_time", 0, "", [](caller &c) { return interpolate(c, 0.5f); },
     "vertex_count 2, positions owned"},
    {"qel_alembic_interpolate_time", -1, "no pair", [](caller &c) { return interpolate(c, 3.0f); }, "nothing"},
    {"qel_alembic_interpolate_time", -1, "counts differ", [](caller &c) { return interpolate(c, 1.5f); }, "nothing"},
    {"qel_alembic_interpolate_time", -4, "", [](caller &c) { return interpolate(c, 0.5f, 1); },
     "vertex_count 2, positions null"},

    {"qel_alembic_export_qel", 0, "", [](caller &c) { return export_mesh(c, c.path); }, "file of 74"},
    {"qel_alembic_export_qel", -1, "no tokens", [](caller &c) { return export_mesh(c, c.path, false); }, "nothing"},
    {"qel_alembic_export_qel", -1, "", [](caller &c) { return export_mesh(c, c.path + "/in-no-folder"); }, "nothing"},

    {"qel_alembic_export_file_qel", 0, "", [](caller &c) { return export_scene(c, c.path); }, "file of 99"},
    {"qel_alembic_export_file_qel", -1, "no meshes", [](caller &c) { return export_scene(c, c.path, false); },
     "nothing"},
    {"qel_alembic_export_file_qel", -1, "", [](caller &c) { return export_scene(c, c.path + "/in-no-folder"); },
     "nothing"},
};

} // namespace qel::test
