// SPDX-License-Identifier: MIT
#include "view/page_model.h"

#include <algorithm>
#include <cmath>

namespace tool {

std::array<float, 6> box_of(const std::vector<float> &positions) {
    std::array<float, 6> box{};
    bool any = false;
    for (std::size_t i = 0; i + 2 < positions.size(); i += 3) {
        const float *p = positions.data() + i;
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) continue;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box[axis] = any ? std::min(box[axis], p[axis]) : p[axis];
            box[axis + 3] = any ? std::max(box[axis + 3], p[axis]) : p[axis];
        }
        any = true;
    }
    return box;
}

std::vector<std::uint8_t> cells_of(const std::vector<float> &positions, const std::array<float, 6> &box) {
    std::vector<std::uint8_t> cells(positions.size());
    for (std::size_t i = 0; i + 2 < positions.size(); i += 3)
        qel_alembic_world_to_matrix(positions[i], positions[i + 1], positions[i + 2], box.data(), &cells[i],
                                    &cells[i + 1], &cells[i + 2]);
    return cells;
}

} // namespace tool
