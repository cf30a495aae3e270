// SPDX-License-Identifier: MIT
#include "messages.h"

#include "text.h"

#include <cstdio>

namespace tool {

void say(const std::string &line) {
    std::printf("%s\n", printable(line).c_str());
}

void remark(const std::string &line) {
    std::fprintf(stderr, "%s\n", printable(line).c_str());
}

void complain(const std::string &what) {
    std::fflush(stdout);
    remark("qel: " + what);
}

void show_for_now(const std::string &line) {
    std::fprintf(stderr, "\r\033[K%s", printable(line).c_str());
}

} // namespace tool
