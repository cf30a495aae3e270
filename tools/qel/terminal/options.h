// SPDX-License-Identifier: MIT
// The commands and their options. The help and the completion are made from this table.
#pragma once

#include "commands.h"
#include "terminal/completion.h"
#include "terminal/messages.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tool {

/// The parsed command line.
struct request {
    info_options info;
    convert_options convert;
    nearest_options nearest;
    dump_options dump;
    view_options view;
    completion_options completion;
    bool quiet = false; ///< for commands without output to suppress
    colours coloured = colours::automatic;
    word_choices choices; ///< the completions of the values
    std::function<int()> command;
};

void add_commands(CLI::App &app, request &wanted);
void add_convert(CLI::App &app, request &wanted);
/// Adds the options of every command.
void add_common(CLI::App &command, request &wanted, bool &quiet, const char *what_quiet_means);

/// The arguments, the last one first, as CLI11 requires. Some get a prefix that keeps CLI11 from splitting them; it is
/// removed from the values and from messages.
std::vector<std::string> marked(int argc, char **argv);
void unmark(request &wanted);
/// Removes the prefixes from a message.
void unmark_all(std::string &message);

} // namespace tool
