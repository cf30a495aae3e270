// SPDX-License-Identifier: MIT
// The lines that people read. All of them go through here, so that nothing that comes from outside, be it a path or
// a name in a file, can command the terminal.
#pragma once

#include <string>

namespace tool {

/// Where colours go: to terminals that can show them, everywhere, or nowhere.
enum class colours { automatic, always, never };
/// Until it is told, they go to terminals, unless NO_COLOR is set to anything or TERM is "dumb" or not set.
void use_colours(colours when);
/// Whether a descriptor is a terminal that understands how lines are coloured and cleared.
bool is_lively_terminal(int descriptor);

enum class colour { none, good, bad, odd, heading };

/// A line of standard output; control characters and bytes that are no UTF-8 are escaped.
void say(const std::string &line);
/// The same, with a beginning that is coloured.
void say(colour paint, const std::string &beginning, const std::string &rest = "");
/// A line of standard error.
void remark(const std::string &line);
/// "qel: what is wrong" on standard error, behind all that was said.
void complain(const std::string &what);
/// "qel: what people should know" on standard error.
void warn(const std::string &what);
/// Shows a line that the next one replaces, on a lively terminal that is standard error, as far as it has room; an
/// empty one only removes the last.
void show_for_now(const std::string &line);

} // namespace tool
