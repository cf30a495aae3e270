// SPDX-License-Identifier: MIT
// A straightforward token unit on the library's own records: tables from the plain heap, one read for each record, the
// C library's sort. tests/model/unit_model.h defines the correct result.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// Both are released with qel_unit_free, and `order` with free. They return the library's codes.
std::int32_t create(qel_unit *unit, std::uint32_t count, const std::uint64_t *mortons, const char *hex_ids,
                    const std::uint64_t *payloads, const std::uint8_t *layers);
std::int32_t load(const char *path, qel_unit *unit);

std::uint32_t lookup_morton(const qel_unit *unit, std::uint64_t morton);
std::uint32_t lookup_hex(const qel_unit *unit, const char *hex_id);

/// An empty index of one table; its record, nodes and buckets are released with free. Null without memory.
qel_hash_index *new_index(std::uint32_t count);
void insert(qel_hash_index *index, std::uint32_t number, std::uint32_t bucket);
std::uint32_t bucket_of_id(const char *hex_id);

/// The last position that a binary search examines.
std::int64_t search_start(const qel_unit *unit, std::uint64_t target);

/// Sorts its list after each acceptance.
std::uint32_t query_nearest(const qel_unit *unit, std::uint64_t morton, std::int32_t k, std::uint32_t *numbers,
                            std::uint64_t *distances);

} // namespace qel::baseline
