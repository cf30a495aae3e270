// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_unit/hash_index.h"
#include "qel_unit/token.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

std::uint32_t find_morton(const qel_unit &unit, std::uint64_t morton) {
    if (unit.morton_index == nullptr) return QEL_NOT_FOUND;
    const std::uint32_t token = newest_entry(*unit.morton_index, morton_hash(morton));
    return token != QEL_NOT_FOUND && unit.tokens[token].morton == morton ? token : QEL_NOT_FOUND;
}

std::uint32_t find_hex(const qel_unit &unit, const char *hex_id) {
    if (unit.hex_index == nullptr) return QEL_NOT_FOUND;
    const std::uint32_t token = newest_entry(*unit.hex_index, identity_hash(hex_id));
    if (token == QEL_NOT_FOUND) return QEL_NOT_FOUND;
    // All 8 bytes, also behind a terminator where the hash has stopped.
    return std::memcmp(unit.tokens[token].hex_id, hex_id, sizeof(qel_token::hex_id)) == 0 ? token
                                                                                          : QEL_NOT_FOUND;
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

/// The best results offered so far, at most as many as wanted, nearest first. Of equal distances the one met first
/// comes first. For few: a new result is inserted from the back, where in a sorted unit it mostly belongs.
class sorted_results {
  public:
    sorted_results(qel_search_result *results, std::uint32_t wanted) : results_(results), wanted_(wanted) {}

    bool full() const { return count_ == wanted_; }

    /// The distance that an offer must beat, once full.
    std::uint64_t worst() const { return results_[count_ - 1].distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (full() && distance >= worst()) return;
        if (!full()) ++count_;
        const qel_search_result result = {token, 0, distance};
        std::uint32_t place = count_ - 1;
        for (; place > 0 && compare_search_results(&result, &results_[place - 1]) < 0; --place)
            results_[place] = results_[place - 1];
        results_[place] = result;
    }

    std::uint32_t finish() const { return count_; }

  private:
    qel_search_result *results_;
    std::uint32_t wanted_;
    std::uint32_t count_ = 0;
};

/// The same for many results, whose insertions would take quadratic time: once full it is a heap with the worst in
/// front, and it comes into order at the end.
class heaped_results {
  public:
    heaped_results(qel_search_result *results, std::uint32_t wanted) : results_(results), wanted_(wanted) {}

    bool full() const { return count_ == wanted_; }
    std::uint64_t worst() const { return results_[0].distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (!full()) {
            results_[count_++] = {token, arrivals_++, distance};
            if (full()) std::make_heap(results_, results_ + count_, before);
        } else if (distance < worst()) {
            std::pop_heap(results_, results_ + count_, before);
            results_[count_ - 1] = {token, arrivals_++, distance};
            std::push_heap(results_, results_ + count_, before);
        }
    }

    std::uint32_t finish() {
        std::sort(results_, results_ + count_, before);
        return count_;
    }

  private:
    static bool before(const qel_search_result &a, const qel_search_result &b) {
        const std::int32_t order = compare_search_results(&a, &b);
        return order != 0 ? order < 0 : a.arrival < b.arrival;
    }

    qel_search_result *results_;
    std::uint32_t wanted_;
    std::uint32_t count_ = 0;
    std::uint32_t arrivals_ = 0;
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
template <class Results>
std::uint32_t search_outwards(const qel_token *tokens, std::int32_t count, std::uint64_t target,
                              Results nearest) {
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

std::uint32_t find_nearest(const qel_token *tokens, std::int32_t count, std::uint64_t target,
                           qel_search_result *results, std::uint32_t wanted) {
    constexpr std::uint32_t few = 256;
    if (wanted <= few) return search_outwards(tokens, count, target, sorted_results(results, wanted));
    return search_outwards(tokens, count, target, heaped_results(results, wanted));
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
