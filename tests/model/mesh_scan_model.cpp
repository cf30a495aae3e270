// SPDX-License-Identifier: MIT
#include "model/mesh_scan_model.h"

#include "support/stream_position.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace qel::model {

namespace {

using test::length_of;
using test::seek_stream;

bool in_range(float v) {
    return !std::isnan(v) && !std::isinf(v) && std::fabs(v) <= 10000.0f;
}

bool plausible(float v) {
    return in_range(v) && std::fabs(v) >= 0.0001f;
}

/// One step of the positions scan; false ends the scan.
bool try_offset(std::FILE *stream, std::uint64_t o, std::uint64_t &best_at, std::uint32_t &best_count) {
    std::uint64_t size;
    seek_stream(stream, o);
    if (std::fread(&size, 1, 8, stream) != 8) return false;
    if (size < 12012 || size > 9999999) return true;
    float f[18];
    seek_stream(stream, o + 8);
    if (std::fread(f, 4, 18, stream) != 18) return true;

    int plausible_of_four = 0;
    for (int i = 0; i < 4; ++i)
        if (plausible(f[i])) ++plausible_of_four;
    bool next_six = true;
    for (int i = 4; i <= 9; ++i)
        if (!in_range(f[i])) next_six = false;
    std::uint64_t at, count;
    int first;
    if (plausible_of_four <= 1 && next_six && std::fabs(f[4]) + std::fabs(f[5]) + std::fabs(f[6]) > 1.0f &&
        std::fabs(f[7]) + std::fabs(f[8]) + std::fabs(f[9]) > 1.0f) {
        at = o + 24;
        count = (size - 16) / 12;
        first = 4;
    } else if (in_range(f[0]) && in_range(f[1]) && in_range(f[2])) {
        at = o + 8;
        count = size / 12;
        first = 0;
    } else {
        at = o + 20;
        count = size / 12 - 1;
        first = 3;
    }

    bool above = false;
    for (int i = first; i <= 15; ++i) {
        if (!in_range(f[i])) return true;
        if (std::fabs(f[i]) > 0.01f) above = true;
    }
    if (!above) return true;
    if (static_cast<std::uint32_t>(count) > best_count) {
        best_count = static_cast<std::uint32_t>(count);
        best_at = at;
    }
    return true;
}

void try_candidate(const unsigned char *bytes, std::uint64_t q, mesh_locations *out) {
    std::uint64_t size;
    float f[3];
    std::uint32_t w[3];
    std::memcpy(&size, bytes, 8);
    std::memcpy(f, bytes + 8, 12);
    std::memcpy(w, bytes + 8, 12);
    if (size < 12 || size > 10000000 || size % 4 != 0) return;
    if (std::isnan(f[0]) || std::isinf(f[0])) return;
    const auto tame = [](float v) { return !std::isnan(v) && !std::isinf(v) && std::fabs(v) <= 50000.0f; };
    if (std::fabs(f[0]) <= 50000.0f && tame(f[1]) && tame(f[2]) && size >= 1001) {
        if (size % 12 == 0 && size > out->positions_size && std::fabs(f[0]) < 10000.0f) {
            out->positions_at = q + 8;
            out->positions_size = size;
        }
        if (size % 8 == 0 && f[0] >= -10.0f && f[0] <= 10.0f && f[1] >= -10.0f && f[1] <= 10.0f &&
            q + 8 != out->positions_at && size > out->uvs_size) {
            out->uvs_at = q + 8;
            out->uvs_size = size;
        }
    }
    bool counts = true;
    for (int i = 0; i < 3; ++i)
        if (w[i] < 3 || w[i] > 100) counts = false;
    if (counts && size > out->face_counts_size && size <= 999999) {
        out->face_counts_at = q + 8;
        out->face_counts_size = size;
    }
}

} // namespace

int scan_positions(std::FILE *stream, float **positions, std::uint32_t *count) {
    const std::uint64_t length = length_of(stream);
    std::uint64_t best_at = 0;
    std::uint32_t best_count = 0;
    for (std::uint64_t o = 16; o < 2048 && o < length - 48; ++o)
        if (!try_offset(stream, o, best_at, best_count)) break;
    if (best_count < 100) return -1;

    seek_stream(stream, best_at);
    *count = best_count;
    *positions = static_cast<float *>(std::malloc(std::size_t{best_count} * 12));
    if (*positions == nullptr) return -2;
    const std::size_t read = std::fread(*positions, 12, best_count, stream);
    if (read == 0) {
        *count = 0;
        return -1;
    }
    std::uint32_t kept = 0;
    for (std::size_t i = 0; i < read; ++i) {
        const float *triple = *positions + i * 3;
        if (!in_range(triple[0]) || !in_range(triple[1]) || !in_range(triple[2])) continue;
        std::memmove(*positions + std::size_t{kept} * 3, triple, 12);
        ++kept;
    }
    *count = kept;
    return kept != 0 ? 0 : -1;
}

void find_mesh_data(std::FILE *stream, mesh_locations *out) {
    const std::uint64_t length = length_of(stream);
    std::uint64_t root;
    seek_stream(stream, 8);
    if (std::fread(&root, 1, 8, stream) != 8) return;
    *out = {};
    if (length - 16 <= 16) return;
    std::uint64_t p = 16;
    while (p < length - 16) {
        unsigned char chunk[4096];
        seek_stream(stream, p);
        const std::size_t n = std::fread(chunk, 1, sizeof chunk, stream);
        if (n < 16) break;
        if (n > 16) {
            for (std::size_t k = 0; k + 20 <= n; k += 4)
                try_candidate(chunk + k, p + k, out);
        }
        p += n - 16;
    }
}

} // namespace qel::model
