// SPDX-License-Identifier: MIT
// The check that numbers are finite.
#pragma once

#include "common/cpu.h"

#include <atomic>
#include <cstdint>

namespace qel {

/// False when one of `count` numbers is an infinity or a NaN.
bool all_finite(const float *numbers, std::uint64_t count);

using finite_kernel = bool(const float *numbers, std::uint64_t count);

extern const kernel_forms<finite_kernel> finite_forms;

/// What all_finite calls. Tests and measurements store a form here.
extern std::atomic<finite_kernel *> finite_choice;

} // namespace qel
