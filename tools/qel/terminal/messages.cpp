// SPDX-License-Identifier: MIT
#include "terminal/messages.h"

#include "terminal/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

namespace {

colours coloured = colours::automatic;

const char *code_of(colour paint) {
    constexpr const char *codes[] = {"", "\033[32m", "\033[1;31m", "\033[33m", "\033[1m"};
    return codes[static_cast<std::size_t>(paint)];
}

bool takes_colours(int descriptor) {
    if (coloured != colours::automatic) return coloured == colours::always;
    const char *const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') && supports_escape_codes(descriptor);
}

void put(std::FILE *stream, colour paint, const std::string &beginning, const std::string &rest) {
    const bool painted = paint != colour::none && takes_colours(fileno(stream));
    std::fprintf(stream, "%s%s%s%s\n", painted ? code_of(paint) : "", printable(beginning).c_str(),
                 painted ? "\033[0m" : "", printable(rest).c_str());
}

/// The beginning of a text that fits in one line of the terminal: only one line is cleared.
std::string cut_to_width(const std::string &text, int descriptor) {
    struct winsize window {};
    if (::ioctl(descriptor, TIOCGWINSZ, &window) != 0 || window.ws_col < 2) return text;
    std::size_t columns = 0, size = 0;
    for (; size < text.size(); ++size) {
        const bool begins = (static_cast<unsigned char>(text[size]) & 0xC0u) != 0x80;
        if (begins && ++columns >= window.ws_col) break;
    }
    return text.substr(0, size);
}

} // namespace

void use_colours(colours when) {
    coloured = when;
}

bool supports_escape_codes(int descriptor) {
    const char *const kind = std::getenv("TERM");
    return kind != nullptr && *kind != '\0' && std::strcmp(kind, "dumb") != 0 && ::isatty(descriptor) != 0;
}

void print_line(const std::string &line) {
    put(stdout, colour::none, "", line);
}

void print_line(colour paint, const std::string &beginning, const std::string &rest) {
    put(stdout, paint, beginning, rest);
}

void print_note(const std::string &line) {
    put(stderr, colour::none, "", line);
}

void print_error(const std::string &what) {
    std::fflush(stdout);
    put(stderr, colour::bad, "qel:", " " + what);
}

void print_warning(const std::string &what) {
    put(stderr, colour::odd, "qel:", " " + what);
}

void show_progress_line(const std::string &line) {
    std::fprintf(stderr, "\r\033[K%s", cut_to_width(printable(line), STDERR_FILENO).c_str());
}

} // namespace tool
