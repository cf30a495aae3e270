// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "ogawa_reader/cache/cache_cases.h"

#include <filesystem>
#include <system_error>

namespace qel::test {
namespace {

std::int32_t save(caller &c, cache_mesh shape, const std::string &path) {
    const ogawa_polymesh mesh = shape.record();
    c.watch_file();
    return qel_mesh_save(&mesh, nullptr, path.c_str());
}

cache_mesh without_vertices() {
    cache_mesh shape = quad();
    shape.positions.clear();
    return shape;
}

cache_mesh with_index_beyond() {
    cache_mesh shape = quad();
    shape.face_indices[3] = 4;
    return shape;
}

/// A quad with a skin of one joint.
void save_skinned(const caller &c) {
    cache_mesh shape = quad();
    std::mt19937 random(7);
    cache_skin joints = noise_skin(random, 1, 4);
    const qel_skin skin = joints.record();
    const ogawa_polymesh mesh = shape.record();
    qel_mesh_save(&mesh, &skin, c.path.c_str());
}

std::int32_t load(caller &c, std::size_t failing_size = 0) {
    c.watch(c.cache);
    c.afterwards = [&c] { qel_mesh_free(&c.cache); };
    const failing_heap heap = failing_heap::of_size(failing_size);
    return qel_mesh_load(c.path.c_str(), &c.cache);
}

std::int32_t load_skinned(caller &c, std::size_t failing_size = 0) {
    save_skinned(c);
    return load(c, failing_size);
}

std::int32_t load_bytes(caller &c, const bytes &file) {
    write_file(c.path, file);
    return load(c);
}

/// Maps a huge file repeatedly until the address space is full.
std::int32_t load_without_room(caller &c) {
    write_file(c.path, {'Q', 'E', 'L', 'M'});
    std::error_code refused;
    std::filesystem::resize_file(c.path, std::uint64_t{8} << 40, refused);
    if (refused) c.cannot = "the file system has no files of 8 TiB";
    if (refused) return 0;
    std::vector<qel_mesh> others(64);
    std::size_t count = 0;
    while (count < others.size() && qel_mesh_load(c.path.c_str(), &others[count]) == 0)
        ++count;
    const std::int32_t status = load(c);
    for (std::size_t i = 0; i < count; ++i)
        qel_mesh_free(&others[i]);
    return status;
}

void watch_outputs(caller &c) {
    c.watch("positions", c.positions);
    c.watch("normals", c.normals);
    c.watch("indices", c.borrowed);
    c.watch("vertex_count", c.count);
    c.watch("triangle_count", c.scope);
}

/// The bytes of a skinned quad's file before its skin.
const std::string skinned =
    "header.magic \"QELM\", header.version 2, header.flags 4, header.vertex_count 4, header.triangle_count "
    "2, "
    "header.joint_count 1, header.reserved 1, header.positions_offset 64, header.indices_offset 112, "
    "header.skin_offset 136, positions set, indices set";

} // namespace

const std::vector<outcome> cache_outcomes = {
    {"qel_mesh_save", 0, "", [](caller &c) { return save(c, quad(), c.path); }, "file of 136"},
    {"qel_mesh_save", -1, "no vertices", [](caller &c) { return save(c, without_vertices(), c.path); }, "nothing"},
    {"qel_mesh_save", -2, "", [](caller &c) { return save(c, quad(), c.path + "/in-no-folder"); }, "nothing"},
    {"qel_mesh_save", -10, "", [](caller &c) { return save(c, with_index_beyond(), c.path); }, "nothing"},

    {"qel_mesh_load", 0, "",
     [](caller &c) {
         save(c, quad(), c.path);
         return load(c);
     },
     "header.magic \"QELM\", header.version 2, header.vertex_count 4, header.triangle_count 2, "
     "header.reserved 1, header.positions_offset 64, header.indices_offset 112, positions set, indices set, "
     "view set, file_size 136, rest 0, file of 136"},
    {"qel_mesh_load", 0, "with a skin", [](caller &c) { return load_skinned(c); },
     skinned + ", skin owned, view set, file_size 680, rest 0"},
    {"qel_mesh_load", 0, "no memory for the skin", [](caller &c) { return load_skinned(c, sizeof(qel_skin)); },
     skinned + ", view set, file_size 680, rest 0"},
    {"qel_mesh_load", -1, "no path", [](caller &c) { return qel_mesh_load(nullptr, &c.cache); }, "nothing",
     watching<&caller::cache>},
    {"qel_mesh_load", -2, "", [](caller &c) { return load(c); }, "all 0"},
    {"qel_mesh_load", -3, "", [](caller &c) { return load_bytes(c, {}); }, "all 0"},
    {"qel_mesh_load", -4, "", load_without_room, "all 0"},
    {"qel_mesh_load", -5, "", [](caller &c) { return load_bytes(c, bytes(200, 'Q')); }, "all 0"},

    {"qel_mesh_get_gpu_data", 0, "",
     [](caller &c) {
         save_skinned(c);
         load(c);
         watch_outputs(c);
         return qel_mesh_get_gpu_data(&c.cache, &c.positions, &c.normals, &c.borrowed, &c.count, &c.scope);
     },
     skinned + ", skin owned, view set, file_size 680, positions set, indices set, vertex_count 4, "
               "triangle_count 2, rest 0"},
    {"qel_mesh_get_gpu_data", -1, "",
     [](caller &c) {
         watch_outputs(c);
         const qel_mesh none = {};
         return qel_mesh_get_gpu_data(&none, &c.positions, &c.normals, &c.borrowed, &c.count, &c.scope);
     },
     "nothing"},
};

} // namespace qel::test
