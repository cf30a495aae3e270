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
    for (int i = 7; i >= 0; --i, value >>= 4)
        digits[i] = "0123456789ABCDEF"[value & 15];
}

} // namespace qel
