// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_fixture.h"

namespace qel {
namespace {

using namespace test;

using AgentSpawn = agent_test;
using AgentTerminate = agent_test;
using AgentDelegate = agent_test;

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

TEST_F(AgentSpawn, SkipsAnIdWhoseBucketIsTaken) {
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

TEST_F(AgentSpawn, SetsAFixedParentIfNoneIsGiven) {
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
    load_marked(6);
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
    load_marked(2);
    EXPECT_EQ(qel_agent_terminate("2A9E0100"), 0);
    EXPECT_EQ(condition("2A9E0100"), (conditions{6, 0, 1, 0, 0, 0}));
    EXPECT_EQ(query("2A9E0100").type, 0xEE) << "the rest of the record stays";
    EXPECT_EQ(text(query("2A9E0100").parent), std::string(8, '\xEE'));
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(stats()[0], 1u);
    EXPECT_EQ(stats()[1], 0u);
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
    load_marked(5);
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

} // namespace
} // namespace qel
