// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_unit/hash_index.h"
#include "qel_unit/token.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

/// The newest token of a bucket if it is the one that `matches`, else QEL_NOT_FOUND.
///
/// Node n mostly stands for token n, in a built unit always. The test whether it does lets the processor guess so and
/// fetch the token while the node is still on its way; and the fewer steps, the more lookups wait for memory at once.
template <class Matches>
std::uint32_t find_newest(const qel_unit &unit, const qel_hash_index &index, std::uint32_t bucket,
                          Matches matches) {
    const std::uint32_t node = index.buckets[bucket];
    if (node == empty_bucket) return QEL_NOT_FOUND;
    const std::uint32_t number = index.nodes[node].token;
    const qel_token *token = unit.tokens + node;
    if (number != node) {
        if (number == QEL_NOT_FOUND) return QEL_NOT_FOUND;
        token = unit.tokens + number;
    }
    return matches(*token) ? number : QEL_NOT_FOUND;
}

std::uint32_t find_morton(const qel_unit &unit, std::uint64_t morton) {
    if (unit.morton_index == nullptr) return QEL_NOT_FOUND;
    return find_newest(unit, *unit.morton_index, morton_hash(morton),
                       [&](const qel_token &token) { return token.morton == morton; });
}

std::uint32_t find_hex(const qel_unit &unit, const char *hex_id) {
    if (unit.hex_index == nullptr) return QEL_NOT_FOUND;
    // All 8 bytes, also behind a terminator where the hash has stopped.
    return find_newest(unit, *unit.hex_index, field_hash(hex_id), [&](const qel_token &token) {
        return std::memcmp(token.hex_id, hex_id, sizeof token.hex_id) == 0;
    });
}

/// Collects the hits of a block without a branch on the layer, which is as good as random, then hands them out.
std::uint32_t scan_layer(const qel_unit &unit, std::uint8_t layer, std::uint32_t *numbers,
                         std::uint32_t max) {
    constexpr std::uint32_t block = 64;
    std::uint32_t found = 0;
    for (std::uint32_t first = 0, size = 0; first < unit.count && found < max; first += size) {
        size = std::min(block, unit.count - first);
        std::uint32_t hits[block], hit_count = 0;
        for (std::uint32_t token = first; token < first + size; ++token) {
            hits[hit_count] = token;
            hit_count += unit.tokens[token].layer == layer;
        }
        const std::uint32_t taken = std::min(hit_count, max - found);
        std::copy_n(hits, taken, numbers + found);
        found += taken;
    }
    return found;
}

/// The best results offered so far, at most as many as wanted. Of equal distances the one met first comes first.
///
/// In a sorted unit distances grow outwards, so that an offer belongs at the end of a sorted list or little before it.
/// Elsewhere a list of many would be shifted at every offer: once that has taken more steps than a heap would, the
/// results become a heap with the worst in front, and come into order at the end.
class nearest_results {
  public:
    nearest_results(qel_search_result *results, std::uint32_t wanted) : results_(results), wanted_(wanted) {}

    bool full() const { return count_ == wanted_; }

    /// The distance that an offer must beat, once full.
    std::uint64_t worst() const { return heaped_ ? results_[0].distance : results_[count_ - 1].distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (full() && distance >= worst()) return;
        if (heaped_)
            push({token, arrivals_++, distance});
        else
            insert({token, 0, distance});
    }

    std::uint32_t finish() {
        if (heaped_) std::sort(results_, results_ + count_, before);
        return count_;
    }

  private:
    static constexpr std::uint64_t steps_per_offer = 64; // about those of a heap of a few thousand

    static bool before(const qel_search_result &a, const qel_search_result &b) {
        const std::int32_t order = compare_search_results(&a, &b);
        return order != 0 ? order < 0 : a.arrival < b.arrival;
    }

    void insert(const qel_search_result &result) {
        if (!full()) ++count_;
        std::uint32_t place = count_ - 1;
        for (; place > 0 && compare_search_results(&result, &results_[place - 1]) < 0; --place)
            results_[place] = results_[place - 1];
        results_[place] = result;
        credit_ += steps_per_offer;
        credit_ -= std::min<std::uint64_t>(credit_, count_ - 1 - place);
        if (credit_ == 0) become_heap();
    }

    /// From the list, where equal distances stand in the order met, arrivals can be numbered anew.
    void become_heap() {
        for (std::uint32_t i = 0; i < count_; ++i)
            results_[i].arrival = arrivals_++;
        std::reverse(results_, results_ + count_); // the worst in front, the best last: a heap
        heaped_ = true;
    }

    void push(const qel_search_result &result) {
        if (full())
            std::pop_heap(results_, results_ + count_, before);
        else
            ++count_;
        results_[count_ - 1] = result;
        std::push_heap(results_, results_ + count_, before);
    }

    qel_search_result *results_;
    std::uint32_t wanted_;
    std::uint32_t count_ = 0;
    std::uint32_t arrivals_ = 0;
    std::uint64_t credit_ = 4096; // steps that may still be spent on shifting
    bool heaped_ = false;
};

/// Where a binary search for the key ends: at the key, or beside the place where it would stand.
std::int32_t search_start(const qel_token *tokens, std::int32_t count, std::uint64_t target) {
    std::int32_t low = 0, high = count - 1, middle = 0;
    while (low <= high) {
        middle = low + ((high - low) >> 1);
        if (tokens[middle].morton == target) break;
        if (tokens[middle].morton < target)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return middle;
}

/// Offers tokens from the key's place outwards, one of each side in turn, until neither side can improve the
/// results. Returns how many there are.
std::uint32_t find_nearest(const qel_token *tokens, std::int32_t count, std::uint64_t target,
                           qel_search_result *results, std::uint32_t wanted) {
    nearest_results nearest(results, wanted);
    const auto offer = [&](std::int32_t token) {
        nearest.offer(static_cast<std::uint32_t>(token), hop_distance(tokens[token].morton, target));
    };
    const auto promising = [&](std::int32_t token) {
        // Hops are square roots: a difference from the worst distance squared on cannot beat it. The square of 2^32
        // hops is 0 (mod 2^64), and the search ends there.
        return !nearest.full() ||
               difference(tokens[token].morton, target) < nearest.worst() * nearest.worst();
    };

    const std::int32_t start = search_start(tokens, count, target);
    offer(start);
    std::int32_t left = start - 1, right = start + 1;
    while (left >= 0 || right < count) {
        const bool go_left = left >= 0 && promising(left);
        const bool go_right = right < count && promising(right); // decided before the left offer counts
        if (!go_left && !go_right) break;
        if (go_left) offer(left--);
        if (go_right) offer(right++);
    }
    return nearest.finish();
}

} // namespace
} // namespace qel

extern "C" {

uint32_t qel_unit_get_count(const qel_unit *unit) {
    return unit == nullptr ? 0 : unit->count;
}

int32_t qel_unit_get_token(const qel_unit *unit, uint32_t index, uint64_t *morton, char *hex_id,
                           uint8_t *layer) {
    if (unit == nullptr || unit->tokens == nullptr || index >= unit->count) return -1;
    const qel_token &token = unit->tokens[index];
    *morton = token.morton;
    std::memcpy(hex_id, token.hex_id, sizeof token.hex_id);
    *layer = token.layer;
    return 0;
}

uint32_t qel_unit_get_all_tokens(const qel_unit *unit, uint64_t *mortons, char *hex_ids, uint8_t *layers) {
    if (unit == nullptr || unit->tokens == nullptr) return 0;
    for (uint32_t i = 0; i < unit->count; ++i) {
        const qel_token &token = unit->tokens[i];
        mortons[i] = token.morton;
        std::memcpy(hex_ids + uint64_t{i} * sizeof token.hex_id, token.hex_id, sizeof token.hex_id);
        layers[i] = token.layer;
    }
    return unit->count;
}

uint32_t qel_unit_lookup_morton(const qel_unit *unit, uint64_t morton) {
    return qel::find_morton(*unit, morton);
}

uint32_t qel_unit_lookup_hex(const qel_unit *unit, const char *hex_id) {
    return qel::find_hex(*unit, hex_id);
}

uint32_t qel_unit_query_lattice_vertex(const qel_unit *unit, uint16_t x, uint16_t y, uint16_t z) {
    return qel::find_morton(*unit, uint64_t{x} << 32 | uint64_t{y} << 16 | z);
}

uint32_t qel_unit_query_layer(const qel_unit *unit, uint8_t layer, uint32_t *numbers, int32_t max) {
    if (max < 1 || unit->tokens == nullptr) return 0;
    return qel::scan_layer(*unit, layer, numbers, static_cast<uint32_t>(max));
}

uint32_t qel_unit_query_nearest(const qel_unit *unit, uint64_t morton, int32_t k, uint32_t *numbers,
                                uint64_t *distances) {
    if (unit == nullptr || unit->tokens == nullptr || k < 1) return 0;
    const auto count = static_cast<int32_t>(unit->count);
    if (count < 1) return 0; // also from 2^31 tokens on: counts are compared as signed numbers
    const auto wanted = static_cast<uint32_t>(std::min(k, count));
    const qel::scratch<qel::qel_search_result> results(qel::heap_array<qel::qel_search_result>(wanted));
    if (results == nullptr) return 0;

    const uint32_t found = qel::find_nearest(unit->tokens, count, morton, results.get(), wanted);
    for (uint32_t i = 0; i < found; ++i) {
        numbers[i] = results[i].token;
        distances[i] = results[i].distance;
    }
    return found;
}
}
