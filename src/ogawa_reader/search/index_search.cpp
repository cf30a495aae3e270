// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/index_search.h"

#include "common/bits.h"
#include "common/bytes.h"

#include <algorithm>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qel {
namespace {

constexpr std::size_t word_size = sizeof(std::uint32_t);
constexpr std::uint64_t min_run = 6; // words
constexpr std::uint64_t max_run = 10'000'000;

/// Bit i is set if word i is below `end`, for 16 words.
std::uint32_t mark_below(const std::uint8_t *words, std::uint32_t end) {
    std::uint32_t marks = 0;
#if defined(__SSE2__)
    const __m128i sign = _mm_set1_epi32(std::numeric_limits<std::int32_t>::min()); // makes a signed comparison unsigned
    const __m128i ends = _mm_xor_si128(_mm_set1_epi32(static_cast<std::int32_t>(end)), sign);
    const auto below = [=](std::size_t i) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i *>(words + i * sizeof end));
        return _mm_cmplt_epi32(_mm_xor_si128(four, sign), ends);
    };
    const __m128i packed = _mm_packs_epi16(_mm_packs_epi32(below(0), below(4)), _mm_packs_epi32(below(8), below(12)));
    marks = static_cast<std::uint32_t>(_mm_movemask_epi8(packed));
#else
    for (std::uint32_t i = 0; i < 16; ++i)
        marks |= (load<std::uint32_t>(words + i * sizeof end) < end ? 1u : 0u) << i;
#endif
    return marks;
}

} // namespace

void index_search::look(std::uint64_t at, const byte_view &view) {
    constexpr std::size_t at_once = 16 * word_size;
    std::size_t i = next_ > at ? static_cast<std::size_t>(next_ - at) : 0;
    while (i + word_size <= view.size) {
        // With more than 4 vertices, 3 and 4 are below `vertex_count` and need no separate test.
        const bool many = i + at_once <= view.size && vertex_count_ > 4;
        std::size_t taken = 0;
        if (many) taken = take_many(at + i, mark_below(view.data + i, vertex_count_)) * word_size;
        const std::size_t end = i + (many ? at_once : word_size);
        for (i += taken; i < end; i += word_size)
            take(at + i, load<std::uint32_t>(view.data + i));
    }
    next_ = at + i;
}

const ogawa::extent &index_search::finish() {
    end_run();
    return best_;
}

/// Takes up to 16 words; bit i of `marks` is set if word i is below `vertex_count`. Returns how many were taken: all,
/// or if another run of `min_run` words begins among them, only those that continue the present run.
std::size_t index_search::take_many(std::uint64_t at, std::uint32_t marks) {
    std::uint32_t taken = 0;
    if (length_ != 0) {
        taken = lowest_bit(~marks);
        length_ += taken;
        if (taken == 16) return taken;
        end_run();
        marks = marks >> taken << taken;
    }
    const std::uint32_t two = marks & marks >> 1, six = two & two >> 2 & two >> 4; // in a row
    static_assert(min_run == 6);
    if (six != 0) return taken;
    for (; (marks & 0x8000) != 0; marks <<= 1)
        ++length_; // a run that the next words may continue
    start_ = at + (16 - length_) * word_size;
    return 16;
}

void index_search::take(std::uint64_t at, std::uint32_t word) {
    if (word < vertex_count_) {
        if (length_++ == 0) start_ = at;
    } else if (length_ != 0) {
        if (word == 3 || word == 4)
            ++length_;
        else
            end_run();
    }
}

/// Keeps the run if it is longer than the longest so far.
void index_search::end_run() {
    const std::uint64_t length = std::min(length_, max_run);
    if (length >= min_run) keep_larger(best_, {start_, length * word_size});
    length_ = 0;
}

} // namespace qel
