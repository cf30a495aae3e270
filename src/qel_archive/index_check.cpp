// SPDX-License-Identifier: MIT
// Each form of all_below checks whole blocks without branching and stops after the first block that fails. SSE2
// compares signed numbers only: with the highest bit of both operands inverted, they compare as unsigned numbers.
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

/// Adds the counts after the last whole vector to the sum of the vectors.
std::uint64_t join_sums(std::uint64_t sum, bool any_negative, const std::uint32_t *rest, std::uint64_t count) {
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

/// How many of `count` numbers precede the first address that is a multiple of 32. A vector at such an address lies in
/// one cache line; unaligned vectors take 1.5 times as long. Heap arrays are aligned to 16 bytes only.
std::uint64_t count_before_alignment(const std::uint32_t *numbers, std::uint64_t count) {
    const auto past = reinterpret_cast<std::uintptr_t>(numbers) % 32;
    return std::min<std::uint64_t>(count, (32 - past) % 32 / sizeof *numbers);
}

QEL_TARGET_AVX2 __m256i load_8(const std::uint32_t *numbers) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(numbers));
}

/// Keeps four maxima, so that an instruction does not wait for the previous one.
QEL_TARGET_AVX2 bool below_avx2(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    const std::uint64_t before = count_before_alignment(indices, count);
    if (!below_plain(indices, before, limit)) return false;
    indices += before;
    count -= before;
    const __m256i limits = _mm256_set1_epi32(static_cast<int>(limit));
    const std::uint64_t whole = count - count % 32;
    for (std::uint64_t i = 0; i < whole;) {
        __m256i a = _mm256_setzero_si256(), b = a, c = a, d = a;
        for (const std::uint64_t end = std::min(i + block, whole); i < end; i += 32) {
            a = _mm256_max_epu32(a, load_8(indices + i));
            b = _mm256_max_epu32(b, load_8(indices + i + 8));
            c = _mm256_max_epu32(c, load_8(indices + i + 16));
            d = _mm256_max_epu32(d, load_8(indices + i + 24));
        }
        const __m256i largest = _mm256_max_epu32(_mm256_max_epu32(a, b), _mm256_max_epu32(c, d));
        const __m256i reached = _mm256_cmpeq_epi32(_mm256_max_epu32(largest, limits), largest);
        if (_mm256_movemask_epi8(reached) != 0) return false;
    }
    return below_plain(indices + whole, count - whole, limit);
}

/// A lane of 64 bits holds two counts. The sum of all lanes minus 2^32 x the sum of their upper counts is the sum of
/// their lower counts.
QEL_TARGET_AVX2 std::uint64_t sum_avx2(const std::uint32_t *counts, std::uint64_t count) {
    const std::uint64_t before = count_before_alignment(counts, count);
    const std::uint64_t sum_before = sum_plain(counts, before);
    if (sum_before == bad_sum) return bad_sum;
    counts += before;
    count -= before;
    const std::uint64_t whole = count - count % 16;
    __m256i any = _mm256_setzero_si256(), lanes = any, upper = any;
    for (std::uint64_t i = 0; i < whole; i += 16) {
        const __m256i first = load_8(counts + i), second = load_8(counts + i + 8);
        any = _mm256_or_si256(any, _mm256_or_si256(first, second));
        lanes = _mm256_add_epi64(lanes, _mm256_add_epi64(first, second));
        upper = _mm256_add_epi64(upper, _mm256_srli_epi64(first, 32));
        upper = _mm256_add_epi64(upper, _mm256_srli_epi64(second, 32));
    }
    const __m256i lower = _mm256_sub_epi64(lanes, _mm256_slli_epi64(upper, 32));
    std::uint64_t sums[4];
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(sums), _mm256_add_epi64(lower, upper));
    const bool any_negative = _mm256_movemask_ps(_mm256_castsi256_ps(any)) != 0;
    const std::uint64_t sum = sum_before + sums[0] + sums[1] + sums[2] + sums[3];
    return join_sums(sum, any_negative, counts + whole, count - whole);
}

#endif

} // namespace

dispatched<below_function> below_kernel(below_plain, QEL_SSE2_FORM(below_sse2), QEL_AVX2_FORM(below_avx2), nullptr);
dispatched<sum_function> sum_kernel(sum_plain, QEL_SSE2_FORM(sum_sse2), QEL_AVX2_FORM(sum_avx2), nullptr);

bool all_below(const std::uint32_t *indices, std::uint64_t count, std::uint32_t limit) {
    return below_kernel(indices, count, limit);
}

std::uint64_t sum_counts(const std::uint32_t *counts, std::uint64_t count) {
    return sum_kernel(counts, count);
}

} // namespace qel::archives
