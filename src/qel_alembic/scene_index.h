// SPDX-License-Identifier: MIT
// The probe sequence in a scene's open-addressing table of global token numbers. The table has `index_slots` for scenes
// of any size; the search for a key begins at its morton_hash().
#pragma once

#include "common/morton_key.h"

#include <cstdint>

namespace qel {

constexpr std::uint32_t empty_slot = 0xFFFFFFFF;

/// The slot to probe after `slot`.
constexpr std::uint32_t next_slot(std::uint32_t slot) {
    return (slot + 1) & (index_slots - 1);
}

} // namespace qel
