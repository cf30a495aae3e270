// SPDX-License-Identifier: MIT
// Floats at the edges of their range, and floats as their bits.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace qel::test {

inline constexpr float nan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinity = std::numeric_limits<float>::infinity();

inline std::uint32_t bits_of(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline float from_bits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace qel::test
