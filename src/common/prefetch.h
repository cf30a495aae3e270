// SPDX-License-Identifier: MIT
// Hints to the processor's cache. They do nothing if the compiler has no builtin for them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel {

// gcc considers a function that only prefetches free of effects and removes calls to it, so each hint is inlined.
#if defined(__GNUC__)
#define QEL_HINT __attribute__((always_inline)) inline
#else
#define QEL_HINT inline
#endif

/// Prefetches the cache line at an address. Any address may be given; an invalid one has no effect.
QEL_HINT void prefetch(const void *address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

/// Prefetches element `number`, which may be past the end of the array.
template <class T>
QEL_HINT void prefetch_element(const T *array, std::uint64_t number) {
    const std::uintptr_t distance = static_cast<std::uintptr_t>(number) * sizeof(T);
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(array) + distance;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): as a pointer it may not leave the array
    prefetch(reinterpret_cast<const void *>(address));
}

constexpr std::size_t cache_line = 64;

/// Prefetches the lines 5 KiB after an address, for loops that read an array once, in order, faster than memory
/// delivers it. The hardware prefetcher covers the rest of a page of 4 KiB, but not the next page; one hint for each
/// line hides that wait.
QEL_HINT void prefetch_ahead(const void *address, std::size_t lines = 1) {
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(address) + (5 << 10);
    for (std::size_t line = 0; line < lines; ++line)
        // NOLINTNEXTLINE(performance-no-int-to-ptr): as a pointer it may not leave the array
        prefetch(reinterpret_cast<const void *>(first + line * cache_line));
}

} // namespace qel
