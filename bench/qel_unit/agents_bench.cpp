// SPDX-License-Identifier: MIT
// The agent directory: init, spawns, monitor.
#include "qel_unit.h"

#include "baseline/agents.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <string>
#include <vector>

namespace qel::bench {

namespace {

void init(benchmark::State &state) {
    qel_agent_dir *plain = nullptr;
    side_by_side(state, {[] { qel_agent_dir_init(nullptr); }, [] { qel_agent_dir_free(); }})
        .model({[&] { plain = baseline::agent_init(); }, [&] { baseline::agent_free(plain); }}, 1.5)
        .limit("filling 32 MiB of huge pages", {[] { huge_memory(std::size_t{32} << 20).fill(); }}, 1.3)
        .measure();
}

/// Spawns agents of all tiers, so that some try 28 identities; the identities are appended to one another.
template <class Spawn>
void spawn_all(std::string &ids, Spawn spawn) {
    for (std::size_t i = 0; i < QEL_AGENT_CAPACITY; ++i)
        spawn(static_cast<std::uint8_t>(i % 5), static_cast<std::uint8_t>(i % 4), &ids[i * 9]);
}

void spawn_ours(std::string &ids) {
    spawn_all(ids, [](std::uint8_t type, std::uint8_t tier, char *id) { qel_agent_spawn(nullptr, type, tier, 9, id); });
}

void spawn_plain(qel_agent_dir *dir, std::string &ids) {
    spawn_all(ids, [dir](std::uint8_t type, std::uint8_t tier, char *id) {
        baseline::agent_spawn(dir, nullptr, type, tier, 9, id);
    });
}

void spawn(benchmark::State &state) {
    std::string ids(std::size_t{QEL_AGENT_CAPACITY} * 9, '\0'), plain_ids = ids;
    qel_agent_dir *plain = nullptr;
    const contender ours = {[&] { spawn_ours(ids); }, [] { qel_agent_dir_free(); },
                            [] { qel_agent_dir_init(nullptr); }};
    const contender straight = {[&] { spawn_plain(plain, plain_ids); }, [&] { baseline::agent_free(plain); },
                                [&] { plain = baseline::agent_init(); }};
    for (const contender &way : {ours, straight}) {
        way.before();
        way.run();
        way.after();
    }
    if (!agree(state, ids == plain_ids, "the plain identities differ")) return;
    side_by_side(state, ours).model(straight, 1).measure();
}

void monitor(benchmark::State &state) {
    std::string ids(std::size_t{QEL_AGENT_CAPACITY} * 9, '\0'), plain_ids = ids;
    qel_agent_dir_init(nullptr);
    qel_agent_dir *const plain = baseline::agent_init();
    spawn_ours(ids);
    spawn_plain(plain, ids);
    const char *const pattern = "2A9E**0*";
    const auto run = [&] { keep(qel_agent_monitor(pattern, ids.data(), 65536)); };
    const auto run_plainly = [&] { keep(baseline::agent_monitor(plain, pattern, plain_ids.data(), 65536)); };
    ids.assign(ids.size(), '\0');
    run();
    run_plainly();
    if (agree(state, ids == plain_ids, "the plain list differs"))
        side_by_side(state, {run}).model({run_plainly}, 2).measure();
    qel_agent_dir_free();
    baseline::agent_free(plain);
}

} // namespace

void add_agent_rows() {
    row("agent directory: init", "65,536 slots", init);
    row("agent directory: spawn", "65,536 spawns", spawn);
    row("agent directory: monitor", "65,536 agents", monitor);
}

} // namespace qel::bench
