// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_unit/token.h"

#include <algorithm>

namespace qel {
namespace {

/// Where a binary search for the key ends: at the key, or next to where it would stand.
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

/// The tokens from one place outwards.
struct side {
    const qel_token *tokens;
    std::uint32_t first;
    std::uint32_t step; // 1, or 2^32 - 1, which goes back by one
    std::uint32_t count;

    std::uint32_t number(std::uint32_t i) const { return first + step * i; }
    std::uint64_t key(std::uint32_t i) const { return tokens[number(i)].morton; }
};

constexpr std::uint64_t max_hops = std::uint64_t{1} << 32; // its square is 0 (mod 2^64)

/// Lists the distances of as many tokens of a side as are wanted. Beyond the end of the side, it lists a distance that
/// no token has. False where the distances do not grow, or where a search outwards may come to a token beyond them.
bool list_hops(const side &from, std::uint64_t target, std::uint64_t *hops, std::uint32_t wanted) {
    const std::uint32_t count = std::min(wanted, from.count);
    std::uint64_t last = 0;
    bool grow = true;
    for (std::uint32_t i = 0; i < count; ++i) {
        hops[i] = hop_distance(from.key(i), target);
        grow &= hops[i] >= last;
        last = hops[i];
    }
    std::fill(hops + count, hops + wanted, 2 * max_hops);
    if (!grow || last >= max_hops)
        return false; // a search outwards ends where the worst result is 2^32 hops away
    return count == from.count || difference(from.key(count), target) >= last * last;
}

/// The best results offered so far, at most as many as wanted, as a heap with the worst in front. Of equal distances
/// the one met first comes first.
class nearest_results {
  public:
    nearest_results(qel_search_result *results, std::uint32_t wanted) : results_(results), wanted_(wanted) {}

    bool full() const { return count_ == wanted_; }

    /// The distance that an offer must beat, once full.
    std::uint64_t worst() const { return results_[0].distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (full()) {
            if (distance >= worst()) return;
            std::pop_heap(results_, results_ + count_--, before);
        }
        results_[count_++] = {token, arrivals_++, distance};
        std::push_heap(results_, results_ + count_, before);
    }

    void give(std::uint32_t *numbers, std::uint64_t *distances) {
        std::sort(results_, results_ + count_, before);
        for (std::uint32_t i = 0; i < count_; ++i) {
            numbers[i] = results_[i].token;
            distances[i] = results_[i].distance;
        }
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

/// Offers tokens from the start outwards, one of each side in turn, until neither side can improve the results. Right
/// for keys in any order.
void search_outwards(const qel_token *tokens, std::int32_t count, std::uint64_t target, std::int32_t start,
                     nearest_results &nearest) {
    const auto offer = [&](std::int32_t token) {
        nearest.offer(static_cast<std::uint32_t>(token), hop_distance(tokens[token].morton, target));
    };
    const auto promising = [&](std::int32_t token) {
        // Hops are square roots: a difference of at least the worst distance squared cannot improve the results. The
        // square of 2^32 hops is 0 (mod 2^64), and the search ends there.
        return !nearest.full() ||
               difference(tokens[token].morton, target) < nearest.worst() * nearest.worst();
    };

    offer(start);
    std::int32_t left = start - 1, right = start + 1;
    while (left >= 0 || right < count) {
        const bool go_left = left >= 0 && promising(left);
        const bool go_right = right < count && promising(right); // decided before the left one is offered
        if (!go_left && !go_right) break;
        if (go_left) offer(left--);
        if (go_right) offer(right++);
    }
}

/// What the search outwards finds where distances grow on either side, as in a sorted unit: both sides, merged. Of
/// equal distances that of the earlier pass comes first, and in a pass the left one; the start has a pass of its own
/// before all. False where the distances do not grow.
bool merge_sides(const qel_token *tokens, std::int32_t count, std::uint64_t target, std::int32_t start,
                 std::uint64_t *hops, std::uint32_t wanted, std::uint32_t *numbers,
                 std::uint64_t *distances) {
    const std::uint32_t starts_left = tokens[start].morton < target ? 1 : 0, starts_right = 1 - starts_left;
    const auto before = static_cast<std::uint32_t>(start) + starts_left; // how many tokens the left side has
    const side left = {tokens, before - 1, ~0u, before};
    const side right = {tokens, before, 1, static_cast<std::uint32_t>(count) - before};
    std::uint64_t *const left_hops = hops, *const right_hops = hops + wanted;
    if (!list_hops(left, target, left_hops, wanted) || !list_hops(right, target, right_hops, wanted))
        return false;

    std::uint32_t l = 0;
    for (std::uint32_t i = 0; i < wanted; ++i) {
        const std::uint32_t r = i - l;
        const bool left_wins_ties = l + starts_right <= r + starts_left;
        const bool go_left = left_hops[l] < right_hops[r] + (left_wins_ties ? 1 : 0);
        numbers[i] = go_left ? left.number(l) : right.number(r);
        distances[i] = std::min(left_hops[l], right_hops[r]);
        l += go_left ? 1 : 0;
    }
    return true;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_unit_query_nearest(const qel_unit *unit, std::uint64_t morton, std::int32_t k,
                                     std::uint32_t *numbers, std::uint64_t *distances) {
    if (unit == nullptr || unit->tokens == nullptr || k < 1) return 0;
    const auto count = static_cast<std::int32_t>(unit->count);
    if (count < 1) return 0; // also from 2^31 tokens on: counts are compared as signed numbers
    const auto wanted = static_cast<std::uint32_t>(std::min(k, count));
    const scratch<qel_search_result> results(heap_array<qel_search_result>(wanted));
    if (results == nullptr) return 0;

    const std::int32_t start = search_start(unit->tokens, count, morton);
    auto *const hops = reinterpret_cast<std::uint64_t *>(results.get());
    if (!merge_sides(unit->tokens, count, morton, start, hops, wanted, numbers, distances)) {
        nearest_results nearest(results.get(), wanted);
        search_outwards(unit->tokens, count, morton, start, nearest);
        nearest.give(numbers, distances);
    }
    return wanted;
}

} // extern "C"
