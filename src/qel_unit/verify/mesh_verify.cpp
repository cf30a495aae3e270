// SPDX-License-Identifier: MIT
// Both identities hold exactly if all coordinates are finite. p - p is 0 for a finite p and NaN otherwise. p / p is
// exactly 1 for every finite p but zero, which is left out, subnormal numbers included, and NaN otherwise. So only the
// bits of the coordinates are examined.
#include "qel_unit.h"

#include "common/clock.h"
#include "qel_unit/verify/finite_check.h"

#include <cmath>
#include <cstdint>

namespace qel {
namespace {

static_assert(sizeof(qel_mesh_verify_report) == 32);

std::uint32_t holds(const float *positions, std::uint32_t count) {
    return positions == nullptr || all_finite(positions, std::uint64_t{count} * 3) ? 1 : 0;
}

/// The length of a box's side for its proportions: 1 for a flat or inverted side; a NaN stays.
float side_length(float low, float high) {
    const float difference = high - low;
    return difference <= 0.0f ? 1.0f : difference;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_mesh_verify_p_minus_p(const float *positions, std::uint32_t count) {
    return holds(positions, count);
}

std::uint32_t qel_mesh_verify_p_div_p(const float *positions, std::uint32_t count) {
    return holds(positions, count);
}

float qel_mesh_bounds_coherence(float min_x, float min_y, float min_z, float max_x, float max_y, float max_z) {
    const float x = side_length(min_x, max_x);
    const float y = side_length(min_y, max_y);
    const float z = side_length(min_z, max_z);
    return 1.0f / (1.0f + std::fabs(x - y) + std::fabs(y - z) + std::fabs(z - x));
}

std::int32_t qel_mesh_verify_identity(const float *positions, std::uint32_t count, float min_x, float min_y,
                                      float min_z, float max_x, float max_y, float max_z,
                                      qel_mesh_verify_report *report) {
    if (report == nullptr) return QEL_MESH_VERIFY_IDENTITY_BAD_ARGUMENT;
    report->vertex_count = count;
    report->valid = holds(positions, count);
    report->p_minus_p_ok = report->valid;
    report->p_div_p_ok = report->valid;
    report->coherence = qel_mesh_bounds_coherence(min_x, min_y, min_z, max_x, max_y, max_z);
    report->verified_at = seconds_since_1970();
    return static_cast<std::int32_t>(report->valid);
}

std::uint32_t qel_mesh_is_static_valid(const float *positions, std::uint32_t count) {
    return holds(positions, count);
}

} // extern "C"
