// SPDX-License-Identifier: MIT
#include "terminal/completion.h"

#include "terminal/text.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace tool {

namespace {

std::string joined(const std::vector<std::string> &words, const char *between) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : between) + word;
    return text;
}

std::vector<const CLI::App *> shown_commands(const CLI::App &app) {
    return app.get_subcommands([](const CLI::App *sub) { return !sub->get_group().empty(); });
}

/// "-q" and "--quiet"; empty for an argument.
std::vector<std::string> names_of(const CLI::Option &option) {
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

std::vector<std::string> all_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::Option *option : app.get_options())
        for (const std::string &name : names_of(*option))
            names.push_back(name);
    return names;
}

bool takes_value(const CLI::Option &option) {
    return option.get_items_expected_max() > 0;
}

const word_choice &choice_of(const CLI::Option &option, const word_choices &all) {
    static const word_choice none;
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto &known) { return known.first == &option; });
    return found == all.end() ? none : found->second;
}

// ---- bash ----------------------------------------------------------------------------------------------------------

constexpr const char *bash_beginning = R"bash(# Completion of qel for bash, made by: qel completion bash

_qel_put() { # LINES: offers each
    local line
    while IFS= read -r line; do
        [ -z "$line" ] || COMPREPLY+=("$prefix$line")
    done <<<"$1"
}
_qel_words() { _qel_put "$(compgen -W "$*" -- "$cur")"; }
_qel_list() { # WORDS: some of them, with commas between them
    case $cur in *,*) prefix+=${cur%,*}, cur=${cur##*,} ;; esac
    compopt -o nospace 2>/dev/null
    _qel_words "$@"
}
_qel_files() { # EXTENSIONS: files that have one of them, and folders on the way to them
    local extension path=${cur#[\"\']}
    path=${path//\\/}
    compopt -o filenames 2>/dev/null
    _qel_put "$(compgen -d -- "$path")"
    for extension; do _qel_put "$(compgen -f -X "!*.$extension" -- "$path")"; done
}
_qel() {
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' prefix='' words='' i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        --) words=1 ;;
        -*) ;;
        *) [ -n "$command" ] || command=${COMP_WORDS[i]} ;;
        esac
    done
    if [ -n "$words" ]; then # behind -- there are no options
        previous=''
    elif [ "$cur" = = ]; then
        cur=''
    elif [ "$previous" = = ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    else
        case $cur in --*=*) previous=${cur%%=*} prefix=$previous= cur=${cur#*=} ;; esac
    fi
    case $command in
)bash";

std::string bash_call(const word_choice &choice) {
    if (!choice.words.empty()) return (choice.several ? "_qel_list " : "_qel_words ") + joined(choice.words, " ");
    if (choice.folders || !choice.extensions.empty()) return "_qel_files " + joined(choice.extensions, " ");
    return ":";
}

std::string bash_command(const CLI::App &command, const word_choices &choices) {
    std::string text = command.get_name() + ")\n        case $previous in\n", argument = ":";
    for (const CLI::Option *option : command.get_options()) {
        const std::string call = bash_call(choice_of(*option, choices));
        if (option->get_positional())
            argument = call;
        else if (takes_value(*option))
            text += "        " + joined(names_of(*option), " | ") + ") " + call + "; return ;;\n";
    }
    return "    " + text + "        esac\n        case $words$cur in -*) _qel_words " +
           joined(all_names(command), " ") + " ;; *) " + argument + " ;; esac ;;\n";
}

// ---- zsh -----------------------------------------------------------------------------------------------------------

/// Escapes a text for '…', where colons and brackets have a meaning.
std::string zsh_text(const std::string &text) {
    std::string quoted;
    for (const char letter : text) {
        if (letter == '\'') quoted += "'\\'";
        if (letter == ':' || letter == '[' || letter == ']' || letter == '\\') quoted += '\\';
        quoted += letter;
    }
    return quoted;
}

std::string zsh_action(const word_choice &choice) {
    if (choice.several) return "{_values -s , part " + joined(choice.words, " ") + "}";
    if (!choice.words.empty()) return "(" + joined(choice.words, " ") + ")";
    if (!choice.extensions.empty()) return "_files -g \"*.(" + joined(choice.extensions, "|") + ")(-.)\"";
    return choice.folders ? "_files -/" : " ";
}

/// '(-q --quiet)'{-q,--quiet}'[Say nothing]', with '*' if it may be repeated.
std::string zsh_option(const CLI::Option &option, const word_choices &choices) {
    std::vector<std::string> names = names_of(option);
    const std::string others = joined(names, " ");
    if (takes_value(option)) // a value may follow without a space: -ofolder, --output=folder
        for (std::string &name : names)
            name += name[1] == '-' ? "=" : "+";
    const bool again = option.get_items_expected_max() > 1;
    std::string text = again ? "'*'" : "'(" + others + ")'";
    text += names.size() > 1 ? "{" + joined(names, ",") + "}" : names[0];
    text += "'[" + zsh_text(option.get_description()) + "]";
    if (takes_value(option))
        text += ":" + zsh_text(option.get_type_name()) + ":" + zsh_action(choice_of(option, choices));
    return text + "'";
}

std::string zsh_command(const CLI::App &command, const word_choices &choices) {
    std::string text = "    " + command.get_name() + ")\n        _arguments -s -S";
    for (const CLI::Option *option : command.get_options()) {
        if (option->get_positional())
            text += std::string(" \\\n            '") + (option->get_items_expected_max() > 1 ? "*" : "1") + ":" +
                    zsh_text(option->get_name(true)) + ":" + zsh_action(choice_of(*option, choices)) + "'";
        else
            text += " \\\n            " + zsh_option(*option, choices);
    }
    return text + " ;;\n";
}

} // namespace

std::string bash_completion(const CLI::App &app, const word_choices &choices) {
    std::string text = bash_beginning;
    std::vector<std::string> first = all_names(app);
    for (const CLI::App *command : shown_commands(app)) {
        text += bash_command(*command, choices);
        first.push_back(command->get_name());
    }
    return text + "    '') _qel_words " + joined(first, " ") + " ;;\n    esac\n}\ncomplete -F _qel qel\n";
}

std::string zsh_completion(const CLI::App &app, const word_choices &choices) {
    std::string text = "#compdef qel\n# Completion of qel for zsh, made by: qel completion zsh\n\n"
                       "local context state state_descr line\ntypeset -A opt_args\n"
                       "_arguments -C";
    for (const CLI::Option *option : app.get_options())
        text += " \\\n    " + zsh_option(*option, choices);
    text += " \\\n    '1:command:->command' \\\n    '*::argument:->argument'\n"
            "case $state in\ncommand)\n    local -a commands\n    commands=(\n";
    for (const CLI::App *command : shown_commands(app))
        text += "        '" + command->get_name() + ":" + zsh_text(command->get_description()) + "'\n";
    text += "    )\n    _describe command commands ;;\nargument)\n    case $line[1] in\n";
    for (const CLI::App *command : shown_commands(app))
        text += zsh_command(*command, choices);
    return text + "    esac ;;\nesac\n";
}

} // namespace tool
