// SPDX-License-Identifier: MIT
// The probe sequence in a scene's open-addressing table of global token numbers.
#pragma once

#include <cstdint>

namespace qel {

constexpr std::uint32_t index_slots = 0x800000; // for scenes of any size
constexpr std::uint32_t empty_slot = 0xFFFFFFFF;

/// The slot where the search for a key begins.
constexpr std::uint32_t home_slot(std::uint64_t morton) {
    return static_cast<std::uint32_t>(morton ^ (morton >> 32)) & (index_slots - 1);
}

/// The slot to probe after `slot`.
constexpr std::uint32_t next_slot(std::uint32_t slot) {
    return (slot + 1) & (index_slots - 1);
}

} // namespace qel
