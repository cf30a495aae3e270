// SPDX-License-Identifier: MIT
// qel: looks into units, scenes, mesh caches, agent directories and archives. See qel.1.
#include "files/input.h"
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
    complain(what);
    return status;
}

/// Of a word where a command should be, the parser would tell together with all words behind it.
std::string what_is_wrong(const CLI::App &app, const char *told, const std::vector<std::string> &words) {
    const std::string first = words.empty() ? "-" : words.back(); // they are the last one first
    if (!app.get_subcommands().empty() || first[0] == '-') return told;
    std::string known;
    for (const CLI::App *command :
         app.get_subcommands([](const CLI::App *sub) { return !sub->get_group().empty(); }))
        known += (known.empty() ? "" : ", ") + command->get_name();
    return "\"" + first + "\" is none of the commands " + known;
}

int wrong_call(const CLI::App &app, std::string what) {
    unmark_all(what);
    complain(what);
    const std::vector<CLI::App *> given = app.get_subcommands();
    remark("Try: qel " + (given.empty() ? "" : given[0]->get_name() + " ") + "--help");
    return 2;
}

/// The status, if all output has gone where it should; a reader that has had enough is no failure to speak of.
int finish(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    return errno == EPIPE ? 1 : failed_with(std::string("standard output: ") + std::strerror(errno), 1);
}

/// Where a standard descriptor is closed, the next file to be opened would take its place and be read or written
/// for it. Opened the wrong way, it fails whoever uses it.
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
        return failed_with("not enough memory", 1);
    } catch (const std::exception &failed) {
        return failed_with(failed.what(), 1);
    }
}

} // namespace
} // namespace tool

int main(int argc, char **argv) {
    tool::occupy_standard_descriptors();
    CLI::App app(
        "Looks into the files of qel_unit: units, scenes, mesh caches, agent directories and archives.",
        "qel");
    app.set_version_flag("--version", "qel " QEL_VERSION);
    app.require_subcommand(0, 1); // a wrong word is told by its name, a missing one below
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
