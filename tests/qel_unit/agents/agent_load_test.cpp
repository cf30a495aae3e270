// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_fixture.h"

#include <limits>
#include <random>

namespace qel {
namespace {

using namespace test;

using AgentLoad = agent_test;

const std::vector<qel_agent> three = {make_agent("2A9E0100", 1), make_agent("2A9E0200", 2), make_agent("2A9E1000", 3)};

TEST_F(AgentLoad, ReadsTheHeaderAndTheAgents) {
    load(directory_file(three, 3, 2, -5, 9));
    EXPECT_EQ(g_agent_dir->version, 9u) << "not checked";
    EXPECT_EQ(g_agent_dir->agent_count, 3u);
    EXPECT_EQ(g_agent_dir->active_count, 2u);
    EXPECT_EQ(g_agent_dir->saved_at, -5);
    EXPECT_EQ(g_agent_dir->path, path);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
    EXPECT_EQ(std::memcmp(g_agent_dir->agents, three.data(), 120), 0);
    EXPECT_EQ(query("2A9E1000").type, 3);
}

TEST_F(AgentLoad, ReadsAnEmptyDirectory) {
    load(directory_file({}));
    EXPECT_EQ(stats()[0], 0u);
}

TEST_F(AgentLoad, FailsWithMinusOneWhereTheDirectoryCannotBeMade) {
    write_file(path, directory_file(three));
    for (std::uint64_t n = 1; n <= 5; ++n) {
        const heap_ledger ledger;
        const failing_heap failing = failing_heap::nth(n);
        EXPECT_EQ(qel_agent_dir_load(path.c_str()), -1) << n;
        EXPECT_EQ(g_agent_dir, nullptr);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST_F(AgentLoad, FailsWithMinusTwoWithoutAFileAndKeepsTheDirectoryItMade) {
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), -2);
    ASSERT_NE(g_agent_dir, nullptr);
    EXPECT_EQ(g_agent_dir->path, path) << "made with this path";
    EXPECT_EQ(spawn(), "2A9E0100");
}

TEST_F(AgentLoad, FailsWithMinusTwoWithoutAPath) {
    EXPECT_EQ(qel_agent_dir_load(nullptr), -2);
    ASSERT_NE(g_agent_dir, nullptr);
    EXPECT_STREQ(g_agent_dir->path, "");
    EXPECT_EQ(qel_agent_dir_load(""), -2);
}

TEST_F(AgentLoad, FailsWithMinusThreeBelowSixteenBytes) {
    const bytes file = directory_file(three);
    for (std::ptrdiff_t size = 0; size < 16; ++size) {
        write_file(path, bytes(file.begin(), file.begin() + size));
        EXPECT_EQ(qel_agent_dir_load(path.c_str()), -3) << size;
    }
#if defined(_WIN32)
    constexpr std::int32_t of_a_folder = -2; // it does not open
#else
    constexpr std::int32_t of_a_folder = -3; // it opens, but cannot be read
#endif
    EXPECT_EQ(qel_agent_dir_load(folder.path().string().c_str()), of_a_folder);
    write_file(path, bytes(15, 'X'));
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), -3) << "the length is tested before the magic";
}

TEST_F(AgentLoad, FailsWithMinusFourForAnotherMagic) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes file = directory_file(three);
        file[i] ^= 0x20;
        write_file(path, file);
        EXPECT_EQ(qel_agent_dir_load(path.c_str()), -4) << i;
    }
    write_file(path, bytes(16, 0));
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), -4);
}

TEST_F(AgentLoad, LeavesTheDirectoryAsItWasAfterAFailure) {
    ASSERT_EQ(qel_agent_dir_init("mine"), 0);
    const std::string id = spawn(0, 3);
    bytes file = directory_file(three, 3, 2, 99, 7);
    file[0] = 'q';
    write_file(path, file);
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), -4);
    write_file(path, bytes(15, 'Q'));
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), -3);
    EXPECT_EQ(qel_agent_dir_load(folder.file("none").c_str()), -2);
    EXPECT_EQ(qel_agent_dir_load(nullptr), -2);
    EXPECT_STREQ(g_agent_dir->path, "mine");
    EXPECT_EQ(g_agent_dir->version, 1u);
    EXPECT_EQ(g_agent_dir->saved_at, 0);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(stats(), (std::array<std::uint32_t, 6>{1, 1, 0, 0, 0, 1}));
    EXPECT_EQ(query(id).type, 3);
}

TEST_F(AgentLoad, KeepsTheClaimedCountAndTheSlotsThatTheFileDoesNotReach) {
    load(directory_file({three[0], three[1], make_agent("2A9E0302", 3)}));
    load(directory_file({make_agent("2A9E0110"), make_agent("2A9E0111")}, 3, 3));
    EXPECT_EQ(g_agent_dir->agent_count, 3u);
    EXPECT_EQ(text(g_agent_dir->agents[1].id), "2A9E0111");
    EXPECT_EQ(text(g_agent_dir->agents[2].id), "2A9E0302");
    EXPECT_EQ(query("2A9E0302").type, 3);
    EXPECT_EQ(g_agent_dir->index->node_count, 5u) << "the slot is not indexed again";
}

TEST_F(AgentLoad, KeepsTheSlotOfATruncatedRecord) {
    write_file(path, directory_file(three));
    const bytes cut = directory_file({make_agent("2A9E0110"), make_agent("2A9E0111"), make_agent("XXXXXXXX")});
    for (const std::ptrdiff_t missing : {1, 20, 39, 40}) {
        ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
        write_file(folder.file("cut"), bytes(cut.begin(), cut.end() - missing));
        ASSERT_EQ(qel_agent_dir_load(folder.file("cut").c_str()), 0);
        EXPECT_EQ(g_agent_dir->agent_count, 3u);
        EXPECT_EQ(std::memcmp(&g_agent_dir->agents[2], &three[2], 40), 0) << missing;
    }
}

TEST_F(AgentLoad, KeepsSavedAtIfTheFileEndsInsideIt) {
    const bytes file = directory_file(three);
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    g_agent_dir->saved_at = 0x0102030405060708;
    for (std::ptrdiff_t size = 16; size < 24; ++size) {
        write_file(path, bytes(file.begin(), file.begin() + size));
        EXPECT_EQ(qel_agent_dir_load(path.c_str()), 0) << size;
        EXPECT_EQ(g_agent_dir->saved_at, 0x0102030405060708);
        EXPECT_EQ(g_agent_dir->agent_count, 3u);
    }
    write_file(path, bytes(file.begin(), file.begin() + 24));
    EXPECT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(g_agent_dir->saved_at, 77);
}

TEST_F(AgentLoad, IgnoresRecordsBeyondTheCount) {
    load(directory_file(three, 1, 1));
    qel_agent agent;
    EXPECT_EQ(qel_agent_query("2A9E0200", &agent), -2);
    EXPECT_EQ(g_agent_dir->agents[1].id[0], '\0');
    const std::vector<qel_agent> many = full_house(0x10000000);
    discard_directory();
    load(directory_file(many, 130, 130)); // more than are read at once
    EXPECT_EQ(text(query("10000081").id), "10000081");
    EXPECT_EQ(qel_agent_query("10000082", &agent), -2);
    EXPECT_EQ(g_agent_dir->agents[130].id[0], '\0');
}

TEST_F(AgentLoad, LeavesTheDirectoryClean) {
    spawn();
    ASSERT_EQ(g_agent_dir->dirty, 1u);
    load(directory_file(three));
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentLoad, ReadsFullDirectoriesAndNotARecordMore) {
    std::vector<qel_agent> agents = full_house(0x10000000);
    agents.push_back(make_agent("2A9E0100"));
    load(directory_file(agents, 65537, 5));
    EXPECT_EQ(g_agent_dir->agent_count, 65537u);
    EXPECT_EQ(std::memcmp(g_agent_dir->agents, agents.data(), 65536 * 40), 0);
    EXPECT_EQ(text(query("1000FFFF").id), "1000FFFF");
    qel_agent agent;
    EXPECT_EQ(qel_agent_query("2A9E0100", &agent), -2);
}

TEST_F(AgentLoad, CountsAndListsOnlySlotsThatExist) {
    for (const std::uint32_t claimed : {65537u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        discard_directory();
        load(directory_file(three, claimed, 1));
        EXPECT_EQ(stats(), (std::array<std::uint32_t, 6>{claimed, 1, 65533, 1, 1, 1}));
    }
}

TEST_F(AgentLoad, KeepsEarlierEntriesButFindsTheNewestOfABucket) {
    load(directory_file(three));
    load(directory_file({make_agent("2A9E0300", 9), make_agent("2A9E01/Q", 8)}));
    EXPECT_EQ(query("2A9E0300").type, 9);
    EXPECT_EQ(query("2A9E0100").type, 8) << "2A9E01/Q shares its bucket";
    EXPECT_EQ(query("2A9E0200").type, 8) << "the old entry still leads to slot 1";
    EXPECT_EQ(query("2A9E1000").type, 3) << "a slot beyond the new count";
    EXPECT_EQ(stats()[0], 2u);
}

TEST_F(AgentLoad, ReplacesTheDirectorysPath) {
    ASSERT_EQ(qel_agent_dir_init("first, a longer one than the second by far, and then some more of it"), 0);
    load(directory_file(three));
    EXPECT_EQ(g_agent_dir->path, path);
}

TEST_F(AgentLoad, CutsThePathTo255Characters) {
    const std::string long_path = folder.path().string() + std::string(300, '/') + "dir.bin";
    write_file(path, directory_file(three));
    ASSERT_EQ(qel_agent_dir_load(long_path.c_str()), 0);
    EXPECT_EQ(g_agent_dir->path, long_path.substr(0, 255));
}

TEST_F(AgentLoad, DoesNotRestoreTheCounterOfIds) {
    spawn(5);
    spawn(5);
    load(directory_file(three));
    EXPECT_EQ(spawn(5), "2A9E1002") << "the counter continues";
    discard_directory();
    ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(spawn(5), "2A9E1000") << "the counter starts again";
}

TEST_F(AgentLoad, LoadsFullFilesOverOneAnother) {
    for (std::uint32_t round = 0; round < 20; ++round) {
        load(directory_file(full_house(round * 0x10000)));
    }
    EXPECT_EQ(g_agent_dir->index->node_count, 20u * 65536);
    for (const std::uint32_t slot : {0u, 1u, 777u, 65535u}) {
        const std::string id = numbered_id(19 * 0x10000 + slot);
        EXPECT_EQ(text(query(id).id), id) << "of the last file";
        const std::string old = numbered_id(7 * 0x10000 + slot);
        EXPECT_EQ(query(old).id[7], old[7]) << "an id of an earlier file finds the present agent of its slot";
        EXPECT_EQ(text(query(old).id).substr(0, 4), "0013");
    }
}

TEST_F(AgentLoad, StopsIndexingAfterAsManyEntriesAsBuckets) {
    const bytes first = directory_file(full_house(0x20000000));
    write_file(path, first);
    write_file(folder.file("second"), directory_file(full_house(0x30000000)));
    for (int round = 0; round < 128; ++round)
        ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(g_agent_dir->index->node_count, 0x800000u);
    ASSERT_EQ(qel_agent_dir_load(folder.file("second").c_str()), 0);
    EXPECT_EQ(g_agent_dir->index->node_count, 0x800000u);
    EXPECT_EQ(text(query("20000005").id), "30000005") << "the records are read, the entries stay";
}

TEST_F(AgentLoad, SurvivesEveryTruncationAndExtremesOfEveryHeaderField) {
    const bytes whole = directory_file(three);
    const std::vector<std::uint32_t> extremes = {0, 1, 4, 0xFFFF, 0x10000, 0x10001, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        for (std::size_t field = 0; field < 24; field += 4) {
            bytes file = whole;
            const std::uint32_t value = extremes[(size * 7 + field) % extremes.size()];
            std::memcpy(file.data() + field, &value, sizeof value);
            file.resize(size);
            write_file(path, file);
            const std::int32_t expected = size < 16 ? -3 : field == 0 ? -4 : 0;
            ASSERT_EQ(qel_agent_dir_load(path.c_str()), expected) << size << " " << field << " " << value;
            char ids[9 * 8];
            ASSERT_LE(qel_agent_monitor("2A*", ids, 8), 8u);
            ASSERT_EQ(stats()[0], g_agent_dir->agent_count);
        }
    }
}

TEST_F(AgentLoad, SurvivesRandomBytes) {
    std::mt19937 random(8);
    const auto word = [&random] { return static_cast<std::uint32_t>(random()); };
    for (std::uint32_t round = 0; round < 300; ++round) {
        bytes file = directory_file({}, word(), word());
        if (round % 3 == 0) file.resize(16);
        const std::size_t size = file.size() + random() % 3000;
        while (file.size() < size)
            file.push_back(static_cast<std::uint8_t>(random()));
        write_file(path, file);
        ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
        const std::uint32_t slot = word() % 64;
        const std::string id = text(g_agent_dir->agents[slot].id);
        qel_agent agent;
        const std::int32_t found = qel_agent_query(id.c_str(), &agent);
        ASSERT_TRUE(found == 0 || found == -2);
        ASSERT_EQ(qel_agent_control(id.c_str(), 4), found);
        char ids[9 * 70];
        qel_agent_monitor("*", ids, 70);
        if (g_agent_dir->agent_count < 65536) spawn(static_cast<std::uint8_t>(round % 4));
        ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
    }
}

} // namespace
} // namespace qel
