// SPDX-License-Identifier: MIT
// A token scene's index, queries, file and interpolation in their plainest form.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <vector>

namespace qel::model {

/// The table of 0x800000 slots, every vertex probing from its home slot on. Ends when all slots are taken.
std::vector<std::uint32_t> index_table(const qel_alembic_file &scene);

/// A lookup through a table; the answer is 0 and the hit, or -1.
std::int32_t lookup(const qel_alembic_file &scene, const std::vector<std::uint32_t> &table, std::uint64_t morton,
                    qel_alembic_hit &out);

/// The floor of a root by Newton's iteration, in numbers wide enough for every 64-bit value.
std::uint64_t newton_root(std::uint64_t value);

/// The nearest query with a list of k entries and one insertion per vertex.
std::vector<qel_alembic_hit> nearest(const qel_alembic_file &scene, std::uint64_t morton, std::size_t k);

/// The bytes of the scene's file.
std::vector<std::uint8_t> scene_file(const qel_alembic_file &scene);

/// The bytes of a file once it has been loaded and saved again: as long as its counts require, with zeros
/// for missing bytes and without surplus ones. Empty when that would be more than `limit` bytes.
std::vector<std::uint8_t> completed_file(std::vector<std::uint8_t> file, std::uint64_t limit);

} // namespace qel::model
