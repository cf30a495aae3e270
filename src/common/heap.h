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

/// Room for `count` records, not initialised; null when there is no memory.
template <class T>
T *heap_array(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    return bytes == 0 ? nullptr : static_cast<T *>(std::malloc(bytes));
}

/// `count` records of zero bytes; null when there is no memory.
template <class T>
T *heap_zeroed(std::uint64_t count) {
    const std::size_t bytes = array_bytes<T>(count);
    return bytes == 0 ? nullptr : static_cast<T *>(std::calloc(1, bytes));
}

/// Room for a large table that is filled at once and then visited at random: where the system has huge pages to
/// give, it takes thousands of page faults and TLB misses fewer. Not initialised; null when there is no memory.
template <class T>
T *heap_table(std::uint64_t count) {
#if defined(__linux__)
    constexpr std::size_t huge_page = std::size_t{2} << 20;
    const std::size_t bytes = array_bytes<T>(count);
    if (bytes >= 2 * huge_page && bytes % huge_page == 0) {
        void *table = std::aligned_alloc(huge_page, bytes);
        if (table != nullptr) madvise(table, bytes, MADV_HUGEPAGE); // a hint: refusal changes nothing
        return static_cast<T *>(table);
    }
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

} // namespace qel
