// SPDX-License-Identifier: MIT
// The allocation and the filling of a unit's indexes and order, shared by create and load.
#pragma once

#include "qel_unit.h"

#include "common/prefetch.h"
#include "qel_unit/hash_index.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace qel {

/// Allocates the unit's two indexes, empty, with room for every token. Without memory for both, releases them and the
/// tokens and returns false.
bool allocate_indexes(qel_unit &unit);

/// Allocates `order` for every token number. Without memory for it, releases the tokens and both indexes and returns
/// false.
bool allocate_order(qel_unit &unit);

/// Tokens that are inserted into both indexes in two steps.
struct token_block {
    static constexpr std::uint32_t max_count = 8; // more evict one another from the first-level cache

    /// Computes the tokens' buckets and prefetches them.
    void hash(const qel_unit &unit, std::uint32_t from, std::uint32_t size) {
        first = from;
        count = size;
        for (std::uint32_t i = 0; i < count; ++i) {
            const qel_token &token = unit.tokens[first + i];
            morton_buckets[i] = morton_hash(token.morton);
            hex_buckets[i] = field_hash(token.hex_id);
            prefetch(unit.morton_index->buckets + morton_buckets[i]);
            prefetch(unit.hex_index->buckets + hex_buckets[i]);
        }
    }

    void insert_all(const qel_unit &unit) const {
        for (std::uint32_t i = 0; i < count; ++i) {
            insert(*unit.morton_index, morton_buckets[i], first + i);
            insert(*unit.hex_index, hex_buckets[i], first + i);
        }
    }

    std::uint32_t first = 0;
    std::uint32_t count = 0;
    std::uint32_t morton_buckets[max_count];
    std::uint32_t hex_buckets[max_count];
};

/// Fills the tokens with `fill(first, count)`, block by block, inserts every token into both indexes in storage order,
/// and numbers the order. A block is hashed before the previous one is inserted, so that its buckets, scattered over
/// 64 MiB, are loaded in the meantime.
template <class Fill>
void index_tokens(qel_unit &unit, Fill fill) {
    token_block blocks[2];
    std::uint32_t turn = 0;
    for (std::uint32_t first = 0, count = 0; first < unit.count; first += count, turn ^= 1) {
        count = std::min(token_block::max_count, unit.count - first);
        fill(first, count);
        blocks[turn].hash(unit, first, count);
        blocks[turn ^ 1].insert_all(unit);
    }
    blocks[turn ^ 1].insert_all(unit);
    std::iota(unit.order, unit.order + unit.count, 0U);
}

} // namespace qel
