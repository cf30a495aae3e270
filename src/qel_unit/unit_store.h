// SPDX-License-Identifier: MIT
// What both ways of building a unit, from arrays and from a file, hang on it beside its tokens.
#pragma once

#include "qel_unit.h"

#include "qel_unit/hash_index.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace qel {

/// Hangs two empty indexes with room for every token on the unit. When either cannot be completed, releases both
/// and the tokens, and returns false.
bool allocate_indexes(qel_unit &unit);

/// Hangs room for every token number on the unit. Without memory for it, releases the tokens and both indexes,
/// and returns false.
bool allocate_order(qel_unit &unit);

/// A few tokens on their way into both indexes.
struct token_block {
    static constexpr std::uint32_t most = 8; // more at once drive one another out of the first cache

    /// Works out the tokens' buckets, and asks memory for them.
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

    void enter(const qel_unit &unit) const {
        for (std::uint32_t i = 0; i < count; ++i) {
            insert(*unit.morton_index, morton_buckets[i], first + i);
            insert(*unit.hex_index, hex_buckets[i], first + i);
        }
    }

    std::uint32_t first = 0;
    std::uint32_t count = 0;
    std::uint32_t morton_buckets[most];
    std::uint32_t hex_buckets[most];
};

/// Fills the tokens by `fill(first, count)`, block by block, enters every token into both indexes in storage order,
/// and numbers the order. A block is hashed before the block ahead of it is entered: its buckets, scattered over
/// 64 MiB, are on their way meanwhile.
template <class Fill>
void index_tokens(qel_unit &unit, Fill fill) {
    token_block blocks[2];
    std::uint32_t turn = 0;
    for (std::uint32_t first = 0, count = 0; first < unit.count; first += count, turn ^= 1) {
        count = std::min(token_block::most, unit.count - first);
        fill(first, count);
        blocks[turn].hash(unit, first, count);
        blocks[turn ^ 1].enter(unit);
    }
    blocks[turn ^ 1].enter(unit);
    std::iota(unit.order, unit.order + unit.count, 0U);
}

} // namespace qel
