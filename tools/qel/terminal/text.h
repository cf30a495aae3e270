// SPDX-License-Identifier: MIT
// Numbers and bytes as text.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

namespace tool {

/// As printf.
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
std::string format_list(const char *pattern, std::va_list arguments);

/// The text up to `size` bytes or the first zero, with control characters, characters that reorder text and invalid
/// UTF-8 as \xNN: a name from a file must not control the terminal.
std::string printable(const char *bytes, std::size_t size);
std::string printable(const std::string &text);

/// A text as a JSON string; invalid UTF-8 and control characters are escaped as by printable().
std::string quoted_text(const std::string &text);

/// UTC, as 2026-01-31T12:00:00Z, or "never" for 0.
std::string time_text(std::int64_t seconds);

/// "1 token", "2 tokens".
std::string counted(std::uint64_t count, const char *noun);

/// Parses an unsigned number, decimal or 0x…; false if the text is anything else.
bool parse_number(const std::string &text, std::uint64_t &number);

} // namespace tool
