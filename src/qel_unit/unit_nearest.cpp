// SPDX-License-Identifier: MIT
#include "common/heap.h"
#include "qel_unit/token.h"

#include <algorithm>

namespace qel {
namespace {

/// The best results offered so far, at most as many as wanted. Of equal distances the one met first comes first.
///
/// The results begin as a sorted list: in a sorted unit distances grow outwards, so that an offer belongs at its end or
/// a few places before it. In a unit in another order offers shift much of the list. Once they have shifted more
/// entries than a heap would have moved, the results become a heap with the worst in front, which finish() sorts.
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
    static constexpr std::uint64_t steps_per_offer = 64; // about those of a heap of a few thousand results

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

    /// In the list equal distances stand in the order met, so that its places can number the arrivals.
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
    std::uint64_t credit_ = 4096; // entries that may still be shifted
    bool heaped_ = false;
};

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

/// Offers tokens from the key's place outwards, one of each side in turn, until neither side can improve the results.
/// Returns how many results there are.
std::uint32_t find_nearest(const qel_token *tokens, std::int32_t count, std::uint64_t target,
                           qel_search_result *results, std::uint32_t wanted) {
    nearest_results nearest(results, wanted);
    const auto offer = [&](std::int32_t token) {
        nearest.offer(static_cast<std::uint32_t>(token), hop_distance(tokens[token].morton, target));
    };
    const auto promising = [&](std::int32_t token) {
        // Hops are square roots: a difference of at least the worst distance squared cannot improve the results. The
        // square of 2^32 hops is 0 (mod 2^64), and the search ends there.
        return !nearest.full() ||
               difference(tokens[token].morton, target) < nearest.worst() * nearest.worst();
    };

    const std::int32_t start = search_start(tokens, count, target);
    offer(start);
    std::int32_t left = start - 1, right = start + 1;
    while (left >= 0 || right < count) {
        const bool go_left = left >= 0 && promising(left);
        const bool go_right = right < count && promising(right); // decided before the left one is offered
        if (!go_left && !go_right) break;
        if (go_left) offer(left--);
        if (go_right) offer(right++);
    }
    return nearest.finish();
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

    const std::uint32_t found = find_nearest(unit->tokens, count, morton, results.get(), wanted);
    for (std::uint32_t i = 0; i < found; ++i) {
        numbers[i] = results[i].token;
        distances[i] = results[i].distance;
    }
    return found;
}

} // extern "C"
