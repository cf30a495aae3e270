// SPDX-License-Identifier: MIT
// A number is finite unless all bits of its exponent are set. Every form examines whole blocks without a branch and
// ends after the first block that holds another number.
#include "qel_unit/verify/finite_check.h"

#include "common/prefetch.h"

#include <algorithm>
#include <cstring>

#if QEL_SSE2_KERNELS
#include <immintrin.h>
#endif

namespace qel {
namespace {

constexpr std::uint32_t exponent = 0x7F800000;
constexpr std::uint64_t floats_a_block = 2048; // 8 KiB

bool finite_plain(const float *numbers, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count;) {
        std::uint32_t found = 0;
        for (const std::uint64_t end = std::min(i + floats_a_block, count); i < end; ++i) {
            std::uint32_t bits;
            std::memcpy(&bits, numbers + i, sizeof bits);
            found |= (bits & exponent) == exponent ? 1 : 0;
        }
        if (found != 0) return false;
    }
    return true;
}

#if QEL_SSE2_KERNELS

bool finite_sse2(const float *numbers, std::uint64_t count) {
    const __m128i mask = _mm_set1_epi32(static_cast<int>(exponent));
    const std::uint64_t whole = count - count % 4;
    for (std::uint64_t i = 0; i < whole;) {
        __m128i found = _mm_setzero_si128();
        for (const std::uint64_t end = std::min(i + floats_a_block, whole); i < end; i += 4) {
            const __m128i bits = _mm_castps_si128(_mm_loadu_ps(numbers + i));
            found = _mm_or_si128(found, _mm_cmpeq_epi32(_mm_and_si128(bits, mask), mask));
        }
        if (_mm_movemask_epi8(found) != 0) return false;
    }
    return finite_plain(numbers + whole, count - whole);
}

#endif

#if QEL_AVX2_KERNELS

/// Sets all bits of each lane whose number is not finite, and clears the others.
QEL_TARGET_AVX2 __m256i not_finite(const float *numbers) {
    const __m256i mask = _mm256_set1_epi32(static_cast<int>(exponent));
    const __m256i bits = _mm256_castps_si256(_mm256_loadu_ps(numbers));
    return _mm256_cmpeq_epi32(_mm256_and_si256(bits, mask), mask);
}

/// Examines one cache line per step.
QEL_TARGET_AVX2 bool finite_avx2(const float *numbers, std::uint64_t count) {
    const std::uint64_t whole = count - count % 16;
    for (std::uint64_t i = 0; i < whole;) {
        __m256i found = _mm256_setzero_si256();
        for (const std::uint64_t end = std::min(i + floats_a_block, whole); i < end; i += 16) {
            prefetch_ahead(numbers + i);
            found = _mm256_or_si256(found, _mm256_or_si256(not_finite(numbers + i), not_finite(numbers + i + 8)));
        }
        if (_mm256_movemask_epi8(found) != 0) return false;
    }
    return finite_plain(numbers + whole, count - whole);
}

#endif

} // namespace

dispatched<finite_function> finite_kernel(finite_plain, QEL_SSE2_FORM(finite_sse2), QEL_AVX2_FORM(finite_avx2),
                                          nullptr);

bool all_finite(const float *numbers, std::uint64_t count) {
    return finite_kernel(numbers, count);
}

} // namespace qel
