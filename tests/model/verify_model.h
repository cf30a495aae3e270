// SPDX-License-Identifier: MIT
// Mesh verification in its plainest form: sums and quotients, one coordinate after the other.
#pragma once

#include <cstdint>

namespace qel::model {

std::uint32_t p_minus_p(const float *positions, std::uint32_t count);
std::uint32_t p_div_p(const float *positions, std::uint32_t count);
float bounds_coherence(const float *low, const float *high);

} // namespace qel::model
