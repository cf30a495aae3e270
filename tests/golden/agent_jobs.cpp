// SPDX-License-Identifier: MIT
// Sequences of operations on the agent directory, and its file.
#include "golden/inputs.h"
#include "golden/jobs.h"

#include <qel_unit.h>

namespace qel::test {
namespace {

constexpr std::size_t agent_time_at = 16;

/// One operation at random on an id that may exist.
void act(digest &results, noise &random, const std::vector<std::string> &ids) {
    const auto any_id = [&] {
        return random.below(10) == 0 || ids.empty() ? std::string("2A9E0FFF")
                                                    : ids[random.below(static_cast<std::uint32_t>(ids.size()))];
    };
    const std::string id = any_id(), other = any_id();
    switch (random.below(4)) {
    case 0:
        results.add(qel_agent_terminate(id.c_str()));
        break;
    case 1:
        results.add(qel_agent_delegate(id.c_str(), other.c_str(), random.next()));
        break;
    case 2:
        results.add(qel_agent_control(id.c_str(), random.below(6)));
        break;
    default: {
        qel_agent agent;
        const std::int32_t status = qel_agent_query(id.c_str(), &agent);
        results.add(status);
        if (status == 0) results.add_bytes(&agent, sizeof agent);
    }
    }
}

void add_directory(digest &results) {
    std::uint32_t total = 0, active = 0, counts[4] = {};
    qel_agent_dir_stats(&total, &active, counts);
    results.add(total, active);
    results.add_array(counts, 4);
    for (const char *pattern : {"2A9E01**", "********", "", "2A9E1*0*"}) {
        char ids[9 * 500] = {};
        const std::uint32_t found = qel_agent_monitor(pattern, ids, 500);
        results.add_bytes(ids, found * 9);
    }
}

void agents(digest &results) {
    noise random(51);
    results.add(qel_agent_terminate("2A9E0100")); // no directory
    results.add(qel_agent_dir_sync());
    results.add(qel_agent_dir_init("agents.qeag"));
    std::vector<std::string> ids;
    for (int i = 0; i < 600; ++i) {
        if (i % 2 == 0) {
            char id[9] = {};
            const std::string parent =
                ids.empty() ? std::string("ROOT0000") : ids[random.below(static_cast<std::uint32_t>(ids.size()))];
            const auto type = static_cast<std::uint8_t>(random.below(6));
            const auto tier = static_cast<std::uint8_t>(random.below(4));
            const char *const given = i % 5 == 0 ? nullptr : parent.c_str();
            results.add(qel_agent_spawn(given, type, tier, random.byte(), id));
            results.add(std::string(id));
            ids.push_back(id);
        }
        act(results, random, ids);
    }
    add_directory(results);
    results.add(qel_agent_dir_sync());
    results.add_file("agents.qeag", agent_time_at);
    results.add(qel_agent_dir_save("copy.qeag"));
    results.add(qel_agent_dir_save("missing/copy.qeag"));
    results.add(file_exists("copy.qeag.tmp"));
    qel_agent_dir_free();

    results.add(qel_agent_dir_load("copy.qeag"));
    add_directory(results);
    for (int i = 0; i < 200; ++i)
        act(results, random, ids);
    add_directory(results);
    qel_agent_dir_free(); // saves over copy.qeag, which exists
    results.add_file("copy.qeag", agent_time_at);
}

void damaged_directories(digest &results) {
    const bytes file = read_file("copy.qeag");
    for (const std::size_t size : {std::size_t{15}, std::size_t{16}, std::size_t{24}, std::size_t{100}}) {
        write_file("cut.qeag", bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        results.add(qel_agent_dir_load("cut.qeag"));
        add_directory(results);
        qel_agent_dir_free();
    }
    write_file("cut.qeag", bytes(100, 'Q'));
    results.add(qel_agent_dir_load("cut.qeag"));
    results.add(qel_agent_dir_load("missing.qeag"));
    qel_agent_dir_free();
}

} // namespace

const job agent_jobs[] = {{"agents", agents}, {"damaged_directories", damaged_directories}, {nullptr, nullptr}};

} // namespace qel::test
