// SPDX-License-Identifier: MIT
#include "commands.h"
#include "examine/examined.h"
#include "info/info_archive.h"
#include "terminal/messages.h"
#include "terminal/writer.h"

#include <algorithm>
#include <unistd.h>

namespace tool {

namespace {

/// The verdict on standard error repeats the first problem, unless both streams are terminals: these have shown it.
bool problem_was_shown(const report &about) {
    return !about.problems.empty() && isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

void print_lines(const report &about, const archive_facts *archive, const info_options &options) {
    for (const report::entry &fact : about.facts)
        print_line(colour::heading, fact.name + ":", " " + fact.value);
    if (archive != nullptr) archive->print_lines(options);
    const bool sound = about.problems.empty();
    print_line(sound ? colour::good : colour::bad, std::string("sound: ") + (sound ? "yes" : "no"));
    for (const std::string &problem : about.problems)
        print_line(colour::bad, "problem:", " " + problem);
}

void write_json(const report &about, const archive_facts *archive, const info_options &options) {
    writer out(writer::style::json);
    out.open_object();
    for (const report::entry &fact : about.facts) {
        std::string name = fact.name;
        name.erase(std::remove(name.begin(), name.end(), ','), name.end());
        std::replace(name.begin(), name.end(), ' ', '_');
        if (fact.number && fact.value.size() < 16) // more digits than a double keeps
            out.digits(name.c_str(), fact.value);
        else
            out.utf8(name.c_str(), fact.value);
    }
    if (archive != nullptr) archive->write_json(out, options);
    out.boolean("sound", about.problems.empty());
    out.open_list("problems");
    for (const std::string &problem : about.problems)
        out.utf8(nullptr, problem);
    out.close();
    out.close();
}

bool print_report(const input_file &file, const report &about, const archive_facts *archive, bool first,
                  const info_options &options) {
    if (options.json && !options.quiet) write_json(about, archive, options);
    if (!options.json && !options.quiet) {
        if (!first) print_line("");
        print_lines(about, archive, options);
    }
    if (about.verdict().empty()) return true;
    if (options.quiet || options.json || !problem_was_shown(about)) print_error(file.name() + ": " + about.verdict());
    return false;
}

bool print_report(const std::string &name, bool first, const info_options &options) {
    const input_file file(name);
    if (file.kind() == file_kind::archive && !options.by_bytes) {
        const archive_facts archive(file);
        return print_report(file, archive.about(), &archive, first, options);
    }
    examined what(file);
    add_searched_facts(what);
    return print_report(file, what.about, nullptr, first, options);
}

} // namespace

int info(const info_options &options) {
    int status = 0;
    for (std::size_t i = 0; i < options.names.size(); ++i) {
        try {
            if (!print_report(options.names[i], i == 0, options)) status = 1;
        } catch (const failure &failed) {
            print_error(failed.what());
            status = 1;
        }
    }
    return status;
}

} // namespace tool
