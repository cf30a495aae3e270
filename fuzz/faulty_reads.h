// SPDX-License-Identifier: MIT
// Reads at positions as a bad disk or a busy system gives them. The target that reads archives is linked so that every
// pread comes here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel::fuzz {

/// While it lives, reads go wrong as its members say. One at a time.
class faulty_reads {
  public:
    faulty_reads() { current = this; }
    ~faulty_reads() { current = nullptr; }
    faulty_reads(const faulty_reads &) = delete;
    faulty_reads &operator=(const faulty_reads &) = delete;

    std::size_t max_bytes = ~std::size_t{0}; // that one read gives
    std::uint64_t interrupt_each = 0;        // the n-th, 2n-th … read is interrupted; 0: none
    std::uint64_t fail_at = 0;               // the n-th read fails, counting from 1; 0: none
    bool all_later = false;                  // and all behind it
    std::uint64_t count = 0;

    static faulty_reads *current; // null: reads are sound
};

} // namespace qel::fuzz
