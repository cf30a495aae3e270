// SPDX-License-Identifier: MIT
// The search for an array of positions near the front of an archive.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

enum position_scan_status : int { positions_found = 0, no_positions = -1, no_position_memory = -2 };

/// Reads the largest array of float triples whose size word is before offset 2048. The archive is open.
///
/// positions_found: `*positions` holds `*count` triples for the caller to free, in range all of them.
/// no_positions: nothing was found and the outputs are untouched, or nothing could be read or kept; then
/// `*count` is 0 and `*positions` is the caller's to free. no_position_memory: `*count` is what was found.
position_scan_status ogawa_scan_positions(const ogawa_archive *archive, float **positions,
                                          std::uint32_t *count);

} // namespace qel
