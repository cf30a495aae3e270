// SPDX-License-Identifier: MIT
// Linear blend skinning of many vertices.
#pragma once

#include "qel_unit.h"

#include "common/cpu.h"

#include <cstdint>

namespace qel {

struct joint_matrix {
    double at[4][4]; // row, column
};
static_assert(sizeof(joint_matrix) == 128);

/// A vertex names a joint by a byte: a skin may have more joints, which no vertex uses.
constexpr std::uint32_t max_used_joints = 256;

/// Moves `count` positions by the joints that their weights name. A slot is skipped when its weight is below a
/// millionth (a NaN is not) or its joint is not one of `joint_count`, at most `max_used_joints`. Each position is
/// read before its result is written: both may be the same array. Joints that begin at a cache line are a sixth faster.
void skin_blend(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                std::uint32_t joint_count, const float *positions, float *results);

using skin_function = void(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                           std::uint32_t joint_count, const float *positions, float *results);

/// What skin_blend calls.
extern dispatched<skin_function> skin_kernel;

} // namespace qel
