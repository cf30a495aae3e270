// SPDX-License-Identifier: MIT
// The search for blocks: arrays of small floats, recognized by their size word and first values only.
#pragma once

#include "ogawa_reader/container/container.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace qel {

/// The limits of a block: a u64 size in bytes, then that many bytes of records of floats.
struct block_rule {
    std::uint32_t min_size;
    std::uint32_t record_size;  // the size is a multiple of it
    std::uint32_t tested_count; // floats at the front that are tested
    float max_magnitude;        // of a tested float
};

inline constexpr block_rule unit_vector_blocks{36, 12, 6, 1.1f};
inline constexpr block_rule uv_blocks{16, 8, 4, 10.0f};

/// The size of a size word and the tested floats.
constexpr std::size_t tested_bytes(const block_rule &rule) {
    return sizeof(std::uint64_t) + rule.tested_count * sizeof(float);
}

/// The floats of the block whose size word is at `at` in a stream of `length` bytes; size 0 if there is none. `bytes`
/// are the size word and the tested floats.
ogawa::extent block_at(const std::uint8_t *bytes, std::uint64_t at, std::uint64_t length, const block_rule &rule);

/// The longest block of a stream, the first of equal ones; size 0 if there is none.
ogawa::extent find_longest_block(std::FILE *stream, const block_rule &rule);

/// Lists blocks in file order until the list is full. Returns how many were listed.
std::uint32_t list_blocks(std::FILE *stream, const block_rule &rule, ogawa::extent *list, std::uint32_t capacity);

} // namespace qel
