// SPDX-License-Identifier: MIT
// What is made of a mesh: adjacency, neighbours, tangent frames.
#include "qel_unit.h"

#include "baseline/adjacency.h"
#include "model/tangent_model.h"
#include "ogawa_reader/mesh_inputs.h"
#include "support/rows.h"
#include "support/side_by_side.h"

namespace qel::bench {

namespace {

bool same_manifolds(const ogawa_manifold &a, const ogawa_manifold &b) {
    const auto same = [](const std::uint32_t *x, const std::uint32_t *y, std::size_t count) {
        return std::memcmp(x, y, count * 4) == 0;
    };
    return same(a.vertex_face_offsets, b.vertex_face_offsets, std::size_t{a.vertex_count} + 1) &&
           same(a.vertex_faces, b.vertex_faces, a.vertex_face_offsets[a.vertex_count]) &&
           same(a.face_offsets, b.face_offsets, std::size_t{a.face_count} + 1);
}

void manifold(benchmark::State &state) {
    mesh_input input(sized(1000, 20));
    ogawa_polymesh ours = input.mesh, plain = input.mesh;
    ogawa_build_manifold(&ours);
    baseline::build_manifold(&plain);
    const bool same = same_manifolds(ours.manifold, plain.manifold);
    ogawa_free_manifold(&ours.manifold);
    ogawa_free_manifold(&plain.manifold);
    if (!agree(state, same, "the plain manifold differs")) return;
    side_by_side(state, {[&] { ogawa_build_manifold(&ours); }, [&] { ogawa_free_manifold(&ours.manifold); }})
        .model({[&] { baseline::build_manifold(&plain); }, [&] { ogawa_free_manifold(&plain.manifold); }},
               1.5)
        .measure();
}

template <class List>
std::uint64_t list_all(const ogawa_polymesh &mesh, List list) {
    std::uint64_t sum = 0;
    for (std::uint32_t v = 0; v < mesh.vertex_count; ++v) {
        std::uint32_t count = 0;
        std::uint32_t *const neighbors = list(v, &count);
        for (std::uint32_t i = 0; i < count; ++i)
            sum += neighbors[i] * (i + 1);
        std::free(neighbors);
    }
    return sum;
}

void neighbors(benchmark::State &state) {
    mesh_input input(sized(1000, 20));
    ogawa_polymesh &mesh = input.mesh;
    ogawa_build_manifold(&mesh);
    const auto ours = [&](std::uint32_t vertex, std::uint32_t *count) {
        std::uint32_t *list = nullptr;
        ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, vertex, &list, count);
        return list;
    };
    const auto plain = [&](std::uint32_t vertex, std::uint32_t *count) {
        return baseline::vertex_neighbors(mesh.manifold, vertex, count);
    };
    if (agree(state, list_all(mesh, ours) == list_all(mesh, plain), "the plain neighbours differ"))
        side_by_side(state, {[&] { keep(list_all(mesh, ours)); }})
            .model({[&] { keep(list_all(mesh, plain)); }}, 1.5)
            .measure();
    ogawa_free_manifold(&mesh.manifold);
}

void tangents(benchmark::State &state) {
    mesh_input input(sized(1000, 20));
    ogawa_polymesh &mesh = input.mesh;
    ogawa_compute_tangent_frame(&mesh, nullptr);
    model::plain_tangent_frame plain = model::compute_plain_tangent_frame(mesh, mesh.uv_sets[0]);
    const std::size_t bytes = plain.tangents.size() * sizeof(float);
    const bool same = std::memcmp(mesh.tangent_frame.tangents, plain.tangents.data(), bytes) == 0 &&
                      std::memcmp(mesh.tangent_frame.bitangents, plain.bitangents.data(), bytes) == 0;
    ogawa_free_tangent_frame(&mesh.tangent_frame);
    if (!agree(state, same, "the plain tangents differ")) return;
    side_by_side(state, {[&] { ogawa_compute_tangent_frame(&mesh, nullptr); },
                         [&] { ogawa_free_tangent_frame(&mesh.tangent_frame); }})
        .model(
            {[&] { plain = model::compute_plain_tangent_frame(mesh, mesh.uv_sets[0]); }, [&] { plain = {}; }},
            1.5)
        .measure();
}

} // namespace

void add_geometry_rows() {
    row("manifold build", "1 M quads", manifold);
    row("all neighbours", "1 M quads", neighbors);
    row("tangent frames", "1 M quads", tangents);
}

} // namespace qel::bench
