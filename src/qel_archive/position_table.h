// SPDX-License-Identifier: MIT
// The results of reads by position in the file, so that a shared group is read once.
#pragma once

#include "common/heap.h"

#include <cstddef>
#include <cstdint>

namespace qel::archives {

/// Maps positions to numbers. The hash depends on the table's address, so that no file can choose colliding positions.
class position_table {
  public:
    /// The number of a position; null if there is none.
    const std::uint64_t *find(std::uint64_t position) const;

    /// Adds a position that the table does not have, with a number above 0; false when there is no memory.
    bool add(std::uint64_t position, std::uint64_t number);

  private:
    struct slot {
        std::uint64_t position;
        std::uint64_t number; // 0 in an empty slot
    };

    std::size_t first_slot(std::uint64_t position) const;
    bool grow();

    scratch<slot> slots_;
    std::size_t capacity_ = 0; // a power of two, or 0
    std::size_t count_ = 0;
};

/// The results of reads by kind and position. One position may hold headers of objects for one group and headers of
/// properties for another.
struct shared_positions {
    position_table objects, object_headers, compounds, property_headers, sources;
};

} // namespace qel::archives
