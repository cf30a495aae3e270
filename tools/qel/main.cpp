// SPDX-License-Identifier: MIT
// qel: looks into units, scenes, mesh caches, agent directories and archives. See qel.1.
#include "commands.h"
#include "input.h"
#include "messages.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <new>
#include <sstream>

namespace tool {

namespace {

/// What the command line asks for, to be done once it is known to be right.
struct request {
    std::vector<std::string> names;
    std::string name, output;
    bool json = false, verbose = false;
    nearest_options around;
    view_options seen;
    std::function<int()> command;
};

void add_info(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("info", "Say what a file holds, and whether it is sound");
    sub->add_option("FILE", wanted.names,
                    "Unit, scene, mesh cache, agent directory or archive; - is standard input")
        ->required();
    sub->callback([&wanted] { wanted.command = [&wanted] { return info(wanted.names); }; });
}

void add_convert(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand(
        "convert", "Make a unit, a scene, a mesh cache and an agent directory out of an archive's mesh");
    sub->add_option("ARCHIVE", wanted.name, "Alembic file; - is standard input")->required();
    sub->add_option("-o,--output", wanted.output, "Folder of the results, made if it is not there")
        ->required()
        ->type_name("FOLDER");
    sub->add_flag("-v,--verbose", wanted.verbose, "Report every step and its time on standard error");
    sub->callback([&wanted] {
        wanted.command = [&wanted] { return convert(wanted.name, wanted.output, wanted.verbose); };
    });
}

void add_nearest(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("nearest", "Find the tokens of a unit that are nearest to a key");
    sub->add_option("UNIT", wanted.around.unit, "Unit file; - is standard input")->required();
    sub->add_option("PLACE", wanted.around.around,
                    "A key, decimal or 0x..., or X,Y,Z: a cell of the lattice, 0 to 47 each")
        ->required();
    sub->add_option("-k,--count", wanted.around.count, "Number of tokens")
        ->check(CLI::Range(1, 2147483647))
        ->type_name("N")
        ->capture_default_str();
    sub->add_flag(
        "-p,--packed", wanted.around.packed,
        "X,Y,Z stands for the packed key of a lattice vertex (0 to 65535) instead of a Morton code");
    sub->add_flag("-j,--json", wanted.around.json, "Write JSON instead of a table");
    sub->callback([&wanted] { wanted.command = [&wanted] { return nearest(wanted.around); }; });
}

void add_dump(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("dump", "Write everything that a file holds as text");
    sub->add_option("FILE", wanted.name,
                    "Unit, scene, mesh cache, agent directory or archive; - is standard input")
        ->required();
    sub->add_flag("-j,--json", wanted.json, "Write JSON instead of lines \"path = value\"");
    sub->callback([&wanted] { wanted.command = [&wanted] { return dump(wanted.name, wanted.json); }; });
}

void add_view(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("view", "Write a page that shows meshes beside their tokens in 3-D");
    sub->add_option("FILE", wanted.seen.input,
                    "Archive, scene, mesh cache, or a folder of mesh caches; - is standard input")
        ->required();
    sub->add_option("-o,--output", wanted.seen.page, "The page; - is standard output")
        ->required()
        ->type_name("PAGE.html");
    sub->add_option("--max-size", wanted.seen.megabytes,
                    "Megabytes that the page may have: frames are left out first, then points")
        ->check(CLI::Range(1, 4096))
        ->type_name("MB")
        ->capture_default_str();
    sub->add_flag("--by-bytes", wanted.seen.by_bytes, "Find an archive's mesh by the look of its bytes");
    sub->callback([&wanted] { wanted.command = [&wanted] { return view(wanted.seen); }; });
}

/// CLI11 takes "[a,b]" for two words and "{}" for none where it may have several. So words with such a beginning
/// pass through it with a mark in front of them.
constexpr char mark = '\x01';

std::vector<std::string> marked(int argc, char **argv) {
    std::vector<std::string> words;
    for (int i = argc - 1; i > 0; --i) { // the last one first, as parse() wants them
        const std::string word = argv[i];
        const bool misread = !word.empty() && (word[0] == '[' || word[0] == '{' || word[0] == mark);
        words.push_back(misread ? mark + word : word);
    }
    return words;
}

void unmark(std::string &word) {
    if (!word.empty() && word[0] == mark) word.erase(0, 1);
}

void unmark(request &wanted) {
    for (std::string &name : wanted.names)
        unmark(name);
    for (std::string *word : {&wanted.name, &wanted.output, &wanted.around.unit, &wanted.around.around})
        unmark(*word);
}

int failed_with(const std::string &what, int status) {
    complain(what);
    return status;
}

int wrong_call(std::string what) {
    for (std::size_t at; (at = what.find(mark)) != std::string::npos && at + 1 < what.size();)
        what.erase(at, 1);
    complain(what);
    remark("Try: qel --help");
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
    app.get_formatter()->column_width(28);
    app.footer("Exit status: 0 done, 1 a file is missing, not sound or cannot be written, 2 a wrong call.\n"
               "See qel(1). Each command tells its options with: qel COMMAND --help");
    tool::request wanted;
    tool::add_info(app, wanted);
    tool::add_convert(app, wanted);
    tool::add_nearest(app, wanted);
    tool::add_dump(app, wanted);
    tool::add_view(app, wanted);
    try {
        app.parse(tool::marked(argc, argv));
    } catch (const CLI::Success &asked) { // --help, --version
        std::ostringstream text;
        app.exit(asked, text, text);
        std::fputs(text.str().c_str(), stdout);
        return tool::finish(0);
    } catch (const CLI::ParseError &wrong) {
        return tool::wrong_call(wrong.what());
    }
    tool::unmark(wanted);
    return wanted.command ? tool::perform(wanted) : tool::wrong_call("A command is required");
}
