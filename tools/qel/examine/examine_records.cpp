// SPDX-License-Identifier: MIT
// Units and agent directories, the two formats of a header and records.
#include "examine/examined.h"
#include "terminal/text.h"

#include <map>
#include <set>

namespace tool {

namespace {

constexpr std::size_t max_cells = 1'000'000; // distinct keys that are counted

std::string list_of(const std::map<unsigned, std::uint64_t> &counts) {
    std::string text;
    for (const auto &[value, count] : counts) {
        if (!text.empty()) text += ", ";
        text += std::to_string(value) + " (" + std::to_string(count) + ")";
    }
    return text.empty() ? "none" : text;
}

bool is_hexadecimal(const char *id) {
    for (std::size_t i = 0; i < sizeof qel_agent::id; ++i)
        if (std::strchr("0123456789ABCDEF", id[i]) == nullptr || id[i] == '\0') return false;
    return true;
}

/// Sums up the records of an agent directory.
struct agent_census {
    std::map<unsigned, std::uint64_t> types, states;
    std::set<std::string> ids;
    tally bad_ids, bad_states;
    std::uint64_t running = 0;

    void add(std::uint64_t slot, const qel_agent &agent) {
        ++types[agent.type];
        ++states[agent.state];
        if (agent.state != QEL_AGENT_STATE_TERMINATED) ++running;
        if (agent.state > QEL_AGENT_STATE_TERMINATED) bad_states.found(slot); // the last of the states
        if (!is_hexadecimal(agent.id)) bad_ids.found(slot);
        ids.insert(std::string(agent.id, sizeof agent.id));
    }
};

} // namespace

void check_unit(report &about, const input_file &file) {
    if (file.size() < sizeof(record_header)) return about.fatal("its header is cut short");
    const auto header = file.header<record_header>();
    check_version(about, header.version, unit_version);
    compare_sizes(about, file.size(), sizeof header + std::uint64_t{header.count} * sizeof(qel_token));
}

void examine_unit(examined &what) {
    report &about = what.about;
    const input_file &file = what.file;
    check_unit(about, file);
    if (!about.readable) return;
    const auto header = file.header<record_header>();
    std::map<unsigned, std::uint64_t> layers;
    std::set<std::uint64_t> cells;
    std::uint64_t last = 0, low = ~std::uint64_t{0}, high = 0;
    bool sorted = true;
    const std::uint64_t found = each_record<qel_token>(file, header.count, [&](std::uint64_t, const qel_token &token) {
        sorted = sorted && token.morton >= last;
        last = token.morton;
        low = std::min(low, last);
        high = std::max(high, last);
        ++layers[token.layer];
        if (cells.size() <= max_cells) cells.insert(last);
    });
    about.fact("version", header.version);
    about.fact("tokens", found);
    about.fact("extra", header.extra);
    about.fact("saved", time_text(header.saved_at));
    about.fact("sorted", sorted ? "yes" : "no, loading sorts it");
    if (found > 0) about.fact("keys", std::to_string(low) + " to " + std::to_string(high));
    about.fact("distinct keys",
               (cells.size() > max_cells ? "more than " : "") + std::to_string(std::min(cells.size(), max_cells)));
    about.fact("layers", list_of(layers));
}

void examine_agents(examined &what) {
    report &about = what.about;
    const input_file &file = what.file;
    if (file.size() < sizeof(record_header)) return about.fatal("its header is cut short");
    const auto header = file.header<record_header>();
    const std::uint32_t count = header.count, active = header.extra;
    const std::uint64_t wanted = std::min(count, QEL_AGENT_CAPACITY);
    agent_census all;
    const std::uint64_t found =
        each_record<qel_agent>(file, wanted, [&](std::uint64_t slot, const qel_agent &agent) { all.add(slot, agent); });
    about.fact("version", header.version);
    about.fact("agents", found);
    about.fact("active", active);
    about.fact("saved", time_text(header.saved_at));
    about.fact("types", list_of(all.types));
    about.fact("states", list_of(all.states));
    about.fact("distinct ids", all.ids.size()); // fewer than agents after the id counter has wrapped
    check_version(about, header.version, agents_version);
    if (count > QEL_AGENT_CAPACITY)
        about.problem("it claims " + counted(count, "agent") + ", a directory holds at most " +
                      std::to_string(QEL_AGENT_CAPACITY));
    compare_sizes(about, file.size(), sizeof header + wanted * sizeof(qel_agent));
    all.bad_ids.add_problem(about, "agent", "an id that is not eight hexadecimal digits");
    all.bad_states.add_problem(about, "agent", "an impossible state");
    // A reset revives a terminated agent without counting it, so that more may run than are counted.
    if (active > all.running && found == count)
        about.problem("it counts " + std::to_string(active) + " active, but only " + std::to_string(all.running) +
                      " have not ended");
}

} // namespace tool
