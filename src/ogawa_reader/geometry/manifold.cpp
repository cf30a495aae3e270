// SPDX-License-Identifier: MIT
// Vertex-to-face and face-to-vertex adjacency in flat arrays: two counting passes and prefix sums.
#include "qel_unit.h"

#include "common/heap.h"
#include "ogawa_reader/geometry/faces.h"
#include "ogawa_reader/geometry/vertex_faces.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qel {
namespace {

/// Adds to each vertex's counter the number of corners that refer to it.
void count_corners(const mesh_faces &faces, std::uint32_t vertex_count, std::uint32_t *counters) {
    const std::uint64_t end = std::min<std::uint64_t>(faces.claimed_corners(), faces.readable);
    for (std::uint64_t corner = 0; corner < end; ++corner) {
        const std::uint32_t vertex = faces.indices[corner];
        if (vertex < vertex_count) ++counters[vertex];
    }
}

/// Replaces each counter by the sum of those before it and returns the sum of all, which is at most the number of
/// readable corners and does not wrap.
std::uint32_t sum_counters(std::uint32_t vertex_count, std::uint32_t *counters) {
    std::uint32_t sum = 0;
    for (std::uint32_t vertex = 0; vertex < vertex_count; ++vertex) {
        const std::uint32_t count = counters[vertex];
        counters[vertex] = sum;
        sum += count;
    }
    return sum;
}

/// Writes each face to the next entry of every vertex that its corners refer to.
void distribute_faces(const mesh_faces &faces, std::uint32_t vertex_count, std::uint32_t *next,
                      std::uint32_t *vertex_faces) {
    std::uint32_t corner = 0;
    for (std::uint32_t face = 0; face < faces.count && corner < faces.readable; ++face) {
        const std::uint32_t end = faces.end_of(face, corner);
        for (; corner < end; ++corner) {
            const std::uint32_t vertex = faces.indices[corner];
            if (vertex < vertex_count) vertex_faces[next[vertex]++] = face;
        }
    }
}

/// Builds the vertices' face lists; false when there is no memory. The offsets from the second on are the counters:
/// distribute_faces() moves each from its vertex's first entry to the next vertex's, which is the value of that offset.
bool list_vertex_faces(const mesh_faces &faces, ogawa_manifold &manifold) {
    const std::uint32_t vertex_count = manifold.vertex_count;
    const required_scratch<std::uint32_t> counters(heap_zeroed<std::uint32_t>(vertex_count));
    if (counters == nullptr) return false;
    manifold.vertex_face_offsets = heap_array<std::uint32_t>(std::uint64_t{vertex_count} + 1);
    if (manifold.vertex_face_offsets == nullptr) return false;
    std::uint32_t *const ends = manifold.vertex_face_offsets + 1;
    std::fill_n(manifold.vertex_face_offsets, std::size_t{vertex_count} + 1, 0u);
    count_corners(faces, vertex_count, ends);
    const std::uint32_t place_count = sum_counters(vertex_count, ends);
    manifold.vertex_faces = heap_array<std::uint32_t>(place_count);
    if (manifold.vertex_faces == nullptr && place_count != 0) {
        std::free(manifold.vertex_face_offsets); // the field deliberately keeps its value
        return false;
    }
    distribute_faces(faces, vertex_count, ends, manifold.vertex_faces);
    return true;
}

/// Lists where each face's corners begin. Faces after the readable corners are empty, so that no offset points past
/// `face_vertices`.
bool list_face_offsets(const mesh_faces &faces, ogawa_manifold &manifold) {
    std::uint32_t *const offsets = heap_array<std::uint32_t>(std::uint64_t{faces.count} + 1);
    manifold.face_offsets = offsets;
    if (offsets == nullptr) return false;
    std::uint32_t end = 0;
    offsets[0] = 0;
    for (std::uint32_t face = 0; face < faces.count; ++face)
        offsets[std::size_t{face} + 1] = end = faces.end_of(face, end);
    return true;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_build_manifold(ogawa_polymesh *mesh) {
    if (mesh == nullptr || mesh->vertex_count == 0) return OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT;
    ogawa_manifold &manifold = mesh->manifold;
    std::memset(&manifold, 0, sizeof manifold);
    manifold.vertex_count = mesh->vertex_count;
    manifold.face_count = mesh->face_count;
    const mesh_faces faces(*mesh);
    if (!list_vertex_faces(faces, manifold)) return OGAWA_BUILD_MANIFOLD_NO_MEMORY;
    if (!list_face_offsets(faces, manifold)) return OGAWA_BUILD_MANIFOLD_NO_MEMORY;
    manifold.face_vertices = mesh->face_indices;
    return QEL_OK;
}

std::int32_t ogawa_get_vertex_faces(const ogawa_manifold *manifold, std::uint32_t vertex, const std::uint32_t **faces,
                                    std::uint32_t *count) {
    face_list list;
    if (!find_faces(manifold, vertex, list)) return OGAWA_GET_VERTEX_FACES_NOT_FOUND;
    *faces = list.faces;
    *count = list.count;
    return QEL_OK;
}

std::int32_t ogawa_is_manifold_closed(const ogawa_manifold *) {
    return 0;
}

void ogawa_free_manifold(ogawa_manifold *manifold) {
    if (manifold == nullptr) return;
    release(manifold->vertex_faces);
    release(manifold->vertex_face_offsets);
    release(manifold->face_offsets);
    release(manifold->aux_array_a);
    release(manifold->aux_array_b);
    release(manifold->aux_array_c);
    std::memset(manifold, 0, sizeof *manifold);
}

} // extern "C"
