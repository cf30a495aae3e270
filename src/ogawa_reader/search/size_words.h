// SPDX-License-Identifier: MIT
// Finds the possible size words in an archive's bytes, for all searches for arrays.
#pragma once

#include "common/bits.h"
#include "common/byte_window.h"
#include "common/bytes.h"
#include "ogawa_reader/container/container.h"

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qel {

inline constexpr std::size_t size_word_step = 4; // arrays are 4-byte aligned, not always 8
inline constexpr std::uint32_t steps_at_once = 16;

/// Every size that a search accepts is below it.
inline constexpr std::uint64_t size_word_end = std::uint64_t{1} << 24;

/// Bit i is set if a size word may be at step i: its bytes 3 to 6 are zero (the caller checks byte 7), and its lower
/// half is not 0. Values and indices rarely match. Reads 4 bytes past the last step.
inline std::uint32_t mark_size_words(const std::uint8_t *bytes) {
    std::uint32_t marks = 0;
#if defined(__SSE2__)
    const auto from = [bytes](std::size_t i) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + i)); };
    const __m128i zero = _mm_setzero_si128();
    const __m128i small[4] = {_mm_cmpeq_epi32(from(3), zero), _mm_cmpeq_epi32(from(19), zero),
                              _mm_cmpeq_epi32(from(35), zero), _mm_cmpeq_epi32(from(51), zero)};
    const __m128i any = _mm_or_si128(_mm_or_si128(small[0], small[1]), _mm_or_si128(small[2], small[3]));
    if (_mm_movemask_epi8(any) == 0) return 0; // nearly always
    for (std::uint32_t i = 0; i < 4; ++i) {
        const __m128i found = _mm_andnot_si128(_mm_cmpeq_epi32(from(i * sizeof zero), zero), small[i]);
        marks |= static_cast<std::uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(found))) << 4 * i;
    }
#else
    for (std::uint32_t i = 0; i < steps_at_once; ++i) {
        const auto word = load<std::uint64_t>(bytes + i * size_word_step);
        marks |= (word != 0 && word < size_word_end ? 1u : 0u) << i;
    }
#endif
    return marks;
}

/// Calls `look` with the offset of every size word among `count` steps, and of some other words, until it returns
/// false; returns false if it did. At least 8 bytes follow the start of the last step.
template <class Look>
bool look_at_size_words(const std::uint8_t *bytes, std::size_t count, Look look) {
    std::size_t i = 0;
    for (; count - i >= steps_at_once; i += steps_at_once) {
        for (std::uint32_t marks = mark_size_words(bytes + i * size_word_step); marks != 0; marks &= marks - 1)
            if (!look((i + lowest_bit(marks)) * size_word_step)) return false;
    }
    for (; i < count; ++i)
        if (!look(i * size_word_step)) return false;
    return true;
}

/// Calls `look(bytes, offset)` with every size word, and some other words, of a stream from its header's end on, in
/// file order, until it returns false. `wanted` bytes are readable from the word's first byte on; fewer near the
/// stream's end, but never fewer than `min_bytes` (at least 8).
template <class Look>
void for_each_size_word(byte_window &window, std::size_t min_bytes, std::size_t wanted, Look look) {
    for (std::uint64_t at = ogawa::header_size;;) {
        const byte_view view = window.at(at, wanted);
        const std::size_t held = view.size < wanted ? min_bytes : wanted;
        if (view.size < held) return;
        const std::size_t count = (view.size - held) / size_word_step + 1;
        const bool all = look_at_size_words(view.data, count,
                                            [&](std::size_t offset) { return look(view.data + offset, at + offset); });
        if (!all) return;
        at += count * size_word_step;
    }
}

} // namespace qel
