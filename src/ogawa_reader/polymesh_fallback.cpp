// SPDX-License-Identifier: MIT
#include "common/byte_window.h"
#include "common/bytes.h"
#include "common/file.h"
#include "common/heap.h"
#include "ogawa_reader/polymesh.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qel {

namespace {

constexpr std::uint64_t header_bytes = 16;
constexpr std::size_t digest_bytes = 16;
constexpr std::size_t triple_bytes = 3 * sizeof(float);

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

/// The triples that a block at `bytes` would hold, 0 when it is none of normals.
std::uint32_t normals_at(const std::uint8_t *bytes) {
    const std::uint64_t size = load<std::uint64_t>(bytes);
    if (size < smallest_normals_size || size > largest_normals_size) return 0;
    if ((size - digest_bytes) % triple_bytes != 0) return 0;
    float sample[6];
    std::memcpy(sample, bytes + normals_head, sizeof sample);
    if (!like_unit_vector(sample) || !like_unit_vector(sample + 3)) return 0;
    return static_cast<std::uint32_t>((size - digest_bytes) / triple_bytes);
}

/// The longest block of normals, the first of equal ones; count 0 when there is none.
triple_block find_normals(std::FILE *stream) {
    byte_window window(stream);
    triple_block best = {0, 0};
    // A file shorter than the margin is searched whole; its end comes before a block's sample does.
    const std::uint64_t length = window.length();
    const std::uint64_t end = length < bytes_after_start ? length : length - bytes_after_start;
    std::uint64_t at = header_bytes;
    while (at < end) {
        const byte_view view = window.at(at, normals_sample);
        if (view.size < normals_sample) break;
        const std::size_t stop =
            static_cast<std::size_t>(std::min<std::uint64_t>(view.size - normals_sample + 1, end - at));
        std::size_t i = 0;
        while (i < stop) {
            // A size below 2^24 has zeros in its five high bytes: where its highest byte is none, no size
            // word stands here nor at the next four offsets.
            if (view.data[i + 7] != 0) {
                i += 5;
                continue;
            }
            const std::uint32_t count = normals_at(view.data + i);
            if (count > best.count) best = {at + i + normals_head, count};
            ++i;
        }
        at += i;
    }
    return best;
}

void read_normals(std::FILE *stream, ogawa_polymesh *mesh) {
    const triple_block found = find_normals(stream);
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

/// Keeps the longer run, the first of equal ones.
void offer(word_run &best, const word_run &run) {
    const std::uint64_t length = std::min(run.length, longest_run);
    if (length >= shortest_run && length > best.length) best = {run.at, length};
}

/// The longest run of words below `vertex_count` or equal to 3 or 4 (face sizes may be mixed in), the first
/// of them below `vertex_count`; length 0 when none is long enough. A run that starts inside another ends
/// where that one ends and is never longer, so one pass sees all that count.
word_run find_run(std::FILE *stream, std::uint32_t vertex_count) {
    byte_window window(stream);
    word_run best = {0, 0};
    word_run run = {0, 0};
    std::uint64_t at = header_bytes;
    for (;;) {
        const byte_view view = window.at(at, sizeof(std::uint32_t));
        if (view.size < sizeof(std::uint32_t)) break;
        std::size_t i = 0;
        for (; i + sizeof(std::uint32_t) <= view.size; i += sizeof(std::uint32_t)) {
            const std::uint32_t word = load<std::uint32_t>(view.data + i);
            if (word < vertex_count) {
                if (run.length++ == 0) run.at = at + i;
            } else if (run.length != 0) {
                if (word == 3 || word == 4) {
                    ++run.length;
                } else {
                    offer(best, run);
                    run.length = 0;
                }
            }
        }
        at += i;
    }
    offer(best, run);
    return best;
}

/// Everything is read as triangles: one or two indices beyond a multiple of three stay unused.
void read_topology(std::FILE *stream, ogawa_polymesh *mesh) {
    const word_run found = find_run(stream, mesh->vertex_count);
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

} // namespace

position_scan_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh) {
    const position_scan_status status = ogawa_scan_positions(archive, &mesh->positions, &mesh->vertex_count);
    if (status != positions_found) return status;
    read_normals(archive->file, mesh);
    read_topology(archive->file, mesh);
    return status;
}

} // namespace qel
