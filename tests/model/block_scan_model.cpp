// SPDX-License-Identifier: MIT
#include "model/block_scan_model.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace qel::model {

namespace {

std::uint64_t length_of(std::FILE *file) {
    std::fseek(file, 0, SEEK_END);
    return static_cast<std::uint64_t>(std::ftell(file));
}

void go_to(std::FILE *file, std::uint64_t position) {
    std::fseek(file, static_cast<long>(position), SEEK_SET);
}

bool within(const float *values, int count, float reach) {
    for (int i = 0; i < count; ++i) {
        if (std::isnan(values[i]) || std::isinf(values[i])) return false;
        if (values[i] < -reach || values[i] > reach) return false;
    }
    return true;
}

bool passes(std::FILE *file, std::uint64_t p, std::uint64_t size, scanned_values kind) {
    const bool uvs = kind == scanned_values::uvs;
    const std::uint64_t least = uvs ? 16 : 36, multiple = uvs ? 8 : 12;
    const int tested = uvs ? 4 : 6;
    if (size < least || size > 5000000 || size % multiple != 0) return false;
    float values[6];
    go_to(file, p + 8);
    if (std::fread(values, sizeof(float), static_cast<std::size_t>(tested), file) !=
        static_cast<std::size_t>(tested))
        return false;
    return within(values, tested, uvs ? 10.0f : 1.1f);
}

/// The UV block as the search of the whole file in chunks finds it.
scanned_block search_uv_block(std::FILE *file) {
    scanned_block positions{0, 0}, uvs{0, 0};
    const std::uint64_t length = length_of(file);
    std::uint64_t root;
    go_to(file, 8);
    if (std::fread(&root, 8, 1, file) != 1) return uvs;
    if (length - 16 <= 16) return uvs;
    for (std::uint64_t p = 16; p < length - 16;) {
        unsigned char chunk[4096];
        go_to(file, p);
        const std::size_t n = std::fread(chunk, 1, sizeof chunk, file);
        if (n <= 16) break; // of exactly 16 bytes nothing is searched, and the next step would not advance
        for (std::size_t k = 0; k + 20 <= n; k += 4) {
            std::uint64_t size;
            float f[3];
            std::memcpy(&size, chunk + k, 8);
            std::memcpy(f, chunk + k + 8, 12);
            if (size < 12 || size > 10000000 || size % 4 != 0 || !std::isfinite(f[0])) continue;
            if (!within(f, 3, 50000.0f) || size < 1001) continue;
            const std::uint64_t at = p + k + 8;
            if (size % 12 == 0 && size > positions.size && std::fabs(f[0]) < 10000.0f) positions = {at, size};
            if (size % 8 == 0 && within(f, 2, 10.0f) && at != positions.at && size > uvs.size)
                uvs = {at, size};
        }
        p += n - 16;
    }
    return uvs;
}

floats_read read_floats(std::FILE *file, const scanned_block &block, std::uint32_t record) {
    floats_read result{-1, false, 0, {}};
    if (block.size == 0) return result;
    result.block_known = true;
    result.count = static_cast<std::uint32_t>(block.size / record);
    std::vector<float> values(std::size_t{result.count} * record / 4);
    go_to(file, block.at);
    if (std::fread(values.data(), record, result.count, file) != result.count) return result;
    result.status = 0;
    result.values = values;
    return result;
}

} // namespace

std::vector<scanned_block> scan_for_blocks(std::FILE *file, scanned_values kind, std::size_t most) {
    std::vector<scanned_block> blocks;
    const std::uint64_t limit = length_of(file) - 24;
    if (limit <= 16) return blocks;
    for (std::uint64_t p = 16; p < limit && blocks.size() < most; p += 4) {
        std::uint64_t size;
        go_to(file, p);
        if (std::fread(&size, 8, 1, file) != 1) break;
        if (passes(file, p, size, kind)) blocks.push_back({p + 8, size});
    }
    return blocks;
}

scanned_block scan_for_longest_block(std::FILE *file, scanned_values kind) {
    scanned_block best{0, 0};
    for (const scanned_block &block : scan_for_blocks(file, kind, std::numeric_limits<std::size_t>::max()))
        if (block.size > best.size) best = block;
    return best;
}

floats_read read_normals_plainly(std::FILE *file) {
    return read_floats(file, scan_for_longest_block(file, scanned_values::unit_vectors), 12);
}

floats_read read_uvs_plainly(std::FILE *file) {
    scanned_block block = search_uv_block(file);
    if (block.size == 0) block = scan_for_longest_block(file, scanned_values::uvs);
    return read_floats(file, block, 8);
}

tangents_read read_tangents_plainly(std::FILE *file) {
    tangents_read result{-1, 0, 0, {}, {}};
    const std::vector<scanned_block> blocks = scan_for_blocks(file, scanned_values::unit_vectors, 32);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        for (std::size_t j = i + 1; j < blocks.size(); ++j) {
            if (blocks[j].size != blocks[i].size) continue;
            result.status = 0;
            result.count = static_cast<std::uint32_t>(blocks[i].size / 12);
            result.components = 3;
            result.tangents.resize(std::size_t{result.count} * 3);
            result.bitangents.resize(std::size_t{result.count} * 3);
            go_to(file, blocks[i].at);
            (void)!std::fread(result.tangents.data(), 12, result.count, file);
            go_to(file, blocks[j].at);
            (void)!std::fread(result.bitangents.data(), 12, result.count, file);
            return result;
        }
    return result;
}

} // namespace qel::model
