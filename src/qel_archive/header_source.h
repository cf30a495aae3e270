// SPDX-License-Identifier: MIT
// Reads the structure of an archive, and knows how much of it was read.
#pragma once

#include "common/arena.h"
#include "common/read_ahead.h"
#include "qel_archive/container.h"
#include "qel_archive/headers.h"

#include <cstdint>

namespace qel::archives {

/// The references of a group, in memory.
struct reference_array {
    std::uint64_t *references;
    std::uint64_t count;
};

/// The groups and header data of a file.
///
/// They stand apart from each other, so reading more of them than the file has bytes means that something is read
/// twice: `exceeded` then says so, and the answer is DAMAGED.
class header_source {
  public:
    header_source(const random_access_file &file, std::uint64_t allowed) : ahead_(file), left_(allowed) {}

    bool ready() const { return ahead_.ready(); }
    bool exceeded() const { return exceeded_; }
    std::uint64_t file_size() const { return ahead_.size(); }

    /// Reads the references of a group, at most `max_count`; with more the archive is DAMAGED.
    status read_group(std::uint64_t reference, std::uint64_t max_count, arena &memory,
                      reference_array &group);

    /// Reads data, with room for one byte more.
    status read_data(std::uint64_t reference, arena &memory, header_bytes &data);

    /// Reads bytes that were found.
    status read_bytes(const extent &place, arena &memory, header_bytes &data);

    status find_group(std::uint64_t reference, reference_list &group) {
        return archives::find_group(ahead_, reference, group);
    }
    read_ahead &file() { return ahead_; }

  private:
    bool spend(std::uint64_t bytes);

    read_ahead ahead_;
    std::uint64_t left_;
    bool exceeded_ = false;
};

} // namespace qel::archives
