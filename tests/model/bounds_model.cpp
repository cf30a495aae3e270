// SPDX-License-Identifier: MIT
#include "model/bounds_model.h"

namespace qel::model {

void bounds(const float *positions, std::uint32_t count, float *box) {
    for (int axis = 0; axis < 3; ++axis)
        box[axis] = box[axis + 3] = positions[axis];
    for (std::uint64_t i = 1; i < count; ++i) {
        const float *position = positions + i * 3;
        for (int axis = 0; axis < 3; ++axis) {
            if (box[axis] > position[axis]) box[axis] = position[axis];
            if (position[axis] > box[axis + 3]) box[axis + 3] = position[axis];
        }
    }
}

} // namespace qel::model
