// SPDX-License-Identifier: MIT
// Searches through an archive's bytes for the size words of mesh arrays.
#pragma once

#include "qel_unit.h"

#include <cstddef>
#include <cstdint>

namespace qel {

enum position_scan_status : int { positions_found = 0, no_positions = -1, no_position_memory = -2 };

/// Reads the largest array of float triples whose size word stands before offset 2048. The archive is open.
///
/// positions_found: `*positions` holds `*count` triples for the caller to free, in range all of them.
/// no_positions: nothing was found and the outputs are untouched, or nothing could be read or kept; then
/// `*count` is 0 and `*positions` is the caller's to free. no_position_memory: `*count` is what was found.
position_scan_status ogawa_scan_positions(const ogawa_archive *archive, float **positions,
                                          std::uint32_t *count);

/// Where arrays of a mesh stand; all zero where none was found.
struct ogawa_mesh_locations {
    struct block {
        std::uint64_t at;   // absolute position of the first payload byte
        std::uint64_t size; // bytes, as the size word claims
    };
    block positions;
    block uvs;
    block normals; // never found: their readers search in their own way
    block face_counts;
    block reserved; // never found
};

inline constexpr std::size_t candidate_bytes = 20; // a size word and three more of the payload

/// Keeps the block of a size word where it is the largest of a kind that it may be. `bytes` are the size word and three
/// payload words, the first of them at `at`.
void weigh_candidate(const std::uint8_t *bytes, std::uint64_t at, ogawa_mesh_locations *best);

/// Searches the whole file, at every fourth byte from 16 on, for the largest block of each kind; of equal
/// ones the first wins. The archive is open. A file without a whole root reference leaves `locations`
/// untouched.
void ogawa_find_mesh_data(const ogawa_archive *archive, ogawa_mesh_locations *locations);

} // namespace qel
