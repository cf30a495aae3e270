// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "support/scenes.h"

namespace qel::test {
namespace {

constexpr float three_points[] = {0, 0, 0, 1, 0, 0, 0, 2, 0};
constexpr std::uint32_t one_face[] = {0, 1, 2};

std::int32_t process(caller &c, std::uint64_t failing_allocation = 0) {
    std::vector<float> positions(three_points, three_points + 9);
    c.scene_mesh = {};
    c.scene_mesh.vertex_count = 3;
    c.scene_mesh.positions = positions.data();
    c.watch(c.scene_mesh);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_alembic_process_mesh(&c.scene_mesh, 4);
}

std::int32_t load_raw(caller &c, std::uint32_t vertices, std::uint64_t failing_allocation = 0) {
    c.watch(c.scene_mesh);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_alembic_load_raw(three_points, vertices, one_face, 1, "mesh", &c.scene_mesh);
}

/// A scene of one processed mesh and one frame.
void make_scene(owned_scene &owned) {
    const std::vector<float> positions(three_points, three_points + 9);
    owned.add_mesh(positions, {0, 1, 2});
    owned.add_frame(5, 0.5f, {positions});
    owned.scene.flags = 9;
    owned.scene.total_vertices = 77;
    owned.scene.total_faces = 88;
    owned.scene.time_end = 2.0f;
    owned.scene.fps = 24.0f;
}

std::int32_t save(caller &c, const std::string &path) {
    owned_scene owned;
    make_scene(owned);
    c.scene = owned.scene;
    c.watch(c.scene);
    c.watch_file();
    return qel_alembic_save(path.c_str(), &c.scene);
}

bytes sound_file(caller &c) {
    owned_scene owned;
    make_scene(owned);
    qel_alembic_save(c.path.c_str(), &owned.scene);
    return read_file(c.path);
}

std::int32_t load(caller &c, const bytes &file, std::size_t failing_size = 0) {
    write_file(c.path, file);
    c.scene = {};
    c.watch(c.scene);
    const failing_heap heap = failing_heap::of_size(failing_size);
    return qel_alembic_load(c.path.c_str(), &c.scene);
}

std::int32_t load_with(caller &c, std::size_t at, std::uint8_t byte) {
    bytes file = sound_file(c);
    file[at] = byte;
    return load(c, file);
}

std::int32_t build(caller &c, std::uint64_t failing_allocation = 0) {
    owned_scene owned;
    make_scene(owned);
    c.scene = owned.scene;
    c.watch(c.scene);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_alembic_build_hash_table(&c.scene);
}

/// Validates a scene with one thing changed.
template <class Change>
std::int32_t validate(caller &c, Change change) {
    owned_scene owned;
    make_scene(owned);
    c.scene = owned.scene;
    c.scene_mesh = owned.scene.meshes[0];
    c.scene.meshes = &c.scene_mesh;
    change(c.scene, c.scene_mesh);
    c.watch(c.scene);
    c.watch(c.scene_mesh);
    return qel_alembic_validate(&c.scene);
}

} // namespace

const std::vector<outcome> scene_outcomes = {
    {"qel_alembic_process_mesh", 0, "", [](caller &c) { return process(c); },
     "bounds filled, vertices owned, tokens owned, layer 4"},
    {"qel_alembic_process_mesh", -1, "no vertices",
     [](caller &c) {
         c.scene_mesh.vertex_count = 0;
         c.watch(c.scene_mesh);
         return qel_alembic_process_mesh(&c.scene_mesh, 4);
     },
     "nothing"},
    {"qel_alembic_process_mesh", -4, "the vertices", [](caller &c) { return process(c, 1); }, "nothing"},
    {"qel_alembic_process_mesh", -4, "the tokens", [](caller &c) { return process(c, 2); }, "vertices owned"},

    {"qel_alembic_load_raw", 0, "", [](caller &c) { return load_raw(c, 3); },
     "name \"mesh\", vertex_count 3, face_count 1, positions owned, indices owned, bounds filled, reserved "
     "0, vertices owned, tokens owned, layer 1"},
    {"qel_alembic_load_raw", -1, "no positions",
     [](caller &c) { return qel_alembic_load_raw(nullptr, 3, nullptr, 0, nullptr, &c.scene_mesh); }, "nothing",
     watching<&caller::scene_mesh>},
    {"qel_alembic_load_raw", -1, "no vertices", [](caller &c) { return load_raw(c, 0); },
     "name \"mesh\", face_count 1, positions owned, indices owned, rest 0"},
    {"qel_alembic_load_raw", -4, "the positions", [](caller &c) { return load_raw(c, 3, 1); },
     "name \"mesh\", vertex_count 3, face_count 1, rest 0"},
    {"qel_alembic_load_raw", -4, "the indices", [](caller &c) { return load_raw(c, 3, 2); },
     "name \"mesh\", vertex_count 3, face_count 1, positions freed, rest 0"},
    {"qel_alembic_load_raw", -4, "the vertices", [](caller &c) { return load_raw(c, 3, 3); },
     "name \"mesh\", vertex_count 3, face_count 1, positions owned, indices owned, bounds filled, rest 0"},
    {"qel_alembic_load_raw", -4, "the tokens", [](caller &c) { return load_raw(c, 3, 4); },
     "name \"mesh\", vertex_count 3, face_count 1, positions owned, indices owned, bounds filled, vertices "
     "owned, rest 0"},

    {"qel_alembic_save", 0, "", [](caller &c) { return save(c, c.path); }, "file of 481"},
    {"qel_alembic_save", -1, "", [](caller &c) { return save(c, c.path + "/in-no-folder"); }, "nothing"},

    {"qel_alembic_load", 0, "", [](caller &c) { return load(c, sound_file(c)); },
     "version 1, flags 9, source \"PATH\", mesh_count 1, meshes owned, frame_count 1, time_end 2, fps 24, "
     "frames owned, hash owned, hash_size 8388608, total_vertices 3, total_faces 88, total_tokens 3"},
    {"qel_alembic_load", 0, "no memory for the index",
     [](caller &c) { return load(c, sound_file(c), std::size_t{0x800000} * 4); },
     "version 1, flags 9, source \"PATH\", mesh_count 1, meshes owned, frame_count 1, time_end 2, fps 24, "
     "frames owned, hash_size 8388608, total_vertices 3, total_faces 88, total_tokens 3"},
    {"qel_alembic_load", 0, "a header of no meshes",
     [](caller &c) {
         bytes file = sound_file(c);
         file.resize(64);
         file[8] = file[12] = 0;
         return load(c, file);
     },
     "version 1, flags 9, source \"PATH\", meshes owned, time_end 2, fps 24, total_vertices 77, total_faces "
     "88"},
    {"qel_alembic_load", -1, "no such file", [](caller &c) { return qel_alembic_load(c.path.c_str(), &c.scene); },
     "nothing", watching<&caller::scene>},
    {"qel_alembic_load", -2, "63 bytes", [](caller &c) { return load(c, bytes(63, 'B')); }, "nothing"},
    {"qel_alembic_load", -2, "another magic", [](caller &c) { return load(c, bytes(64, 'B')); }, "nothing"},
    {"qel_alembic_load", -3, "", [](caller &c) { return load_with(c, 4, 2); }, "version 2"},
    {"qel_alembic_load", -4, "the meshes", [](caller &c) { return load(c, sound_file(c), sizeof(qel_alembic_mesh)); },
     "version 1, flags 9, mesh_count 1, frame_count 1, time_end 2, fps 24, total_vertices 77, total_faces "
     "88"},
    {"qel_alembic_load", -4, "the tokens", [](caller &c) { return load(c, sound_file(c), 96); },
     "version 1, flags 9, time_end 2, fps 24, total_vertices 77, total_faces 88"},
    {"qel_alembic_load", -4, "the frames", [](caller &c) { return load(c, sound_file(c), sizeof(qel_alembic_frame)); },
     "version 1, flags 9, time_end 2, fps 24, total_vertices 77, total_faces 88"},
    {"qel_alembic_load", -4, "a count beyond all files", [](caller &c) { return load_with(c, 11, 0xFF); },
     "version 1, flags 9, mesh_count 4278190081, frame_count 1, time_end 2, fps 24, total_vertices 77, "
     "total_faces 88"},

    {"qel_alembic_build_hash_table", 0, "", [](caller &c) { return build(c); },
     "hash owned, hash_size 8388608, total_vertices 3, total_tokens 3"},
    {"qel_alembic_build_hash_table", -1, "no meshes",
     [](caller &c) {
         c.scene.mesh_count = 0;
         c.watch(c.scene);
         return qel_alembic_build_hash_table(&c.scene);
     },
     "nothing"},
    {"qel_alembic_build_hash_table", -4, "", [](caller &c) { return build(c, 1); },
     "hash_size 8388608, total_vertices 3, total_tokens 3"},

    {"qel_alembic_validate", 0, "", [](caller &c) { return validate(c, [](auto &, auto &) {}); }, "nothing"},
    {"qel_alembic_validate", -1, "", [](caller &) { return qel_alembic_validate(nullptr); }, "nothing"},
    {"qel_alembic_validate", -2, "",
     [](caller &c) { return validate(c, [](auto &scene, auto &) { scene.mesh_count = 0; }); }, "nothing"},
    {"qel_alembic_validate", -3, "",
     [](caller &c) { return validate(c, [](auto &, auto &mesh) { mesh.positions = nullptr; }); }, "nothing"},
    {"qel_alembic_validate", -4, "",
     [](caller &c) { return validate(c, [](auto &, auto &mesh) { mesh.vertex_count = 0; }); }, "nothing"},
    {"qel_alembic_validate", -5, "",
     [](caller &c) { return validate(c, [](auto &, auto &mesh) { mesh.vertices[2].matrix_z = 48; }); }, "nothing"},
    {"qel_alembic_validate", -6, "",
     [](caller &c) { return validate(c, [](auto &, auto &mesh) { mesh.vertices[2].k11_level = -12; }); }, "nothing"},
};

} // namespace qel::test
