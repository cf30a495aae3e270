// SPDX-License-Identifier: MIT
// The axis-aligned box of positions.
#pragma once

#include <cstdint>

namespace qel {

/// Writes min x, y, z and max x, y, z of `count` triples, at least one. Only a coordinate strictly beyond a bound
/// replaces it: a NaN never does, and of -0 and +0 the first stays.
inline void compute_bounds(const float *positions, std::uint32_t count, float *bounds) {
    float low[3] = {positions[0], positions[1], positions[2]};
    float high[3] = {positions[0], positions[1], positions[2]};
    const float *const end = positions + std::uint64_t{count} * 3;
    for (const float *position = positions + 3; position != end; position += 3) {
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = position[axis] < low[axis] ? position[axis] : low[axis];
            high[axis] = position[axis] > high[axis] ? position[axis] : high[axis];
        }
    }
    for (int axis = 0; axis < 3; ++axis) {
        bounds[axis] = low[axis];
        bounds[axis + 3] = high[axis];
    }
}

} // namespace qel
