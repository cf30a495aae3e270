// SPDX-License-Identifier: MIT
// Arrays from the process heap. All are released with `free`, so that callers of the interface may own them.
#pragma once

#include "common/prefetch.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qel {

/// The size in bytes of `count` records of type T, or 0 if it exceeds the address space. Zero records take one byte: on
/// some platforms an allocation of 0 bytes returns null, as a failed one does.
template <class T>
constexpr std::size_t array_bytes(std::uint64_t count) {
    constexpr std::size_t size = sizeof(T); // NOLINT(bugprone-sizeof-expression): T may be a pointer
    if (count > std::numeric_limits<std::size_t>::max() / 2 / size) return 0;
    return count == 0 ? 1 : static_cast<std::size_t>(count) * size;
}

constexpr std::size_t huge_page = std::size_t{2} << 20;

/// Requests huge pages for the whole huge pages inside a large block that has not been used yet: its first use then
/// takes hundreds of page faults fewer, and random accesses miss the TLB less often. A hint: its failure is ignored.
inline void advise_huge_pages(void *block, std::size_t bytes) {
#if defined(__linux__)
    if (block == nullptr || bytes < huge_page) return;
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::size_t before = (huge_page - address % huge_page) % huge_page;
    if (bytes - before < huge_page) return;
    const std::size_t inside = (bytes - before) / huge_page * huge_page;
    madvise(static_cast<char *>(block) + before, inside, MADV_HUGEPAGE);
#else
    static_cast<void>(block);
    static_cast<void>(bytes);
#endif
}

/// Allocates `count` records, not initialized; null when there is no memory.
template <class T>
T *heap_array(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    if (bytes == 0) return nullptr;
    void *const block = std::malloc(bytes);
    advise_huge_pages(block, bytes);
    return static_cast<T *>(block);
}

/// Allocates `count` records of zero bytes; null when there is no memory.
template <class T>
T *heap_zeroed(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    void *const block = bytes == 0 ? nullptr : std::calloc(1, bytes);
    advise_huge_pages(block, bytes); // calloc takes a large block from the system and does not write to it
    return static_cast<T *>(block);
}

/// Allocates a large table of whole huge pages, aligned so that no part of it takes small pages. Not initialized; null
/// when there is no memory.
template <class T>
T *heap_table(std::uint64_t count) {
#if defined(__linux__)
    const std::size_t bytes = array_bytes<T>(count);
    if (bytes >= 2 * huge_page && bytes % huge_page == 0) {
        void *const table = std::aligned_alloc(huge_page, bytes);
        advise_huge_pages(table, bytes);
        return static_cast<T *>(table);
    }
#endif
    return heap_array<T>(count);
}

/// Allocates `count` records that begin at a cache line, on platforms that offer it: a record of n cache lines then
/// touches exactly n lines. Not initialized; null when there is no memory.
template <class T>
T *heap_lines(std::uint64_t count) {
#if defined(__linux__)
    static_assert(sizeof(T) % cache_line == 0, "aligned_alloc takes whole lines");
    const std::size_t bytes = array_bytes<T>(count);
    if (count > 0 && bytes > 0) return static_cast<T *>(std::aligned_alloc(cache_line, bytes));
#endif
    return heap_array<T>(count);
}

/// Frees and nulls an array that a record owns.
template <class T>
void release(T *&array) {
    std::free(array);
    array = nullptr;
}

struct heap_deleter {
    void operator()(void *memory) const { std::free(memory); }
};

/// Scratch memory owned by a scope.
template <class T>
using scratch = std::unique_ptr<T[], heap_deleter>;

/// Scratch memory that is allocated in full although its owner uses none of it, or only its beginning. The allocations
/// of a function, their order, and what it omits when one fails, are documented behaviour: they stay the same when a
/// better algorithm needs less memory.
template <class T>
class required_scratch : public scratch<T> {
  public:
    explicit required_scratch(T *memory) : scratch<T>(memory) {
#if defined(__clang__) // it removes an allocation whose address is not used
        __asm__ volatile("" : : "r"(memory));
#endif
    }
};

} // namespace qel
