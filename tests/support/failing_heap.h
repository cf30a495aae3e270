// SPDX-License-Identifier: MIT
// Allocations that fail on demand, and a list of live blocks. Tests and fuzz targets are linked so that every
// malloc, calloc, realloc, aligned_alloc and free of the library's objects comes here first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::test {

/// During its lifetime, allocations fail as configured. Only one may exist at a time.
class failing_heap {
  public:
    /// The n-th allocation from now on fails, counting from 1; 0 lets all succeed and only counts.
    static failing_heap nth(std::uint64_t n) { return failing_heap(n, 0, false); }
    /// The n-th allocation from now on and all later ones fail.
    static failing_heap from(std::uint64_t n) { return failing_heap(n, 0, true); }
    /// One of the two above.
    static failing_heap at(std::uint64_t n, bool all_later) { return failing_heap(n, 0, all_later); }
    /// Every allocation of exactly this size fails.
    static failing_heap of_size(std::size_t size) { return failing_heap(0, size, false); }

    ~failing_heap();
    failing_heap(const failing_heap &) = delete;
    failing_heap &operator=(const failing_heap &) = delete;

    /// Allocations attempted since then.
    std::uint64_t count() const;
    /// How many of them failed.
    std::uint64_t failures() const;

  private:
    failing_heap(std::uint64_t n, std::size_t size, bool all_later);
};

/// A machine with little memory, and blocks of one size that come from elsewhere: what a fuzzer, which allocates the
/// same large tables thousands of times a second, needs. Holds for the rest of the process.
struct heap_policy {
    std::size_t max_bytes = ~std::size_t{0}; // a larger allocation fails
    std::size_t pooled_bytes = 0;            // aligned allocations of exactly this size are the pool's
    void *(*take)() = nullptr;
    bool (*give_back)(void *block) = nullptr; // false for a block that is not the pool's
};
void set_heap_policy(const heap_policy &policy);

/// Tracks the blocks allocated during its lifetime that have not been freed. Only one may exist at a time.
class heap_ledger {
  public:
    heap_ledger();
    ~heap_ledger();
    heap_ledger(const heap_ledger &) = delete;
    heap_ledger &operator=(const heap_ledger &) = delete;

    /// Blocks that are still allocated.
    std::size_t live() const;
    /// Whether a pointer is one of them.
    bool holds(const void *pointer) const;
    /// Whether a pointer was one of them and no longer is.
    bool has_freed(const void *pointer) const;
    /// Frees them all: for blocks that a function deliberately leaks. Returns how many there were.
    std::size_t free_all();
};

} // namespace qel::test
