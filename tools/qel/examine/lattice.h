// SPDX-License-Identifier: MIT
// The bounds of a lattice vertex's values.
#pragma once

#include <cstdint>

namespace tool {

inline constexpr unsigned lattice_edge = 48;       ///< cells along each axis
inline constexpr unsigned max_packed = UINT16_MAX; ///< coordinate of a packed key
inline constexpr int max_level = 11;               ///< the levels are -11 to 11
inline constexpr int min_state = -1, max_state = 2;

} // namespace tool
