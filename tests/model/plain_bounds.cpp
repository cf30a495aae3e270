// SPDX-License-Identifier: MIT
#include "model/plain_bounds.h"

#include <cstddef>

namespace qel::model {

void plain_bounds(const float *positions, std::uint32_t count, float *bounds) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        bounds[axis] = bounds[3 + axis] = positions[axis];
    for (std::size_t i = 1; i < count; ++i)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float value = positions[3 * i + axis];
            if (value < bounds[axis]) bounds[axis] = value;
            if (value > bounds[3 + axis]) bounds[3 + axis] = value;
        }
}

} // namespace qel::model
