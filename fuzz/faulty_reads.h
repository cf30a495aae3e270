// SPDX-License-Identifier: MIT
// Reads at positions with the faults of a bad disk or a busy system. The target that reads archives is linked so that
// every pread is replaced.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel::fuzz {

/// During its lifetime, reads fail as its members specify. At most one exists.
class faulty_reads {
  public:
    faulty_reads() { current = this; }
    ~faulty_reads() { current = nullptr; }
    faulty_reads(const faulty_reads &) = delete;
    faulty_reads &operator=(const faulty_reads &) = delete;

    std::size_t max_bytes = ~std::size_t{0}; // per read
    std::uint64_t interrupt_each = 0;        // the n-th, 2n-th … read is interrupted; 0: none
    std::uint64_t fail_at = 0;               // the n-th read fails, counting from 1; 0: none
    bool all_later = false;                  // and all later ones
    std::uint64_t count = 0;

    static faulty_reads *current; // null: reads do not fail
};

} // namespace qel::fuzz
