// SPDX-License-Identifier: MIT
// The program qel: calls the command that the arguments name. See qel.1.
#include "files/failure.h"
#include "terminal/help.h"
#include "terminal/messages.h"
#include "terminal/options.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <new>
#include <sstream>

namespace tool {

namespace {

int failed_with(const std::string &what, int status) {
    print_error(what);
    return status;
}

/// The message for a wrong call. For an unknown command, the parser would report all following words as well.
std::string what_is_wrong(const CLI::App &app, const char *message, const std::vector<std::string> &words) {
    const std::string first = words.empty() ? "-" : words.back(); // the last word comes first
    if (!app.get_subcommands().empty() || first[0] == '-') return message;
    std::string known;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *sub) { return !sub->get_group().empty(); }))
        known += (known.empty() ? "" : ", ") + command->get_name();
    return "\"" + first + "\" is none of the commands " + known;
}

int wrong_call(const CLI::App &app, std::string what) {
    unmark_all(what);
    print_error(what);
    const std::vector<CLI::App *> given = app.get_subcommands();
    print_note("Try: qel " + (given.empty() ? "" : given[0]->get_name() + " ") + "--help");
    return 2;
}

/// The status, or 1 if standard output could not be written. A closed pipe (EPIPE) is not reported.
int finish(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    return errno == EPIPE ? 1 : failed_with(std::string("standard output: ") + std::strerror(errno), 1);
}

/// Opens /dev/null on closed standard descriptors: the next file to be opened would get the descriptor and be used as
/// standard input or output. It is opened in the wrong mode, so that every use of it fails.
void occupy_standard_descriptors() {
    for (int number = 0; number <= 2; ++number)
        if (::fcntl(number, F_GETFD) < 0) ::open("/dev/null", number == 0 ? O_WRONLY : O_RDONLY);
}

int perform(const request &wanted) {
    use_colours(wanted.coloured);
    try {
        return finish(wanted.command());
    } catch (const usage_error &wrong) {
        return failed_with(wrong.what(), 2);
    } catch (const std::bad_alloc &) {
        return failed_with(no_memory, 1);
    } catch (const std::exception &failed) {
        return failed_with(failed.what(), 1);
    }
}

} // namespace
} // namespace tool

int main(int argc, char **argv) {
    tool::occupy_standard_descriptors();
    CLI::App app("Looks into the files of qel_unit: units, scenes, mesh caches, agent directories and archives.",
                 "qel");
    app.set_version_flag("--version", "qel " QEL_VERSION);
    app.require_subcommand(0, 1); // an unknown command is reported by its name, a missing one below
    app.formatter(std::make_shared<tool::help_page>());
    app.footer("Exit status: 0 done; 1 a file is missing, unsound or not writable; 2 a wrong call.\n"
               "See qel(1). Each command tells its options with: qel COMMAND --help");
    tool::request wanted;
    tool::add_commands(app, wanted);
    const std::vector<std::string> words = tool::marked(argc, argv);
    try {
        app.parse(std::vector<std::string>(words));
    } catch (const CLI::Success &asked) { // --help, --version
        std::ostringstream text;
        app.exit(asked, text, text);
        std::fputs(text.str().c_str(), stdout);
        return tool::finish(0);
    } catch (const CLI::ParseError &wrong) {
        return tool::wrong_call(app, tool::what_is_wrong(app, wrong.what(), words));
    }
    tool::unmark(wanted);
    return wanted.command ? tool::perform(wanted) : tool::wrong_call(app, "A command is required");
}
