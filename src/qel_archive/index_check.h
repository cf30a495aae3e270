// SPDX-License-Identifier: MIT
// Checks that indices are in range, and sums face counts.
#pragma once

#include "common/cpu.h"

#include <algorithm>
#include <cstdint>

namespace qel::archives {

/// Whether all of `count` indices are below a limit.
bool all_below(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit);

/// The smallest number that is not a valid face index: stored indices are signed, and none may be negative.
inline std::uint32_t face_index_limit(std::uint32_t vertex_count) {
    return std::min(vertex_count, std::uint32_t{0x80000000});
}

/// The sum of `count` counts; `bad_sum` if one of them is negative as a signed number.
std::uint64_t sum_counts(const std::uint32_t *counts, std::uint64_t count);

constexpr std::uint64_t bad_sum = ~std::uint64_t{0};

using below_function = bool(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit);
using sum_function = std::uint64_t(const std::uint32_t *counts, std::uint64_t count);

/// The kernels that all_below and sum_counts call.
extern dispatched<below_function> below_kernel;
extern dispatched<sum_function> sum_kernel;

} // namespace qel::archives
