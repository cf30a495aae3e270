// SPDX-License-Identifier: MIT
// Messages on standard output and standard error. All of them are escaped here, so that no path and no name from a file
// can control the terminal.
#pragma once

#include <string>

namespace tool {

/// Whether lines are coloured: on terminals that support it, always, or never.
enum class colours { automatic, always, never };
/// By default they go to terminals, unless NO_COLOR is not empty, or TERM is "dumb" or not set.
void use_colours(colours when);
/// Whether a descriptor is a terminal that supports escape codes for colours and for clearing a line.
bool supports_escape_codes(int descriptor);

enum class colour { none, good, bad, odd, heading };

/// Prints a line on standard output; control characters and invalid UTF-8 are escaped.
void print_line(const std::string &line);
/// The same with a coloured beginning.
void print_line(colour paint, const std::string &beginning, const std::string &rest = "");
/// Prints a line on standard error.
void print_note(const std::string &line);
/// Prints "qel: what is wrong" on standard error, after all output.
void print_error(const std::string &what);
/// Prints "qel: a warning" on standard error.
void print_warning(const std::string &what);
/// Replaces the progress line on standard error, a terminal that supports escape codes. The line is cut to the
/// terminal's width; an empty one clears it.
void show_progress_line(const std::string &line);

} // namespace tool
