// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/position_search.h"

#include "common/bytes.h"
#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/container/container.h"

#include <cmath>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint64_t scan_end = 2048; // size words at this offset or later are ignored
constexpr std::uint64_t min_positions_size = 12'012;
constexpr std::uint64_t max_positions_size = 9'999'999;
constexpr std::uint32_t min_triples = 100;
constexpr std::size_t sample_floats = 18;
constexpr std::size_t tested_floats = 16; // the last two floats of the sample are not tested
constexpr std::size_t sample_bytes = sizeof(std::uint64_t) + sample_floats * sizeof(float);

/// False also for NaN and the infinities.
bool in_range(float value) {
    return std::fabs(value) <= 10000.0f;
}

/// In range and not near zero.
bool plausible(float value) {
    return in_range(value) && std::fabs(value) >= 0.0001f;
}

bool all_in_range(const float *first, const float *last) {
    for (; first != last; ++first) {
        if (!in_range(*first)) return false;
    }
    return true;
}

/// Whether a payload begins with a digest: at most one of its first four words is plausible, and two triples in range
/// and not near the origin follow.
bool begins_with_digest(const float *sample) {
    int plausible_words = 0;
    for (int i = 0; i < 4; ++i)
        plausible_words += plausible(sample[i]);
    const auto sum_of_magnitudes = [](const float *triple) {
        return std::fabs(triple[0]) + std::fabs(triple[1]) + std::fabs(triple[2]);
    };
    return plausible_words <= 1 && all_in_range(sample + 4, sample + 10) && sum_of_magnitudes(sample + 4) > 1.0f &&
           sum_of_magnitudes(sample + 7) > 1.0f;
}

/// The extent of the triples in a payload of `size` bytes, relative to its first byte.
ogawa::extent triples_in(const float *sample, std::uint64_t size) {
    const auto whole_triples = [](std::uint64_t bytes) { return bytes - bytes % ogawa::triple_size; };
    if (begins_with_digest(sample)) return {ogawa::digest_size, whole_triples(size - ogawa::digest_size)};
    if (all_in_range(sample, sample + 3)) return {0, whole_triples(size)};
    return {ogawa::triple_size, whole_triples(size) - ogawa::triple_size};
}

/// Whether the tested floats from `first` on could be coordinates: all in range, and not all near zero.
bool looks_like_coordinates(const float *sample, std::size_t first) {
    bool any_above_zero = false;
    for (std::size_t i = first; i < tested_floats; ++i) {
        if (!in_range(sample[i])) return false;
        any_above_zero = any_above_zero || std::fabs(sample[i]) > 0.01f;
    }
    return any_above_zero;
}

/// The candidate with the most triples, the first of equal ones; size 0 if there is none.
ogawa::extent find_triples(std::FILE *stream) {
    std::uint8_t bytes[scan_end - 1 - ogawa::header_size + sample_bytes];
    const std::size_t held = read_at(stream, ogawa::header_size, bytes, sizeof bytes);
    ogawa::extent best = {0, 0};
    for (std::size_t i = 0; i + sample_bytes <= held; ++i) {
        const std::uint64_t size = load<std::uint64_t>(bytes + i);
        if (size < min_positions_size || size > max_positions_size) continue;
        float sample[sample_floats];
        std::memcpy(sample, bytes + i + sizeof size, sizeof sample);
        const ogawa::extent triples = triples_in(sample, size);
        if (!looks_like_coordinates(sample, static_cast<std::size_t>(triples.at) / sizeof(float))) continue;
        keep_larger(best, {ogawa::header_size + i + sizeof size + triples.at, triples.size});
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

} // namespace

qel_status ogawa_scan_positions(const ogawa_archive *archive, float **positions, std::uint32_t *count) {
    const ogawa::extent found = find_triples(archive->file);
    if (found.size < min_triples * ogawa::triple_size) return OGAWA_READ_POSITIONS_NOT_FOUND;

    *count = static_cast<std::uint32_t>(found.size / ogawa::triple_size);
    *positions = heap_array<float>(found.size / sizeof(float));
    if (*positions == nullptr) return OGAWA_READ_POSITIONS_NO_MEMORY;

    // The size word may exceed the bytes that the file holds.
    const std::size_t bytes = read_at(archive->file, found.at, *positions, static_cast<std::size_t>(found.size));
    *count = keep_triples_in_range(*positions, bytes / ogawa::triple_size);
    return *count != 0 ? QEL_OK : OGAWA_READ_POSITIONS_NOT_FOUND;
}

} // namespace qel
