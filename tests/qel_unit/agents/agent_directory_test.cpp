// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_fixture.h"

namespace qel {
namespace {

using namespace test;

using AgentInit = agent_test;
using AgentIndex = agent_test;
using AgentSync = agent_test;
using AgentStats = agent_test;
using AgentFree = agent_test;

constexpr std::size_t agents_bytes = 2'621'440;
constexpr std::size_t nodes_bytes = 524'288;
constexpr std::size_t buckets_bytes = 33'554'432;

TEST_F(AgentInit, MakesAnEmptyDirectory) {
    EXPECT_EQ(g_agent_dir, nullptr);
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    ASSERT_NE(g_agent_dir, nullptr);
    EXPECT_EQ(std::string(g_agent_dir->magic, 4), "QEAG");
    EXPECT_EQ(g_agent_dir->version, 1u);
    EXPECT_EQ(g_agent_dir->agent_count, 0u);
    EXPECT_EQ(g_agent_dir->active_count, 0u);
    EXPECT_EQ(g_agent_dir->saved_at, 0);
    EXPECT_EQ(g_agent_dir->next_id_counter, 4096u);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
    EXPECT_EQ(g_agent_dir->path, path);
    EXPECT_EQ(g_agent_dir->index->node_count, 0u);
    EXPECT_FALSE(file_exists(path)) << "the file is not touched";
}

TEST_F(AgentInit, ZeroesTheAgentsAndEmptiesEveryBucket) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    const auto *agents = reinterpret_cast<const std::uint8_t *>(g_agent_dir->agents);
    EXPECT_TRUE(std::all_of(agents, agents + agents_bytes, [](std::uint8_t byte) { return byte == 0; }));
    const std::uint32_t *buckets = g_agent_dir->index->buckets;
    EXPECT_TRUE(
        std::all_of(buckets, buckets + QEL_HASH_BUCKETS, [](std::uint32_t bucket) { return bucket == 0xFFFFFFFF; }));
}

TEST_F(AgentInit, TakesNoPath) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    EXPECT_STREQ(g_agent_dir->path, "");
}

TEST_F(AgentInit, CutsThePathTo255Characters) {
    const std::string exact(255, 'p');
    ASSERT_EQ(qel_agent_dir_init(exact.c_str()), 0);
    EXPECT_EQ(g_agent_dir->path, exact);
    discard_directory();
    ASSERT_EQ(qel_agent_dir_init((exact + "q").c_str()), 0);
    EXPECT_EQ(g_agent_dir->path, exact);
}

TEST_F(AgentInit, KeepsAnExistingDirectoryUnchanged) {
    ASSERT_EQ(qel_agent_dir_init("first"), 0);
    const qel_agent_dir *const before = g_agent_dir;
    spawn();
    EXPECT_EQ(qel_agent_dir_init("second"), 0);
    EXPECT_EQ(g_agent_dir, before);
    EXPECT_STREQ(g_agent_dir->path, "first");
    EXPECT_EQ(g_agent_dir->agent_count, 1u);
}

TEST_F(AgentInit, AllocatesTheDirectoryTheAgentsAndTheIndexAndNothingLater) {
    {
        const failing_heap watch = failing_heap::nth(0);
        ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
        EXPECT_EQ(watch.count(), 5u);
    }
    const failing_heap none = failing_heap::from(1);
    const std::string id = spawn();
    EXPECT_EQ(qel_agent_delegate(id.c_str(), id.c_str(), 1), 0);
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(qel_agent_terminate(id.c_str()), 0);
    EXPECT_EQ(none.count(), 0u);
}

TEST_F(AgentInit, FailsWithoutMemoryForTheDirectoryOrForTheRestAndReleasesEverything) {
    for (std::uint64_t n = 1; n <= 5; ++n) {
        const heap_ledger ledger;
        const failing_heap failing = failing_heap::nth(n);
        EXPECT_EQ(qel_agent_dir_init(path.c_str()), n == 1 ? -1 : -2) << n;
        EXPECT_EQ(failing.failures(), 1u) << n;
        EXPECT_EQ(g_agent_dir, nullptr) << n;
        EXPECT_EQ(ledger.live(), 0u) << n;
    }
}

TEST_F(AgentInit, AllocatesArraysOfTheFullCapacity) {
    for (const std::size_t size : {agents_bytes, sizeof(qel_hash_index), nodes_bytes, buckets_bytes}) {
        const failing_heap failing = failing_heap::of_size(size);
        EXPECT_EQ(qel_agent_dir_init(nullptr), -2) << size;
        EXPECT_EQ(failing.failures(), 1u) << size;
        EXPECT_EQ(g_agent_dir, nullptr) << size;
    }
}

TEST_F(AgentInit, SucceedsAfterAFailure) {
    {
        const failing_heap failing = failing_heap::nth(3);
        EXPECT_EQ(qel_agent_dir_init(path.c_str()), -2);
    }
    EXPECT_EQ(qel_agent_dir_init(path.c_str()), 0);
    EXPECT_EQ(spawn(), "2A9E0100");
}

TEST_F(AgentIndex, FindsTheNewestEntryOfABucketWithoutComparingIds) {
    // 'Q' is 33 more than '0' and '/' is one less: both ids fall into one bucket.
    ASSERT_EQ(identity_hash("2A9E01/Q"), identity_hash("2A9E0100"));
    load(directory_file({make_agent("2A9E0100", 1), make_agent("2A9E01/Q", 2)}));
    EXPECT_EQ(text(query("2A9E0100").id), "2A9E01/Q") << "only the later one is found";
    EXPECT_EQ(text(query("2A9E01/Q").id), "2A9E01/Q");
}

TEST_F(AgentIndex, FindsAnAgentByAnyIdOfItsBucket) {
    ASSERT_EQ(spawn(), "2A9E0100");
    EXPECT_EQ(text(query("2A9E01/Q").id), "2A9E0100");
    EXPECT_EQ(qel_agent_terminate("2A9E01/Q"), 0);
    EXPECT_EQ(query("2A9E0100").state, 6);
}

TEST_F(AgentIndex, ReadsIdsUpToEightCharacters) {
    ASSERT_EQ(spawn(), "2A9E0100");
    qel_agent agent;
    EXPECT_EQ(qel_agent_query("2A9E0100 and more", &agent), 0);
    EXPECT_EQ(qel_agent_query("2A9E010", &agent), -2) << "a shorter id has another hash";
    EXPECT_EQ(qel_agent_query("", &agent), -2);
}

TEST_F(AgentIndex, ReadsIdsUpToAZeroByte) {
    load(directory_file({make_agent(std::string("AB\0XXXXX", 8), 3)}));
    EXPECT_EQ(query("AB").type, 3);
}

TEST_F(AgentIndex, TakesCharactersAsSigned) {
    const std::string id = "\x80\xFF\x81\xFE\x80\xFF\x80\xFF";
    load(directory_file({make_agent(id, 3)}));
    EXPECT_EQ(query(id).type, 3);
    std::uint32_t hash = 5381;
    for (const int c : {-128, -1, -127, -2, -128, -1, -128, -1})
        hash = hash * 33 + static_cast<std::uint32_t>(c);
    EXPECT_EQ(g_agent_dir->index->buckets[hash & 0x7FFFFF], 0u);
}

TEST_F(AgentIndex, DoesNotIndexAgentsOnceItHasAsManyEntriesAsBuckets) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    g_agent_dir->index->node_count = QEL_HASH_BUCKETS - 1;
    EXPECT_EQ(spawn(), "2A9E0100");
    EXPECT_EQ(spawn(), "2A9E0101") << "the last one indexed was 2A9E0100";
    EXPECT_EQ(spawn(), "2A9E0101") << "not indexed, so its bucket is still empty";
    EXPECT_EQ(g_agent_dir->index->node_count, QEL_HASH_BUCKETS);
    EXPECT_EQ(g_agent_dir->agent_count, 3u);
    qel_agent agent;
    EXPECT_EQ(qel_agent_query("2A9E0100", &agent), 0);
    EXPECT_EQ(qel_agent_query("2A9E0101", &agent), -2);
    char ids[27];
    EXPECT_EQ(qel_agent_monitor("", ids, 3), 3u) << "listed nevertheless";
}

TEST_F(AgentSync, DoesNothingWithoutADirectory) {
    EXPECT_EQ(qel_agent_dir_sync(), 0);
    EXPECT_EQ(g_agent_dir, nullptr);
}

TEST_F(AgentSync, WritesNothingWhenClean) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    EXPECT_EQ(qel_agent_dir_sync(), 0);
    EXPECT_FALSE(file_exists(path));
}

TEST_F(AgentSync, SavesADirtyDirectoryToItsPath) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    spawn();
    EXPECT_EQ(qel_agent_dir_sync(), 0);
    EXPECT_EQ(read_file(path).size(), 64u);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentSync, ReturnsTheResultOfTheSave) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    EXPECT_EQ(qel_agent_dir_sync(), 0) << "clean: the missing path does not matter";
    spawn();
    EXPECT_EQ(qel_agent_dir_sync(), -2);
    discard_directory();
    ASSERT_EQ(qel_agent_dir_init(folder.file("missing/dir.bin").c_str()), 0);
    spawn();
    EXPECT_EQ(qel_agent_dir_sync(), -3);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
}

TEST_F(AgentStats, WritesZerosAndKeepsTheCountsWithoutADirectory) {
    std::uint32_t total = 9;
    std::uint32_t active = 9;
    std::uint32_t counts[4] = {9, 9, 9, 9};
    qel_agent_dir_stats(&total, &active, counts);
    EXPECT_EQ(total, 0u);
    EXPECT_EQ(active, 0u);
    EXPECT_EQ(counts[0] + counts[1] + counts[2] + counts[3], 36u);
    qel_agent_dir_stats(nullptr, nullptr, nullptr);
}

TEST_F(AgentStats, GivesFourZerosForAnEmptyDirectory) {
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    std::uint32_t counts[4] = {9, 9, 9, 9};
    qel_agent_dir_stats(nullptr, nullptr, counts);
    for (const std::uint32_t count : counts)
        EXPECT_EQ(count, 0u);
}

TEST_F(AgentStats, CountsAgentsByTypeUpToThree) {
    for (const int type : {0, 1, 1, 2, 3, 3, 3, 4, 255})
        spawn(9, static_cast<std::uint8_t>(type));
    EXPECT_EQ(stats(), (std::array<std::uint32_t, 6>{9, 9, 1, 2, 1, 3}));
    std::uint32_t counts[5] = {9, 9, 9, 9, 99};
    qel_agent_dir_stats(nullptr, nullptr, counts);
    EXPECT_EQ(counts[4], 99u) << "four are written";
}

TEST_F(AgentStats, CountsTerminatedAgentsInTheirType) {
    spawn(0, 2);
    ASSERT_EQ(qel_agent_terminate(spawn(0, 2).c_str()), 0);
    EXPECT_EQ(stats(), (std::array<std::uint32_t, 6>{2, 1, 0, 0, 2, 0}));
}

TEST_F(AgentStats, TakesAnyOutputAsNull) {
    spawn(0, 3);
    std::uint32_t total = 0;
    std::uint32_t active = 0;
    qel_agent_dir_stats(&total, nullptr, nullptr);
    qel_agent_dir_stats(nullptr, &active, nullptr);
    qel_agent_dir_stats(nullptr, nullptr, nullptr);
    EXPECT_EQ(total, 1u);
    EXPECT_EQ(active, 1u);
}

TEST_F(AgentFree, DoesNothingWithoutADirectory) {
    qel_agent_dir_free();
    EXPECT_EQ(g_agent_dir, nullptr);
}

TEST_F(AgentFree, ReleasesEverything) {
    const heap_ledger ledger;
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    EXPECT_EQ(ledger.live(), 5u);
    spawn();
    qel_agent_dir_free();
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_EQ(g_agent_dir, nullptr);
}

TEST_F(AgentFree, SavesADirtyDirectoryFirst) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    const std::string id = spawn(1, 2);
    qel_agent_dir_free();
    ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(query(id).type, 2);
}

TEST_F(AgentFree, SavesNoCleanDirectory) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    qel_agent_dir_free();
    EXPECT_FALSE(file_exists(path));
}

TEST_F(AgentFree, IgnoresASaveThatFails) {
    spawn(); // no path
    qel_agent_dir_free();
    EXPECT_EQ(g_agent_dir, nullptr);
    ASSERT_EQ(qel_agent_dir_init(folder.file("missing/dir.bin").c_str()), 0);
    spawn();
    qel_agent_dir_free();
    EXPECT_EQ(g_agent_dir, nullptr);
}

TEST_F(AgentFree, LeavesNoStateForANewDirectory) {
    EXPECT_EQ(spawn(5), "2A9E1000");
    EXPECT_EQ(spawn(0), "2A9E0100");
    discard_directory();
    EXPECT_EQ(spawn(5), "2A9E1000") << "the counter restarts, so ids may repeat";
    EXPECT_EQ(spawn(0), "2A9E0100");
    EXPECT_EQ(g_agent_dir->agent_count, 2u);
}

} // namespace
} // namespace qel
