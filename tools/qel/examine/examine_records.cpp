// SPDX-License-Identifier: MIT
// The two formats that are a header and records: units and agent directories.
#include "examine/examined.h"
#include "terminal/text.h"

#include <map>
#include <set>

namespace tool {

namespace {

constexpr std::uint64_t header_bytes = 24;

std::string list_of(const std::map<unsigned, std::uint64_t> &counts) {
    std::string text;
    for (const auto &[value, count] : counts) {
        if (!text.empty()) text += ", ";
        text += std::to_string(value) + " (" + std::to_string(count) + ")";
    }
    return text.empty() ? "none" : text;
}

bool is_hexadecimal(const char *id) {
    for (int i = 0; i < 8; ++i)
        if (std::strchr("0123456789ABCDEF", id[i]) == nullptr || id[i] == '\0') return false;
    return true;
}

/// What the records of an agent directory hold.
struct agent_census {
    std::map<unsigned, std::uint64_t> types, states;
    std::set<std::string> ids;
    tally bad_ids, bad_states;
    std::uint64_t running = 0;

    void add(std::uint64_t slot, const qel_agent &agent) {
        ++types[agent.type];
        ++states[agent.state];
        if (agent.state != 6) ++running;
        if (agent.state > 6) bad_states.found(slot);
        if (!is_hexadecimal(agent.id)) bad_ids.found(slot);
        ids.insert(std::string(agent.id, 8));
    }
};

} // namespace

void check_unit(report &about, const input_file &file) {
    if (file.size() < header_bytes) return about.fatal("its header is cut short");
    const auto version = head_number<std::uint32_t>(file, 4), count = head_number<std::uint32_t>(file, 8);
    if (version != 1) about.problem("its version is " + std::to_string(version) + ", not 1");
    compare_sizes(about, file.size(), header_bytes + std::uint64_t{count} * sizeof(qel_token));
}

void examine_unit(examined &what) {
    report &about = what.about;
    const input_file &file = what.file;
    check_unit(about, file);
    if (!about.readable) return;
    const auto version = head_number<std::uint32_t>(file, 4), count = head_number<std::uint32_t>(file, 8);
    std::map<unsigned, std::uint64_t> layers;
    std::set<std::uint64_t> cells;
    std::uint64_t last = 0, low = ~std::uint64_t{0}, high = 0, cell_limit = 1'000'000;
    bool sorted = true;
    const std::uint64_t found =
        each_record<qel_token>(file, header_bytes, count, [&](std::uint64_t, const qel_token &token) {
            sorted = sorted && token.morton >= last;
            last = token.morton;
            low = std::min(low, last);
            high = std::max(high, last);
            ++layers[token.layer];
            if (cells.size() <= cell_limit) cells.insert(last);
        });
    about.fact("version", version);
    about.fact("tokens", found);
    about.fact("extra", head_number<std::uint32_t>(file, 12));
    about.fact("saved", time_text(head_number<std::int64_t>(file, 16)));
    about.fact("sorted", sorted ? "yes" : "no, loading sorts it");
    if (found > 0) about.fact("keys", std::to_string(low) + " to " + std::to_string(high));
    about.fact("distinct keys",
               cells.size() > cell_limit ? "more than 1000000" : std::to_string(cells.size()));
    about.fact("layers", list_of(layers));
}

void examine_agents(examined &what) {
    report &about = what.about;
    const input_file &file = what.file;
    if (file.size() < header_bytes) return about.fatal("its header is cut short");
    const auto version = head_number<std::uint32_t>(file, 4), count = head_number<std::uint32_t>(file, 8),
               active = head_number<std::uint32_t>(file, 12);
    const std::uint64_t wanted = std::min(count, QEL_AGENT_CAPACITY);
    agent_census all;
    const std::uint64_t found =
        each_record<qel_agent>(file, header_bytes, wanted,
                               [&](std::uint64_t slot, const qel_agent &agent) { all.add(slot, agent); });
    about.fact("version", version);
    about.fact("agents", found);
    about.fact("active", active);
    about.fact("saved", time_text(head_number<std::int64_t>(file, 16)));
    about.fact("types", list_of(all.types));
    about.fact("states", list_of(all.states));
    about.fact("distinct ids", all.ids.size()); // fewer than agents once the counter of ids has come round
    if (version != 1) about.problem("its version is " + std::to_string(version) + ", not 1");
    if (count > QEL_AGENT_CAPACITY)
        about.problem("it claims " + counted(count, "agent") + ", a directory holds at most 65536");
    compare_sizes(about, file.size(), header_bytes + wanted * sizeof(qel_agent));
    all.bad_ids.tell(about, "agent", "an id that is not eight hexadecimal digits");
    all.bad_states.tell(about, "agent", "an impossible state");
    // A reset brings an ended agent back without counting it, so there may be more running than counted.
    if (active > all.running && found == count)
        about.problem("it counts " + std::to_string(active) + " active, but only " +
                      std::to_string(all.running) + " have not ended");
}

} // namespace tool
