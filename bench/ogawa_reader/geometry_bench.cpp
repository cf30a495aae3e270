// SPDX-License-Identifier: MIT
// The geometry of a mesh: adjacency, neighbours, tangent frames.
#include "qel_unit.h"

#include "baseline/adjacency.h"
#include "model/tangent_model.h"
#include "ogawa_reader/mesh_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <algorithm>

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

bool manifold_same(mesh_input &input) {
    ogawa_polymesh ours = input.mesh, plain = input.mesh;
    ogawa_build_manifold(&ours);
    baseline::build_manifold(&plain);
    const bool same = same_manifolds(ours.manifold, plain.manifold);
    ogawa_free_manifold(&ours.manifold);
    ogawa_free_manifold(&plain.manifold);
    return same;
}

void manifold(benchmark::State &state, mesh_input &input) {
    if (!agree_with_model(state, "the plain manifold differs", [&] { return manifold_same(input); })) return;
    ogawa_polymesh ours = input.mesh, plain = input.mesh;
    side_by_side(state, {[&] { ogawa_build_manifold(&ours); }, [&] { ogawa_free_manifold(&ours.manifold); }})
        .model({[&] { baseline::build_manifold(&plain); }, [&] { ogawa_free_manifold(&plain.manifold); }}, 1.5)
        .limit("streaming its inputs and outputs", {[&] {
                   stream_read(input.torus.face_counts);
                   stream_read(input.torus.face_indices);
                   const std::size_t faces = input.torus.face_counts.size();
                   huge_memory((input.torus.face_indices.size() + faces + ours.vertex_count) * 4).fill();
               }})
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

/// The least work of a call: an array that the caller releases.
std::uint32_t *array_of_eight(std::uint32_t vertex, std::uint32_t *count) {
    *count = 8;
    auto *const list = static_cast<std::uint32_t *>(std::malloc(*count * sizeof(std::uint32_t)));
    std::fill_n(list, *count, vertex);
    keep(list);
    return list;
}

/// The same with the keys' memory, and one read of each corner of the vertex's faces.
std::uint32_t *array_of_sums(const ogawa_manifold &manifold, std::uint32_t vertex, std::uint32_t *count) {
    const std::uint32_t *const first = manifold.vertex_faces + manifold.vertex_face_offsets[vertex];
    const std::uint32_t *const last = manifold.vertex_faces + manifold.vertex_face_offsets[vertex + 1];
    std::uint32_t sum = 0;
    for (const std::uint32_t *face = first; face != last; ++face)
        for (std::uint32_t i = manifold.face_offsets[*face]; i < manifold.face_offsets[*face + 1]; ++i)
            sum += manifold.face_vertices[i];
    void *const keys = std::malloc(static_cast<std::size_t>(last - first) * 5 * sizeof(std::uint64_t));
    keep(keys);
    std::uint32_t *const list = array_of_eight(sum, count);
    std::free(keys);
    return list;
}

void neighbors(benchmark::State &state, mesh_input &input) {
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
    const auto sums = [&](std::uint32_t vertex, std::uint32_t *count) {
        return array_of_sums(mesh.manifold, vertex, count);
    };
    const auto same = [&] { return list_all(mesh, ours) == list_all(mesh, plain); };
    if (agree_with_model(state, "the plain neighbours differ", same))
        side_by_side(state, {[&] { keep(list_all(mesh, ours)); }})
            .model({[&] { keep(list_all(mesh, plain)); }}, 1.5)
            .limit("an array from the heap for each vertex", {[&] { keep(list_all(mesh, array_of_eight)); }})
            .limit("both arrays and a sum over the corners", {[&] { keep(list_all(mesh, sums)); }})
            .measure();
    ogawa_free_manifold(&mesh.manifold);
}

bool tangents_same(ogawa_polymesh &mesh) {
    ogawa_compute_tangent_frame(&mesh, nullptr);
    const model::plain_tangent_frame plain = model::compute_plain_tangent_frame(mesh, mesh.uv_sets[0]);
    const std::size_t bytes = plain.tangents.size() * sizeof(float);
    const bool same = std::memcmp(mesh.tangent_frame.tangents, plain.tangents.data(), bytes) == 0 &&
                      std::memcmp(mesh.tangent_frame.bitangents, plain.bitangents.data(), bytes) == 0;
    ogawa_free_tangent_frame(&mesh.tangent_frame);
    return same;
}

void tangents(benchmark::State &state, mesh_input &input) {
    ogawa_polymesh &mesh = input.mesh;
    if (!agree_with_model(state, "the plain tangents differ", [&] { return tangents_same(mesh); })) return;
    model::plain_tangent_frame plain;
    side_by_side(state, {[&] { ogawa_compute_tangent_frame(&mesh, nullptr); },
                         [&] { ogawa_free_tangent_frame(&mesh.tangent_frame); }})
        .model({[&] { plain = model::compute_plain_tangent_frame(mesh, mesh.uv_sets[0]); }, [&] { plain = {}; }}, 1.5)
        .limit("streaming its inputs and outputs", {[&] {
                   stream_read(input.torus.positions);
                   stream_read(input.torus.vertex_uvs);
                   stream_read(input.torus.face_counts);
                   stream_read(input.torus.face_indices);
                   stream_read(input.torus.corner_normals);
                   stream_fill(std::size_t{mesh.vertex_count} * 6 * sizeof(float));
               }})
        .measure();
}

template <void (*Measure)(benchmark::State &, mesh_input &)>
void million(benchmark::State &state) {
    mesh_input input(sized(1000, 20));
    Measure(state, input);
}

template <void (*Measure)(benchmark::State &, mesh_input &)>
void grown(benchmark::State &state, std::size_t vertices) {
    mesh_input input(side_of(vertices));
    report_size(state, input.mesh.vertex_count);
    Measure(state, input);
}

} // namespace

void add_geometry_rows() {
    row("manifold build", "1 M quads", million<manifold>);
    row("all neighbours", "1 M quads", million<neighbors>);
    row("tangent frames", "1 M quads", million<tangents>);
    growth("manifold build", "vertex", 20'000'000, grown<manifold>);
    growth("all neighbours", "vertex", 20'000'000, grown<neighbors>);
    growth("tangent frames", "vertex", 20'000'000, grown<tangents>);
}

} // namespace qel::bench
