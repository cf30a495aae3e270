// SPDX-License-Identifier: MIT
// The heap as the fuzzed library sees it: of a machine with little memory, failing on demand, counting what is live.
// The targets are linked so that every malloc, calloc, realloc, aligned_alloc and free of the library comes here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel::fuzz {

/// The index tables, of units, scenes and the directory, are all of this size. They are kept and handed out again:
/// mapping and filling 32 MiB anew for every input would take most of the time.
constexpr std::size_t table_bytes = std::size_t{32} << 20;

/// A larger allocation fails.
constexpr std::size_t most_bytes = std::size_t{64} << 20;

/// While it lives, it knows the blocks that were allocated and not freed. One at a time.
class heap_watch {
  public:
    heap_watch();
    ~heap_watch();
    heap_watch(const heap_watch &) = delete;
    heap_watch &operator=(const heap_watch &) = delete;

    std::size_t live() const;
    /// Frees what a function deliberately leaves behind.
    void free_all();
};

/// While it lives, allocations fail. One at a time.
class failing_heap {
  public:
    /// The n-th allocation from now on, counting from 1, and with `all_later` all after it; 0 fails none.
    explicit failing_heap(std::uint64_t n, bool all_later = false);
    /// Every index table.
    static failing_heap of_tables();
    ~failing_heap();
    failing_heap(const failing_heap &) = delete;
    failing_heap &operator=(const failing_heap &) = delete;

    bool failed() const; // any

  private:
    failing_heap(std::uint64_t n, bool all_later, bool tables);
};

} // namespace qel::fuzz
