// SPDX-License-Identifier: MIT
// Hints to the processor's cache. Where the compiler has no builtin for them, they do nothing.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel {

// gcc takes a function that only asks for memory for one without effect, and leaves out calls of it: each is inlined.
#if defined(__GNUC__)
#define QEL_HINT __attribute__((always_inline)) inline
#else
#define QEL_HINT inline
#endif

/// Asks for the cache line at an address. Any address may be given; a bad one is no fault.
QEL_HINT void prefetch(const void *address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

/// Asks for an element that may not exist.
template <class T>
QEL_HINT void prefetch_element(const T *array, std::uint64_t number) {
    const std::uintptr_t distance = static_cast<std::uintptr_t>(number) * sizeof(T);
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(array) + distance;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): as a pointer it may not leave the array
    prefetch(reinterpret_cast<const void *>(address));
}

constexpr std::size_t cache_line = 64;

/// For loops that read an array once, from its beginning to its end, faster than memory provides it: asks for the lines
/// that they come to 5 KiB later. The processor foresees the rest of a page of 4 KiB by itself, but not the next page,
/// and waits there; one hint for each line hides that.
QEL_HINT void prefetch_ahead(const void *address, std::size_t lines = 1) {
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(address) + (5 << 10);
    for (std::size_t line = 0; line < lines; ++line)
        // NOLINTNEXTLINE(performance-no-int-to-ptr): as a pointer it may not leave the array
        prefetch(reinterpret_cast<const void *>(first + line * cache_line));
}

} // namespace qel
