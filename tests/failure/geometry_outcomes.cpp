// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"

namespace qel::test {
namespace {

/// Two triangles of four vertices, with a UV set.
struct two_triangles {
    std::vector<float> positions = std::vector<float>(12, 1.0f), uvs = std::vector<float>(8, 0.5f);
    std::vector<std::uint32_t> counts = {3, 3}, indices = {0, 1, 2, 2, 1, 3};
    ogawa_uv_set set = {};

    explicit two_triangles(ogawa_polymesh &mesh) {
        std::strcpy(set.name, "uv");
        set.values = uvs.data();
        set.value_count = 4;
        mesh.positions = positions.data();
        mesh.vertex_count = 4;
        mesh.face_counts = counts.data();
        mesh.face_count = 2;
        mesh.face_indices = indices.data();
        mesh.face_index_count = 6;
        mesh.uv_sets = &set;
        mesh.uv_set_count = 1;
    }
};

std::int32_t build(caller &c, std::uint64_t failing_allocation = 0) {
    const two_triangles arrays(c.mesh);
    c.watch(c.mesh);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_build_manifold(&c.mesh);
}

std::int32_t vertex_faces(caller &c, std::uint32_t vertex, std::uint64_t failing_allocation = 0) {
    const two_triangles arrays(c.mesh);
    {
        const failing_heap heap = failing_heap::nth(failing_allocation);
        ogawa_build_manifold(&c.mesh);
    }
    c.watch(c.mesh);
    c.watch("faces", c.borrowed);
    c.watch("count", c.count);
    return ogawa_get_vertex_faces(&c.mesh.manifold, vertex, &c.borrowed, &c.count);
}

std::int32_t neighbors(caller &c, std::uint32_t vertex, std::uint64_t failing_allocation = 0) {
    const two_triangles arrays(c.mesh);
    ogawa_build_manifold(&c.mesh);
    c.watch(c.mesh);
    c.watch("neighbors", c.numbers);
    c.watch("count", c.count);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_get_vertex_neighbors(&c.mesh.manifold, &c.mesh.face_counts, vertex, &c.numbers, &c.count);
}

std::int32_t compute(caller &c, const char *name, std::uint64_t failing_allocation = 0) {
    const two_triangles arrays(c.mesh);
    c.watch(c.mesh);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_compute_tangent_frame(&c.mesh, name);
}

std::int32_t triangulate(caller &c, std::uint32_t corners, std::uint64_t failing_allocation = 0) {
    const std::uint32_t face[] = {7, 8, 9, 10};
    c.watch("triangles", c.numbers);
    c.watch("count", c.count);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return ogawa_triangulate_face(face, corners, &c.numbers, &c.count);
}

/// A manifold of them, by what its arrays are.
std::string manifold_of(const std::string &vertex_faces, const std::string &vertex_face_offsets,
                        const std::string &face_vertices, const std::string &face_offsets) {
    return "manifold.vertex_faces " + vertex_faces + ", manifold.vertex_face_offsets " + vertex_face_offsets +
           ", manifold.vertex_count 4, manifold.face_vertices " + face_vertices + ", manifold.face_offsets " +
           face_offsets + ", manifold.face_count 2, manifold.aux_array_a null, manifold.aux_count 0, " +
           "manifold.aux_array_b null, manifold.aux_array_c null";
}

} // namespace

const std::vector<outcome> geometry_outcomes = {
    {"ogawa_build_manifold", 0, "", [](caller &c) { return build(c); }, manifold_of("owned", "owned", "set", "owned")},
    {"ogawa_build_manifold", -1, "no vertices",
     [](caller &c) {
         c.mesh.vertex_count = 0;
         c.watch(c.mesh);
         return ogawa_build_manifold(&c.mesh);
     },
     "nothing"},
    {"ogawa_build_manifold", -2, "the counters", [](caller &c) { return build(c, 1); },
     manifold_of("null", "null", "null", "null")},
    {"ogawa_build_manifold", -2, "the vertices' offsets", [](caller &c) { return build(c, 2); },
     manifold_of("null", "null", "null", "null")},
    {"ogawa_build_manifold", -2, "the face lists", [](caller &c) { return build(c, 3); },
     manifold_of("null", "freed", "null", "null")},
    {"ogawa_build_manifold", -2, "the faces' offsets", [](caller &c) { return build(c, 4); },
     manifold_of("owned", "owned", "null", "null")},

    {"ogawa_get_vertex_faces", 0, "", [](caller &c) { return vertex_faces(c, 1); }, "faces set, count 2"},
    {"ogawa_get_vertex_faces", -1, "no such vertex", [](caller &c) { return vertex_faces(c, 4); }, "nothing"},
    {"ogawa_get_vertex_faces", -1, "the build failed", [](caller &c) { return vertex_faces(c, 1, 3); }, "nothing"},

    {"ogawa_get_vertex_neighbors", 0, "", [](caller &c) { return neighbors(c, 1); }, "neighbors owned, count 3"},
    {"ogawa_get_vertex_neighbors", -1, "no such vertex", [](caller &c) { return neighbors(c, 4); }, "nothing"},
    {"ogawa_get_vertex_neighbors", -2, "the list", [](caller &c) { return neighbors(c, 1, 1); }, "nothing"},
    {"ogawa_get_vertex_neighbors", -2, "the result", [](caller &c) { return neighbors(c, 1, 2); }, "nothing"},

    {"ogawa_compute_tangent_frame", 0, "", [](caller &c) { return compute(c, "uv"); },
     "tangent_frame.tangents owned, tangent_frame.bitangents owned, tangent_frame.count 4, "
     "tangent_frame.components 3"},
    {"ogawa_compute_tangent_frame", -1, "no UV sets",
     [](caller &c) {
         const two_triangles arrays(c.mesh);
         c.mesh.uv_set_count = 0;
         c.watch(c.mesh);
         return ogawa_compute_tangent_frame(&c.mesh, nullptr);
     },
     "nothing"},
    {"ogawa_compute_tangent_frame", -2, "no such name", [](caller &c) { return compute(c, "UV"); }, "nothing"},
    {"ogawa_compute_tangent_frame", -2, "a count without an array",
     [](caller &c) {
         const two_triangles arrays(c.mesh);
         c.mesh.uv_sets = nullptr;
         c.watch(c.mesh);
         return ogawa_compute_tangent_frame(&c.mesh, nullptr);
     },
     "nothing"},
    {"ogawa_compute_tangent_frame", -3, "the tangents", [](caller &c) { return compute(c, nullptr, 1); },
     "tangent_frame.tangents null, tangent_frame.bitangents owned, tangent_frame.count 4"},
    {"ogawa_compute_tangent_frame", -3, "the bitangents", [](caller &c) { return compute(c, nullptr, 2); },
     "tangent_frame.tangents owned, tangent_frame.bitangents null, tangent_frame.count 4"},

    {"ogawa_triangulate_face", 0, "", [](caller &c) { return triangulate(c, 4); }, "triangles owned, count 2"},
    {"ogawa_triangulate_face", -1, "two corners", [](caller &c) { return triangulate(c, 2); }, "nothing"},
    {"ogawa_triangulate_face", -2, "", [](caller &c) { return triangulate(c, 4, 1); }, "nothing"},
};

} // namespace qel::test
