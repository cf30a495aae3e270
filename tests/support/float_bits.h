// SPDX-License-Identifier: MIT
// Floats at the edges of their range, and floats as their bits.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qel::test {

inline constexpr float nan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float infinity = std::numeric_limits<float>::infinity();

/// The next float on either side.
inline float above(float value) {
    return std::nextafter(value, infinity);
}
inline float below(float value) {
    return std::nextafter(value, -infinity);
}

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
