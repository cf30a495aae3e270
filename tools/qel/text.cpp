// SPDX-License-Identifier: MIT
#include "text.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace tool {

std::string format(const char *pattern, ...) {
    std::va_list arguments, again;
    va_start(arguments, pattern);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, arguments);
    std::string text(static_cast<std::size_t>(length > 0 ? length : 0), '\0');
    std::vsnprintf(text.data(), text.size() + 1, pattern, again);
    va_end(again);
    va_end(arguments);
    return text;
}

std::string printable(const char *bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size && bytes[i] != '\0'; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text += byte < 0x20 || byte > 0x7E ? format("\\x%02X", byte) : std::string(1, bytes[i]);
    }
    return text;
}

std::string printable(const std::string &text) {
    return printable(text.data(), text.size());
}

std::string time_text(std::int64_t seconds) {
    if (seconds == 0) return "never";
    const std::time_t time = seconds;
    std::tm parts{};
    char text[64];
    // A hostile file's year may be one that no calendar has.
    if (gmtime_r(&time, &parts) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return std::to_string(seconds) + " s";
    return text;
}

std::string counted(std::uint64_t count, const char *noun) {
    if (count == 1) return std::string("1 ") + noun;
    const std::string one = noun;
    const bool vertex = one.size() >= 6 && one.compare(one.size() - 6, 6, "vertex") == 0;
    return std::to_string(count) + " " + (vertex ? one.substr(0, one.size() - 2) + "ices" : one + "s");
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
