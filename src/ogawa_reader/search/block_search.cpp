// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/block_search.h"

#include "ogawa_reader/search/size_words.h"

namespace qel {

namespace {

constexpr std::uint64_t margin = 24; // a size word and four floats: nearer to the end no block is seen
constexpr std::uint32_t largest_size = 5'000'000;
static_assert(largest_size < size_word_end);

/// Calls `take` with every block, in the order in which they stand, until it returns false.
template <class Take>
void scan_blocks(std::FILE *stream, const block_rule &rule, Take take) {
    byte_window window(stream);
    const std::size_t looked_at = bytes_looked_at(rule);
    for_each_size_word(window, looked_at, looked_at, [&](const std::uint8_t *bytes, std::uint64_t at) {
        const float_block block = block_at(bytes, at, window.length(), rule);
        return block.size == 0 || take(block);
    });
}

} // namespace

float_block block_at(const std::uint8_t *bytes, std::uint64_t at, std::uint64_t length,
                     const block_rule &rule) {
    constexpr float_block none{0, 0};
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (size < rule.smallest_size || size > largest_size || size % rule.record_size != 0) return none;
    if (at + margin >= length) return none;
    const std::uint8_t *value_at = bytes + sizeof size;
    for (std::uint32_t i = 0; i < rule.tested_count; ++i, value_at += sizeof(float)) {
        const float value = load<float>(value_at);
        if (!(value >= -rule.reach && value <= rule.reach)) return none; // a NaN lies within no bounds
    }
    return {at + sizeof size, size};
}

float_block find_longest_block(std::FILE *stream, const block_rule &rule) {
    float_block longest{0, 0};
    scan_blocks(stream, rule, [&longest](const float_block &block) {
        if (block.size > longest.size) longest = block;
        return true;
    });
    return longest;
}

std::uint32_t list_blocks(std::FILE *stream, const block_rule &rule, float_block *list,
                          std::uint32_t capacity) {
    std::uint32_t count = 0;
    scan_blocks(stream, rule, [&](const float_block &block) {
        list[count++] = block;
        return count < capacity;
    });
    return count;
}

} // namespace qel
