// SPDX-License-Identifier: MIT
// The outward search offers the start in pass 0, and in each later pass one token of each side. Of equal distances the
// lower pass comes first; within a pass, the left side.
#include "qel_unit/nearest_merge.h"

#include <algorithm>

#if QEL_AVX2_KERNELS
#include <immintrin.h>
#endif

namespace qel {
namespace {

/// One side of the start: its tokens in the order of the outward search.
struct side {
    const qel_token *tokens;
    std::uint32_t first;
    std::uint32_t step; // 1, or 2^32 - 1, which is -1 modulo 2^32
    std::uint32_t count;

    std::uint32_t number(std::uint32_t i) const { return first + step * i; }
    std::uint64_t key(std::uint32_t i) const { return tokens[number(i)].morton; }
};

/// Both sides. The start is the first token of its side; the pass numbers of the other side begin at 1.
struct both_sides {
    explicit both_sides(const nearest_query &query)
        : starts_left(query.tokens[query.start].morton < query.target ? 1 : 0),
          starts_right(1 - starts_left), left{query.tokens, query.start + starts_left - 1, ~0u,
                                              query.start + starts_left},
          right{query.tokens, left.count, 1, query.count - left.count} {}

    std::uint32_t starts_left, starts_right; // one of them is 1, the other one 0
    side left, right;
};

constexpr std::uint64_t max_hops = std::uint64_t{1} << 32; // its square is 0 (mod 2^64)

/// Whether the outward search stops on this side after `count` tokens, the last of them `last` hops away.
bool ends_after(const side &from, std::uint32_t count, std::uint64_t target, std::uint64_t last) {
    return count == from.count || difference(from.key(count), target) >= last * last;
}

/// Lists the distances of `wanted` tokens of a side. Past the end of the side it lists a distance larger than any
/// token's. False if a distance is below the one before it, or if the outward search may continue past these tokens.
bool list_hops(const side &from, std::uint64_t target, std::uint64_t *hops, std::uint32_t wanted) {
    const std::uint32_t count = std::min(wanted, from.count);
    std::uint64_t last = 0;
    bool grow = true;
    for (std::uint32_t i = 0; i < count; ++i) {
        hops[i] = hop_distance(from.key(i), target);
        grow &= hops[i] >= last;
        last = hops[i];
    }
    std::fill(hops + count, hops + wanted, 2 * max_hops);
    if (!grow || last >= max_hops) return false; // the outward search stops at a worst result of 2^32 hops
    return ends_after(from, count, target, last);
}

bool merge_plain(const nearest_query &query, std::uint32_t wanted, std::uint64_t *hops, std::uint32_t *numbers,
                 std::uint64_t *distances) {
    const both_sides sides(query);
    std::uint64_t *const left_hops = hops, *const right_hops = hops + wanted;
    if (!list_hops(sides.left, query.target, left_hops, wanted) ||
        !list_hops(sides.right, query.target, right_hops, wanted))
        return false;

    std::uint32_t l = 0;
    for (std::uint32_t i = 0; i < wanted; ++i) {
        const std::uint32_t r = i - l;
        const bool left_wins_ties = l + sides.starts_right <= r + sides.starts_left;
        const bool go_left = left_hops[l] < right_hops[r] + (left_wins_ties ? 1 : 0);
        numbers[i] = go_left ? sides.left.number(l) : sides.right.number(r);
        distances[i] = std::min(left_hops[l], right_hops[r]);
        l += go_left ? 1 : 0;
    }
    return true;
}

#if QEL_AVX2_KERNELS

// gcc 12 warns of the intrinsics without a mask. The mask 0xFF selects all lanes.
constexpr std::uint32_t token_lanes = 8;

constexpr __mmask8 first_tokens(std::uint32_t count) {
    return static_cast<__mmask8>((1u << count) - 1);
}

/// list_hops() for at most eight tokens, into a register.
QEL_TARGET_AVX512 bool list_hops_avx512(const side &from, std::uint64_t target, std::uint32_t wanted, __m512i *hops) {
    const std::uint32_t count = std::min(wanted, from.count);
    const __mmask8 met = first_tokens(count);
    constexpr long long size = sizeof(qel_token);
    const __m512i distances_in_bytes =
        from.step == 1 ? _mm512_setr_epi64(0, size, 2 * size, 3 * size, 4 * size, 5 * size, 6 * size, 7 * size)
                       : _mm512_setr_epi64(0, -size, -2 * size, -3 * size, -4 * size, -5 * size, -6 * size, -7 * size);
    const __m512i key = _mm512_set1_epi64(static_cast<long long>(target));
    const qel_token *const first = from.tokens + (count == 0 ? 0 : from.first); // an empty side has none
    const __m512i keys = _mm512_mask_i64gather_epi64(key, met, distances_in_bytes, first, 1);
    const __m512i differences =
        _mm512_sub_epi64(_mm512_maskz_max_epu64(0xFF, keys, key), _mm512_maskz_min_epu64(0xFF, keys, key));
    const __m256 roots = _mm256_sqrt_ps(_mm512_maskz_cvtepu64_ps(0xFF, differences));
    *hops = _mm512_mask_cvttps_epi64(_mm512_set1_epi64(2 * max_hops), met, roots);

    const __m512i to_the_next = _mm512_setr_epi64(0, 0, 1, 2, 3, 4, 5, 6);
    const __m512i before = _mm512_maskz_permutexvar_epi64(0xFF, to_the_next, *hops);
    const __mmask8 shrink = _mm512_cmplt_epu64_mask(*hops, before);
    const __mmask8 far = _mm512_mask_cmpge_epu64_mask(met, *hops, _mm512_set1_epi64(max_hops));
    if ((shrink | far) != 0) return false;
    return ends_after(from, count, target, count == 0 ? 0 : hop_distance(from.key(count - 1), target));
}

/// Sorts eight numbers that ascend and then descend, or descend and then ascend: the last steps of a bitonic sort.
QEL_TARGET_AVX512 __m512i sort_bitonic(__m512i v) {
    __m512i other = _mm512_maskz_permutexvar_epi64(0xFF, _mm512_setr_epi64(4, 5, 6, 7, 0, 1, 2, 3), v);
    v = _mm512_mask_max_epu64(_mm512_maskz_min_epu64(0xFF, v, other), 0xF0, v, other);
    other = _mm512_maskz_permutex_epi64(0xFF, v, 0x4E); // exchanges pairs
    v = _mm512_mask_max_epu64(_mm512_maskz_min_epu64(0xFF, v, other), 0xCC, v, other);
    other = _mm512_maskz_permutex_epi64(0xFF, v, 0xB1); // exchanges neighbours
    return _mm512_mask_max_epu64(_mm512_maskz_min_epu64(0xFF, v, other), 0xAA, v, other);
}

/// An offer in 64 bits: the distance, then its pass of the outward search, then a bit that is set on the right side.
/// The smaller number is the better offer, and no two are equal.
constexpr unsigned side_bits = 1, pass_bits = 4;

QEL_TARGET_AVX512 __m512i offers_of(__m512i hops, std::int64_t first_pass, std::int64_t side_bit) {
    const __m512i passes = _mm512_setr_epi64(0, 2, 4, 6, 8, 10, 12, 14);
    const __m512i tags = _mm512_add_epi64(passes, _mm512_set1_epi64(2 * first_pass + side_bit));
    return _mm512_add_epi64(_mm512_maskz_slli_epi64(0xFF, hops, pass_bits + side_bits), tags);
}

/// Writes the first lanes of the offers as token numbers and distances.
QEL_TARGET_AVX512 void write_results(const both_sides &sides, __m512i offers, __mmask8 wanted, std::uint32_t *numbers,
                                     std::uint64_t *distances) {
    const std::int64_t first_right = sides.left.count;
    const __m512i pass =
        _mm512_and_si512(_mm512_maskz_srli_epi64(0xFF, offers, side_bits), _mm512_set1_epi64((1 << pass_bits) - 1));
    const __mmask8 on_the_right = _mm512_test_epi64_mask(offers, _mm512_set1_epi64(1));
    const __m512i on_left = _mm512_sub_epi64(_mm512_set1_epi64(first_right - 1 + sides.starts_right), pass);
    const __m512i found =
        _mm512_mask_add_epi64(on_left, on_the_right, _mm512_set1_epi64(first_right - sides.starts_left), pass);
    _mm512_mask_cvtepi64_storeu_epi32(numbers, wanted, found);
    _mm512_mask_storeu_epi64(distances, wanted, _mm512_maskz_srli_epi64(0xFF, offers, pass_bits + side_bits));
}

/// For ascending lists a and b, the eight numbers min(a[i], b[7 - i]) are the eight smallest of both.
QEL_TARGET_AVX512 bool merge_avx512(const nearest_query &query, std::uint32_t wanted, std::uint64_t *hops,
                                    std::uint32_t *numbers, std::uint64_t *distances) {
    if (wanted > token_lanes) return merge_plain(query, wanted, hops, numbers, distances);
    const both_sides sides(query);
    __m512i left_hops, right_hops;
    if (!list_hops_avx512(sides.left, query.target, wanted, &left_hops) ||
        !list_hops_avx512(sides.right, query.target, wanted, &right_hops))
        return false;
    const __m512i left = offers_of(left_hops, sides.starts_right, 0);
    const __m512i right = offers_of(right_hops, sides.starts_left, 1);
    const __m512i backwards = _mm512_setr_epi64(7, 6, 5, 4, 3, 2, 1, 0);
    const __m512i right_backwards = _mm512_maskz_permutexvar_epi64(0xFF, backwards, right);
    const __m512i best = sort_bitonic(_mm512_maskz_min_epu64(0xFF, left, right_backwards));
    write_results(sides, best, first_tokens(wanted), numbers, distances);
    return true;
}

#endif

} // namespace

dispatched<merge_function> merge_kernel(merge_plain, nullptr, nullptr, QEL_AVX2_FORM(merge_avx512));

} // namespace qel
