// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "ogawa_reader/container/archive_in_memory.h"
#include "ogawa_reader/mesh/read_mesh.h"

#include <algorithm>

namespace qel::test {
namespace {

const ogawa_archive closed = {};

std::int32_t open(caller &c, const std::string &content) {
    write_file(c.path, bytes(content.begin(), content.end()));
    c.watch(c.archive);
    c.afterwards = [&c] { ogawa_close(&c.archive); };
    return ogawa_open(c.path.c_str(), &c.archive);
}

/// Reads an archive's mesh while allocations of one size fail, or none.
std::int32_t read_mesh_of(caller &c, const bytes &content, std::size_t failing_size = 0) {
    const stored_archive stored(content);
    c.watch(c.mesh);
    const failing_heap heap = failing_heap::of_size(failing_size);
    return ogawa_read_polymesh(&stored.record, nullptr, 0, &c.mesh);
}

/// A tree of all four arrays; on request the size word of one of them exceeds the rest of the file.
bytes tree(int cut = -1) {
    return four_arrays(cut).content();
}

/// No tree: positions near the start of the file, then normals and vertex numbers.
bytes bytes_only(bool with_faces = true) {
    bytes content(60000, 0xFF);
    put(content, 8, std::uint64_t{0});
    put_block(content, 100, 12012, std::vector<float>(3003, 5.0f));
    if (!with_faces) return content;
    put(content, 13000, std::uint64_t{12016});
    put_all(content, 13024, std::vector<float>(3000, 0.57735f));
    put_all(content, 40000, std::vector<std::uint32_t>(300, 7));
    return content;
}

std::int32_t read_positions(caller &c, const bytes &content, std::uint64_t failing_allocation = 0) {
    const stored_archive stored(content);
    c.watch("positions", c.floats);
    c.watch("count", c.count);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_read_positions(&stored.record, nullptr, 0, &c.floats, &c.count);
}

/// An archive of blocks of floats, each as long as its size says but for the last, which the file's end may cut.
bytes blocks(const std::vector<std::uint64_t> &sizes, std::size_t cut = 0) {
    bytes content = archive_header();
    for (const std::uint64_t size : sizes) {
        append_block(content, size, std::vector<float>(size / 4, 0.5f));
        if (size != sizes.back()) append_filler(content, 16);
    }
    content.resize(content.size() - cut, 0);
    if (cut == 0) append_filler(content, 64);
    return content;
}

bytes pair_of_blocks() {
    return blocks({48, 48});
}

std::int32_t read_normals(caller &c, const bytes &content, std::uint64_t failing_allocation = 0) {
    const archive_in_memory stored(content);
    c.watch("normals", c.floats);
    c.watch("indices", c.numbers);
    c.watch("count", c.count);
    c.watch("scope", c.scope);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_read_normals(&stored.record, nullptr, 0, &c.floats, &c.numbers, &c.count, &c.scope);
}

std::int32_t read_uvs(caller &c, const bytes &content, std::uint64_t failing_allocation = 0) {
    const archive_in_memory stored(content);
    c.watch(c.uv_set);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_read_uvs(&stored.record, nullptr, 0, 0, &c.uv_set);
}

std::int32_t read_frame(caller &c, const bytes &content, std::uint64_t failing_allocation = 0) {
    const archive_in_memory stored(content);
    c.watch(c.frame);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_read_tangent_frame(&stored.record, nullptr, 0, &c.frame);
}

/// The parts of a mesh that is read by the tree, and of one that is found in the bytes.
const std::string positions = "positions owned, vertex_count 1000",
                  normals = "normals owned, normal_count 1001, normal_scope 4",
                  face_counts = "face_counts owned, face_count 501",
                  face_indices = "face_indices owned, face_index_count 2501",
                  found_positions = "positions owned, vertex_count 1001",
                  found_normals = "normals owned, normal_count 1000, normal_scope 4",
                  found_faces = "face_counts owned, face_count 100, face_indices owned, face_index_count 300",
                  boxes = "bounds_min filled, bounds_max filled, self_bounds_min filled, self_bounds_max filled";

/// The outputs of a complete read, whether or not it is a mesh.
std::string finished_mesh(const std::vector<std::string> &parts) {
    std::string changes = "name \"mesh\", path \"/mesh\"";
    for (const std::string &part : parts)
        changes += ", " + part;
    return changes + ", reserved_word 1, transform filled, rest 0";
}

} // namespace

const std::vector<outcome> archive_outcomes = {
    {"ogawa_open", 0, "",
     [](caller &c) {
         return open(c, "Ogawa\xFF\1\2"
                        "12345678");
     },
     "path \"PATH\", file open, version 0 1, version 1 2, time_end 1, fps 24, rest 0"},
    {"ogawa_open", -1, "no path", [](caller &c) { return ogawa_open(nullptr, &c.archive); }, "nothing",
     watching<&caller::archive>},
    {"ogawa_open", -1, "no such file", [](caller &c) { return ogawa_open(c.path.c_str(), &c.archive); },
     "path \"PATH\", rest 0", watching<&caller::archive>},
    {"ogawa_open", -1, "four bytes", [](caller &c) { return open(c, "Ogaw"); }, "path \"PATH\", rest 0"},
    {"ogawa_open", -2, "", [](caller &c) { return open(c, "Ogawe\xFF\1\2"); }, "path \"PATH\", rest 0"},
    {"ogawa_open", -3, "missing", [](caller &c) { return open(c, "Ogawa"); }, "path \"PATH\", rest 0"},
    {"ogawa_open", -3, "being written", [](caller &c) { return open(c, "Ogawa\1\1\2"); }, "path \"PATH\", rest 0"},
    {"ogawa_open", -4, "one version byte", [](caller &c) { return open(c, "Ogawa\xFF\1"); },
     "path \"PATH\", version 0 1, rest 0"},
    {"ogawa_open", -5, "",
     [](caller &c) {
         return open(c, "Ogawa\xFF\1\2"
                        "1234567");
     },
     "path \"PATH\", version 0 1, version 1 2, rest 0"},

    {"ogawa_read_polymesh", 0, "by the tree", [](caller &c) { return read_mesh_of(c, tree()); },
     finished_mesh({positions, normals, face_counts, face_indices, boxes})},
    {"ogawa_read_polymesh", 0, "normals cut short", [](caller &c) { return read_mesh_of(c, tree(1)); },
     finished_mesh({positions, "normal_scope 4", face_counts, face_indices, boxes})},
    {"ogawa_read_polymesh", 0, "face counts cut short", [](caller &c) { return read_mesh_of(c, tree(2)); },
     finished_mesh({positions, normals, face_indices, boxes})},
    {"ogawa_read_polymesh", 0, "face indices cut short", [](caller &c) { return read_mesh_of(c, tree(3)); },
     finished_mesh({positions, normals, face_counts, boxes})},
    {"ogawa_read_polymesh", 0, "no memory for positions", [](caller &c) { return read_mesh_of(c, tree(), 12000); },
     finished_mesh({"vertex_count 1000", normals, face_counts, face_indices})},
    {"ogawa_read_polymesh", 0, "no memory for normals", [](caller &c) { return read_mesh_of(c, tree(), 12012); },
     finished_mesh({positions, "normal_count 1001, normal_scope 4", face_counts, face_indices, boxes})},
    {"ogawa_read_polymesh", 0, "no memory for face counts", [](caller &c) { return read_mesh_of(c, tree(), 2004); },
     finished_mesh({positions, normals, "face_count 501", face_indices, boxes})},
    {"ogawa_read_polymesh", 0, "no memory for face indices", [](caller &c) { return read_mesh_of(c, tree(), 10004); },
     finished_mesh({positions, normals, face_counts, "face_index_count 2501", boxes})},
    {"ogawa_read_polymesh", 0, "by the bytes", [](caller &c) { return read_mesh_of(c, bytes_only()); },
     finished_mesh({found_positions, found_normals, found_faces, boxes})},
    {"ogawa_read_polymesh", 0, "by the bytes, no memory for normals",
     [](caller &c) { return read_mesh_of(c, bytes_only(), 12000); },
     finished_mesh({found_positions, "normal_count 1000", found_faces, boxes})},
    {"ogawa_read_polymesh", 0, "by the bytes, no memory for face indices",
     [](caller &c) { return read_mesh_of(c, bytes_only(), 1200); },
     finished_mesh({found_positions, found_normals, "face_index_count 300", boxes})},
    {"ogawa_read_polymesh", 0, "by the bytes, no memory for face counts",
     [](caller &c) { return read_mesh_of(c, bytes_only(), 400); },
     finished_mesh({found_positions, found_normals, "face_count 100", boxes})},
    {"ogawa_read_polymesh", 0, "by the bytes, normals cut short",
     [](caller &c) {
         bytes content = bytes_only();
         put(content, 13000, std::uint64_t{120016});
         return read_mesh_of(c, content);
     },
     finished_mesh({found_positions, "normal_count 10000", found_faces, boxes})},
    {"ogawa_read_polymesh", -1, "no archive",
     [](caller &c) { return ogawa_read_polymesh(nullptr, nullptr, 0, &c.mesh); }, "nothing", watching<&caller::mesh>},
    {"ogawa_read_polymesh", -1, "a closed archive",
     [](caller &c) { return ogawa_read_polymesh(&closed, nullptr, 0, &c.mesh); }, "nothing", watching<&caller::mesh>},
    {"ogawa_read_polymesh", -1, "no positions", [](caller &c) { return read_mesh_of(c, bytes(5000, 0xFF)); },
     "name \"mesh\", path \"/mesh\", rest 0"},
    {"ogawa_read_polymesh", -1, "the tree's positions cut short", [](caller &c) { return read_mesh_of(c, tree(0)); },
     finished_mesh({normals, face_counts, face_indices})},
    {"ogawa_read_polymesh", -2, "", [](caller &c) { return read_mesh_of(c, bytes_only(), 12012); },
     "name \"mesh\", path \"/mesh\", vertex_count 1001, rest 0"},

    {"ogawa_read_positions", 0, "", [](caller &c) { return read_positions(c, bytes_only(false)); },
     "positions owned, count 1001"},
    {"ogawa_read_positions", -1, "no outputs",
     [](caller &c) {
         const stored_archive stored(bytes_only(false));
         c.watch("count", c.count);
         return ogawa_read_positions(&stored.record, nullptr, 0, nullptr, &c.count);
     },
     "nothing"},
    {"ogawa_read_positions", -1, "none", [](caller &c) { return read_positions(c, bytes(5000, 0xFF)); }, "nothing"},
    {"ogawa_read_positions", -2, "", [](caller &c) { return read_positions(c, bytes_only(false), 1); },
     "positions null, count 1001"},

    {"ogawa_read_normals", 0, "", [](caller &c) { return read_normals(c, blocks({36})); },
     "normals owned, indices null, count 3, scope 3"},
    {"ogawa_read_normals", -1, "no block", [](caller &c) { return read_normals(c, blocks({})); }, "nothing"},
    {"ogawa_read_normals", -1, "no archive",
     [](caller &c) {
         c.watch("count", c.count);
         return ogawa_read_normals(nullptr, nullptr, 0, &c.floats, &c.numbers, &c.count, &c.scope);
     },
     "nothing"},
    {"ogawa_read_normals", -1, "cut short", [](caller &c) { return read_normals(c, blocks({1200}, 900)); },
     "normals null, count 100"},
    {"ogawa_read_normals", -2, "",
     [](caller &c) { return read_normals(c, blocks({36}), 2); }, // the window is the first allocation
     "normals null, count 3"},

    {"ogawa_read_uvs", 0, "", [](caller &c) { return read_uvs(c, blocks({16})); },
     "name \"uv\", values owned, value_count 2, scope 4, rest 0"},
    {"ogawa_read_uvs", -1, "no block", [](caller &c) { return read_uvs(c, blocks({})); }, "nothing"},
    {"ogawa_read_uvs", -1, "a closed archive",
     [](caller &c) { return ogawa_read_uvs(&closed, nullptr, 0, 0, &c.uv_set); }, "nothing", watching<&caller::uv_set>},
    {"ogawa_read_uvs", -1, "cut short", [](caller &c) { return read_uvs(c, blocks({1200}, 900)); },
     "name \"uv\", rest 0"},
    {"ogawa_read_uvs", -2, "", [](caller &c) { return read_uvs(c, blocks({16}), 2); }, "name \"uv\", rest 0"},

    {"ogawa_read_tangent_frame", 0, "", [](caller &c) { return read_frame(c, pair_of_blocks()); },
     "tangents owned, bitangents owned, count 4, components 3"},
    {"ogawa_read_tangent_frame", -1, "no pair",
     [](caller &c) {
         return read_frame(c, blocks({36, 48}));
     },
     "all 0"},
    {"ogawa_read_tangent_frame", -1, "too short", [](caller &c) { return read_frame(c, bytes(30, 0)); }, "all 0"},
    {"ogawa_read_tangent_frame", -1, "no archive",
     [](caller &c) { return ogawa_read_tangent_frame(nullptr, nullptr, 0, &c.frame); }, "nothing",
     watching<&caller::frame>},
    {"ogawa_read_tangent_frame", -2, "the tangents", [](caller &c) { return read_frame(c, pair_of_blocks(), 2); },
     "bitangents freed, count 4, rest 0"},
    {"ogawa_read_tangent_frame", -2, "the bitangents", [](caller &c) { return read_frame(c, pair_of_blocks(), 3); },
     "tangents freed, count 4, rest 0"},

    {"ogawa_read_skinning", -1, "", [](caller &c) { return ogawa_read_skinning(&closed, nullptr, &c.skin); }, "all 0",
     watching<&caller::skin>},
    {"ogawa_read_skinning", -1, "no archive", [](caller &c) { return ogawa_read_skinning(nullptr, nullptr, &c.skin); },
     "nothing", watching<&caller::skin>},
};

} // namespace qel::test
