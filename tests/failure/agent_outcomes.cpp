// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"
#include "qel_unit/agents/agent_fixture.h"

#include <filesystem>

namespace qel::test {
namespace {

constexpr char first_id[] = "2A9E0100", second_id[] = "2A9E0101", unknown_id[] = "2A9E0300";

/// A clean directory of two agents, of which the second has ended.
void make_agents() {
    qel_agent_dir_init("agents");
    char id[9];
    qel_agent_spawn(nullptr, 1, 0, 5, id);
    qel_agent_spawn(nullptr, 2, 0, 6, id);
    qel_agent_terminate(second_id);
    g_agent_dir->dirty = 0;
}

/// Watches the directory and an agent of it.
template <std::uint32_t slot>
void watch_agents(caller &c) {
    make_agents();
    c.watch_directory();
    c.watch(g_agent_dir->agents[slot]);
}

constexpr auto watch_live_agent = watch_agents<0>, watch_ended_agent = watch_agents<1>;

std::int32_t init(caller &c, std::uint64_t failing_allocation) {
    c.watch_directory();
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_agent_dir_init(c.path.c_str());
}

bytes two_agents(std::uint32_t claimed = 2) {
    return directory_file({make_agent("2A9E0205", 1), make_agent("2A9E0206", 2)}, claimed, 1, 77, 3);
}

std::int32_t load(caller &c, const bytes &file) {
    write_file(c.path, file);
    watch_live_agent(c);
    return qel_agent_dir_load(c.path.c_str());
}

std::int32_t load_first(caller &c, const bytes &file, std::uint64_t failing_allocation = 0) {
    write_file(c.path, file);
    c.watch_directory();
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_agent_dir_load(c.path.c_str());
}

std::int32_t save(caller &c, const char *path) {
    make_agents();
    g_agent_dir->dirty = 1;
    c.watch_directory();
    c.watch_file();
    const std::int32_t status = qel_agent_dir_save(path);
    if (g_agent_dir->saved_at != 0) g_agent_dir->saved_at = 1; // any time
    return status;
}

std::int32_t spawn(caller &c, std::uint32_t agent_count) {
    make_agents();
    g_agent_dir->agent_count = agent_count;
    c.watch_directory();
    c.watch(g_agent_dir->agents[agent_count % QEL_AGENT_CAPACITY]);
    c.watch("id_out", c.text);
    return qel_agent_spawn("parent__", 7, 0, 9, c.text);
}

std::int32_t spawn_first(caller &c, std::uint64_t failing_allocation = 0) {
    c.watch_directory();
    c.watch("id_out", c.text);
    const failing_heap heap = failing_heap::nth(failing_allocation);
    return qel_agent_spawn(nullptr, 7, 3, 9, c.text);
}

std::int32_t query(caller &c, const char *id) {
    watch_live_agent(c);
    c.watch(c.agent);
    return qel_agent_query(id, &c.agent);
}

} // namespace

const std::vector<outcome> agent_outcomes = {
    {"qel_agent_dir_init", 0, "", [](caller &c) { return init(c, 0); }, "a new directory"},
    {"qel_agent_dir_init", 0, "there is one", [](caller &c) { return qel_agent_dir_init(c.path.c_str()); }, "nothing",
     watch_live_agent},
    {"qel_agent_dir_init", -1, "", [](caller &c) { return init(c, 1); }, "nothing"},
    {"qel_agent_dir_init", -2, "the agents", [](caller &c) { return init(c, 2); }, "nothing"},
    {"qel_agent_dir_init", -2, "the index's buckets", [](caller &c) { return init(c, 5); }, "nothing"},

    {"qel_agent_dir_load", 0, "", [](caller &c) { return load(c, two_agents()); },
     "version 3, saved_at 77, path \"PATH\", index->node_count 4, id \"2A9E0205\", tag 0"},
    {"qel_agent_dir_load", 0, "the file claims three", [](caller &c) { return load(c, two_agents(3)); },
     "version 3, agent_count 3, saved_at 77, path \"PATH\", index->node_count 4, id \"2A9E0205\", tag 0"},
    {"qel_agent_dir_load", 0, "the header alone, without its time",
     [](caller &c) {
         bytes file = two_agents();
         file.resize(23);
         return load(c, file);
     },
     "version 3, path \"PATH\""},
    {"qel_agent_dir_load", 0, "the first", [](caller &c) { return load_first(c, two_agents()); }, "a new directory"},
    {"qel_agent_dir_load", -1, "", [](caller &c) { return load_first(c, two_agents(), 2); }, "nothing"},
    {"qel_agent_dir_load", -2, "", [](caller &c) { return qel_agent_dir_load(c.path.c_str()); }, "nothing",
     watch_live_agent},
    {"qel_agent_dir_load", -2, "the first", [](caller &c) { return qel_agent_dir_load(c.path.c_str()); },
     "a new directory", watching_directory},
    {"qel_agent_dir_load", -3, "", [](caller &c) { return load(c, bytes(15, 'Q')); }, "nothing"},
    {"qel_agent_dir_load", -4, "", [](caller &c) { return load(c, bytes(100, 'Q')); }, "nothing"},

    {"qel_agent_dir_save", 0, "", [](caller &c) { return save(c, c.path.c_str()); },
     "saved_at 1, dirty 0, file of 104"},
    {"qel_agent_dir_save", 0, "a folder with a file in it is in the way",
     [](caller &c) {
         std::filesystem::create_directory(c.folder.file("target"));
         write_file(c.folder.file("target/within"), {1});
         c.path = c.folder.file("target.tmp");
         return save(c, c.folder.file("target").c_str());
     },
     "saved_at 1, dirty 0, file of 104"},
    {"qel_agent_dir_save", -1, "",
     [](caller &c) {
         c.watch_directory();
         c.watch_file();
         return qel_agent_dir_save(c.path.c_str());
     },
     "nothing"},
    {"qel_agent_dir_save", -2, "", [](caller &c) { return save(c, ""); }, "nothing"},
    {"qel_agent_dir_save", -3, "", [](caller &c) { return save(c, (c.path + "/in-no-folder").c_str()); }, "nothing"},

    {"qel_agent_spawn", 0, "", [](caller &c) { return spawn(c, 2); },
     "agent_count 3, active_count 2, dirty 1, index->node_count 3, id \"2A9E0102\", parent \"parent__\", "
     "type 7, flag_idle 1, tag 9, id_out \"2A9E0102\""},
    {"qel_agent_spawn", 0, "the first", [](caller &c) { return spawn_first(c); },
     "id_out \"2A9E1000\", a new directory"},
    {"qel_agent_spawn", -1, "", [](caller &c) { return spawn_first(c, 1); }, "nothing"},
    {"qel_agent_spawn", -2, "", [](caller &c) { return spawn(c, QEL_AGENT_CAPACITY); }, "nothing"},

    {"qel_agent_terminate", 0, "", [](caller &) { return qel_agent_terminate(first_id); },
     "active_count 0, dirty 1, state 6, flag_idle 0, flag_terminated 1", watch_live_agent},
    {"qel_agent_terminate", -1, "", [](caller &) { return qel_agent_terminate(first_id); }, "nothing"},
    {"qel_agent_terminate", -2, "", [](caller &) { return qel_agent_terminate(unknown_id); }, "nothing",
     watch_live_agent},
    {"qel_agent_terminate", -3, "", [](caller &) { return qel_agent_terminate(second_id); }, "nothing",
     watch_ended_agent},

    {"qel_agent_delegate", 0, "", [](caller &) { return qel_agent_delegate(second_id, first_id, 42); },
     "dirty 1, parent \"2A9E0101\", state 2, flag_idle 0, flag_delegated 1, task 42", watch_live_agent},
    {"qel_agent_delegate", -1, "", [](caller &) { return qel_agent_delegate(first_id, first_id, 42); }, "nothing"},
    {"qel_agent_delegate", -2, "", [](caller &) { return qel_agent_delegate(unknown_id, first_id, 42); }, "nothing",
     watch_live_agent},
    {"qel_agent_delegate", -3, "", [](caller &) { return qel_agent_delegate(first_id, unknown_id, 42); }, "nothing",
     watch_live_agent},
    {"qel_agent_delegate", -4, "", [](caller &) { return qel_agent_delegate(first_id, second_id, 42); }, "nothing",
     watch_ended_agent},

    {"qel_agent_query", 0, "", [](caller &c) { return query(c, first_id); },
     "id \"2A9E0100\", parent \"2A9E0000\", type 1, flag_idle 1, tag 5, rest 0"},
    {"qel_agent_query", -1, "no directory", [](caller &c) { return qel_agent_query(first_id, &c.agent); }, "nothing",
     watching<&caller::agent>},
    {"qel_agent_query", -2, "", [](caller &c) { return query(c, unknown_id); }, "nothing"},

    {"qel_agent_control", 0, "the state stays", [](caller &) { return qel_agent_control(first_id, 0); }, "dirty 1",
     watch_live_agent},
    {"qel_agent_control", 0, "an ended agent is reset", [](caller &) { return qel_agent_control(second_id, 4); },
     "dirty 1, state 1, flag_idle 1, flag_terminated 0", watch_ended_agent},
    {"qel_agent_control", -1, "", [](caller &) { return qel_agent_control(first_id, 4); }, "nothing"},
    {"qel_agent_control", -2, "", [](caller &) { return qel_agent_control(unknown_id, 4); }, "nothing",
     watch_live_agent},
    {"qel_agent_control", -3, "", [](caller &) { return qel_agent_control(first_id, 5); }, "nothing", watch_live_agent},
};

} // namespace qel::test
