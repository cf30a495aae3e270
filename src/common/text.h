// SPDX-License-Identifier: MIT
// Bounded text: fixed fields of records and eight-digit identities.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qel {

/// Copies at most N - 1 characters into a field and terminates it; the field's rest is zero.
template <std::size_t N>
void copy_text(char (&field)[N], const char *text) {
    std::size_t length = 0;
    while (length < N - 1 && text[length] != '\0')
        ++length;
    std::memcpy(field, text, length);
    std::memset(field + length, 0, N - length);
}

/// Writes `value` as eight upper-case hexadecimal digits, without a terminator.
inline void write_hex8(std::uint32_t value, char *digits) {
    // All digits at once, the first in the lowest byte: each step moves halves, then bytes, then half-bytes apart.
    std::uint64_t spread = value >> 16 | std::uint64_t{value & 0xFFFF} << 32;
    spread = (spread >> 8 & 0x000000FF000000FF) | (spread & 0x000000FF000000FF) << 16;
    spread = (spread >> 4 & 0x000F000F000F000F) | (spread & 0x000F000F000F000F) << 8;
    const std::uint64_t letters = (spread + 0x0606060606060606) >> 4 & 0x0101010101010101;
    const std::uint64_t text = spread + 0x3030303030303030 + letters * ('A' - '9' - 1);
    std::memcpy(digits, &text, sizeof text);
}

} // namespace qel
