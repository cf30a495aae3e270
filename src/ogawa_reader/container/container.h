// SPDX-License-Identifier: MIT
// The elements of the Ogawa container: groups of references, and data.
#pragma once

#include <cstdint>

namespace qel::ogawa {

/// The file's header: five letters, a byte that is set when the writer has finished, two bytes of version, the position
/// of the root.
inline constexpr char magic[] = {'O', 'g', 'a', 'w', 'a'};
inline constexpr std::uint64_t finished_at = sizeof magic;
inline constexpr std::uint8_t finished = 0xFF;
inline constexpr std::uint64_t root_at = 8;
inline constexpr std::uint64_t header_size = 16;

/// Set in a reference to data, clear in one to a group. The other bits are its position, 0 for an empty one.
inline constexpr std::uint64_t data_bit = std::uint64_t{1} << 63;

/// A group begins with the number of its references, data with its size.
inline constexpr std::uint64_t count_size = 8;
inline constexpr std::uint64_t reference_size = 8;

/// The size of the digest at the start of every sample.
inline constexpr std::uint64_t digest_size = 16;

/// Bytes of a position or a normal: three floats.
inline constexpr std::uint64_t triple_size = 3 * sizeof(float);

/// A range of a file. The size 0 means that a search found nothing.
struct extent {
    std::uint64_t at;   // position of the first byte
    std::uint64_t size; // in bytes
};

/// Keeps the larger of two extents, the first of equal ones.
inline void keep_larger(extent &best, const extent &other) {
    if (other.size > best.size) best = other;
}

} // namespace qel::ogawa
