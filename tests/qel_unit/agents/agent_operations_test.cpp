// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_fixture.h"

namespace qel {
namespace {

using namespace test;

using AgentSpawn = agent_test;
using AgentTerminate = agent_test;
using AgentDelegate = agent_test;
using AgentQuery = agent_test;
using AgentControl = agent_test;
using AgentMonitor = agent_test;

/// State, flags (idle, terminated, delegated, cleared) and task.
std::vector<std::uint64_t> condition(const std::string &id) {
    const qel_agent agent = query(id);
    return {agent.state,          agent.flag_idle, agent.flag_terminated,
            agent.flag_delegated, agent.cleared,   agent.task};
}

using conditions = std::vector<std::uint64_t>;

/// The one agent of a new directory, all its bytes marked except the id and the state.
void load_marked_agent(const std::string &path, std::uint8_t state) {
    qel_agent agent;
    std::memset(&agent, 0xEE, sizeof agent);
    std::memcpy(agent.id, "2A9E0100", 8);
    agent.state = state;
    write_file(path, directory_file({agent}));
    discard_directory();
    ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
}

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
    })) << "nothing is written behind the last id";
    return ids;
}

TEST_F(AgentSpawn, GivesTheFirstIdsOfTierZeroAndOfTheCounter) {
    EXPECT_EQ(spawn(0), "2A9E0100");
    EXPECT_EQ(spawn(0), "2A9E0101");
    EXPECT_EQ(spawn(5), "2A9E1000");
    EXPECT_EQ(spawn(5), "2A9E1001");
}

TEST_F(AgentSpawn, GivesEachOfThreeTiersTwentyEightIds) {
    for (std::uint8_t tier = 0; tier < 3; ++tier) {
        for (std::uint32_t i = 0; i < 28; ++i)
            EXPECT_EQ(spawn(tier), numbered_id(0x2A9E0000 + (tier + 1u) * 0x100 + i));
    }
    EXPECT_EQ(spawn(0), "2A9E1000") << "all taken: the counter";
    EXPECT_EQ(spawn(2), "2A9E1001");
    EXPECT_EQ(spawn(3), "2A9E1002") << "tier 3 has no ids of its own";
    EXPECT_EQ(spawn(255), "2A9E1003");
}

TEST_F(AgentSpawn, SkipsAnIdWhoseBucketAnotherIdHas) {
    load(directory_file({make_agent("2A9E01/Q")})); // the bucket of 2A9E0100
    EXPECT_EQ(spawn(0), "2A9E0101");
}

TEST_F(AgentSpawn, TakesTheFirstFreeIdOfTheTier) {
    load(directory_file({make_agent("2A9E0200"), make_agent("2A9E0202")}));
    EXPECT_EQ(spawn(1), "2A9E0201");
    EXPECT_EQ(spawn(1), "2A9E0203");
}

TEST_F(AgentSpawn, DoesNotReuseTheIdOfATerminatedAgent) {
    ASSERT_EQ(qel_agent_terminate(spawn(0).c_str()), 0);
    EXPECT_EQ(spawn(0), "2A9E0101");
}

TEST_F(AgentSpawn, DoesNotLookUpTheIdsOfTheCounter) {
    load(directory_file({make_agent("2A9E1000", 1)}));
    EXPECT_EQ(spawn(5, 2), "2A9E1000") << "there is one already";
    EXPECT_EQ(query("2A9E1000").type, 2) << "the newer one is found";
}

TEST_F(AgentSpawn, TakesTheLowSixteenBitsOfTheCounter) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    g_agent_dir->next_id_counter = 0xFFFF;
    EXPECT_EQ(spawn(5), "2A9EFFFF");
    EXPECT_EQ(spawn(5), "2A9E0000");
    EXPECT_EQ(g_agent_dir->next_id_counter, 0x10001u);
    g_agent_dir->next_id_counter = 0xFFFFFFFF;
    EXPECT_EQ(spawn(5), "2A9EFFFF");
    EXPECT_EQ(g_agent_dir->next_id_counter, 0u);
}

TEST_F(AgentSpawn, FillsTheRecord) {
    EXPECT_EQ(spawn(2, 7, "2A9E0123", 9), "2A9E0300");
    const qel_agent agent = query("2A9E0300");
    EXPECT_EQ(text(agent.id), "2A9E0300");
    EXPECT_EQ(text(agent.parent), "2A9E0123");
    EXPECT_EQ(agent.type, 7);
    EXPECT_EQ(agent.tag, 9);
    EXPECT_EQ(agent.tier, 2);
    EXPECT_EQ(agent.reserved, 0u);
    EXPECT_EQ(condition("2A9E0300"), (conditions{0, 1, 0, 0, 0, 0}));
}

TEST_F(AgentSpawn, NamesAFixedParentWithoutOne) {
    EXPECT_EQ(text(query(spawn()).parent), "2A9E0000");
}

TEST_F(AgentSpawn, CopiesExactlyEightBytesOfTheParent) {
    const char parent[] = {'A', '\0', 'B', '\0', 'C', '\x80', 'D', '\0', 'X'};
    EXPECT_EQ(text(query(spawn(0, 0, parent)).parent), std::string("A\0B\0C\x80"
                                                                   "D\0",
                                                                   8));
}

TEST_F(AgentSpawn, WritesTheIdBeforeItReadsTheParent) {
    char id[9] = "2A9E0777";
    ASSERT_EQ(qel_agent_spawn(id, 0, 0, 0, id), 0);
    EXPECT_EQ(text(query(id).parent), "2A9E0100");
}

TEST_F(AgentSpawn, LeavesTheReservedWordOfAUsedSlot) {
    load_marked_agent(path, 6);
    g_agent_dir->agent_count = 0;
    const std::string id = spawn(1, 2, nullptr, 3);
    const qel_agent agent = query(id);
    EXPECT_EQ(agent.reserved, 0xEEEEEEEEEEEEEEEEu);
    EXPECT_EQ(condition(id), (conditions{0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(text(agent.parent), "2A9E0000");
    EXPECT_EQ(agent.type, 2);
    EXPECT_EQ(agent.tag, 3);
    EXPECT_EQ(agent.tier, 1);
}

TEST_F(AgentSpawn, CountsAndMarksTheDirectoryDirty) {
    spawn();
    EXPECT_EQ(g_agent_dir->agent_count, 1u);
    EXPECT_EQ(g_agent_dir->active_count, 1u);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
}

TEST_F(AgentSpawn, MakesADirectoryWithoutAPath) {
    ASSERT_EQ(g_agent_dir, nullptr);
    spawn();
    EXPECT_STREQ(g_agent_dir->path, "");
    EXPECT_EQ(qel_agent_dir_save(nullptr), -2);
}

TEST_F(AgentSpawn, FailsWithMinusOneWhereTheDirectoryCannotBeMade) {
    for (std::uint64_t n = 1; n <= 5; ++n) {
        char id[9] = "########";
        const heap_ledger ledger;
        const failing_heap failing = failing_heap::nth(n);
        EXPECT_EQ(qel_agent_spawn(nullptr, 0, 0, 0, id), -1) << n;
        EXPECT_STREQ(id, "########");
        EXPECT_EQ(g_agent_dir, nullptr);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST_F(AgentSpawn, FillsTheLastSlotAndThenIsFull) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    g_agent_dir->agent_count = 65535;
    EXPECT_EQ(spawn(0), "2A9E0100");
    EXPECT_EQ(text(g_agent_dir->agents[65535].id), "2A9E0100");
    char id[9] = "########";
    EXPECT_EQ(qel_agent_spawn(nullptr, 0, 5, 0, id), -2);
    EXPECT_STREQ(id, "########");
    EXPECT_EQ(g_agent_dir->agent_count, 65536u);
    EXPECT_EQ(g_agent_dir->active_count, 1u);
    EXPECT_EQ(g_agent_dir->next_id_counter, 4096u);
}

TEST_F(AgentSpawn, FillsAWholeDirectory) {
    for (std::uint32_t i = 0; i < 65536; ++i)
        ASSERT_EQ(spawn(static_cast<std::uint8_t>(i % 4)).size(), 8u);
    char id[9];
    EXPECT_EQ(qel_agent_spawn(nullptr, 0, 0, 0, id), -2);
    EXPECT_EQ(stats()[0], 65536u);
    EXPECT_EQ(g_agent_dir->next_id_counter, 4096u + 65536 - 3 * 28);
    EXPECT_EQ(g_agent_dir->index->node_count, 65536u);
}

TEST_F(AgentSpawn, IsFullWhereALoadedFileClaimsMoreAgentsThanFit) {
    load(directory_file({make_agent("2A9E0100")}, 0xFFFFFFFF, 1));
    char id[9];
    EXPECT_EQ(qel_agent_spawn(nullptr, 0, 0, 0, id), -2);
    EXPECT_EQ(g_agent_dir->agent_count, 0xFFFFFFFFu);
}

TEST_F(AgentTerminate, EndsAnAgentThatStaysInItsSlot) {
    load_marked_agent(path, 2);
    EXPECT_EQ(qel_agent_terminate("2A9E0100"), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{6, 0, 1, 0, 0, 0}));
    EXPECT_EQ(query("2A9E0100").type, 0xEE) << "the rest of the record stays";
    EXPECT_EQ(text(query("2A9E0100").parent), std::string(8, '\xEE'));
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(stats()[0], 1u);
    EXPECT_EQ(stats()[1], 0u);
    EXPECT_EQ(monitor("2A9E0100").size(), 1u);
}

TEST_F(AgentTerminate, RefusesASecondTimeAndLowersTheActiveCountOnce) {
    spawn();
    const std::string id = spawn();
    EXPECT_EQ(qel_agent_terminate(id.c_str()), 0);
    g_agent_dir->dirty = 0;
    EXPECT_EQ(qel_agent_terminate(id.c_str()), -3);
    EXPECT_EQ(g_agent_dir->active_count, 1u);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentTerminate, FailsWithoutADirectoryAndForUnknownIds) {
    EXPECT_EQ(qel_agent_terminate("2A9E0100"), -1);
    EXPECT_EQ(g_agent_dir, nullptr) << "only a spawn makes one";
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    EXPECT_EQ(qel_agent_terminate("2A9E0100"), -2);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentTerminate, WrapsTheActiveCountOfAFileThatClaimedTooFew) {
    load(directory_file({make_agent("2A9E0100")}, 1, 0));
    EXPECT_EQ(qel_agent_terminate("2A9E0100"), 0);
    EXPECT_EQ(stats()[1], 0xFFFFFFFFu);
    spawn();
    EXPECT_EQ(stats()[1], 0u);
}

TEST_F(AgentDelegate, GivesTheTargetTheTaskAndAParent) {
    load_marked_agent(path, 5);
    const std::string sender = spawn(1);
    const qel_agent before = query(sender);
    EXPECT_EQ(qel_agent_delegate(sender.c_str(), "2A9E0100", 0x123456789ABCDEF0), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{2, 0, 0, 1, 0, 0x123456789ABCDEF0}));
    EXPECT_EQ(text(query("2A9E0100").parent), sender);
    EXPECT_EQ(query("2A9E0100").reserved, 0xEEEEEEEEEEEEEEEEu);
    const qel_agent after = query(sender);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0) << "the sender does not change";
}

TEST_F(AgentDelegate, CopiesTheSenderAsPassed) {
    ASSERT_EQ(spawn(0), "2A9E0100");
    const std::string target = spawn(0);
    EXPECT_EQ(qel_agent_delegate("2A9E01/Q", target.c_str(), 1), 0); // finds 2A9E0100
    EXPECT_EQ(text(query(target).parent), "2A9E01/Q");
}

TEST_F(AgentDelegate, CopiesExactlyEightBytesOfTheSender) {
    load(directory_file({make_agent(std::string("AB\0XXXXX", 8)), make_agent("2A9E0100")}));
    const char sender[] = {'A', 'B', '\0', 'C', '\0', '\x80', 'D', '\0', 'X'};
    EXPECT_EQ(qel_agent_delegate(sender, "2A9E0100", 1), 0) << "found by what is before the zero byte";
    EXPECT_EQ(text(query("2A9E0100").parent), std::string("AB\0C\0\x80"
                                                          "D\0",
                                                          8));
}

TEST_F(AgentDelegate, MarksTheDirectoryDirty) {
    const std::string id = spawn();
    g_agent_dir->dirty = 0;
    EXPECT_EQ(qel_agent_delegate(id.c_str(), id.c_str(), 5), 0) << "to itself";
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(text(query(id).parent), id);
}

TEST_F(AgentDelegate, FailsInTheOrderOfItsSteps) {
    EXPECT_EQ(qel_agent_delegate("2A9E0100", "2A9E0100", 1), -1);
    const std::string id = spawn();
    const std::string terminated = spawn();
    ASSERT_EQ(qel_agent_terminate(terminated.c_str()), 0);
    g_agent_dir->dirty = 0;
    const qel_agent before = query(terminated);
    EXPECT_EQ(qel_agent_delegate("2A9EFFFF", "2A9EFFFE", 1), -2) << "before the target is looked up";
    EXPECT_EQ(qel_agent_delegate("2A9EFFFF", terminated.c_str(), 1), -2);
    EXPECT_EQ(qel_agent_delegate(id.c_str(), "2A9EFFFF", 1), -3);
    EXPECT_EQ(qel_agent_delegate(id.c_str(), terminated.c_str(), 1), -4);
    const qel_agent after = query(terminated);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentDelegate, LetsATerminatedAgentDelegate) {
    const std::string terminated = spawn();
    const std::string id = spawn();
    ASSERT_EQ(qel_agent_terminate(terminated.c_str()), 0);
    EXPECT_EQ(qel_agent_delegate(terminated.c_str(), id.c_str(), 3), 0);
    EXPECT_EQ(query(id).state, 2);
}

TEST_F(AgentQuery, CopiesAllFortyBytes) {
    load_marked_agent(path, 4);
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

TEST_F(AgentControl, PausesADelegatedAgentAndResumesIt) {
    const std::string id = spawn();
    ASSERT_EQ(qel_agent_delegate(id.c_str(), id.c_str(), 42), 0);
    EXPECT_EQ(qel_agent_control(id.c_str(), 0), 0);
    EXPECT_EQ(condition(id), (conditions{3, 0, 0, 1, 0, 42}));
    EXPECT_EQ(qel_agent_control(id.c_str(), 1), 0);
    EXPECT_EQ(condition(id), (conditions{2, 0, 0, 1, 0, 42}));
}

TEST_F(AgentControl, ChangesOnlyTheStateWhenPausingAndResuming) {
    load_marked_agent(path, 2);
    EXPECT_EQ(qel_agent_control("2A9E0100", 0), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{3, 0xEE, 0xEE, 0xEE, 0xEE, 0xEEEEEEEEEEEEEEEE}));
    EXPECT_EQ(qel_agent_control("2A9E0100", 1), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{2, 0xEE, 0xEE, 0xEE, 0xEE, 0xEEEEEEEEEEEEEEEE}));
}

TEST_F(AgentControl, LeavesOtherStatesWhenPausingAndResuming) {
    for (const int state : {0, 1, 3, 4, 5, 6, 7, 255}) {
        load_marked_agent(path, static_cast<std::uint8_t>(state));
        EXPECT_EQ(qel_agent_control("2A9E0100", 0), 0);
        EXPECT_EQ(query("2A9E0100").state, state);
    }
    for (const int state : {0, 1, 2, 4, 5, 6, 7, 255}) {
        load_marked_agent(path, static_cast<std::uint8_t>(state));
        EXPECT_EQ(qel_agent_control("2A9E0100", 1), 0);
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

TEST_F(AgentControl, DropsTheTaskInStatesFourAndFive) {
    load_marked_agent(path, 2);
    EXPECT_EQ(qel_agent_control("2A9E0100", 2), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{5, 0xEE, 0xEE, 0xEE, 0xEE, 0}));
    load_marked_agent(path, 2);
    EXPECT_EQ(qel_agent_control("2A9E0100", 3), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{4, 0xEE, 0xEE, 0xEE, 0xEE, 0}));
}

TEST_F(AgentControl, ResetsAnAgent) {
    load_marked_agent(path, 5);
    EXPECT_EQ(qel_agent_control("2A9E0100", 4), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(query("2A9E0100").tag, 0xEE);
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

TEST_F(AgentMonitor, ListsAtMostAsManyIdsAsAskedFor) {
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

TEST_F(AgentMonitor, CopiesWhateverBytesAnIdHas) {
    const std::string odd("\0\xFF*\x80\x01\0\0\x7F", 8);
    load(directory_file({make_agent(odd)}));
    EXPECT_EQ(monitor(""), (std::vector<std::string>{odd}));
    EXPECT_EQ(monitor("*\xFF*\x80\x01"), (std::vector<std::string>{odd}));
    EXPECT_EQ(monitor("*\xFF*\x80\x02").size(), 0u);
}

TEST_F(AgentMonitor, GivesZeroWithNothingToListOrNowhereToPutIt) {
    char ids[9] = "########";
    EXPECT_EQ(qel_agent_monitor("", ids, 1), 0u) << "no directory";
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    EXPECT_EQ(qel_agent_monitor("", ids, 1), 0u) << "no agents";
    spawn();
    EXPECT_EQ(qel_agent_monitor("", nullptr, 1), 0u);
    EXPECT_EQ(qel_agent_monitor("", ids, 0), 0u);
    EXPECT_EQ(qel_agent_monitor("", ids, -1), 0u);
    EXPECT_EQ(qel_agent_monitor("", ids, -0x7FFFFFFF - 1), 0u);
    EXPECT_STREQ(ids, "########");
}

TEST_F(AgentMonitor, DoesNotLookAtThePatternWhereThereIsNothingToDo) {
    char ids[9];
    EXPECT_EQ(qel_agent_monitor(nullptr, ids, 1), 0u) << "no directory";
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    EXPECT_EQ(qel_agent_monitor(nullptr, ids, 1), 0u) << "no agents";
    spawn();
    EXPECT_EQ(qel_agent_monitor(nullptr, nullptr, 1), 0u);
    EXPECT_EQ(qel_agent_monitor(nullptr, ids, 0), 0u);
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
