// SPDX-License-Identifier: MIT
// What the tests of the agent directory share: there is no directory before and after each of them, and files are
// written byte by byte.
#pragma once

#include "qel_unit/agents/agent_directory.h"

#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace qel::test {

/// Releases the directory without saving it.
inline void discard_directory() {
    if (g_agent_dir != nullptr) g_agent_dir->dirty = 0;
    qel_agent_dir_free();
}

/// The id of a new agent.
inline std::string spawn(std::uint8_t tier = 0, std::uint8_t type = 0, const char *parent = nullptr,
                         std::uint8_t tag = 0) {
    char id[10] = "#########"; // the call writes the zero byte
    EXPECT_EQ(qel_agent_spawn(parent, type, tier, tag, id), 0);
    return id;
}

/// The record that an id finds; all zero when there is none.
inline qel_agent query(const std::string &id) {
    qel_agent agent{};
    EXPECT_EQ(qel_agent_query(id.c_str(), &agent), 0) << id;
    return agent;
}

/// State, flags (idle, terminated, delegated, cleared) and task.
using conditions = std::vector<std::uint64_t>;
inline conditions condition(const std::string &id) {
    const qel_agent agent = query(id);
    return {agent.state, agent.flag_idle, agent.flag_terminated, agent.flag_delegated, agent.cleared, agent.task};
}

inline std::string text(const char (&id)[8]) {
    return std::string(id, 8);
}

/// A record as a spawn makes it.
inline qel_agent make_agent(const std::string &id, std::uint8_t type = 0) {
    qel_agent agent{};
    std::memcpy(agent.id, id.data(), 8);
    std::memcpy(agent.parent, "2A9E0000", 8);
    agent.type = type;
    agent.flag_idle = 1;
    return agent;
}

/// An id of eight digits.
inline std::string numbered_id(std::uint32_t number) {
    char id[9];
    std::snprintf(id, sizeof id, "%08X", number);
    return id;
}

/// A whole directory full of agents, whose ids begin with the given number.
inline std::vector<qel_agent> full_house(std::uint32_t first) {
    std::vector<qel_agent> agents;
    for (std::uint32_t i = 0; i < QEL_AGENT_CAPACITY; ++i)
        agents.push_back(make_agent(numbered_id(first + i)));
    return agents;
}

/// A directory file with any counts in its header.
inline bytes directory_file(const std::vector<qel_agent> &agents, std::uint32_t agent_count, std::uint32_t active_count,
                            std::int64_t saved_at = 77, std::uint32_t version = 1) {
    bytes file = {'Q', 'E', 'A', 'G'};
    append(file, version);
    append(file, agent_count);
    append(file, active_count);
    append(file, saved_at);
    const bytes records = bytes_of(agents);
    file.insert(file.end(), records.begin(), records.end());
    return file;
}

inline bytes directory_file(const std::vector<qel_agent> &agents) {
    const auto count = static_cast<std::uint32_t>(agents.size());
    return directory_file(agents, count, count);
}

class agent_test : public testing::Test {
  protected:
    agent_test() { discard_directory(); }
    ~agent_test() override { discard_directory(); }

    /// Loads a file of these bytes.
    void load(const bytes &file) {
        write_file(path, file);
        EXPECT_EQ(qel_agent_dir_load(path.c_str()), 0);
    }

    /// Loads a new directory of one agent, all its bytes marked except the id and the state.
    void load_marked(std::uint8_t state) {
        qel_agent agent;
        std::memset(&agent, 0xEE, sizeof agent);
        std::memcpy(agent.id, "2A9E0100", 8);
        agent.state = state;
        discard_directory();
        load(directory_file({agent}));
    }

    temp_folder folder;
    const std::string path = folder.file("dir.bin");
};

inline std::array<std::uint32_t, 6> stats() {
    std::array<std::uint32_t, 6> all;
    qel_agent_dir_stats(&all[0], &all[1], &all[2]);
    return all; // total, active, four types
}

} // namespace qel::test
