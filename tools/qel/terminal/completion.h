// SPDX-License-Identifier: MIT
// The completion scripts of shells, made from the table of options.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tool {

/// The completions of an option's value or of an argument.
struct word_choice {
    std::vector<std::string> extensions; ///< of files
    bool folders = false;
    std::vector<std::string> words; ///< one of these
    bool several = false;           ///< or several of them, separated by commas
};

/// The completions of options; a value without an entry is not completed.
using word_choices = std::vector<std::pair<const CLI::Option *, word_choice>>;

std::string bash_completion(const CLI::App &app, const word_choices &choices);
std::string zsh_completion(const CLI::App &app, const word_choices &choices);

} // namespace tool
