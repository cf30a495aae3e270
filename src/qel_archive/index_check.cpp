// SPDX-License-Identifier: MIT
// Comparisons of vectors are signed: turning the highest bit of both sides makes them compare as unsigned numbers do.
// Every form looks at whole blocks without branching and gives up after the first block that holds something else.
#include "qel_archive/index_check.h"

#include <algorithm>

#if QEL_SSE2_KERNELS
#include <immintrin.h>
#endif

namespace qel::archives {
namespace {

constexpr std::uint64_t block = 2048; // 8 KiB
constexpr std::uint32_t highest_bit = 0x80000000;

bool below_plain(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    for (std::uint64_t i = 0; i < count;) {
        std::uint32_t found = 0;
        for (const std::uint64_t end = std::min(i + block, count); i < end; ++i)
            found |= indices[i] >= limit ? 1 : 0;
        if (found != 0) return false;
    }
    return true;
}

std::uint64_t sum_plain(const std::uint32_t *counts, std::uint64_t count) {
    std::uint64_t sum = 0;
    std::uint32_t any = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        any |= counts[i];
        sum += counts[i];
    }
    return (any & highest_bit) != 0 ? bad_sum : sum;
}

#if QEL_SSE2_KERNELS

/// Joins the sum of whole vectors with the counts behind them.
std::uint64_t join_sums(std::uint64_t sum, bool any_negative, const std::uint32_t *rest,
                        std::uint64_t count) {
    const std::uint64_t last = sum_plain(rest, count);
    return any_negative || last == bad_sum ? bad_sum : sum + last;
}

bool below_sse2(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    if (limit == 0) return count == 0;
    const __m128i turn = _mm_set1_epi32(static_cast<int>(highest_bit));
    const __m128i last = _mm_set1_epi32(static_cast<int>((limit - 1) ^ highest_bit));
    const std::uint64_t whole = count - count % 4;
    for (std::uint64_t i = 0; i < whole;) {
        __m128i found = _mm_setzero_si128();
        for (const std::uint64_t end = std::min(i + block, whole); i < end; i += 4) {
            const __m128i bits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(indices + i));
            found = _mm_or_si128(found, _mm_cmpgt_epi32(_mm_xor_si128(bits, turn), last));
        }
        if (_mm_movemask_epi8(found) != 0) return false;
    }
    return below_plain(indices + whole, count - whole, limit);
}

std::uint64_t sum_sse2(const std::uint32_t *counts, std::uint64_t count) {
    const __m128i zero = _mm_setzero_si128();
    const std::uint64_t whole = count - count % 4;
    __m128i any = zero, sum = zero;
    for (std::uint64_t i = 0; i < whole; i += 4) {
        const __m128i bits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(counts + i));
        any = _mm_or_si128(any, bits);
        sum = _mm_add_epi64(sum, _mm_unpacklo_epi32(bits, zero));
        sum = _mm_add_epi64(sum, _mm_unpackhi_epi32(bits, zero));
    }
    std::uint64_t sums[2];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(sums), sum);
    const bool any_negative = _mm_movemask_ps(_mm_castsi128_ps(any)) != 0;
    return join_sums(sums[0] + sums[1], any_negative, counts + whole, count - whole);
}

#endif

#if QEL_AVX2_KERNELS

QEL_TARGET_AVX2 bool below_avx2(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    if (limit == 0) return count == 0;
    const __m256i turn = _mm256_set1_epi32(static_cast<int>(highest_bit));
    const __m256i last = _mm256_set1_epi32(static_cast<int>((limit - 1) ^ highest_bit));
    const std::uint64_t whole = count - count % 8;
    for (std::uint64_t i = 0; i < whole;) {
        __m256i found = _mm256_setzero_si256();
        for (const std::uint64_t end = std::min(i + block, whole); i < end; i += 8) {
            const __m256i bits = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(indices + i));
            found = _mm256_or_si256(found, _mm256_cmpgt_epi32(_mm256_xor_si256(bits, turn), last));
        }
        if (_mm256_movemask_epi8(found) != 0) return false;
    }
    return below_plain(indices + whole, count - whole, limit);
}

QEL_TARGET_AVX2 std::uint64_t sum_avx2(const std::uint32_t *counts, std::uint64_t count) {
    const __m256i zero = _mm256_setzero_si256();
    const std::uint64_t whole = count - count % 8;
    __m256i any = zero, sum = zero;
    for (std::uint64_t i = 0; i < whole; i += 8) {
        const __m256i bits = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(counts + i));
        any = _mm256_or_si256(any, bits);
        sum = _mm256_add_epi64(sum, _mm256_unpacklo_epi32(bits, zero));
        sum = _mm256_add_epi64(sum, _mm256_unpackhi_epi32(bits, zero));
    }
    std::uint64_t sums[4];
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(sums), sum);
    const bool any_negative = _mm256_movemask_ps(_mm256_castsi256_ps(any)) != 0;
    return join_sums(sums[0] + sums[1] + sums[2] + sums[3], any_negative, counts + whole, count - whole);
}

#endif

bool choose_below(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    below_kernel *const form = below_forms.best(detect_instruction_set());
    below_choice.store(form, std::memory_order_relaxed);
    return form(indices, count, limit);
}

std::uint64_t choose_sum(const std::uint32_t *counts, std::uint64_t count) {
    sum_kernel *const form = sum_forms.best(detect_instruction_set());
    sum_choice.store(form, std::memory_order_relaxed);
    return form(counts, count);
}

} // namespace

#if QEL_AVX2_KERNELS
constexpr kernel_forms<below_kernel> below_forms = {below_plain, below_sse2, below_avx2, nullptr};
constexpr kernel_forms<sum_kernel> sum_forms = {sum_plain, sum_sse2, sum_avx2, nullptr};
#elif QEL_SSE2_KERNELS
constexpr kernel_forms<below_kernel> below_forms = {below_plain, below_sse2, nullptr, nullptr};
constexpr kernel_forms<sum_kernel> sum_forms = {sum_plain, sum_sse2, nullptr, nullptr};
#else
constexpr kernel_forms<below_kernel> below_forms = {below_plain, nullptr, nullptr, nullptr};
constexpr kernel_forms<sum_kernel> sum_forms = {sum_plain, nullptr, nullptr, nullptr};
#endif

std::atomic<below_kernel *> below_choice{choose_below};
std::atomic<sum_kernel *> sum_choice{choose_sum};

bool all_below(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    return below_choice.load(std::memory_order_relaxed)(indices, count, limit);
}

std::uint64_t sum_counts(const std::uint32_t *counts, std::uint64_t count) {
    return sum_choice.load(std::memory_order_relaxed)(counts, count);
}

} // namespace qel::archives
