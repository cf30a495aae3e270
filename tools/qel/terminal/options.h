// SPDX-License-Identifier: MIT
// The commands and their options: one table, from which the help is made too.
#pragma once

#include "commands.h"
#include "terminal/completion.h"
#include "terminal/messages.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tool {

/// What the command line asks for, to be done once it is known to be right.
struct request {
    info_options told;
    convert_options made;
    nearest_options around;
    dump_options dumped;
    view_options seen;
    completion_options completed;
    bool quiet = false; ///< of commands that have nothing to be quiet about
    colours coloured = colours::automatic;
    word_choices choices; ///< of the values that shells complete
    std::function<int()> command;
};

void add_commands(CLI::App &app, request &wanted);
void add_convert(CLI::App &app, request &wanted);
/// What every command has.
void add_common(CLI::App &command, request &wanted, bool &quiet, const char *what_quiet_means);

/// The words of a call, the last one first, as CLI11 wants them. Some carry marks that CLI11 must see and nobody else.
std::vector<std::string> marked(int argc, char **argv);
void unmark(request &wanted);
/// Takes the marks out of a message.
void unmark_all(std::string &message);

} // namespace tool
