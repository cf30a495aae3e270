// SPDX-License-Identifier: MIT
// The lines that people read. All of them go through here, so that nothing that comes from outside, be it a path or
// a name in a file, can command the terminal.
#pragma once

#include <string>

namespace tool {

/// A line of standard output; control characters and bytes that are no UTF-8 are escaped.
void say(const std::string &line);
/// A line of standard error.
void remark(const std::string &line);
/// "qel: what is wrong" on standard error, behind all that was said.
void complain(const std::string &what);
/// Shows a line that the next one replaces, on a terminal that is standard error; an empty one only removes the last.
void show_for_now(const std::string &line);

} // namespace tool
