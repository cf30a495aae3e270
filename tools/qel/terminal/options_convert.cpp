// SPDX-License-Identifier: MIT
#include "terminal/options.h"

#include "terminal/text.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace tool {

namespace {

/// Parses the number of a frame, which may be below 0.
bool parse_frame(const std::string &text, std::int32_t &number) {
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    number = static_cast<std::int32_t>(value);
    return !text.empty() && text[0] != ' ' && text[0] != '+' && *end == '\0' && value >= INT_MIN && value <= INT_MAX;
}

/// Parses "A:B" or "A:B:STEP"; without A or B the range is open at that end.
frame_range parse_range(const std::string &text) {
    frame_range range;
    const std::size_t first = text.find(':'), second = first == std::string::npos ? first : text.find(':', first + 1);
    const std::string from = text.substr(0, first),
                      to = first == std::string::npos ? "" : text.substr(first + 1, second - first - 1),
                      by = second == std::string::npos ? "1" : text.substr(second + 1);
    const bool right = first != std::string::npos && (from.empty() || parse_frame(from, range.first)) &&
                       (to.empty() || parse_frame(to, range.last)) && parse_frame(by, range.step) && range.step > 0 &&
                       range.first <= range.last;
    if (!right) throw CLI::ValidationError("--range", "\"" + text + "\" is no range of frames A:B or A:B:STEP");
    return range;
}

unsigned parse_parts(const std::vector<std::string> &words) {
    constexpr std::pair<const char *, unsigned> parts[] = {
        {"tokens", part_tokens}, {"scene", part_scene}, {"cache", part_cache}, {"agents", part_agents}};
    unsigned wanted = 0;
    for (const std::string &word : words) {
        const auto *const found =
            std::find_if(std::begin(parts), std::end(parts), [&](const auto &known) { return word == known.first; });
        if (found == std::end(parts))
            throw CLI::ValidationError("--only", "\"" + word + "\" is none of tokens, scene, cache, agents");
        wanted |= found->second;
    }
    return wanted;
}

/// Parses "I/N", the I-th of N parts.
void parse_shard(const std::string &text, convert_options &options) {
    const std::size_t slash = text.find('/');
    std::uint64_t number = 0, all = 0;
    if (slash == std::string::npos || !parse_number(text.substr(0, slash), number) ||
        !parse_number(text.substr(slash + 1), all) || number < 1 || number > all)
        throw CLI::ValidationError("--shard", "\"" + text + "\" is no part I/N with I from 1 to N");
    options.shard = number;
    options.shards = all;
}

void add_choice(CLI::App &sub, request &wanted) {
    convert_options &options = wanted.convert;
    std::vector<CLI::Option *> whole;
    whole.push_back(sub.add_option("--mesh", options.whole.meshes.globs,
                                   "Only the meshes whose path, or name where GLOB has no slash, is like this")
                        ->type_name("GLOB")
                        ->allow_extra_args(false));
    whole.push_back(sub.add_option_function<std::string>(
                           "--frame",
                           [&options](const std::string &text) {
                               std::int32_t number = 0;
                               if (!parse_frame(text, number))
                                   throw CLI::ValidationError("--frame", "\"" + text + "\" is no number of a frame");
                               options.whole.frame = number;
                           },
                           "Only as it is at this frame")
                        ->type_name("N"));
    whole.push_back(sub.add_option_function<std::string>(
                           "--range", [&options](const std::string &text) { options.whole.range = parse_range(text); },
                           "Only the frames of these numbers")
                        ->type_name("A:B:STEP")
                        ->excludes(whole.back()));
    whole.push_back(
        sub.add_option_function<std::vector<std::string>>(
               "--only",
               [&options](const std::vector<std::string> &words) { options.whole.parts = parse_parts(words); },
               "Only these of tokens, scene, cache, agents")
            ->type_name("PART,...")
            ->delimiter(',')
            ->allow_extra_args(false));
    wanted.choices.emplace_back(whole.back(), word_choice{{}, false, {"tokens", "scene", "cache", "agents"}, true});
    whole.push_back(sub.add_flag("--points", options.whole.meshes.points, "Points, curves and patches too"));
    whole.push_back(sub.add_flag_callback(
        "--object-space", [&options] { options.whole.meshes.world = false; },
        "Each mesh in its own space, not the world's"));
    CLI::Option *by_bytes =
        sub.add_flag("--by-bytes", options.by_bytes,
                     "Find one mesh by the look of the bytes, not by what the archive says; goes with none of the "
                     "choices above");
    for (CLI::Option *option : whole)
        by_bytes->excludes(option);
}

/// The options of several archives: which of them, and how many at once.
void add_many(CLI::App &sub, request &wanted) {
    convert_options &options = wanted.convert;
    wanted.choices.emplace_back(sub.add_option("--from-file", options.lists,
                                               "Take the archives that FILE names too, one a line; - is standard input")
                                    ->type_name("FILE")
                                    ->allow_extra_args(false),
                                word_choice{{"txt"}, true, {}, false});
    sub.add_option("-j,--jobs", options.processes, "Archives at once, each in a process of its own")
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N")
        ->capture_default_str();
    sub.add_option_function<std::string>(
           "--shard", [&options](const std::string &text) { parse_shard(text, options); },
           "Of all archives only the I-th of N parts")
        ->type_name("I/N");
    sub.add_flag("--resume", options.resume,
                 "Leave out archives that a run with this option has done, unless they have changed");
}

} // namespace

void add_convert(CLI::App &app, request &wanted) {
    CLI::App *sub = app.add_subcommand(
        "convert", "Make a unit, a scene, mesh caches and an agent directory out of an archive's meshes");
    convert_options &options = wanted.convert;
    wanted.choices.emplace_back(
        sub->add_option("ARCHIVE", options.names, "Alembic files, or folders of them; - is standard input"),
        word_choice{{"abc"}, true, {}, false});
    wanted.choices.emplace_back(
        sub->add_option("-o,--output", options.folder,
                        "Folder of the results, made if it is not there; of several archives each has a folder in it")
            ->required()
            ->type_name("FOLDER"),
        word_choice{{}, true, {}, false});
    add_choice(*sub, wanted);
    add_many(*sub, wanted);
    sub->add_flag("--json", options.json, "Write a JSON object a line of each archive");
    sub->add_flag("-v,--verbose", options.verbose, "Report every step and its time on standard error");
    add_common(*sub, wanted, options.quiet, "Say nothing but what goes wrong");
    sub->callback([&wanted] {
        if (wanted.convert.names.empty() && wanted.convert.lists.empty())
            throw CLI::RequiredError("ARCHIVE, or --from-file");
        wanted.command = [&wanted] { return convert(wanted.convert); };
    });
}

} // namespace tool
