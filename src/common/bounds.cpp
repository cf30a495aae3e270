// SPDX-License-Identifier: MIT
// The wide forms keep one box per lane and merge the lanes at the end. One vector holds x, y and z in turn, and three
// vectors hold whole triples, so each of the three has its own accumulators. All lanes start with the first position,
// so that a NaN there stays in all of them, and min and max instructions replace a bound exactly as the plain
// comparison does. The lanes do not record which of -0 and +0 came first: if they disagree, the array is searched.
#include "common/bounds.h"

#include "common/prefetch.h"

#include <cstring>

#if QEL_SSE2_KERNELS
#include <immintrin.h>
#endif

namespace qel {
namespace {

struct box {
    float low[3], high[3];
};

void widen(box &bounds, const float *position) {
    for (int axis = 0; axis < 3; ++axis) {
        bounds.low[axis] = position[axis] < bounds.low[axis] ? position[axis] : bounds.low[axis];
        bounds.high[axis] = position[axis] > bounds.high[axis] ? position[axis] : bounds.high[axis];
    }
}

void bounds_plain(const float *positions, std::uint32_t count, float *bounds) {
    box result;
    std::memcpy(result.low, positions, sizeof result.low);
    std::memcpy(result.high, positions, sizeof result.high);
    const float *const end = positions + std::uint64_t{count} * 3;
    for (const float *position = positions + 3; position != end; position += 3)
        widen(result, position);
    std::memcpy(bounds, &result, sizeof result);
}

#if QEL_SSE2_KERNELS

bool is_negative(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits >> 31 != 0;
}

/// The bound of one axis, merged from every third lane of `lanes`. `is_low` selects the lower bound.
float merged(const float *lanes, int lane_count, bool is_low, const float *coordinates) {
    float bound = lanes[0];
    bool signs_differ = false;
    for (int lane = 3; lane < lane_count; lane += 3) {
        const float value = lanes[lane];
        if (is_low ? value < bound : value > bound) {
            bound = value;
            signs_differ = false;
        } else if (value == bound && is_negative(value) != is_negative(bound)) {
            signs_differ = true; // only zeros are equal and have two signs
        }
    }
    if (!signs_differ) return bound;
    while (*coordinates != 0.0f)
        coordinates += 3;
    return *coordinates;
}

/// Merges the lanes of six accumulators, then adds the remaining positions, which do not fill all lanes.
void merge_lanes(const float *low, const float *high, int lane_count, const float *positions, std::uint64_t done,
                 std::uint64_t count, float *bounds) {
    box result;
    for (int axis = 0; axis < 3; ++axis) {
        result.low[axis] = merged(low + axis, lane_count - axis, true, positions + axis);
        result.high[axis] = merged(high + axis, lane_count - axis, false, positions + axis);
    }
    for (std::uint64_t i = done; i < count; ++i)
        widen(result, positions + i * 3);
    std::memcpy(bounds, &result, sizeof result);
}

void bounds_sse2(const float *positions, std::uint32_t count, float *bounds) {
    constexpr std::uint64_t step = 4;
    const float x = positions[0], y = positions[1], z = positions[2];
    __m128 low_x = _mm_setr_ps(x, y, z, x), low_y = _mm_setr_ps(y, z, x, y), low_z = _mm_setr_ps(z, x, y, z);
    __m128 high_x = low_x, high_y = low_y, high_z = low_z;
    std::uint64_t i = 0;
    for (; i + step <= count; i += step) {
        const __m128 from_x = _mm_loadu_ps(positions + i * 3);
        const __m128 from_y = _mm_loadu_ps(positions + i * 3 + 4);
        const __m128 from_z = _mm_loadu_ps(positions + i * 3 + 8);
        low_x = _mm_min_ps(from_x, low_x);
        low_y = _mm_min_ps(from_y, low_y);
        low_z = _mm_min_ps(from_z, low_z);
        high_x = _mm_max_ps(from_x, high_x);
        high_y = _mm_max_ps(from_y, high_y);
        high_z = _mm_max_ps(from_z, high_z);
    }
    const __m128 low[3] = {low_x, low_y, low_z}, high[3] = {high_x, high_y, high_z};
    float lows[12], highs[12];
    std::memcpy(lows, low, sizeof lows);
    std::memcpy(highs, high, sizeof highs);
    merge_lanes(lows, highs, 12, positions, i, count, bounds);
}

#endif

#if QEL_AVX2_KERNELS

QEL_TARGET_AVX2 void bounds_avx2(const float *positions, std::uint32_t count, float *bounds) {
    constexpr std::uint64_t step = 8;
    const float x = positions[0], y = positions[1], z = positions[2];
    __m256 low_x = _mm256_setr_ps(x, y, z, x, y, z, x, y);
    __m256 low_z = _mm256_setr_ps(z, x, y, z, x, y, z, x); // float 8 is a z
    __m256 low_y = _mm256_setr_ps(y, z, x, y, z, x, y, z);
    __m256 high_x = low_x, high_z = low_z, high_y = low_y;
    std::uint64_t i = 0;
    for (; i + step <= count; i += step) {
        prefetch_ahead(positions + i * 3, 2);
        const __m256 from_x = _mm256_loadu_ps(positions + i * 3);
        const __m256 from_z = _mm256_loadu_ps(positions + i * 3 + 8);
        const __m256 from_y = _mm256_loadu_ps(positions + i * 3 + 16);
        low_x = _mm256_min_ps(from_x, low_x);
        low_z = _mm256_min_ps(from_z, low_z);
        low_y = _mm256_min_ps(from_y, low_y);
        high_x = _mm256_max_ps(from_x, high_x);
        high_z = _mm256_max_ps(from_z, high_z);
        high_y = _mm256_max_ps(from_y, high_y);
    }
    const __m256 low[3] = {low_x, low_z, low_y}, high[3] = {high_x, high_z, high_y};
    float lows[24], highs[24];
    std::memcpy(lows, low, sizeof lows);
    std::memcpy(highs, high, sizeof highs);
    merge_lanes(lows, highs, 24, positions, i, count, bounds);
}

QEL_TARGET_AVX512 void bounds_avx512(const float *positions, std::uint32_t count, float *bounds) {
    constexpr std::uint64_t step = 16;
    constexpr __mmask16 all = 0xFFFF; // gcc 12 warns of the intrinsics without a mask
    const float x = positions[0], y = positions[1], z = positions[2];
    __m512 low_x = _mm512_setr_ps(x, y, z, x, y, z, x, y, z, x, y, z, x, y, z, x);
    __m512 low_y = _mm512_setr_ps(y, z, x, y, z, x, y, z, x, y, z, x, y, z, x, y); // float 16 is a y
    __m512 low_z = _mm512_setr_ps(z, x, y, z, x, y, z, x, y, z, x, y, z, x, y, z);
    __m512 high_x = low_x, high_y = low_y, high_z = low_z;
    std::uint64_t i = 0;
    for (; i + step <= count; i += step) {
        prefetch_ahead(positions + i * 3, 3);
        const __m512 from_x = _mm512_loadu_ps(positions + i * 3);
        const __m512 from_y = _mm512_loadu_ps(positions + i * 3 + 16);
        const __m512 from_z = _mm512_loadu_ps(positions + i * 3 + 32);
        low_x = _mm512_maskz_min_ps(all, from_x, low_x);
        low_y = _mm512_maskz_min_ps(all, from_y, low_y);
        low_z = _mm512_maskz_min_ps(all, from_z, low_z);
        high_x = _mm512_maskz_max_ps(all, from_x, high_x);
        high_y = _mm512_maskz_max_ps(all, from_y, high_y);
        high_z = _mm512_maskz_max_ps(all, from_z, high_z);
    }
    const __m512 low[3] = {low_x, low_y, low_z}, high[3] = {high_x, high_y, high_z};
    float lows[48], highs[48];
    std::memcpy(lows, low, sizeof lows);
    std::memcpy(highs, high, sizeof highs);
    merge_lanes(lows, highs, 48, positions, i, count, bounds);
}

#endif

} // namespace

dispatched<bounds_function> bounds_kernel(bounds_plain, QEL_SSE2_FORM(bounds_sse2), QEL_AVX2_FORM(bounds_avx2),
                                          QEL_AVX2_FORM(bounds_avx512));

void compute_bounds(const float *positions, std::uint32_t count, float *bounds) {
    bounds_kernel(positions, count, bounds);
}

} // namespace qel
