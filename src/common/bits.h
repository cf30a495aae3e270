// SPDX-License-Identifier: MIT
// Positions of bits.
#pragma once

#include <cstdint>

#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace qel {

/// The number of the lowest bit that is set. `bits` is not 0.
inline std::uint32_t lowest_bit(std::uint64_t bits) {
#if defined(_MSC_VER)
    unsigned long position;
    _BitScanForward64(&position, bits);
    return position;
#else
    return static_cast<std::uint32_t>(__builtin_ctzll(bits));
#endif
}

} // namespace qel
