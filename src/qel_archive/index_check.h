// SPDX-License-Identifier: MIT
// Checks that indices are in range, and adds up face counts.
#pragma once

#include "common/cpu.h"

#include <algorithm>
#include <cstdint>

namespace qel::archives {

/// Whether all of `count` indices are below a limit.
bool all_below(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit);

/// The lowest number that is no index of a face: indices are signed as stored, and none is negative.
inline std::uint32_t face_index_limit(std::uint32_t vertex_count) {
    return std::min(vertex_count, std::uint32_t{0x80000000});
}

/// The sum of `count` counts, where none of them is negative as a signed number; `bad_sum` otherwise.
std::uint64_t sum_counts(const std::uint32_t *counts, std::uint64_t count);

constexpr std::uint64_t bad_sum = ~std::uint64_t{0};

using below_function = bool(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit);
using sum_function = std::uint64_t(const std::uint32_t *counts, std::uint64_t count);

/// What all_below and sum_counts call.
extern dispatched<below_function> below_kernel;
extern dispatched<sum_function> sum_kernel;

} // namespace qel::archives
