// SPDX-License-Identifier: MIT
// The search for an array of positions near the front of an archive.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

/// Reads the largest array of float triples whose size word is before offset 2048. The archive is open.
///
/// QEL_OK: `*positions` holds `*count` triples, all of them in range; the caller frees it.
/// OGAWA_READ_POSITIONS_NOT_FOUND: no array was found and the outputs are unchanged; or nothing could be read, or no
/// triple is in range: then `*count` is 0 and the caller frees `*positions`. OGAWA_READ_POSITIONS_NO_MEMORY: `*count`
/// is the number of triples found.
qel_status ogawa_scan_positions(const ogawa_archive *archive, float **positions, std::uint32_t *count);

} // namespace qel
