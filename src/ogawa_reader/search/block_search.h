// SPDX-License-Identifier: MIT
// The block scan: finds arrays of small floats in an archive by their size word and first values alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace qel {

/// What a block must look like: a u64 size in bytes, then that many bytes of records of floats.
struct block_rule {
    std::uint32_t smallest_size;
    std::uint32_t record_size;  // the size is a multiple of it
    std::uint32_t tested_count; // floats at the front that are tested
    float reach;                // they lie within [-reach, reach]
};

inline constexpr block_rule unit_vector_blocks{36, 12, 6, 1.1f};
inline constexpr block_rule uv_blocks{16, 8, 4, 10.0f};

/// Where a block's first float stands, and the block's size in bytes.
struct float_block {
    std::uint64_t at;
    std::uint64_t size;
};

/// A size word and the floats that are tested.
constexpr std::size_t bytes_looked_at(const block_rule &rule) {
    return sizeof(std::uint64_t) + rule.tested_count * sizeof(float);
}

/// The block whose size word stands at `at` in a stream of `length` bytes, 0/0 when it is none. `bytes` are the size
/// word's and all others that are looked at.
float_block block_at(const std::uint8_t *bytes, std::uint64_t at, std::uint64_t length,
                     const block_rule &rule);

/// The longest block of a stream, of equals the first; 0/0 when there is none.
float_block find_longest_block(std::FILE *stream, const block_rule &rule);

/// Lists blocks in the order in which they stand; a full list ends the scan. Returns how many were listed.
std::uint32_t list_blocks(std::FILE *stream, const block_rule &rule, float_block *list,
                          std::uint32_t capacity);

} // namespace qel
