// SPDX-License-Identifier: MIT
// The format of --help: two columns, in lines of at most 80 characters.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tool {

class help_page : public CLI::Formatter {
  public:
    std::string make_option(const CLI::Option *option, bool positional) const override;
    std::string make_subcommand(const CLI::App *command) const override;
    std::string make_description(const CLI::App *app) const override;
    std::string make_footer(const CLI::App *app) const override;
};

} // namespace tool
