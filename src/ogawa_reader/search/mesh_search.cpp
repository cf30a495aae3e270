// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/mesh_search.h"

#include "common/byte_window.h"
#include "common/bytes.h"

#include <cmath>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint64_t min_array_size = 12;
constexpr std::uint64_t max_array_size = 10'000'000;
constexpr std::uint64_t min_vectors_size = 1001; // of positions and UVs
constexpr std::uint64_t max_counts_array_size = 999'999;
static_assert(max_array_size < size_word_end);

bool plausible_size(std::uint64_t size) {
    return size >= min_array_size && size <= max_array_size && size % 4 == 0;
}

void weigh_vectors(const float *f, const ogawa::extent &payload, ogawa_mesh_locations *best) {
    const auto small = [](float value) { return std::fabs(value) <= 50000.0f; };
    if (!small(f[0]) || !small(f[1]) || !small(f[2]) || payload.size < min_vectors_size) return;
    if (payload.size % 12 == 0 && std::fabs(f[0]) < 10000.0f) keep_larger(best->positions, payload);
    const auto like_uv = [](float value) { return value >= -10.0f && value <= 10.0f; };
    // A payload that has just been kept as positions is not kept as UVs.
    if (payload.size % 8 == 0 && like_uv(f[0]) && like_uv(f[1]) && payload.at != best->positions.at)
        keep_larger(best->uvs, payload);
}

} // namespace

void weigh_candidate(const std::uint8_t *bytes, std::uint64_t at, ogawa_mesh_locations *best) {
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (!plausible_size(size)) return;
    float f[3];
    std::uint32_t w[3];
    std::memcpy(f, bytes + sizeof size, sizeof f);
    std::memcpy(w, bytes + sizeof size, sizeof w);
    weigh_vectors(f, {at, size}, best);
    const auto like_face_count = [](std::uint32_t word) { return word >= 3 && word <= 100; };
    if (like_face_count(w[0]) && like_face_count(w[1]) && like_face_count(w[2]) && size <= max_counts_array_size)
        keep_larger(best->face_counts, {at, size});
}

void ogawa_find_mesh_data(const ogawa_archive *archive, ogawa_mesh_locations *locations) {
    byte_window window(archive->file);
    std::uint64_t root;
    if (!window.read(ogawa::root_at, root)) return;
    *locations = {};
    search_mesh_data(window, candidate_bytes, *locations, [](const std::uint8_t *, std::uint64_t) {});
}

} // namespace qel
