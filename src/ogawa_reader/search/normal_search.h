// SPDX-License-Identifier: MIT
// The search for normals: a size word, a digest and two triples of length one.
#pragma once

#include "common/byte_window.h"
#include "ogawa_reader/container/container.h"

#include <cstddef>
#include <cstdint>

namespace qel {

/// The size of a size word, a digest and the two tested triples.
inline constexpr std::size_t normals_sample_size = sizeof(std::uint64_t) + ogawa::digest_size + 2 * ogawa::triple_size;

/// Finds the longest block of normals, the first of equal ones, in a stream that is passed piece by piece.
class normal_search {
  public:
    /// `length` is the stream's, in bytes.
    explicit normal_search(std::uint64_t length);

    /// Tests every offset from `at` on that was not tested before and whose sample is in the view.
    void look(std::uint64_t at, const byte_view &view);

    /// The normals of the block, without the digest; size 0 if there is none.
    const ogawa::extent &best() const { return best_; }

  private:
    void test(std::uint64_t at, const std::uint8_t *bytes);

    std::uint64_t end_;      // offsets from here on are not tested
    std::uint64_t next_ = 0; // the first offset not tested yet
    ogawa::extent best_ = {0, 0};
};

} // namespace qel
