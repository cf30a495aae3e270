// SPDX-License-Identifier: MIT
// The search for face indices: the longest run of words that could all be vertex numbers of triangles.
#pragma once

#include "common/byte_window.h"
#include "ogawa_reader/container/container.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// Finds the longest run of words below `vertex_count` or equal to 3 or 4 (face sizes may be among them) whose first
/// word is below `vertex_count`, in a stream that is passed piece by piece; of equal runs the first. A run that starts
/// inside another ends with it and is never longer, so one pass suffices.
class index_search {
  public:
    explicit index_search(std::uint32_t vertex_count) : vertex_count_(vertex_count) {}

    /// Tests every whole word from `at` (a multiple of 4) on that was not tested before.
    void look(std::uint64_t at, const byte_view &view);

    /// Ends the search; size 0 if no run is long enough.
    const ogawa::extent &finish();

  private:
    std::size_t take_many(std::uint64_t at, std::uint32_t marks);
    void take(std::uint64_t at, std::uint32_t word);
    void end_run();

    std::uint32_t vertex_count_;
    std::uint64_t next_ = 0;   // the first offset not tested yet
    std::uint64_t start_ = 0;  // of the present run
    std::uint64_t length_ = 0; // words of the present run, 0 outside of any run
    ogawa::extent best_ = {0, 0};
};

} // namespace qel
