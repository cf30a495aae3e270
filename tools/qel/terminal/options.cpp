// SPDX-License-Identifier: MIT
#include "terminal/options.h"

#include "files/output.h"

namespace tool {

namespace {

/// CLI11 splits "[a,b]" into two words and drops "{}" if an option takes several. This prefix of words with such a
/// beginning prevents that.
constexpr char mark = '\x01';

void unmark(std::string &word) {
    if (!word.empty() && word[0] == mark) word.erase(0, 1);
}

constexpr const char *nothing_but_errors = "No progress and no notes; results and errors stay";

/// Files of every kind: the command detects which.
word_choice any_file() {
    return {{"abc", "qel", "bqel", "qelm", "qeag"}, true, {}, false};
}

void add_info(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("info", "Say what a file holds, and whether it is sound");
    info_options &options = wanted.info;
    wanted.choices.emplace_back(
        sub->add_option("FILE", options.names,
                        "Unit, scene, mesh cache, agent directory or archive; - is standard input")
            ->required(),
        any_file());
    sub->add_flag("-t,--tree", options.tree, "Draw the objects of an archive");
    sub->add_flag("-v,--verbose", options.verbose, "Their properties too");
    sub->add_flag("--by-bytes", options.by_bytes,
                  "Of an archive, say what is found by the look of its bytes, and which of its meshes that is");
    sub->add_flag("-j,--json", options.json, "Write JSON instead of lines");
    add_common(*sub, wanted, options.quiet, "Say nothing but what is wrong");
    sub->callback([&wanted] { wanted.command = [&wanted] { return info(wanted.info); }; });
}

void add_nearest(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("nearest", "Find the tokens of a unit that are nearest to a key");
    wanted.choices.emplace_back(
        sub->add_option("UNIT PLACE", wanted.nearest.units,
                        "Unit files, - is standard input, and a key, decimal or 0x..., or X,Y,Z: a cell of the "
                        "lattice, 0 to 47 each")
            ->required(),
        word_choice{{"qel"}, true, {}, false});
    CLI::Option *position =
        sub->add_option("--position", wanted.nearest.position,
                        "Instead of PLACE, a position in the world, in the lattice that --scene lays")
            ->type_name("X,Y,Z");
    CLI::Option *scene =
        sub->add_option("--scene", wanted.nearest.scene, "The scene whose mesh nearest to --position lays the lattice")
            ->type_name("FILE");
    wanted.choices.emplace_back(scene, word_choice{{"bqel"}, true, {}, false});
    position->needs(scene);
    scene->needs(position);
    sub->add_option("-k,--count", wanted.nearest.count, "Number of tokens")
        ->check(CLI::Range(1, 2147483647).description(""))
        ->type_name("N")
        ->capture_default_str();
    sub->add_flag("-p,--packed", wanted.nearest.packed,
                  "X,Y,Z stands for the packed key of a lattice vertex (0 to 65535) instead of a Morton code");
    sub->add_flag("-j,--json", wanted.nearest.json, "Write JSON instead of a table");
    add_common(*sub, wanted, wanted.quiet, nothing_but_errors);
    sub->callback([&wanted] {
        if (wanted.nearest.position.empty() && wanted.nearest.units.size() < 2)
            throw CLI::RequiredError("PLACE, or --position");
        wanted.command = [&wanted] { return nearest(wanted.nearest); };
    });
}

void add_dump(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("dump", "Write everything that a file holds as text");
    dump_options &options = wanted.dump;
    wanted.choices.emplace_back(
        sub->add_option("FILE", options.name,
                        "Unit, scene, mesh cache, agent directory or archive; - is standard input")
            ->required(),
        any_file());
    sub->add_option("--path", options.path, "Of an archive, only this object and what is below it")->type_name("PATH");
    sub->add_option("--sample", options.sample,
                    "Of an archive, only this sample of each property, or the last where there are fewer")
        ->type_name("N");
    sub->add_flag("--by-bytes", options.by_bytes, "Of an archive, the mesh that is found by the look of its bytes");
    sub->add_flag("-j,--json", options.json, "Write JSON instead of lines \"path = value\"");
    add_common(*sub, wanted, wanted.quiet, nothing_but_errors);
    sub->callback([&wanted] { wanted.command = [&wanted] { return dump(wanted.dump); }; });
}

void add_view(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("view", "Write a page that shows meshes beside their tokens in 3-D");
    wanted.choices.emplace_back(
        sub->add_option("FILE", wanted.view.input,
                        "Archive, scene, mesh cache, or a folder of mesh caches; - is standard input")
            ->required(),
        word_choice{{"abc", "bqel", "qelm"}, true, {}, false});
    wanted.choices.emplace_back(sub->add_option("-o,--output", wanted.view.page, "The page; - is standard output")
                                    ->required()
                                    ->type_name("PAGE.html"),
                                word_choice{{"html"}, true, {}, false});
    sub->add_option("--max-size", wanted.view.megabytes,
                    "Megabytes that the page may have: frames are left out first, then points")
        ->check(CLI::Range(1, 4096).description(""))
        ->type_name("MB")
        ->capture_default_str();
    sub->add_flag("--by-bytes", wanted.view.by_bytes, "Find an archive's mesh by the look of its bytes");
    add_common(*sub, wanted, wanted.quiet, nothing_but_errors);
    sub->callback([&wanted] { wanted.command = [&wanted] { return view(wanted.view); }; });
}

/// For packagers: not in the help, not completed.
void add_completion(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("completion", "Write what a shell reads to complete the words of a call");
    sub->group("");
    completion_options &options = wanted.completion;
    sub->add_option("SHELL", options.shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>{"bash", "zsh"}));
    sub->add_option("FILE", options.file, "Where it goes; - is standard output");
    sub->callback([&app, &wanted] {
        wanted.command = [&app, &wanted] {
            const bool bash = wanted.completion.shell == "bash";
            return write_text(wanted.completion.file,
                              bash ? bash_completion(app, wanted.choices) : zsh_completion(app, wanted.choices));
        };
    });
}

} // namespace

void add_common(CLI::App &command, request &wanted, bool &quiet, const char *what_quiet_means) {
    command.add_flag("-q,--quiet", quiet, what_quiet_means);
    const std::vector<std::pair<std::string, colours>> words{
        {"auto", colours::automatic}, {"always", colours::always}, {"never", colours::never}};
    CLI::Option *const option =
        command
            .add_option_function<std::string>(
                "--color",
                [&wanted, words](const std::string &word) {
                    for (const auto &[known, meaning] : words)
                        if (word == known) wanted.coloured = meaning;
                },
                "Colours: auto, on a terminal unless NO_COLOR is set; always; or never")
            ->check(CLI::IsMember(std::vector<std::string>{"auto", "always", "never"}).description(""))
            ->type_name("WHEN");
    wanted.choices.emplace_back(option, word_choice{{}, false, {"auto", "always", "never"}, false});
}

void add_commands(CLI::App &app, request &wanted) {
    add_info(app, wanted);
    add_convert(app, wanted);
    add_nearest(app, wanted);
    add_dump(app, wanted);
    add_view(app, wanted);
    add_completion(app, wanted);
}

std::vector<std::string> marked(int argc, char **argv) {
    std::vector<std::string> words;
    for (int i = argc - 1; i > 0; --i) { // the last one first, as parse() requires
        const std::string word = argv[i];
        const bool misread = !word.empty() && (word[0] == '[' || word[0] == '{' || word[0] == mark);
        words.push_back(misread ? mark + word : word);
    }
    return words;
}

void unmark(request &wanted) {
    for (std::vector<std::string> *words : {&wanted.info.names, &wanted.nearest.units, &wanted.convert.names,
                                            &wanted.convert.lists, &wanted.convert.whole.meshes.globs})
        for (std::string &word : *words)
            unmark(word);
    for (std::string *word : {&wanted.dump.name, &wanted.dump.path, &wanted.convert.folder, &wanted.nearest.scene,
                              &wanted.nearest.position, &wanted.view.input, &wanted.view.page, &wanted.completion.file})
        unmark(*word);
}

void unmark_all(std::string &message) {
    for (std::size_t at; (at = message.find(mark)) != std::string::npos && at + 1 < message.size();)
        message.erase(at, 1);
}

} // namespace tool
