// SPDX-License-Identifier: MIT
// The axis-aligned box of positions.
#pragma once

#include "common/cpu.h"

#include <atomic>
#include <cstdint>

namespace qel {

/// Writes min x, y, z and max x, y, z of `count` triples, at least one. Only a coordinate strictly beyond a bound
/// replaces it: a NaN never does, and of -0 and +0 the first stays.
void compute_bounds(const float *positions, std::uint32_t count, float *bounds);

using bounds_kernel = void(const float *positions, std::uint32_t count, float *bounds);

extern const kernel_forms<bounds_kernel> bounds_forms;

/// What compute_bounds calls. Tests and measurements store a form here.
extern std::atomic<bounds_kernel *> bounds_choice;

} // namespace qel
