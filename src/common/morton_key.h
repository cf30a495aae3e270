// SPDX-License-Identifier: MIT
// What units and scenes do alike with Morton keys.
#pragma once

#include <cstdint>

namespace qel {

/// The buckets of a unit's hash index, and the slots of a scene's index.
constexpr std::uint32_t index_slots = 0x800000;

/// The bucket of a key, or the slot where the search for it begins.
constexpr std::uint32_t morton_hash(std::uint64_t morton) {
    return (static_cast<std::uint32_t>(morton >> 32) ^ static_cast<std::uint32_t>(morton)) & (index_slots - 1);
}

/// The absolute difference of two keys.
constexpr std::uint64_t difference(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : b - a;
}

} // namespace qel
