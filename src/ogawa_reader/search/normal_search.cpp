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
constexpr std::uint64_t min_bytes_behind_normals = 100; // of the file from a block's first byte on
constexpr std::size_t triples_at = sizeof(std::uint64_t) + ogawa::digest_size;

/// False as well where a component is beyond 1.1 in magnitude, infinite or no number.
bool like_unit_vector(const float *v) {
    const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return length > 0.95f && length < 1.05f;
}

/// Whether a block of `size` bytes whose size word is at `bytes` holds normals.
bool holds_normals(const std::uint8_t *bytes, std::uint64_t size) {
    if (size < min_normals_size || size > max_normals_size ||
        (size - ogawa::digest_size) % ogawa::triple_size != 0)
        return false;
    float sample[6];
    std::memcpy(sample, bytes + triples_at, sizeof sample);
    return like_unit_vector(sample) && like_unit_vector(sample + 3);
}

constexpr std::size_t offsets_at_once = 57; // whose size words take 64 bytes

/// Bit i says whether a size of normals may be at byte i: its five high bytes are 0 and the two below are not both.
std::uint64_t mark_sizes(const std::uint8_t *bytes) {
    std::uint64_t zeros = 0; // bit i says whether byte i is 0
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
    const std::uint64_t two = zeros & zeros >> 1,
                        five = two & two >> 2 & zeros >> 4; // so many from byte i on
    return five >> 3 & ~(two >> 1);
}

} // namespace

/// A file shorter than the margin has no margin: it ends before a block's sample does.
normal_search::normal_search(std::uint64_t length)
    : end_(length < min_bytes_behind_normals ? length : length - min_bytes_behind_normals) {}

void normal_search::look(std::uint64_t at, const byte_view &view) {
    if (view.size < normals_sample_size || at >= end_) return;
    const auto stop =
        static_cast<std::size_t>(std::min<std::uint64_t>(view.size - normals_sample_size + 1, end_ - at));
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
