// SPDX-License-Identifier: MIT
// How tokens and search results compare, and the single-precision roots that measure distance in hops.
#pragma once

#include "common/morton_key.h"
#include "qel_unit.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace qel {

static_assert(sizeof(qel_token) == 25, "tokens are packed");
static_assert(offsetof(qel_token, hex_id) == 8);
static_assert(offsetof(qel_token, payload) == 16);
static_assert(offsetof(qel_token, layer) == 24);

/// One result of a nearest query.
struct qel_search_result {
    std::uint32_t token;
    std::uint32_t arrival; // results accepted earlier; equal distances keep the order of acceptance
    std::uint64_t distance;
};

static_assert(sizeof(qel_search_result) == 16, "one result of the query's scratch list");

inline std::int32_t compare(std::uint64_t a, std::uint64_t b) {
    if (a < b) return -1;
    return a > b ? 1 : 0;
}

/// Compares two tokens by key alone, in the form of a sort callback.
inline std::int32_t compare_tokens_morton(const void *a, const void *b) {
    return compare(static_cast<const qel_token *>(a)->morton, static_cast<const qel_token *>(b)->morton);
}

/// Compares two search results by distance alone, in the form of a sort callback.
inline std::int32_t compare_search_results(const void *a, const void *b) {
    return compare(static_cast<const qel_search_result *>(a)->distance,
                   static_cast<const qel_search_result *>(b)->distance);
}

/// Rounds to 24 bits before the root, so that adjacent large numbers have the same root. A root is at most 2^32; its
/// conversion to a signed number takes fewer instructions than to an unsigned one.
inline std::uint64_t single_precision_root(std::uint64_t n) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(std::sqrt(static_cast<float>(n))));
}

inline std::uint64_t hop_distance(std::uint64_t a, std::uint64_t b) {
    return single_precision_root(difference(a, b));
}

} // namespace qel
