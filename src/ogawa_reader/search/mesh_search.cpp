// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/mesh_search.h"

#include "common/byte_window.h"
#include "common/bytes.h"
#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/container/array_layout.h"
#include "ogawa_reader/search/size_words.h"

#include <cmath>
#include <cstring>

namespace qel {

namespace {

// The positions scan.

constexpr std::uint64_t scan_end = 2048; // size words at this offset and later are not seen
constexpr std::uint64_t smallest_triples_size = 12'012;
constexpr std::uint64_t largest_triples_size = 9'999'999;
constexpr std::uint32_t fewest_triples = 100;
constexpr std::size_t sample_floats = 18;
constexpr std::size_t tested_floats = 16; // of the sample, the last two are not looked at
constexpr std::size_t sample_bytes = sizeof(std::uint64_t) + sample_floats * sizeof(float);

struct triple_array {
    std::uint64_t at;
    std::uint32_t count;
};

/// False for NaN and the infinities too.
bool in_range(float value) {
    return std::fabs(value) <= 10000.0f;
}

/// Neither noise nor a zero.
bool plausible(float value) {
    return in_range(value) && std::fabs(value) >= 0.0001f;
}

bool all_in_range(const float *first, const float *last) {
    for (; first != last; ++first) {
        if (!in_range(*first)) return false;
    }
    return true;
}

/// Whether a payload begins with four words of noise and goes on with two triples of some extent.
bool begins_with_digest(const float *sample) {
    int plausible_words = 0;
    for (int i = 0; i < 4; ++i)
        plausible_words += plausible(sample[i]);
    const auto extent = [](const float *triple) {
        return std::fabs(triple[0]) + std::fabs(triple[1]) + std::fabs(triple[2]);
    };
    return plausible_words <= 1 && all_in_range(sample + 4, sample + 10) && extent(sample + 4) > 1.0f &&
           extent(sample + 7) > 1.0f;
}

/// Which of a payload's floats its triples begin with, and how many triples there are.
struct payload_layout {
    std::size_t first;
    std::uint64_t count;
};

payload_layout layout_of(const float *sample, std::uint64_t size) {
    if (begins_with_digest(sample)) return {4, (size - digest_bytes) / triple_bytes};
    if (all_in_range(sample, sample + 3)) return {0, size / triple_bytes};
    return {3, size / triple_bytes - 1};
}

/// Whether the sample, from float `first` on, could be coordinates: in range, and not all next to nothing.
bool looks_like_coordinates(const float *sample, std::size_t first) {
    bool any_extent = false;
    for (std::size_t i = first; i < tested_floats; ++i) {
        if (!in_range(sample[i])) return false;
        any_extent = any_extent || std::fabs(sample[i]) > 0.01f;
    }
    return any_extent;
}

/// The candidate with the most triples, the first of equal ones; count 0 when there is none.
triple_array find_triples(std::FILE *stream) {
    std::uint8_t bytes[scan_end - 1 - header_bytes + sample_bytes];
    const std::size_t held = read_at(stream, header_bytes, bytes, sizeof bytes);
    triple_array best = {0, 0};
    for (std::size_t i = 0; i + sample_bytes <= held; ++i) {
        const std::uint64_t size = load<std::uint64_t>(bytes + i);
        if (size < smallest_triples_size || size > largest_triples_size) continue;
        float sample[sample_floats];
        std::memcpy(sample, bytes + i + sizeof size, sizeof sample);
        const payload_layout layout = layout_of(sample, size);
        if (!looks_like_coordinates(sample, layout.first)) continue;
        const std::uint32_t count = static_cast<std::uint32_t>(layout.count);
        if (count > best.count) best = {header_bytes + i + sizeof size + layout.first * sizeof(float), count};
    }
    return best;
}

/// Moves the triples that are in range to the front; returns how many there are.
std::uint32_t keep_triples_in_range(float *triples, std::size_t count) {
    float *kept = triples;
    for (const float *triple = triples, *end = triples + count * 3; triple != end; triple += 3) {
        const float x = triple[0], y = triple[1], z = triple[2];
        kept[0] = x;
        kept[1] = y;
        kept[2] = z;
        if (in_range(x) && in_range(y) && in_range(z)) kept += 3;
    }
    return static_cast<std::uint32_t>((kept - triples) / 3);
}

// The mesh-data search.

constexpr std::uint64_t smallest_geometry = 1001;
constexpr std::uint64_t largest_face_counts = 999'999;

bool plausible_size(std::uint64_t size) {
    constexpr std::uint64_t largest = 10'000'000;
    static_assert(largest < size_word_end);
    return size >= 12 && size <= largest && size % 4 == 0;
}

void offer(ogawa_mesh_locations::block &best, std::uint64_t at, std::uint64_t size) {
    if (size > best.size) best = {at, size};
}

void weigh_geometry(const float *f, std::uint64_t at, std::uint64_t size, ogawa_mesh_locations *best) {
    const auto small = [](float value) { return std::fabs(value) <= 50000.0f; };
    if (!small(f[0]) || !small(f[1]) || !small(f[2]) || size < smallest_geometry) return;
    if (size % 12 == 0 && std::fabs(f[0]) < 10000.0f) offer(best->positions, at, size);
    const auto like_uv = [](float value) { return value >= -10.0f && value <= 10.0f; };
    // What has just been taken as positions is not taken as UVs as well.
    if (size % 8 == 0 && like_uv(f[0]) && like_uv(f[1]) && at != best->positions.at)
        offer(best->uvs, at, size);
}

} // namespace

void weigh_candidate(const std::uint8_t *bytes, std::uint64_t at, ogawa_mesh_locations *best) {
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (!plausible_size(size)) return;
    float f[3];
    std::uint32_t w[3];
    std::memcpy(f, bytes + sizeof size, sizeof f);
    std::memcpy(w, bytes + sizeof size, sizeof w);
    weigh_geometry(f, at, size, best);
    const auto like_face_count = [](std::uint32_t word) { return word >= 3 && word <= 100; };
    if (like_face_count(w[0]) && like_face_count(w[1]) && like_face_count(w[2]) &&
        size <= largest_face_counts)
        offer(best->face_counts, at, size);
}

position_scan_status ogawa_scan_positions(const ogawa_archive *archive, float **positions,
                                          std::uint32_t *count) {
    const triple_array found = find_triples(archive->file);
    if (found.count < fewest_triples) return no_positions;

    *count = found.count;
    *positions = heap_array<float>(std::uint64_t{found.count} * 3);
    if (*positions == nullptr) return no_position_memory;

    // The size word may promise more than the file holds.
    const std::size_t bytes = read_at(archive->file, found.at, *positions, found.count * triple_bytes);
    *count = keep_triples_in_range(*positions, bytes / triple_bytes);
    return *count != 0 ? positions_found : no_positions;
}

void ogawa_find_mesh_data(const ogawa_archive *archive, ogawa_mesh_locations *locations) {
    byte_window window(archive->file);
    std::uint64_t root;
    if (!window.read(8, root)) return;
    *locations = {};

    for_each_size_word(window, candidate_bytes, candidate_bytes,
                       [&](const std::uint8_t *bytes, std::uint64_t at) {
                           weigh_candidate(bytes, at + sizeof(std::uint64_t), locations);
                           return true;
                       });
}

} // namespace qel
