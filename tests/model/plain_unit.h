// SPDX-License-Identifier: MIT
// The token unit step by step: every table from the plain heap, one read per record, the library's sort, one look
// per lookup. Where unit_model works on vectors, to say what is right, this fills the same records as the library, to
// say what the straightforward way costs.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

/// Both are released with qel_unit_free, and `order` with free. They give the status of the library's.
std::int32_t plain_create(qel_unit *unit, std::uint32_t count, const std::uint64_t *mortons,
                          const char *hex_ids, const std::uint64_t *payloads, const std::uint8_t *layers);
std::int32_t plain_load(const char *path, qel_unit *unit);

std::uint32_t plain_lookup_morton(const qel_unit *unit, std::uint64_t morton);
std::uint32_t plain_lookup_hex(const qel_unit *unit, const char *hex_id);

/// Sorts its list after each acceptance.
std::uint32_t plain_query_nearest(const qel_unit *unit, std::uint64_t morton, std::int32_t k,
                                  std::uint32_t *numbers, std::uint64_t *distances);

} // namespace qel::model
