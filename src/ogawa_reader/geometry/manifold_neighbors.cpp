// SPDX-License-Identifier: MIT
#include "ogawa_reader/geometry/manifold_neighbors.h"

#include "common/heap.h"

#include <algorithm>
#include <cstring>

#if QEL_AVX2_KERNELS
#include <immintrin.h>
#endif

namespace qel {
namespace {

/// The number of keys that every call allocates: five for each face of the list.
constexpr std::uint64_t keys_of(const face_list &list) {
    return std::uint64_t{5} * list.count;
}

/// Whether face `i` of the list equals the previous one. A face is listed once for each of its corners that refers to
/// the vertex, but visited once: visiting every entry would take quadratic time.
inline bool repeats(const face_list &list, std::uint32_t i) {
    return i != 0 && list.faces[i] == list.faces[i - 1]; // the list ascends
}

/// Calls `visit` with the corners of each face of a star.
template <class Visit>
void for_each_face(const vertex_star &star, Visit visit) {
    for (std::uint32_t i = 0; i < star.list.count; ++i) {
        const std::uint32_t face = star.list.faces[i];
        if (!repeats(star.list, i)) visit(star.face_offsets[face], star.face_offsets[std::size_t{face} + 1]);
    }
}

/// The number of corners of a star's faces that refer to another vertex than the centre.
std::uint64_t count_others(const vertex_star &star) {
    std::uint64_t count = 0;
    for_each_face(star, [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t corner = first; corner < last; ++corner)
            count += star.face_indices[corner] != star.centre ? 1 : 0;
    });
    return count;
}

constexpr std::uint32_t max_on_stack = 48; // neighbours; only the centre of a large fan has more neighbours

/// The vertices met so far in a walk over the faces of one vertex. An open-addressing table with linear probing. The
/// centre counts as met and marks free slots.
class met_vertices {
  public:
    explicit met_vertices(std::uint32_t centre) : centre_(centre) { std::fill_n(places_, size, centre); }

    /// Adds a vertex; false if it was met before. At most `max_on_stack` + 1 are added, so that a free slot is left.
    bool add(std::uint32_t vertex) {
        std::uint32_t place = vertex * 0x9E3779B1u >> (32 - size_bits); // also spreads the rows of a grid
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

/// The result of one walk over a vertex's faces.
struct gathered {
    std::uint32_t count;   // neighbours, counted up to `max_on_stack` + 1
    std::uint64_t corners; // of the faces
};

/// Writes the vertices of a star's faces, except the centre, in the order of their first appearance.
gathered gather_few_others(vertex_star star, std::uint32_t *others) {
    gathered walk = {0, 0};
    met_vertices met(star.centre);
    for_each_face(star, [&](std::uint32_t first, std::uint32_t last) {
        walk.corners += last - first;
        for (std::uint32_t corner = first; corner < last && walk.count <= max_on_stack; ++corner)
            if (met.add(star.face_indices[corner])) others[walk.count++] = star.face_indices[corner];
    });
    return walk;
}

std::uint32_t vertex_of(std::uint64_t key) {
    return static_cast<std::uint32_t>(key);
}

/// The same without a limit on the number of vertices; writes keys (see vertex_of()). Returns how many.
///
/// A key holds a corner's vertex in its high half and the corner's position in its low half. The keys are sorted by
/// vertex, and the first of equal vertices is kept; then the halves are exchanged and the keys sorted by position. The
/// time does not depend on the choice of vertices.
std::uint64_t gather_many_others(const vertex_star &star, std::uint64_t *keys) {
    std::uint64_t count = 0;
    for_each_face(star, [&](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t corner = first; corner < last; ++corner)
            if (star.face_indices[corner] != star.centre) {
                keys[count] = std::uint64_t{star.face_indices[corner]} << 32 | count;
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

bool neighbors_plain(const vertex_star &star, std::uint32_t **neighbors, std::uint32_t *count) {
    std::uint32_t few_others[max_on_stack + 1];
    const gathered walk = gather_few_others(star, few_others);
    const bool are_few = walk.count <= max_on_stack;
    // More than five keys per face are needed only if faces are large and the keys are used.
    std::uint64_t room = keys_of(star.list);
    if (!are_few && walk.corners > room) room = std::max(room, count_others(star));
    const required_scratch<std::uint64_t> keys(heap_array<std::uint64_t>(room));
    if (keys == nullptr) return false;
    const std::uint64_t kept = are_few ? walk.count : gather_many_others(star, keys.get());
    std::uint32_t *const result = heap_array<std::uint32_t>(kept);
    if (result == nullptr) return false;
    if (are_few)
        std::copy_n(few_others, kept, result);
    else
        std::transform(keys.get(), keys.get() + kept, result, vertex_of);
    *neighbors = result;
    *count = static_cast<std::uint32_t>(kept);
    return true;
}

#if QEL_AVX2_KERNELS

constexpr std::uint32_t corner_lanes = 16, corner_quarter = 4;

constexpr __mmask16 first_corners(std::uint32_t count) {
    return static_cast<__mmask16>((1u << count) - 1);
}

/// Fills a register with the corners of up to four faces of up to four corners, a quarter each, and with the centre. A
/// face that is listed twice changes neither the set of vertices nor their order. False for more or larger faces.
QEL_TARGET_AVX512 inline bool gather_quarters(const vertex_star &star, __m512i centre, __m512i *corners) {
    if (star.list.count > corner_lanes / corner_quarter) return false;
    *corners = centre;
    for (std::uint32_t i = 0; i < star.list.count; ++i) {
        const std::uint32_t face = star.list.faces[i], first = star.face_offsets[face];
        const std::uint32_t size = star.face_offsets[std::size_t{face} + 1] - first;
        if (size > corner_quarter) return false;
        const auto places = static_cast<__mmask16>(first_corners(size) << (i * corner_quarter));
        *corners = _mm512_mask_expandloadu_epi32(*corners, places, star.face_indices + first);
    }
    return true;
}

/// Fills a register with the corners that refer to other vertices, and with the centre. False if they do not fit.
QEL_TARGET_AVX512 bool gather_others(const vertex_star &star, __m512i centre, __m512i *corners) {
    *corners = centre;
    std::uint32_t gathered = 0;
    for (std::uint32_t i = 0; i < star.list.count; ++i) {
        if (repeats(star.list, i)) continue;
        const std::uint32_t face = star.list.faces[i], first = star.face_offsets[face];
        const std::uint32_t size = star.face_offsets[std::size_t{face} + 1] - first;
        if (size > corner_lanes) return false;
        const __mmask16 read = first_corners(size);
        const __m512i named = _mm512_maskz_loadu_epi32(read, star.face_indices + first);
        const __mmask16 other = _mm512_mask_cmpneq_epi32_mask(read, named, centre);
        const std::uint32_t sum = gathered + static_cast<std::uint32_t>(__builtin_popcount(other));
        if (sum > corner_lanes) return false;
        *corners = _mm512_mask_expand_epi32(*corners, first_corners(sum) & ~first_corners(gathered),
                                            _mm512_maskz_compress_epi32(other, named));
        gathered = sum;
    }
    return true;
}

/// Holds the corners in one register and finds the lanes that repeat an earlier lane (vpconflictd).
QEL_TARGET_AVX512 bool neighbors_avx512(const vertex_star &star, std::uint32_t **neighbors, std::uint32_t *count) {
    const __m512i centre = _mm512_set1_epi32(static_cast<int>(star.centre));
    __m512i corners;
    if (!gather_quarters(star, centre, &corners) && !gather_others(star, centre, &corners))
        return neighbors_plain(star, neighbors, count);
    const __mmask16 others = _mm512_cmpneq_epi32_mask(corners, centre);
    const __m512i equal_before = _mm512_maskz_conflict_epi32(others, corners);
    const __mmask16 first_occurrences = _mm512_mask_testn_epi32_mask(others, equal_before, equal_before);
    const auto kept = static_cast<std::uint32_t>(__builtin_popcount(first_occurrences));

    const required_scratch<std::uint64_t> keys(heap_array<std::uint64_t>(keys_of(star.list)));
    if (keys == nullptr) return false;
    std::uint32_t *const result = heap_array<std::uint32_t>(kept);
    if (result == nullptr) return false;
    _mm512_mask_storeu_epi32(result, first_corners(kept), _mm512_maskz_compress_epi32(first_occurrences, corners));
    *neighbors = result;
    *count = kept;
    return true;
}

#endif

/// `face_indices` of a mesh, from the address of its `face_counts`. The caller's record may hold only the fields from
/// `face_counts` to `face_indices`.
const std::uint32_t *face_indices_from(const void *faces) {
    constexpr std::size_t distance = offsetof(ogawa_polymesh, face_indices) - offsetof(ogawa_polymesh, face_counts);
    static_assert(distance == 2 * sizeof(void *), "face_counts, face_count and face_indices are neighbours");
    const std::uint32_t *indices;
    std::memcpy(&indices, static_cast<const char *>(faces) + distance, sizeof indices);
    return indices;
}

} // namespace

dispatched<neighbors_function> neighbors_kernel(neighbors_plain, nullptr, nullptr, QEL_AVX2_FORM(neighbors_avx512));

} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_get_vertex_neighbors(const ogawa_manifold *manifold, const void *faces, std::uint32_t vertex,
                                        std::uint32_t **neighbors, std::uint32_t *count) {
    face_list list;
    if (faces == nullptr || !find_faces(manifold, vertex, list)) return OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND;
    if (list.count != 0 && manifold->face_offsets == nullptr) return OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND;
    const vertex_star star = {vertex, list, manifold->face_offsets, face_indices_from(faces)};
    if (!neighbors_kernel(star, neighbors, count)) return OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY;
    return QEL_OK;
}

} // extern "C"
