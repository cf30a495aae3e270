// SPDX-License-Identifier: MIT
// The search for an array of positions near the front of an archive.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

/// Reads the largest array of float triples whose size word is before offset 2048. The archive is open.
///
/// QEL_OK: `*positions` holds `*count` triples for the caller to free, in range all of them.
/// OGAWA_READ_POSITIONS_NOT_FOUND: nothing was found and the outputs are untouched, or nothing could be read or kept;
/// then `*count` is 0 and `*positions` is the caller's to free. OGAWA_READ_POSITIONS_NO_MEMORY: `*count` is what was
/// found.
qel_status ogawa_scan_positions(const ogawa_archive *archive, float **positions, std::uint32_t *count);

} // namespace qel
