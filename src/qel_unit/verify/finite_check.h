// SPDX-License-Identifier: MIT
// The check that numbers are finite.
#pragma once

#include "common/cpu.h"

#include <cstdint>

namespace qel {

/// False if one of `count` numbers is an infinity or a NaN.
bool all_finite(const float *numbers, std::uint64_t count);

using finite_function = bool(const float *numbers, std::uint64_t count);

/// The kernel that all_finite calls.
extern dispatched<finite_function> finite_kernel;

} // namespace qel
