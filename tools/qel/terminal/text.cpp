// SPDX-License-Identifier: MIT
#include "terminal/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace tool {

std::string format_list(const char *pattern, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
    std::string text(static_cast<std::size_t>(length > 0 ? length : 0), '\0');
    std::vsnprintf(text.data(), text.size() + 1, pattern, again);
    va_end(again);
    return text;
}

std::string format(const char *pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    std::string text = format_list(pattern, arguments);
    va_end(arguments);
    return text;
}

namespace {

/// The number of bytes of the first UTF-8 character; 0 for an invalid character or a control character: below a space,
/// 0x7F, 0x80 to 0x9F, and those that reorder text.
std::size_t character_length(const char *bytes, std::size_t size) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || length > size) return 0;
    std::uint32_t character = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0u) != 0x80) return 0; // true of the terminating zero as well
        character = character << 6 | (byte(i) & 0x3Fu);
    }
    const bool reorders = (character >= 0x200E && character <= 0x200F) || // which can display a different text
                          (character >= 0x2028 && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
    const std::uint32_t min_character = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0xA0;
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < min_character || character > 0x10FFFF || surrogate || reorders ? 0 : length;
}

} // namespace

std::string printable(const char *bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size && bytes[i] != '\0';) {
        const std::size_t length = character_length(bytes + i, size - i);
        if (length > 0)
            text.append(bytes + i, length);
        else
            text += format("\\x%02X", static_cast<unsigned char>(bytes[i]));
        i += std::max<std::size_t>(length, 1);
    }
    return text;
}

std::string printable(const std::string &text) {
    return printable(text.data(), text.size());
}

std::string quoted_text(const std::string &text) {
    std::string quoted = "\"";
    for (const char letter : printable(text)) {
        if (letter == '"' || letter == '\\') quoted += '\\';
        quoted += letter;
    }
    return quoted + '"';
}

std::string time_text(std::int64_t seconds) {
    if (seconds == 0) return "never";
    const std::time_t time = seconds;
    std::tm parts{};
    char text[64];
    // A file may hold a year out of range.
    if (gmtime_r(&time, &parts) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return std::to_string(seconds) + " s";
    return text;
}

std::string counted(std::uint64_t count, const char *noun) {
    if (count == 1) return std::string("1 ") + noun;
    const std::string one = noun;
    const bool vertex = one.size() >= 6 && one.compare(one.size() - 6, 6, "vertex") == 0;
    const bool mesh = one.size() >= 4 && one.compare(one.size() - 4, 4, "mesh") == 0;
    return std::to_string(count) + " " + (vertex ? one.substr(0, one.size() - 2) + "ices" : one + (mesh ? "es" : "s"));
}

bool parse_number(const std::string &text, std::uint64_t &number) {
    if (text.empty() || text[0] < '0' || text[0] > '9') return false; // strtoull takes signs and spaces
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    char *end = nullptr;
    errno = 0;
    number = std::strtoull(text.c_str(), &end, hexadecimal ? 16 : 10);
    return errno == 0 && *end == '\0' && end == text.c_str() + text.size();
}

} // namespace tool
