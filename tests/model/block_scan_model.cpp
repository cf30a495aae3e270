// SPDX-License-Identifier: MIT
#include "model/block_scan_model.h"

#include "model/mesh_scan_model.h"
#include "support/stream_position.h"

#include <cmath>
#include <limits>

namespace qel::model {

namespace {

using test::length_of;
using test::seek_stream;

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
    seek_stream(file, p + 8);
    if (std::fread(values, sizeof(float), static_cast<std::size_t>(tested), file) != static_cast<std::size_t>(tested))
        return false;
    return within(values, tested, uvs ? 10.0f : 1.1f);
}

floats_read read_floats(std::FILE *file, const scanned_block &block, std::uint32_t record) {
    floats_read result{-1, false, 0, {}};
    if (block.size == 0) return result;
    result.block_known = true;
    result.count = static_cast<std::uint32_t>(block.size / record);
    std::vector<float> values(std::size_t{result.count} * record / 4);
    seek_stream(file, block.at);
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
        seek_stream(file, p);
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
    mesh_locations found = {};
    find_mesh_data(file, &found);
    scanned_block block{found.uvs_at, found.uvs_size};
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
            seek_stream(file, blocks[i].at);
            (void)!std::fread(result.tangents.data(), 12, result.count, file);
            seek_stream(file, blocks[j].at);
            (void)!std::fread(result.bitangents.data(), 12, result.count, file);
            return result;
        }
    return result;
}

} // namespace qel::model
