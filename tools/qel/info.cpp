// SPDX-License-Identifier: MIT
#include "commands.h"
#include "examined.h"
#include "messages.h"

#include <unistd.h>

namespace tool {

namespace {

/// The verdict repeats the first problem for those who read standard error alone. On one terminal both are read.
bool repeats_what_was_said(const report &about) {
    return !about.problems.empty() && isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

bool tell(const std::string &name, bool first) {
    const input_file file(name);
    examined what(file);
    add_searched_facts(what);
    if (!first) say("");
    for (const auto &[fact, value] : what.about.facts)
        say(fact + ": " + value);
    say(std::string("sound: ") + (what.about.problems.empty() ? "yes" : "no"));
    for (const std::string &problem : what.about.problems)
        say("problem: " + problem);
    if (what.about.verdict().empty()) return true;
    if (!repeats_what_was_said(what.about)) complain(file.name() + ": " + what.about.verdict());
    return false;
}

} // namespace

int info(const std::vector<std::string> &names) {
    int status = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        try {
            if (!tell(names[i], i == 0)) status = 1;
        } catch (const failure &failed) {
            complain(failed.what());
            status = 1;
        }
    }
    return status;
}

} // namespace tool
