// SPDX-License-Identifier: MIT
#include "ogawa_reader/block_scan.h"

#include "common/byte_window.h"

#include <algorithm>

namespace qel {

namespace {

constexpr std::uint64_t header_size = 16; // nodes begin after it
constexpr std::size_t step = 4;           // blocks are 4-byte aligned, not always 8
constexpr std::size_t run = 64;           // candidates that are dismissed together
constexpr std::uint64_t margin = 24;      // a size word and four floats
constexpr std::uint32_t largest_size = 5'000'000;

/// Whether the values after a size word fit the rule. A NaN lies within no bounds.
bool looks_like_block(const std::uint8_t *candidate, std::uint32_t size, const block_rule &rule) {
    if (size % rule.record_size != 0) return false;
    const std::uint8_t *value_at = candidate + sizeof(std::uint64_t);
    for (std::uint32_t i = 0; i < rule.tested_count; ++i, value_at += sizeof(float)) {
        const float value = load<float>(value_at);
        if (!(value >= -rule.reach && value <= rule.reach)) return false;
    }
    return true;
}

/// Whether any of `run` words is zero. Written to be taken by a few vector comparisons.
bool has_zero_word(const std::uint8_t *words) {
    std::uint32_t zeros = 0;
    for (std::size_t i = 0; i < run; ++i)
        zeros |= load<std::uint32_t>(words + i * step) == 0 ? 1u : 0u;
    return zeros != 0;
}

/// Calls `take` with the offset and size of every candidate from `first` up to `end` that is a block, until it
/// returns false; returns whether it never did.
template <class Take>
bool scan_candidates(const std::uint8_t *first, const std::uint8_t *end, const block_rule &rule, Take take) {
    for (const std::uint8_t *candidate = first; candidate != end;) {
        const std::size_t left = static_cast<std::size_t>(end - candidate);
        const std::uint8_t *const run_end = candidate + std::min(left, run * step);
        // The upper half of a block's size is zero: values and indices go by a run at a time.
        if (left >= run * step && !has_zero_word(candidate + step)) candidate = run_end;
        for (; candidate != run_end; candidate += step) {
            const std::uint64_t size = load<std::uint64_t>(candidate);
            if (size - rule.smallest_size > largest_size - rule.smallest_size) continue;
            if (!looks_like_block(candidate, static_cast<std::uint32_t>(size), rule)) continue;
            if (!take(static_cast<std::uint64_t>(candidate - first), size)) return false;
        }
    }
    return true;
}

/// Calls `take` with every block, in the order in which they stand, until it returns false.
template <class Take>
void scan_blocks(std::FILE *stream, const block_rule &rule, Take take) {
    byte_window window(stream);
    // Of a stream too short for the margin the limit wraps round; its first look then finds too few bytes.
    const std::uint64_t limit = window.length() - margin;
    const std::size_t looked_at = sizeof(std::uint64_t) + rule.tested_count * sizeof(float);
    for (std::uint64_t position = header_size; position < limit;) {
        const byte_view view = window.at(position, looked_at);
        if (view.size < looked_at) return; // nor are there enough bytes at any later position
        const std::uint64_t steps =
            std::min<std::uint64_t>((limit - position - 1) / step + 1, (view.size - looked_at) / step + 1);
        const bool all = scan_candidates(
            view.data, view.data + steps * step, rule, [&](std::uint64_t offset, std::uint64_t size) {
                return take(float_block{position + offset + sizeof(std::uint64_t), size});
            });
        if (!all) return;
        position += steps * step;
    }
}

} // namespace

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
