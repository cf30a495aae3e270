// SPDX-License-Identifier: MIT
// The block scan and its readers in their plainest form: a seek and a small read at every step.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace qel::model {

struct scanned_block {
    std::uint64_t at, size;
};

enum class scanned_values { unit_vectors, uvs };

/// Every block that passes, in file order, at most `most`.
std::vector<scanned_block> scan_for_blocks(std::FILE *file, scanned_values kind, std::size_t most);

/// The longest, of equals the first; 0/0 for none.
scanned_block scan_for_longest_block(std::FILE *file, scanned_values kind);

struct floats_read {
    std::int32_t status;
    bool block_known;          // something was found, whether or not it could be read
    std::uint32_t count;       // records sought
    std::vector<float> values; // on success
};

floats_read read_normals_plainly(std::FILE *file);
floats_read read_uvs_plainly(std::FILE *file);

struct tangents_read {
    std::int32_t status;
    std::uint32_t count, components;
    std::vector<float> tangents, bitangents;
};

tangents_read read_tangents_plainly(std::FILE *file);

} // namespace qel::model
