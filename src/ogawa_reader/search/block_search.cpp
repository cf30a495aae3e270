// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/block_search.h"

#include "ogawa_reader/search/size_words.h"

namespace qel {
namespace {

constexpr std::uint64_t min_bytes_to_block_end = 24; // from a size word on: the word and four floats
constexpr std::uint32_t max_block_size = 5'000'000;
static_assert(max_block_size < size_word_end);

/// Calls `take` with every block in file order, until it returns false.
template <class Take>
void scan_blocks(std::FILE *stream, const block_rule &rule, Take take) {
    byte_window window(stream);
    const std::size_t wanted = tested_bytes(rule);
    for_each_size_word(window, wanted, wanted, [&](const std::uint8_t *bytes, std::uint64_t at) {
        const ogawa::extent block = block_at(bytes, at, window.length(), rule);
        return block.size == 0 || take(block);
    });
}

} // namespace

ogawa::extent block_at(const std::uint8_t *bytes, std::uint64_t at, std::uint64_t length, const block_rule &rule) {
    constexpr ogawa::extent none{0, 0};
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (size < rule.min_size || size > max_block_size || size % rule.record_size != 0) return none;
    if (at + min_bytes_to_block_end >= length) return none;
    const std::uint8_t *value_at = bytes + sizeof size;
    for (std::uint32_t i = 0; i < rule.tested_count; ++i, value_at += sizeof(float)) {
        const float value = load<float>(value_at);
        if (!(value >= -rule.max_magnitude && value <= rule.max_magnitude)) return none; // also for a NaN
    }
    return {at + sizeof size, size};
}

ogawa::extent find_longest_block(std::FILE *stream, const block_rule &rule) {
    ogawa::extent longest{0, 0};
    scan_blocks(stream, rule, [&longest](const ogawa::extent &block) {
        keep_larger(longest, block);
        return true;
    });
    return longest;
}

std::uint32_t list_blocks(std::FILE *stream, const block_rule &rule, ogawa::extent *list, std::uint32_t capacity) {
    std::uint32_t count = 0;
    scan_blocks(stream, rule, [&](const ogawa::extent &block) {
        list[count++] = block;
        return count < capacity;
    });
    return count;
}

} // namespace qel
