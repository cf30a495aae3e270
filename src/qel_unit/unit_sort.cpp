// SPDX-License-Identifier: MIT
// A least-significant-digit radix sort of (key prefix, position) pairs: Knuth, The Art of Computer Programming 3,
// section 5.2.5.
#include "qel_unit/unit_sort.h"

#include "common/heap.h"
#include "qel_unit/token.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace qel {
namespace {

bool key_before(const qel_token &a, const qel_token &b) {
    return compare_tokens_morton(&a, &b) < 0;
}

std::uint64_t differing_bits(const qel_token *tokens, std::uint32_t count) {
    std::uint64_t differing = 0;
    for (std::uint32_t i = 1; i < count; ++i)
        differing |= tokens[i].morton ^ tokens[0].morton;
    return differing;
}

/// The part of the keys that the radix sort uses: the highest 32 of the bits in which they differ, moved together.
/// Lattice keys differ in at most 18 bits, so that their prefix holds all of them.
struct key_prefix {
    explicit key_prefix(std::uint64_t differing) : rest(differing) {
        unsigned low = 64;
        while (rest != 0 && bits < 32) {
            const std::uint64_t bit = std::uint64_t{1} << --low;
            if ((rest & bit) == 0) continue;
            rest ^= bit;
            if (count == 0 || parts[count - 1].low != low + 1) parts[count++] = {low + 1, 0};
            --parts[count - 1].low;
            ++parts[count - 1].width;
            ++bits;
        }
    }

    std::uint32_t of(std::uint64_t key) const {
        std::uint64_t prefix = 0;
        for (unsigned i = 0; i < count; ++i)
            prefix = prefix << parts[i].width | (key >> parts[i].low & ((1ULL << parts[i].width) - 1));
        return static_cast<std::uint32_t>(prefix);
    }

    struct part {
        unsigned low, width;
    };

    part parts[32];
    unsigned count = 0;
    unsigned bits = 0;  // width of a prefix
    std::uint64_t rest; // the bits in which keys differ and that the prefix does not hold
};

/// A token's position and the prefix of its key, with the layout of a chain node: the sort uses the nodes of the unit's
/// two indexes, which are filled afterwards, as its two arrays.
using sort_entry = qel_hash_node;

std::uint32_t &position_of(sort_entry &entry) {
    return entry.token;
}

std::uint32_t &prefix_of(sort_entry &entry) {
    return entry.next;
}

/// Sorts the positions of all tokens by the prefixes of their keys, stably, in one of two arrays, which it returns.
sort_entry *sort_prefixes(const qel_token *tokens, std::uint32_t count, const key_prefix &prefix, sort_entry *from,
                          sort_entry *to) {
    constexpr std::uint32_t digit_bits = 8, radix = 1 << digit_bits, max_digits = 32 / digit_bits;
    const std::uint32_t digits = (prefix.bits + digit_bits - 1) / digit_bits;
    // Counts the occurrences of each value of each digit; then holds the position of the value's next entry.
    std::uint32_t places[max_digits][radix] = {};
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t value = prefix.of(tokens[i].morton);
        from[i] = {i, value};
        for (std::uint32_t digit = 0; digit < digits; ++digit)
            ++places[digit][value >> digit * digit_bits & (radix - 1)];
    }
    for (std::uint32_t digit = 0; digit < digits; ++digit) {
        std::uint32_t place = 0;
        for (std::uint32_t &value : places[digit])
            place += std::exchange(value, place);
        for (std::uint32_t i = 0; i < count; ++i)
            to[places[digit][prefix_of(from[i]) >> digit * digit_bits & (radix - 1)]++] = from[i];
        std::swap(from, to);
    }
    return from;
}

/// Sorts entries of equal prefixes by whole keys, then by position.
void sort_equal_prefixes(const qel_token *tokens, std::uint32_t count, sort_entry *entries) {
    const auto before = [&](sort_entry a, sort_entry b) {
        const std::int32_t order = compare_tokens_morton(tokens + position_of(a), tokens + position_of(b));
        return order != 0 ? order < 0 : position_of(a) < position_of(b);
    };
    for (std::uint32_t first = 0, last = 0; first < count; first = last) {
        for (last = first + 1; last < count && prefix_of(entries[last]) == prefix_of(entries[first]); ++last) {
        }
        if (last - first > 1) std::sort(entries + first, entries + last, before);
    }
}

/// Moves every token once, into a new array. False without memory for it.
bool move_tokens(qel_unit &unit, sort_entry *entries) {
    scratch<qel_token> sorted(heap_array<qel_token>(unit.count));
    if (sorted == nullptr) return false;
    for (std::uint32_t i = 0; i < unit.count; ++i)
        sorted[i] = unit.tokens[position_of(entries[i])];
    release(unit.tokens);
    unit.tokens = sorted.release();
    return true;
}

/// The same in place, one cycle of the permutation after the other. Slower: each step waits for the load of the
/// previous one.
void rotate_tokens(qel_token *tokens, std::uint32_t count, sort_entry *entries) {
    for (std::uint32_t first = 0; first < count; ++first) {
        const qel_token displaced = tokens[first];
        std::uint32_t place = first;
        for (std::uint32_t source = 0; (source = position_of(entries[place])) != first; place = source) {
            tokens[place] = tokens[source];
            position_of(entries[place]) = place;
        }
        tokens[place] = displaced;
        position_of(entries[place]) = place;
    }
}

} // namespace

void sort_tokens(qel_unit &unit) {
    if (std::is_sorted(unit.tokens, unit.tokens + unit.count, key_before)) return;
    const key_prefix prefix(differing_bits(unit.tokens, unit.count));
    sort_entry *const entries =
        sort_prefixes(unit.tokens, unit.count, prefix, unit.morton_index->nodes, unit.hex_index->nodes);
    if (prefix.rest != 0) sort_equal_prefixes(unit.tokens, unit.count, entries);
    if (!move_tokens(unit, entries)) rotate_tokens(unit.tokens, unit.count, entries);
}

} // namespace qel
