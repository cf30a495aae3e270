// SPDX-License-Identifier: MIT
// Arrays from the process heap. Everything here is released with `free`, so it may leave through the interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qel {

/// Bytes of `count` records of type T, or 0 when no memory can hold them. Zero records take one byte: on some
/// platforms a zero-size allocation yields null, which would look like a failure.
template <class T>
constexpr std::size_t array_bytes(std::uint64_t count) {
    constexpr std::size_t size = sizeof(T); // NOLINT(bugprone-sizeof-expression): T may well be a pointer
    if (count > std::numeric_limits<std::size_t>::max() / 2 / size) return 0;
    return count == 0 ? 1 : static_cast<std::size_t>(count) * size;
}

constexpr std::size_t huge_page = std::size_t{2} << 20;

/// Asks for huge pages where whole ones are inside a large block that has not been used yet: its first use then
/// takes hundreds of page faults fewer, and random accesses miss the TLB less. A hint: refusal changes nothing.
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

/// Room for `count` records, not initialised; null when there is no memory.
template <class T>
T *heap_array(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    if (bytes == 0) return nullptr;
    void *const block = std::malloc(bytes);
    advise_huge_pages(block, bytes);
    return static_cast<T *>(block);
}

/// `count` records of zero bytes; null when there is no memory.
template <class T>
T *heap_zeroed(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    void *const block = bytes == 0 ? nullptr : std::calloc(1, bytes);
    advise_huge_pages(block, bytes); // calloc takes a large block from the system and does not write to it
    return static_cast<T *>(block);
}

/// Room for a large table of whole huge pages, aligned so that no part of it takes small ones. Not initialised; null
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

/// Room for `count` records that begin at a cache line, where the platform offers that: a record of whole lines then
/// takes no line more than it has to. Not initialised; null when there is no memory.
template <class T>
T *heap_lines(std::uint64_t count) {
#if defined(__linux__)
    constexpr std::size_t line = 64;
    static_assert(sizeof(T) % line == 0, "aligned_alloc takes whole lines");
    const std::size_t bytes = array_bytes<T>(count);
    if (count > 0 && bytes > 0) return static_cast<T *>(std::aligned_alloc(line, bytes));
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

/// Scratch memory that is allocated in full although its owner uses none of it, or only its beginning. What a function
/// allocates, in which order, and what it does without when that fails, is documented behaviour that stays the same
/// when a better algorithm needs less.
template <class T>
class required_scratch : public scratch<T> {
  public:
    explicit required_scratch(T *memory) : scratch<T>(memory) {
#if defined(__clang__) // it leaves out an allocation whose address goes nowhere
        __asm__ volatile("" : : "r"(memory));
#endif
    }
};

} // namespace qel
