// SPDX-License-Identifier: MIT
// Linear blend skinning of many vertices.
#pragma once

#include "qel_unit.h"

#include "common/cpu.h"

#include <atomic>
#include <cstdint>

namespace qel {

struct joint_matrix {
    double at[4][4]; // row, column
};
static_assert(sizeof(joint_matrix) == 128);

/// Joint numbers are bytes: a skin may have more joints than this, but no vertex can name them.
constexpr std::uint32_t reachable_joints = 256;

/// Moves `count` positions by the joints that their weights name. A slot is skipped when its weight is below a
/// millionth (a NaN is not) or its joint is not one of `joint_count`, at most `reachable_joints`. Each position is
/// read before its result is written: both may be the same array. Joints that begin at a cache line are a sixth faster.
void skin_blend(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                std::uint32_t joint_count, const float *positions, float *results);

using skin_kernel = void(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                         std::uint32_t joint_count, const float *positions, float *results);

extern const kernel_forms<skin_kernel> skin_forms;

/// What skin_blend calls. Tests and measurements store a form here.
extern std::atomic<skin_kernel *> skin_choice;

} // namespace qel
