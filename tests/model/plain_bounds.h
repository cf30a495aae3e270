// SPDX-License-Identifier: MIT
// The box of positions, one comparison after the other.
#pragma once

#include <cstdint>

namespace qel::model {

/// As ogawa_compute_bounds, for at least one position.
void plain_bounds(const float *positions, std::uint32_t count, float *bounds);

} // namespace qel::model
