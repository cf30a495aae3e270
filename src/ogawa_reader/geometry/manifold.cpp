// SPDX-License-Identifier: MIT
// Vertex-to-face and face-to-vertex adjacency in flat arrays: two counting passes and prefix sums.
#include "qel_unit.h"

#include "common/heap.h"
#include "ogawa_reader/geometry/faces.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qel {
namespace {

/// Adds to each vertex's counter the number of corners that name it.
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

/// Writes each face to the next place of every vertex that its corners name.
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
/// distribute_faces() moves each from its vertex's first place to the next vertex's, which is the value of that offset.
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
        std::free(manifold.vertex_face_offsets); // the field deliberately stays as it is
        return false;
    }
    distribute_faces(faces, vertex_count, ends, manifold.vertex_faces);
    return true;
}

/// Lists where each face's corners begin. Faces beyond the readable corners are empty, so that no offset leads
/// beyond `face_vertices`.
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

/// A vertex's part of `vertex_faces`.
struct face_list {
    const std::uint32_t *faces;
    std::uint32_t count;
};

/// Whether the offsets are freed memory: the build had faces to list, and no memory for the lists.
bool failed_half_way(const ogawa_manifold &manifold) {
    return manifold.vertex_faces == nullptr && manifold.face_offsets == nullptr && manifold.face_count != 0;
}

/// Finds a vertex's part; false where there is none. Where no vertex has a face, `vertex_faces` may be null.
bool find_faces(const ogawa_manifold *manifold, std::uint32_t vertex, face_list &list) {
    if (manifold == nullptr || vertex >= manifold->vertex_count) return false;
    if (manifold->vertex_face_offsets == nullptr || failed_half_way(*manifold)) return false;
    const std::uint32_t first = manifold->vertex_face_offsets[vertex];
    list.count = manifold->vertex_face_offsets[std::size_t{vertex} + 1] - first;
    list.faces = manifold->vertex_faces != nullptr ? manifold->vertex_faces + first : nullptr;
    return list.faces != nullptr || list.count == 0;
}

/// Calls `visit` with the corners of each face of an ascending list. A face is listed once for each of its corners that
/// names the vertex, but visited once: visits of all would be as many as the square of the corners.
template <class Visit>
void for_each_face(const face_list &list, const std::uint32_t *face_offsets, Visit visit) {
    for (std::uint32_t i = 0; i < list.count; ++i) {
        const std::uint32_t face = list.faces[i];
        if (i != 0 && face == list.faces[i - 1]) continue;
        visit(face_offsets[face], face_offsets[std::size_t{face} + 1]);
    }
}

/// How many corners of a list's faces name another vertex than `vertex`.
std::uint64_t count_others(const face_list &list, const std::uint32_t *face_offsets,
                           const std::uint32_t *face_indices, std::uint32_t vertex) {
    std::uint64_t count = 0;
    for_each_face(list, face_offsets, [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t corner = first; corner < last; ++corner)
            count += face_indices[corner] != vertex ? 1 : 0;
    });
    return count;
}

constexpr std::uint32_t max_on_stack = 48; // neighbours; only the centre of a large fan has more

/// The vertices met so far in a walk over the faces of one vertex, which counts as met: a hash table with linear
/// probing, in which that vertex stands in every free place.
class met_vertices {
  public:
    explicit met_vertices(std::uint32_t centre) : centre_(centre) { std::fill_n(places_, size, centre); }

    /// Whether a vertex was new. At most `max_on_stack` + 1 are, so that a free place is left.
    bool add(std::uint32_t vertex) {
        std::uint32_t place = vertex * 0x9E3779B1u >> (32 - size_bits); // spreads the rows of a grid, too
        while (places_[place] != vertex && places_[place] != centre_)
            place = (place + 1) % size;
        if (places_[place] == vertex) return false;
        places_[place] = vertex;
        return true;
    }

  private:
    static constexpr std::uint32_t size_bits = 6, size = 1 << size_bits;
    static_assert(max_on_stack + 1 < size, "a search ends at a free place");

    std::uint32_t centre_;
    std::uint32_t places_[size];
};

/// What one walk over a vertex's faces finds.
struct gathered {
    std::uint32_t count;   // neighbours, counted up to `max_on_stack` + 1
    std::uint64_t corners; // of the faces
};

/// Writes the vertices of a list's faces but `vertex` itself in the order of their first appearance.
gathered gather_few_others(const face_list &list, const std::uint32_t *face_offsets,
                           const std::uint32_t *face_indices, std::uint32_t vertex, std::uint32_t *others) {
    gathered walk = {0, 0};
    met_vertices met(vertex);
    for_each_face(list, face_offsets, [&](std::uint32_t first, std::uint32_t last) {
        walk.corners += last - first;
        for (std::uint32_t corner = first; corner < last && walk.count <= max_on_stack; ++corner)
            if (met.add(face_indices[corner])) others[walk.count++] = face_indices[corner];
    });
    return walk;
}

std::uint32_t vertex_of(std::uint64_t key) {
    return static_cast<std::uint32_t>(key);
}

/// Does the same for any number of vertices, and writes keys whose vertices vertex_of() returns. Returns how many.
///
/// A key holds a corner's vertex in its high half and the corner's place in its low half. Sorted by vertex, the first
/// of equal ones is kept; with their halves exchanged and sorted again, the keys are in the order of their places. No
/// choice of vertices makes that slow.
std::uint64_t gather_many_others(const face_list &list, const std::uint32_t *face_offsets,
                                 const std::uint32_t *face_indices, std::uint32_t vertex,
                                 std::uint64_t *keys) {
    std::uint64_t count = 0;
    for_each_face(list, face_offsets, [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t corner = first; corner < last; ++corner)
            if (face_indices[corner] != vertex) {
                keys[count] = std::uint64_t{face_indices[corner]} << 32 | count;
                ++count;
            }
    });
    std::sort(keys, keys + count);
    std::uint64_t *const end =
        std::unique(keys, keys + count, [](std::uint64_t a, std::uint64_t b) { return a >> 32 == b >> 32; });
    std::transform(keys, end, keys, [](std::uint64_t key) { return key << 32 | key >> 32; });
    std::sort(keys, end);
    return static_cast<std::uint64_t>(end - keys);
}

/// `face_indices` of a mesh, from the address of its `face_counts`. The caller may have only the fields from the one to
/// the other.
const std::uint32_t *face_indices_from(const void *faces) {
    constexpr std::size_t distance =
        offsetof(ogawa_polymesh, face_indices) - offsetof(ogawa_polymesh, face_counts);
    static_assert(distance == 2 * sizeof(void *), "face_counts, face_count and face_indices are neighbours");
    const std::uint32_t *indices;
    std::memcpy(&indices, static_cast<const char *>(faces) + distance, sizeof indices);
    return indices;
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

std::int32_t ogawa_get_vertex_faces(const ogawa_manifold *manifold, std::uint32_t vertex,
                                    const std::uint32_t **faces, std::uint32_t *count) {
    face_list list;
    if (!find_faces(manifold, vertex, list)) return OGAWA_GET_VERTEX_FACES_NOT_FOUND;
    *faces = list.faces;
    *count = list.count;
    return QEL_OK;
}

std::int32_t ogawa_get_vertex_neighbors(const ogawa_manifold *manifold, const void *faces,
                                        std::uint32_t vertex, std::uint32_t **neighbors,
                                        std::uint32_t *count) {
    face_list list;
    if (faces == nullptr || !find_faces(manifold, vertex, list)) return OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND;
    if (list.count != 0 && manifold->face_offsets == nullptr) return OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND;
    const std::uint32_t *const offsets = manifold->face_offsets;
    const std::uint32_t *const indices = face_indices_from(faces);
    std::uint32_t few_others[max_on_stack + 1];
    const gathered walk = gather_few_others(list, offsets, indices, vertex, few_others);
    const bool are_few = walk.count <= max_on_stack;
    // Five keys a face; more only where faces are large and the keys are used.
    std::uint64_t room = std::uint64_t{5} * list.count;
    if (!are_few && walk.corners > room) room = std::max(room, count_others(list, offsets, indices, vertex));
    const required_scratch<std::uint64_t> keys(heap_array<std::uint64_t>(room));
    if (keys == nullptr) return OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY;
    const std::uint64_t kept =
        are_few ? walk.count : gather_many_others(list, offsets, indices, vertex, keys.get());
    std::uint32_t *const result = heap_array<std::uint32_t>(kept);
    if (result == nullptr) return OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY;
    if (are_few)
        std::copy_n(few_others, kept, result);
    else
        std::transform(keys.get(), keys.get() + kept, result, vertex_of);
    *neighbors = result;
    *count = static_cast<std::uint32_t>(kept);
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
