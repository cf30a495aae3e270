// SPDX-License-Identifier: MIT
// Looking at agents, commanding them and listing them.
#include "qel_unit/agents/agent_fixture.h"

#include <algorithm>

namespace qel {
namespace {

using namespace test;

using AgentQuery = agent_test;
using AgentControl = agent_test;
using AgentMonitor = agent_test;

std::vector<std::string> monitor(const std::string &pattern, std::int32_t max = 100) {
    std::vector<char> out(9 * 100, '#');
    const std::uint32_t count = qel_agent_monitor(pattern.c_str(), out.data(), max);
    std::vector<std::string> ids;
    for (std::uint32_t i = 0; i < count; ++i) {
        EXPECT_EQ(out[9 * i + 8], '\0');
        ids.emplace_back(&out[9 * i], 8);
    }
    EXPECT_TRUE(std::all_of(out.begin() + 9 * static_cast<std::ptrdiff_t>(count), out.end(), [](char c) {
        return c == '#';
    })) << "nothing is written after the last id";
    return ids;
}

TEST_F(AgentQuery, CopiesAllFortyBytes) {
    load_marked(4);
    const qel_agent agent = query("2A9E0100");
    EXPECT_EQ(std::memcmp(&agent, read_file(path).data() + 24, 40), 0);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentQuery, FailsWithoutAnOutputADirectoryOrAnAgent) {
    qel_agent agent = make_agent("########");
    EXPECT_EQ(qel_agent_query("2A9E0100", &agent), -1);
    spawn();
    EXPECT_EQ(qel_agent_query("2A9E0100", nullptr), -1);
    EXPECT_EQ(qel_agent_query("2A9E0101", &agent), -2);
    EXPECT_EQ(text(agent.id), "########");
}

TEST_F(AgentControl, ChangesWhatTheCommandNames) {
    constexpr std::uint64_t task = 0xEEEEEEEEEEEEEEEE;
    const struct {
        const char *what;
        std::uint8_t state;
        std::uint32_t command;
        conditions expected;
    } cases[] = {
        {"pausing changes the state alone", 2, 0, {3, 0xEE, 0xEE, 0xEE, 0xEE, task}},
        {"resuming changes the state alone", 3, 1, {2, 0xEE, 0xEE, 0xEE, 0xEE, task}},
        {"state five drops the task", 2, 2, {5, 0xEE, 0xEE, 0xEE, 0xEE, 0}},
        {"state four drops the task", 2, 3, {4, 0xEE, 0xEE, 0xEE, 0xEE, 0}},
        {"a reset clears all flags but idle", 5, 4, {1, 1, 0, 0, 0, 0}},
    };
    for (const auto &each : cases) {
        load_marked(each.state);
        EXPECT_EQ(qel_agent_control("2A9E0100", each.command), 0) << each.what;
        EXPECT_EQ(condition("2A9E0100"), each.expected) << each.what;
        EXPECT_EQ(query("2A9E0100").tag, 0xEE) << each.what;
    }
}

TEST_F(AgentControl, LeavesOtherStatesWhenPausingAndResuming) {
    for (const std::uint32_t command : {0u, 1u})
        for (const int state : {0, 1, command == 0 ? 3 : 2, 4, 5, 6, 7, 255}) {
            load_marked(static_cast<std::uint8_t>(state));
            EXPECT_EQ(qel_agent_control("2A9E0100", command), 0);
            EXPECT_EQ(query("2A9E0100").state, state);
        }
}

TEST_F(AgentControl, MarksTheDirectoryDirtyThoughAFreshAgentStaysInStateZero) {
    const std::string id = spawn();
    g_agent_dir->dirty = 0;
    EXPECT_EQ(qel_agent_control(id.c_str(), 0), 0);
    EXPECT_EQ(query(id).state, 0);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
}

TEST_F(AgentControl, BringsATerminatedAgentBackWithoutCountingItAsActive) {
    const std::string id = spawn();
    ASSERT_EQ(qel_agent_terminate(id.c_str()), 0);
    EXPECT_EQ(qel_agent_control(id.c_str(), 4), 0);
    EXPECT_EQ(query(id).state, 1);
    EXPECT_EQ(stats()[1], 0u);
    EXPECT_EQ(qel_agent_terminate(id.c_str()), 0) << "it can end once more";
    EXPECT_EQ(stats()[1], 0xFFFFFFFFu);
}

TEST_F(AgentControl, FailsInTheOrderOfItsSteps) {
    EXPECT_EQ(qel_agent_control("2A9E0100", 9), -1);
    const std::string id = spawn();
    g_agent_dir->dirty = 0;
    EXPECT_EQ(qel_agent_control("2A9EFFFF", 9), -2);
    EXPECT_EQ(qel_agent_control(id.c_str(), 5), -3);
    EXPECT_EQ(qel_agent_control(id.c_str(), 0xFFFFFFFF), -3);
    EXPECT_EQ(condition(id), (conditions{0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(g_agent_dir->dirty, 0u) << "nothing changes";
}

TEST_F(AgentMonitor, ListsAtMostTheRequestedNumber) {
    spawn(0);
    spawn(0);
    EXPECT_EQ(monitor("2A9E01**", 1), (std::vector<std::string>{"2A9E0100"}));
    EXPECT_EQ(monitor("2A9E01**", 2).size(), 2u);
    EXPECT_EQ(monitor("2A9E01**", 0x7FFFFFFF).size(), 2u);
}

TEST_F(AgentMonitor, ListsInSlotOrder) {
    spawn(1);
    spawn(0);
    spawn(9);
    EXPECT_EQ(monitor(""), (std::vector<std::string>{"2A9E0200", "2A9E0100", "2A9E1000"}));
}

TEST_F(AgentMonitor, ComparesPositionByPosition) {
    for (const int tier : {0, 0, 1, 9})
        spawn(static_cast<std::uint8_t>(tier));
    EXPECT_EQ(monitor("2A9E01").size(), 2u) << "a prefix";
    EXPECT_EQ(monitor("2A9E0101"), (std::vector<std::string>{"2A9E0101"}));
    EXPECT_EQ(monitor("******00"), (std::vector<std::string>{"2A9E0100", "2A9E0200", "2A9E1000"}));
    EXPECT_EQ(monitor("*").size(), 4u);
    EXPECT_EQ(monitor("********").size(), 4u);
    EXPECT_EQ(monitor("2a9e01").size(), 0u) << "case-sensitive";
    EXPECT_EQ(monitor("2A9E01?0").size(), 0u) << "no other wildcard";
}

TEST_F(AgentMonitor, IgnoresWhatIsBeyondTheEighthCharacter) {
    spawn();
    EXPECT_EQ(monitor("2A9E0100").size(), 1u);
    EXPECT_EQ(monitor("2A9E0100XYZ").size(), 1u);
    EXPECT_EQ(monitor("********" + std::string(10000, 'X')).size(), 1u);
}

TEST_F(AgentMonitor, ListsTerminatedAgents) {
    ASSERT_EQ(qel_agent_terminate(spawn().c_str()), 0);
    EXPECT_EQ(monitor("").size(), 1u);
}

TEST_F(AgentMonitor, ListsAgentsThatLookupsNoLongerFind) {
    load(directory_file({make_agent("2A9E0100"), make_agent("2A9E01/Q")}));
    EXPECT_EQ(monitor("2A9E01"), (std::vector<std::string>{"2A9E0100", "2A9E01/Q"}));
}

TEST_F(AgentMonitor, CopiesAllBytesOfAnId) {
    const std::string odd("\0\xFF*\x80\x01\0\0\x7F", 8);
    load(directory_file({make_agent(odd)}));
    EXPECT_EQ(monitor(""), (std::vector<std::string>{odd}));
    EXPECT_EQ(monitor("*\xFF*\x80\x01"), (std::vector<std::string>{odd}));
    EXPECT_EQ(monitor("*\xFF*\x80\x02").size(), 0u);
}

TEST_F(AgentMonitor, ReturnsZeroWithoutAgentsOrOutputForAnyPattern) {
    char ids[9] = "########";
    for (const char *const pattern : {"", static_cast<const char *>(nullptr)}) {
        discard_directory();
        EXPECT_EQ(qel_agent_monitor(pattern, ids, 1), 0u) << "no directory";
        ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
        EXPECT_EQ(qel_agent_monitor(pattern, ids, 1), 0u) << "no agents";
        spawn();
        EXPECT_EQ(qel_agent_monitor(pattern, nullptr, 1), 0u);
        for (const std::int32_t max : {0, -1, -0x7FFFFFFF - 1})
            EXPECT_EQ(qel_agent_monitor(pattern, ids, max), 0u) << max;
    }
    EXPECT_STREQ(ids, "########");
}

TEST_F(AgentMonitor, StopsAtTheLastSlotWhereALoadedFileClaimsMore) {
    load(directory_file({make_agent("2A9E0100")}, 0xFFFFFFFF, 1));
    std::vector<char> ids(9 * 70000, '#');
    EXPECT_EQ(qel_agent_monitor("", ids.data(), 70000), 65536u);
    EXPECT_EQ(ids[9 * 65536 - 1], '\0');
    EXPECT_EQ(ids[9 * 65536], '#');
    EXPECT_EQ(qel_agent_monitor("2A9E", ids.data(), 70000), 1u);
}

} // namespace
} // namespace qel
