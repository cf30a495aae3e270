// SPDX-License-Identifier: MIT
#include "baseline/adjacency.h"

#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

std::uint32_t *words(std::size_t count) {
    return static_cast<std::uint32_t *>(std::malloc(count * sizeof(std::uint32_t) + 1));
}

/// Calls `visit` with face and vertex of every corner.
template <class Visit>
void for_each_corner(const ogawa_polymesh &mesh, Visit visit) {
    std::uint32_t k = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint32_t corners = mesh.face_counts != nullptr ? mesh.face_counts[f] : 3;
        for (std::uint32_t i = 0; i < corners; ++i, ++k)
            if (mesh.face_indices[k] < mesh.vertex_count) visit(f, mesh.face_indices[k]);
    }
}

} // namespace

std::int32_t build_manifold(ogawa_polymesh *mesh) {
    ogawa_manifold &manifold = mesh->manifold;
    std::memset(&manifold, 0, sizeof manifold);
    const std::uint32_t vertices = manifold.vertex_count = mesh->vertex_count;
    const std::uint32_t faces = manifold.face_count = mesh->face_count;
    auto *const counters = static_cast<std::uint32_t *>(std::calloc(vertices, sizeof(std::uint32_t)));
    if (counters == nullptr) return -2;
    for_each_corner(*mesh, [&](std::uint32_t, std::uint32_t vertex) { counters[vertex] += 1; });
    std::uint32_t *const offsets = manifold.vertex_face_offsets = words(std::size_t{vertices} + 1);
    if (offsets == nullptr) return -2;
    offsets[0] = 0;
    for (std::uint32_t v = 0; v < vertices; ++v)
        offsets[v + 1] = offsets[v] + counters[v];
    manifold.vertex_faces = words(offsets[vertices]);
    manifold.face_offsets = words(std::size_t{faces} + 1);
    if (manifold.vertex_faces == nullptr || manifold.face_offsets == nullptr) return -2;
    std::memset(counters, 0, std::size_t{vertices} * sizeof(std::uint32_t));
    for_each_corner(*mesh, [&](std::uint32_t face, std::uint32_t vertex) {
        manifold.vertex_faces[offsets[vertex] + counters[vertex]] = face;
        counters[vertex] += 1;
    });
    std::free(counters);
    manifold.face_offsets[0] = 0;
    for (std::uint32_t f = 0; f < faces; ++f)
        manifold.face_offsets[f + 1] =
            manifold.face_offsets[f] + (mesh->face_counts != nullptr ? mesh->face_counts[f] : 3);
    manifold.face_vertices = mesh->face_indices;
    return 0;
}

std::uint32_t *vertex_neighbors(const ogawa_manifold &manifold, std::uint32_t vertex, std::uint32_t *count) {
    const std::uint32_t *const faces = manifold.vertex_faces + manifold.vertex_face_offsets[vertex];
    const std::uint32_t n = manifold.vertex_face_offsets[vertex + 1] - manifold.vertex_face_offsets[vertex];
    std::uint32_t *const list = words(std::size_t{10} * n);
    if (list == nullptr) return nullptr;
    std::uint32_t found = 0;
    for (std::uint32_t i = 0; i < n; ++i)
        for (std::uint32_t k = manifold.face_offsets[faces[i]]; k < manifold.face_offsets[faces[i] + 1]; ++k) {
            const std::uint32_t other = manifold.face_vertices[k];
            if (other == vertex) continue;
            std::uint32_t at = 0;
            while (at < found && list[at] != other)
                ++at;
            if (at == found) list[found++] = other;
        }
    std::uint32_t *const result = words(found);
    if (result != nullptr) std::memcpy(result, list, found * sizeof(std::uint32_t));
    std::free(list);
    *count = found;
    return result;
}

} // namespace qel::baseline
