// SPDX-License-Identifier: MIT
// Reads groups and headers of an archive and counts the bytes read.
#pragma once

#include "common/arena.h"
#include "common/read_ahead.h"
#include "qel_archive/container.h"
#include "qel_archive/headers.h"

#include <algorithm>
#include <cstdint>

namespace qel::archives {

/// The references of a group, in memory.
struct reference_array {
    std::uint64_t *references;
    std::uint64_t count;
};

/// The bytes that may be read of a file if each position is read once: overlapping groups are read more than once, but
/// at most four times the file's bytes.
constexpr std::uint64_t allowed_where_shared(std::uint64_t file_size) {
    return std::min<std::uint64_t>(file_size, UINT64_MAX / 4) * 4;
}

/// The groups and header data of a file.
///
/// If no reference is read twice, at most the file's bytes are read. A source reads at most `allowed` bytes; the read
/// that would exceed them, and every later one, is DAMAGED, and `exceeded` becomes true.
class header_source {
  public:
    header_source(const random_access_file &file, std::uint64_t allowed) : ahead_(file), left_(allowed) {}

    bool ready() const { return ahead_.ready(); }
    bool exceeded() const { return exceeded_; }
    std::uint64_t file_size() const { return ahead_.size(); }

    /// Reads the references of a group; DAMAGED if it has more than `max_count`.
    status read_group(std::uint64_t reference, std::uint64_t max_count, arena &memory, reference_array &group);

    /// Reads data into memory that has room for one byte more.
    status read_data(std::uint64_t reference, arena &memory, header_bytes &data);

    /// Reads bytes into memory that has room for one byte more.
    status read_bytes(const extent &stored, arena &memory, header_bytes &data);

    status find_group(std::uint64_t reference, reference_list &group) {
        return archives::find_group(ahead_, reference, group);
    }
    read_ahead &file() { return ahead_; }

  private:
    bool count_bytes(std::uint64_t bytes);

    read_ahead ahead_;
    std::uint64_t left_;
    bool exceeded_ = false;
};

} // namespace qel::archives
