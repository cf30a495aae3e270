// SPDX-License-Identifier: MIT
// What shells offer for the words of a call, made from the table of options.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tool {

/// What the value of an option, or an argument, may be.
struct word_choice {
    std::vector<std::string> extensions; ///< of files
    bool folders = false;
    std::vector<std::string> words; ///< one of these
    bool several = false;           ///< or some of them, with commas between them
};

/// Who completes a value asks here; what is not listed is not completed.
using word_choices = std::vector<std::pair<const CLI::Option *, word_choice>>;

std::string bash_completion(const CLI::App &app, const word_choices &choices);
std::string zsh_completion(const CLI::App &app, const word_choices &choices);

} // namespace tool
