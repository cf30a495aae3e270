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

/// A vertex refers to a joint by one byte. A skin may have more joints; no vertex uses them.
constexpr std::uint32_t max_used_joints = 256;

/// Moves `count` positions by the joints of their weights. A slot is skipped if its weight is below a millionth (a NaN
/// is not) or its joint is not below `joint_count`, which is at most `max_used_joints`. Each position is read before
/// its result is written: both may be the same array. With cache-line aligned joints it takes one sixth less time.
void skin_blend(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                std::uint32_t joint_count, const float *positions, float *results);

using skin_function = void(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                           std::uint32_t joint_count, const float *positions, float *results);

/// The kernel that skin_blend calls.
extern dispatched<skin_function> skin_kernel;

} // namespace qel
