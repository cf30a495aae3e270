// SPDX-License-Identifier: MIT
// The axis-aligned box of positions.
#pragma once

#include "common/cpu.h"

#include <cstdint>

namespace qel {

/// Writes min x, y, z and max x, y, z of `count` triples, at least one. Only a coordinate strictly beyond a bound
/// replaces it: a NaN never does, and of -0 and +0 the first stays.
void compute_bounds(const float *positions, std::uint32_t count, float *bounds);

using bounds_function = void(const float *positions, std::uint32_t count, float *bounds);

/// The kernel that compute_bounds calls.
extern dispatched<bounds_function> bounds_kernel;

} // namespace qel
