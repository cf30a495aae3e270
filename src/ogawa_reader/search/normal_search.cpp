// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/normal_search.h"

#include "common/bits.h"
#include "common/bytes.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qel {
namespace {

constexpr std::uint64_t min_normals_size = 10'001;
constexpr std::uint64_t max_normals_size = 1'999'999;
constexpr std::uint64_t end_margin = 100; // no size word is tested in the last bytes of the file
constexpr std::size_t triples_at = sizeof(std::uint64_t) + ogawa::digest_size;

/// False also for a component that exceeds 1.1 in magnitude, is infinite or NaN.
bool like_unit_vector(const float *v) {
    const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return length > 0.95f && length < 1.05f;
}

/// Whether a block of `size` bytes whose size word is at `bytes` holds normals.
bool holds_normals(const std::uint8_t *bytes, std::uint64_t size) {
    if (size < min_normals_size || size > max_normals_size || (size - ogawa::digest_size) % ogawa::triple_size != 0)
        return false;
    float sample[6];
    std::memcpy(sample, bytes + triples_at, sizeof sample);
    return like_unit_vector(sample) && like_unit_vector(sample + 3);
}

constexpr std::size_t offsets_at_once = 57; // their size words span 64 bytes

/// Bit i is set if a size of normals may be at byte i: bytes 3 to 7 of the word are 0, and byte 1 or byte 2 is not.
std::uint64_t mark_sizes(const std::uint8_t *bytes) {
    std::uint64_t zeros = 0; // bit i is set if byte i is 0
#if defined(__SSE2__)
    const auto among_16 = [bytes](std::size_t i) {
        const __m128i some = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + i));
        const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(some, _mm_setzero_si128()));
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(equal)) << i;
    };
    zeros = among_16(0) | among_16(16) | among_16(32) | among_16(48);
#else
    for (std::size_t i = 0; i < 64; ++i)
        zeros |= std::uint64_t{bytes[i] == 0} << i;
#endif
    const std::uint64_t two = zeros & zeros >> 1, five = two & two >> 2 & zeros >> 4; // zeros from byte i on
    return five >> 3 & ~(two >> 1);
}

} // namespace

/// A file shorter than the margin has no margin: every offset whose sample it holds is tested.
normal_search::normal_search(std::uint64_t length) : end_(length < end_margin ? length : length - end_margin) {}

void normal_search::look(std::uint64_t at, const byte_view &view) {
    if (view.size < normals_sample_size || at >= end_) return;
    const auto stop = static_cast<std::size_t>(std::min<std::uint64_t>(view.size - normals_sample_size + 1, end_ - at));
    std::size_t i = next_ > at ? static_cast<std::size_t>(next_ - at) : 0;
    for (; i + offsets_at_once <= stop; i += offsets_at_once) {
        for (std::uint64_t marks = mark_sizes(view.data + i); marks != 0; marks &= marks - 1) {
            const std::size_t offset = i + lowest_bit(marks);
            test(at + offset, view.data + offset);
        }
    }
    for (; i < stop; ++i)
        test(at + i, view.data + i);
    next_ = at + i;
}

void normal_search::test(std::uint64_t at, const std::uint8_t *bytes) {
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (holds_normals(bytes, size)) keep_larger(best_, {at + triples_at, size - ogawa::digest_size});
}

} // namespace qel
