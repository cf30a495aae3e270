// SPDX-License-Identifier: MIT
#include "terminal/help.h"

namespace tool {

namespace {

constexpr std::size_t max_columns = 80, second_column = 26;

/// Breaks a text into lines that begin at `column`.
std::string filled(const std::string &text, std::size_t column) {
    std::string lines, line;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        if (!line.empty() && column + line.size() + 1 + word.size() > max_columns) {
            lines += line + "\n" + std::string(column, ' ');
            line = word;
        } else {
            line += (line.empty() ? "" : " ") + word;
        }
        at = end + 1;
    }
    return lines + line + "\n";
}

std::string row(const std::string &left, const std::string &right) {
    const std::string start = "  " + left;
    const bool fits = start.size() + 2 <= second_column;
    return start + (fits ? std::string(second_column - start.size(), ' ') : "\n" + std::string(second_column, ' ')) +
           filled(right, second_column);
}

} // namespace

std::string help_page::make_option(const CLI::Option *option, bool positional) const {
    std::string left = make_option_name(option, positional), right = option->get_description();
    if (!positional && !option->get_type_name().empty()) left += " " + option->get_type_name();
    if (!option->get_default_str().empty()) right += " (" + option->get_default_str() + " unless given)";
    if (!positional && option->get_required()) right += " (must be given)";
    return row(left, right);
}

std::string help_page::make_subcommand(const CLI::App *command) const {
    return row(command->get_name(), command->get_description());
}

std::string help_page::make_description(const CLI::App *app) const {
    return filled(app->get_description(), 0) + "\n";
}

std::string help_page::make_footer(const CLI::App *app) const {
    std::string text, rest = app->get_footer();
    for (std::size_t end; !rest.empty(); rest.erase(0, end)) { // each line of the footer is a paragraph
        end = std::min(rest.find('\n'), rest.size() - 1) + 1;
        text += filled(rest.substr(0, end - (rest[end - 1] == '\n' ? 1 : 0)), 0);
    }
    return text;
}

} // namespace tool
