// SPDX-License-Identifier: MIT
#include "options.h"

namespace tool {

namespace {

/// CLI11 takes "[a,b]" for two words and "{}" for none where it may have several. So words with such a beginning
/// pass through it with a mark in front of them.
constexpr char mark = '\x01';

void unmark(std::string &word) {
    if (!word.empty() && word[0] == mark) word.erase(0, 1);
}

void add_info(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("info", "Say what a file holds, and whether it is sound");
    info_options &told = wanted.told;
    sub->add_option("FILE", told.names,
                    "Unit, scene, mesh cache, agent directory or archive; - is standard input")
        ->required();
    sub->add_flag("-t,--tree", told.tree, "Draw the objects of an archive");
    sub->add_flag("-v,--verbose", told.verbose, "Their properties too");
    sub->add_flag(
        "--by-bytes", told.by_bytes,
        "Of an archive, say what is found by the look of its bytes, and which of its meshes that is");
    sub->add_flag("-j,--json", told.json, "Write JSON instead of lines");
    sub->add_flag("-q,--quiet", told.quiet, "Say nothing but what is wrong");
    sub->callback([&wanted] { wanted.command = [&wanted] { return info(wanted.told); }; });
}

void add_nearest(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("nearest", "Find the tokens of a unit that are nearest to a key");
    sub->add_option("UNIT PLACE", wanted.around.units,
                    "Unit files, - is standard input, and a key, decimal or 0x..., or X,Y,Z: a cell of the "
                    "lattice, 0 to 47 each")
        ->required();
    CLI::Option *position =
        sub->add_option("--position", wanted.around.position, "Instead of PLACE, a position in the world")
            ->type_name("X,Y,Z");
    CLI::Option *scene = sub->add_option("--scene", wanted.around.scene,
                                         "The scene whose mesh nearest to the position lays the lattice")
                             ->type_name("FILE");
    position->needs(scene);
    scene->needs(position);
    sub->add_option("-k,--count", wanted.around.count, "Number of tokens")
        ->check(CLI::Range(1, 2147483647))
        ->type_name("N")
        ->capture_default_str();
    sub->add_flag(
        "-p,--packed", wanted.around.packed,
        "X,Y,Z stands for the packed key of a lattice vertex (0 to 65535) instead of a Morton code");
    sub->add_flag("-j,--json", wanted.around.json, "Write JSON instead of a table");
    sub->callback([&wanted] {
        if (wanted.around.position.empty() && wanted.around.units.size() < 2)
            throw CLI::RequiredError("PLACE, or --position");
        wanted.command = [&wanted] { return nearest(wanted.around); };
    });
}

void add_dump(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand("dump", "Write everything that a file holds as text");
    dump_options &dumped = wanted.dumped;
    sub->add_option("FILE", dumped.name,
                    "Unit, scene, mesh cache, agent directory or archive; - is standard input")
        ->required();
    sub->add_option("--path", dumped.path, "Of an archive, only this object and what is below it")
        ->type_name("PATH");
    sub->add_option("--sample", dumped.sample,
                    "Of an archive, only this sample of each property, or the last where there are fewer")
        ->type_name("N");
    sub->add_flag("--by-bytes", dumped.by_bytes,
                  "Of an archive, the mesh that is found by the look of its bytes");
    sub->add_flag("-j,--json", dumped.json, "Write JSON instead of lines \"path = value\"");
    sub->callback([&wanted] { wanted.command = [&wanted] { return dump(wanted.dumped); }; });
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

} // namespace

void add_commands(CLI::App &app, request &wanted) {
    add_info(app, wanted);
    add_convert(app, wanted);
    add_nearest(app, wanted);
    add_dump(app, wanted);
    add_view(app, wanted);
}

std::vector<std::string> marked(int argc, char **argv) {
    std::vector<std::string> words;
    for (int i = argc - 1; i > 0; --i) { // the last one first, as parse() wants them
        const std::string word = argv[i];
        const bool misread = !word.empty() && (word[0] == '[' || word[0] == '{' || word[0] == mark);
        words.push_back(misread ? mark + word : word);
    }
    return words;
}

void unmark(request &wanted) {
    for (std::vector<std::string> *words :
         {&wanted.told.names, &wanted.around.units, &wanted.made.names, &wanted.made.whole.meshes.globs})
        for (std::string &word : *words)
            unmark(word);
    for (std::string *word :
         {&wanted.dumped.name, &wanted.dumped.path, &wanted.made.folder, &wanted.around.scene,
          &wanted.around.position, &wanted.seen.input, &wanted.seen.page})
        unmark(*word);
}

void unmark_all(std::string &message) {
    for (std::size_t at; (at = message.find(mark)) != std::string::npos && at + 1 < message.size();)
        message.erase(at, 1);
}

} // namespace tool
