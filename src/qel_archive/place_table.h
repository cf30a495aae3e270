// SPDX-License-Identifier: MIT
// What was read at which place of the file, so that what stands there once is read once.
#pragma once

#include "common/heap.h"

#include <cstddef>
#include <cstdint>

namespace qel::archives {

/// Finds numbers by places. The hash begins with the table's own address, which no file knows.
class place_table {
  public:
    /// The number kept for a place; null when there is none.
    const std::uint64_t *find(std::uint64_t place) const;

    /// Keeps a number, not 0, for a place that has none; false when there is no memory.
    bool add(std::uint64_t place, std::uint64_t number);

  private:
    struct slot {
        std::uint64_t place;
        std::uint64_t number; // 0 in an empty slot
    };

    std::size_t first_slot(std::uint64_t place) const;
    bool grow();

    scratch<slot> slots_;
    std::size_t capacity_ = 0; // a power of two, or 0
    std::size_t count_ = 0;
};

/// What was read of an archive, by where it stands. Data of one place may be headers of objects to one group and headers
/// of properties to another.
struct shared_places {
    place_table objects, object_headers, compounds, property_headers, sources;
};

} // namespace qel::archives
