// SPDX-License-Identifier: MIT
#include "terminal/options.h"

#include "terminal/text.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace tool {

namespace {

/// A number of a frame, which may be below 0; nothing else.
bool parse_frame(const std::string &text, std::int32_t &number) {
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    number = static_cast<std::int32_t>(value);
    return !text.empty() && text[0] != ' ' && text[0] != '+' && *end == '\0' && value >= INT_MIN &&
           value <= INT_MAX;
}

/// "A:B" or "A:B:STEP"; an end that is left out is that of the archive.
job::frame_range parse_range(const std::string &text) {
    job::frame_range range;
    const std::size_t first = text.find(':'),
                      second = first == std::string::npos ? first : text.find(':', first + 1);
    const std::string from = text.substr(0, first),
                      to = first == std::string::npos ? "" : text.substr(first + 1, second - first - 1),
                      by = second == std::string::npos ? "1" : text.substr(second + 1);
    const bool right = first != std::string::npos && (from.empty() || parse_frame(from, range.first)) &&
                       (to.empty() || parse_frame(to, range.last)) && parse_frame(by, range.step) &&
                       range.step > 0 && range.first <= range.last;
    if (!right)
        throw CLI::ValidationError("--range", "\"" + text + "\" is no range of frames A:B or A:B:STEP");
    return range;
}

unsigned parse_parts(const std::vector<std::string> &words) {
    constexpr std::pair<const char *, unsigned> parts[] = {{"tokens", job::part_tokens},
                                                           {"scene", job::part_scene},
                                                           {"cache", job::part_cache},
                                                           {"agents", job::part_agents}};
    unsigned wanted = 0;
    for (const std::string &word : words) {
        const auto *const found = std::find_if(std::begin(parts), std::end(parts),
                                               [&](const auto &known) { return word == known.first; });
        if (found == std::end(parts))
            throw CLI::ValidationError("--only", "\"" + word + "\" is none of tokens, scene, cache, agents");
        wanted |= found->second;
    }
    return wanted;
}

/// "I/N", the I-th of N parts.
void parse_shard(const std::string &text, convert_options &made) {
    const std::size_t slash = text.find('/');
    std::uint64_t number = 0, all = 0;
    if (slash == std::string::npos || !parse_number(text.substr(0, slash), number) ||
        !parse_number(text.substr(slash + 1), all) || number < 1 || number > all)
        throw CLI::ValidationError("--shard", "\"" + text + "\" is no part I/N with I from 1 to N");
    made.shard = number;
    made.shards = all;
}

void add_choice(CLI::App &sub, request &wanted) {
    convert_options &made = wanted.made;
    std::vector<CLI::Option *> whole;
    whole.push_back(
        sub.add_option("--mesh", made.whole.meshes.globs,
                       "Only the meshes whose path, or name where GLOB has no slash, is like this")
            ->type_name("GLOB")
            ->allow_extra_args(false));
    whole.push_back(sub.add_option_function<std::string>(
                           "--frame",
                           [&made](const std::string &text) {
                               std::int32_t number = 0;
                               if (!parse_frame(text, number))
                                   throw CLI::ValidationError("--frame",
                                                              "\"" + text + "\" is no number of a frame");
                               made.whole.frame = number;
                           },
                           "Only as it is at this frame")
                        ->type_name("N"));
    whole.push_back(sub.add_option_function<std::string>(
                           "--range",
                           [&made](const std::string &text) { made.whole.range = parse_range(text); },
                           "Only the frames of these numbers")
                        ->type_name("A:B:STEP")
                        ->excludes(whole.back()));
    whole.push_back(
        sub.add_option_function<std::vector<std::string>>(
               "--only",
               [&made](const std::vector<std::string> &words) { made.whole.parts = parse_parts(words); },
               "Only these of tokens, scene, cache, agents")
            ->type_name("PART,...")
            ->delimiter(',')
            ->allow_extra_args(false));
    wanted.choices.emplace_back(whole.back(),
                                word_choice{{}, false, {"tokens", "scene", "cache", "agents"}, true});
    whole.push_back(sub.add_flag("--points", made.whole.meshes.points, "Points, curves and patches too"));
    whole.push_back(sub.add_flag_callback(
        "--object-space", [&made] { made.whole.meshes.world = false; },
        "Each mesh in its own space, not the world's"));
    CLI::Option *by_bytes = sub.add_flag(
        "--by-bytes", made.by_bytes,
        "Find one mesh by the look of the bytes, not by what the archive says; goes with none of the "
        "choices above");
    for (CLI::Option *option : whole)
        by_bytes->excludes(option);
}

/// Which of many archives, and how many at once.
void add_many(CLI::App &sub, request &wanted) {
    convert_options &made = wanted.made;
    wanted.choices.emplace_back(
        sub.add_option("--from-file", made.lists,
                       "Take the archives that FILE names too, one a line; - is standard input")
            ->type_name("FILE")
            ->allow_extra_args(false),
        word_choice{{"txt"}, true, {}, false});
    sub.add_option("-j,--jobs", made.processes, "Archives at once, each in a process of its own")
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N")
        ->capture_default_str();
    sub.add_option_function<std::string>(
           "--shard", [&made](const std::string &text) { parse_shard(text, made); },
           "Of all archives only the I-th of N parts")
        ->type_name("I/N");
    sub.add_flag("--resume", made.resume,
                 "Leave out archives that a run with this option has done, unless they have changed");
}

} // namespace

void add_convert(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand(
        "convert", "Make a unit, a scene, mesh caches and an agent directory out of an archive's meshes");
    convert_options &made = wanted.made;
    wanted.choices.emplace_back(
        sub->add_option("ARCHIVE", made.names, "Alembic files, or folders of them; - is standard input"),
        word_choice{{"abc"}, true, {}, false});
    wanted.choices.emplace_back(
        sub->add_option(
               "-o,--output", made.folder,
               "Folder of the results, made if it is not there; of several archives each has a folder in it")
            ->required()
            ->type_name("FOLDER"),
        word_choice{{}, true, {}, false});
    add_choice(*sub, wanted);
    add_many(*sub, wanted);
    sub->add_flag("--json", made.json, "Write a JSON object a line of each archive");
    sub->add_flag("-v,--verbose", made.verbose, "Report every step and its time on standard error");
    add_common(*sub, wanted, made.quiet, "Say nothing but what goes wrong");
    sub->callback([&wanted] {
        if (wanted.made.names.empty() && wanted.made.lists.empty())
            throw CLI::RequiredError("ARCHIVE, or --from-file");
        wanted.command = [&wanted] { return convert(wanted.made); };
    });
}

} // namespace tool
