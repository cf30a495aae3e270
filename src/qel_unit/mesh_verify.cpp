// SPDX-License-Identifier: MIT
// Both identities hold exactly for arrays whose coordinates are all finite. p - p is 0 for a finite p and NaN
// otherwise. p / p is the exact quotient 1 for every finite p but zero, which is left out, and NaN otherwise;
// subnormals are no exception. So the bits are looked at, and nothing is summed or divided.
#include "qel_unit.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace qel {
namespace {

static_assert(sizeof(qel_mesh_verify_report) == 32);

constexpr std::int32_t no_report = -1;

/// 1 for infinities and NaNs, else 0.
std::uint32_t not_finite(const float *coordinate) {
    constexpr std::uint32_t exponent = 0x7F800000;
    std::uint32_t bits;
    std::memcpy(&bits, coordinate, sizeof bits);
    return (bits & exponent) == exponent ? 1 : 0;
}

/// Looks at whole blocks without branching, so that a compiler looks at several coordinates at a time.
std::uint32_t all_finite(const float *positions, std::uint32_t count) {
    if (positions == nullptr) return 1;
    constexpr std::uint64_t block = 512;
    const std::uint64_t coordinates = std::uint64_t{count} * 3;
    std::uint64_t i = 0;
    for (; coordinates - i >= block; i += block) {
        std::uint32_t found = 0;
        for (std::uint64_t j = 0; j < block; ++j)
            found |= not_finite(positions + i + j);
        if (found != 0) return 0;
    }
    for (; i < coordinates; ++i)
        if (not_finite(positions + i) != 0) return 0;
    return 1;
}

/// An extent for the proportions: a flat or inverted side counts as 1, a NaN stays.
float extent(float low, float high) {
    const float difference = high - low;
    return difference <= 0.0f ? 1.0f : difference;
}

} // namespace
} // namespace qel

extern "C" {

uint32_t qel_mesh_verify_p_minus_p(const float *positions, uint32_t count) {
    return qel::all_finite(positions, count);
}

uint32_t qel_mesh_verify_p_div_p(const float *positions, uint32_t count) {
    return qel::all_finite(positions, count);
}

float qel_mesh_bounds_coherence(float min_x, float min_y, float min_z, float max_x, float max_y,
                                float max_z) {
    const float x = qel::extent(min_x, max_x);
    const float y = qel::extent(min_y, max_y);
    const float z = qel::extent(min_z, max_z);
    return 1.0f / (1.0f + std::fabs(x - y) + std::fabs(y - z) + std::fabs(z - x));
}

int32_t qel_mesh_verify_identity(const float *positions, uint32_t count, float min_x, float min_y,
                                 float min_z, float max_x, float max_y, float max_z,
                                 qel_mesh_verify_report *report) {
    if (report == nullptr) return qel::no_report;
    report->vertex_count = count;
    report->valid = qel::all_finite(positions, count);
    report->p_minus_p_ok = report->valid;
    report->p_div_p_ok = report->valid;
    report->coherence = qel_mesh_bounds_coherence(min_x, min_y, min_z, max_x, max_y, max_z);
    report->verified_at = std::time(nullptr);
    return static_cast<int32_t>(report->valid);
}

uint32_t qel_mesh_is_static_valid(const float *positions, uint32_t count) {
    return qel::all_finite(positions, count);
}
}
