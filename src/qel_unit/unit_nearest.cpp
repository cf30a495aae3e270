// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "common/prefetch.h"
#include "qel_unit/nearest_merge.h"

#include <algorithm>

namespace qel {
namespace {

/// The token at which a binary search for the key ends: at the key, or beside its insertion position.
///
/// The half in which the search continues is computed, not branched to: half of such branches would be mispredicted.
/// Each step then waits for its key, so the keys that the next two steps may read are prefetched.
std::uint32_t search_start(const qel_token *tokens, std::uint32_t count, std::uint64_t target) {
    std::uint64_t size = count;
    std::uint64_t middle = (size - 1) / 2;
    for (;;) {
        const std::uint64_t key = tokens[middle].morton;
        const std::uint64_t left_size = (size - 1) / 2, right_size = size / 2, quarter = size / 8;
        const std::uint64_t left = middle - left_size / 2 - 1, right = middle + (right_size + 1) / 2;
        prefetch_element(tokens, left);
        prefetch_element(tokens, right);
        prefetch_element(tokens, left - quarter);
        prefetch_element(tokens, left + quarter);
        prefetch_element(tokens, right - quarter);
        prefetch_element(tokens, right + quarter);
        if (key == target) break;
        const std::uint64_t go_right = key < target ? 1 : 0;
        size = (size - 1 + go_right) / 2;
        if (size == 0) break;
        middle = left ^ ((left ^ right) & (0 - go_right));
    }
    return static_cast<std::uint32_t>(middle);
}

/// The best results offered so far, up to the wanted number, as a heap with the worst in front. Of equal distances the
/// one offered first comes first.
class nearest_results {
  public:
    nearest_results(qel_search_result *results, std::uint32_t wanted) : results_(results), wanted_(wanted) {}

    bool full() const { return count_ == wanted_; }

    /// The distance below which an offer is accepted, once full.
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

/// Offers tokens from the start outward, one of each side in turn, until neither side can improve the results. The keys
/// may be in any order.
void search_outwards(const nearest_query &query, nearest_results &nearest) {
    const auto offer = [&](std::int64_t token) {
        const std::uint64_t distance = hop_distance(query.tokens[token].morton, query.target);
        nearest.offer(static_cast<std::uint32_t>(token), distance);
    };
    const auto promising = [&](std::int64_t token) {
        // Hops are square roots: a difference of at least the worst distance squared cannot improve the results. The
        // square of 2^32 hops is 0 (mod 2^64), which ends the search.
        return !nearest.full() ||
               difference(query.tokens[token].morton, query.target) < nearest.worst() * nearest.worst();
    };

    offer(query.start);
    std::int64_t left = std::int64_t{query.start} - 1, right = std::int64_t{query.start} + 1;
    while (left >= 0 || right < query.count) {
        // Both are decided before the left one is offered.
        const bool go_left = left >= 0 && promising(left);
        const bool go_right = right < query.count && promising(right);
        if (!go_left && !go_right) break;
        if (go_left) offer(left--);
        if (go_right) offer(right++);
    }
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_unit_query_nearest(const qel_unit *unit, std::uint64_t morton, std::int32_t k, std::uint32_t *numbers,
                                     std::uint64_t *distances) {
    if (unit == nullptr || unit->tokens == nullptr || k < 1) return 0;
    const std::uint32_t count = unit->count;
    if (static_cast<std::int32_t>(count) < 1) return 0; // counts are compared as signed numbers
    const std::uint32_t wanted = std::min(static_cast<std::uint32_t>(k), count);
    const scratch<qel_search_result> results(heap_array<qel_search_result>(wanted));
    if (results == nullptr) return 0;

    const nearest_query query = {unit->tokens, count, morton, search_start(unit->tokens, count, morton)};
    auto *const hops = reinterpret_cast<std::uint64_t *>(results.get());
    if (!merge_kernel(query, wanted, hops, numbers, distances)) {
        nearest_results nearest(results.get(), wanted);
        search_outwards(query, nearest);
        nearest.give(numbers, distances);
    }
    return wanted;
}

} // extern "C"
