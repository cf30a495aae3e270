// SPDX-License-Identifier: MIT
// The box of positions in its plainest form.
#pragma once

#include <cstdint>

namespace qel::model {

/// Six bounds of at least one triple: a bound is replaced when a coordinate lies strictly beyond it.
void bounds(const float *positions, std::uint32_t count, float *box);

} // namespace qel::model
