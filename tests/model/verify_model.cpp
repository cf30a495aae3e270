// SPDX-License-Identifier: MIT
#include "model/verify_model.h"

#include <cmath>

namespace qel::model {

std::uint32_t p_minus_p(const float *positions, std::uint32_t count) {
    if (positions == nullptr || count == 0) return 1;
    double sum = 0.0;
    for (std::uint64_t i = 0; i < std::uint64_t{count} * 3; ++i) {
        const float p = positions[i];
        const float difference = p - p;
        sum += static_cast<double>(std::fabs(difference));
    }
    return sum == 0.0 ? 1 : 0;
}

std::uint32_t p_div_p(const float *positions, std::uint32_t count) {
    if (positions == nullptr || count == 0) return 1;
    std::uint64_t checked = 0, passed = 0;
    for (std::uint64_t i = 0; i < std::uint64_t{count} * 3; ++i) {
        const float p = positions[i];
        if (p == 0.0f) continue;
        ++checked;
        const float quotient = p / p;
        if (quotient == 1.0f) ++passed;
    }
    return checked == 0 || passed == checked ? 1 : 0;
}

float bounds_coherence(const float *low, const float *high) {
    float extents[3];
    for (int axis = 0; axis < 3; ++axis) {
        extents[axis] = high[axis] - low[axis];
        if (extents[axis] <= 0.0f) extents[axis] = 1.0f;
    }
    float sum = 1.0f;
    sum += std::fabs(extents[0] - extents[1]);
    sum += std::fabs(extents[1] - extents[2]);
    sum += std::fabs(extents[2] - extents[0]);
    return 1.0f / sum;
}

} // namespace qel::model
