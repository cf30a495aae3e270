// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh/polymesh_fallback.h"
#include "common/bits.h"
#include "common/byte_window.h"
#include "common/bytes.h"
#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/container/array_layout.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qel {

namespace {

// Normals: a size word, a digest and two triples of length one.

constexpr std::uint64_t smallest_normals_size = 10'001;
constexpr std::uint64_t largest_normals_size = 1'999'999;
constexpr std::uint64_t bytes_after_start = 100; // a block that starts nearer to the file's end is not seen
constexpr std::uint32_t most_too_few_normals = 99;
constexpr std::size_t normals_head = sizeof(std::uint64_t) + digest_bytes;
constexpr std::size_t normals_sample = normals_head + 2 * triple_bytes;

struct triple_block {
    std::uint64_t at;
    std::uint32_t count;
};

/// Then no component is beyond 1.1 in magnitude, nor is any NaN or infinite.
bool like_unit_vector(const float *v) {
    const float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return length > 0.95f && length < 1.05f;
}

/// The triples that a block of `size` bytes would hold whose size word is at `bytes`, 0 when it is none of normals.
std::uint32_t normals_at(const std::uint8_t *bytes, std::uint64_t size) {
    if ((size - digest_bytes) % triple_bytes != 0) return 0;
    float sample[6];
    std::memcpy(sample, bytes + normals_head, sizeof sample);
    if (!like_unit_vector(sample) || !like_unit_vector(sample + 3)) return 0;
    return static_cast<std::uint32_t>((size - digest_bytes) / triple_bytes);
}

constexpr std::size_t offsets_at_once = 57; // whose size words lie in 64 bytes

/// Bit i says whether a size of normals may stand at byte i: its five high bytes are 0 and the two below are not both.
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

/// Finds the longest block of normals, the first of equal ones, in bytes that it is shown piece by piece.
class normals_search {
  public:
    /// Of a stream of `length` bytes. One shorter than the margin is searched whole; its end comes before a block's
    /// sample does.
    explicit normals_search(std::uint64_t length)
        : end_(length < bytes_after_start ? length : length - bytes_after_start) {}

    /// Looks at every offset from `at` on that has not been looked at and has its sample in the view.
    void look(std::uint64_t at, const byte_view &view) {
        if (view.size < normals_sample || at >= end_) return;
        const auto stop =
            static_cast<std::size_t>(std::min<std::uint64_t>(view.size - normals_sample + 1, end_ - at));
        std::size_t i = next_ > at ? static_cast<std::size_t>(next_ - at) : 0;
        for (; i + offsets_at_once <= stop; i += offsets_at_once) {
            for (std::uint64_t marks = mark_sizes(view.data + i); marks != 0; marks &= marks - 1)
                offer(at, view.data, i + lowest_bit(marks));
        }
        for (; i < stop; ++i)
            offer(at, view.data, i);
        next_ = at + i;
    }

    /// Count 0 when there is none.
    const triple_block &best() const { return best_; }

  private:
    void offer(std::uint64_t at, const std::uint8_t *bytes, std::size_t offset) {
        const std::uint64_t size = load<std::uint64_t>(bytes + offset);
        if (size < smallest_normals_size || size > largest_normals_size) return;
        const std::uint32_t count = normals_at(bytes + offset, size);
        if (count > best_.count) best_ = {at + offset + normals_head, count};
    }

    std::uint64_t end_;
    std::uint64_t next_ = 0; // the first offset that has not been looked at
    triple_block best_ = {0, 0};
};

void read_normals(std::FILE *stream, const triple_block &found, ogawa_polymesh *mesh) {
    if (found.count <= most_too_few_normals) return;
    mesh->normal_count = found.count;
    mesh->normals = heap_array<float>(std::uint64_t{found.count} * 3);
    if (mesh->normals == nullptr) return;
    const std::size_t bytes = found.count * triple_bytes;
    if (read_at(stream, found.at, mesh->normals, bytes) == bytes)
        mesh->normal_scope = OGAWA_SCOPE_FACE_VARYING;
    else
        release(mesh->normals); // the count stays
}

// Topology: the longest run of words that could all be vertex numbers of triangles.

constexpr std::uint64_t shortest_run = 6;
constexpr std::uint64_t longest_run = 10'000'000;

struct word_run {
    std::uint64_t at;
    std::uint64_t length;
};

/// Bit i says of word i whether it is below `end`.
std::uint32_t mark_below(const std::uint8_t *words, std::uint32_t end) {
    std::uint32_t marks = 0;
#if defined(__SSE2__)
    const __m128i sign =
        _mm_set1_epi32(std::numeric_limits<std::int32_t>::min()); // makes a signed comparison unsigned
    const __m128i ends = _mm_xor_si128(_mm_set1_epi32(static_cast<std::int32_t>(end)), sign);
    const auto below = [=](std::size_t i) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i *>(words + i * sizeof end));
        return _mm_cmplt_epi32(_mm_xor_si128(four, sign), ends);
    };
    const __m128i packed =
        _mm_packs_epi16(_mm_packs_epi32(below(0), below(4)), _mm_packs_epi32(below(8), below(12)));
    marks = static_cast<std::uint32_t>(_mm_movemask_epi8(packed));
#else
    for (std::uint32_t i = 0; i < 16; ++i)
        marks |= (load<std::uint32_t>(words + i * sizeof end) < end ? 1u : 0u) << i;
#endif
    return marks;
}

/// Finds the longest run of words below `vertex_count` or equal to 3 or 4 (face sizes may be mixed in), the first of
/// them below `vertex_count`, in bytes that it is shown piece by piece. A run that starts inside another ends where
/// that one ends and is never longer, so one pass sees all that count.
class run_search {
  public:
    explicit run_search(std::uint32_t vertex_count) : vertex_count_(vertex_count) {}

    /// Looks at every whole word from `at` (a multiple of 4) on that has not been looked at.
    void look(std::uint64_t at, const byte_view &view) {
        constexpr std::size_t word_bytes = sizeof(std::uint32_t), at_once = 16 * word_bytes;
        std::size_t i = next_ > at ? static_cast<std::size_t>(next_ - at) : 0;
        while (i + word_bytes <= view.size) {
            // Face sizes among the vertex numbers need no question of their own.
            const bool many = i + at_once <= view.size && vertex_count_ > 4;
            std::size_t taken = 0;
            if (many) taken = take_many(at + i, mark_below(view.data + i, vertex_count_)) * word_bytes;
            const std::size_t end = i + (many ? at_once : word_bytes);
            for (i += taken; i < end; i += word_bytes)
                take(at + i, load<std::uint32_t>(view.data + i));
        }
        next_ = at + i;
    }

    /// Ends the search; length 0 when no run is long enough.
    const word_run &finish() {
        end_run();
        return best_;
    }

  private:
    /// Takes words of which `marks` says for each of 16 which are below `vertex_count`; returns how many. In most data
    /// they are none, all, or too few in a row to matter.
    std::size_t take_many(std::uint64_t at, std::uint32_t marks) {
        std::uint32_t taken = 0;
        if (length_ != 0) {
            taken = lowest_bit(~marks);
            length_ += taken;
            if (taken == 16) return taken;
            end_run();
            marks = marks >> taken << taken;
        }
        const std::uint32_t two = marks & marks >> 1, six = two & two >> 2 & two >> 4; // in a row
        static_assert(shortest_run == 6);
        if (six != 0) return taken;
        for (; (marks & 0x8000) != 0; marks <<= 1)
            ++length_; // of a run that may go on
        start_ = at + (16 - length_) * sizeof(std::uint32_t);
        return 16;
    }

    void take(std::uint64_t at, std::uint32_t word) {
        if (word < vertex_count_) {
            if (length_++ == 0) start_ = at;
        } else if (length_ != 0) {
            if (word == 3 || word == 4)
                ++length_;
            else
                end_run();
        }
    }

    /// Keeps the longer run, the first of equal ones.
    void end_run() {
        const std::uint64_t length = std::min(length_, longest_run);
        if (length >= shortest_run && length > best_.length) best_ = {start_, length};
        length_ = 0;
    }

    std::uint32_t vertex_count_;
    std::uint64_t next_ = 0;   // the first offset that has not been looked at
    std::uint64_t start_ = 0;  // of the run that goes on
    std::uint64_t length_ = 0; // its words so far, 0 outside of any run
    word_run best_ = {0, 0};
};

/// Everything is read as triangles: one or two indices beyond a multiple of three stay unused.
void read_topology(std::FILE *stream, const word_run &found, ogawa_polymesh *mesh) {
    if (found.length == 0) return;
    mesh->face_index_count = static_cast<std::uint32_t>(found.length);
    mesh->face_indices = heap_array<std::uint32_t>(found.length);
    if (mesh->face_indices == nullptr) return;
    const std::size_t wanted = static_cast<std::size_t>(found.length) * sizeof(std::uint32_t);
    const std::size_t held = read_at(stream, found.at, mesh->face_indices, wanted);
    std::memset(reinterpret_cast<std::uint8_t *>(mesh->face_indices) + held, 0, wanted - held);

    mesh->face_count = mesh->face_index_count / 3;
    mesh->face_counts = heap_array<std::uint32_t>(mesh->face_count);
    if (mesh->face_counts == nullptr) {
        release(mesh->face_indices);
        mesh->face_index_count = 0;
        return;
    }
    std::fill_n(mesh->face_counts, mesh->face_count, 3u);
}

struct byte_finds {
    triple_block normals;
    word_run topology;
};

/// Shows the whole stream to both searches in one pass.
byte_finds search(std::FILE *stream, std::uint32_t vertex_count) {
    constexpr std::size_t overlap = 48; // a sample that a piece cuts off is seen whole in the next
    static_assert(overlap + 1 >= normals_sample && overlap % sizeof(std::uint32_t) == 0);
    byte_window window(stream);
    normals_search normals(window.length());
    run_search topology(vertex_count);
    for (std::uint64_t at = header_bytes;;) {
        const byte_view view = window.at(at, overlap + sizeof(std::uint32_t));
        normals.look(at, view);
        topology.look(at, view);
        if (view.size < overlap + sizeof(std::uint32_t)) break;
        at += (view.size - overlap) / sizeof(std::uint32_t) * sizeof(std::uint32_t);
    }
    return {normals.best(), topology.finish()};
}

} // namespace

position_scan_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh) {
    const position_scan_status status = ogawa_scan_positions(archive, &mesh->positions, &mesh->vertex_count);
    if (status != positions_found) return status;
    const byte_finds found = search(archive->file, mesh->vertex_count);
    read_normals(archive->file, found.normals, mesh);
    read_topology(archive->file, found.topology, mesh);
    return status;
}

} // namespace qel
