// SPDX-License-Identifier: MIT
#include "common/arena.h"
#include "common/read_ahead.h"
#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace qel::test {
namespace {

bytes noise(std::size_t size) {
    std::mt19937 random(7);
    bytes content(size);
    for (std::uint8_t &value : content)
        value = static_cast<std::uint8_t>(random());
    return content;
}

struct ReadAhead : testing::Test {
    temp_folder folder;
    const bytes content = noise(300'001);
    random_access_file file;

    void SetUp() override {
        const std::string path = folder.file("noise");
        write_file(path, content);
        ASSERT_EQ(file.open(path.c_str()), open_outcome::opened);
    }

    void expect_bytes(read_ahead &ahead, std::uint64_t at, std::size_t size) {
        bytes read(size);
        ASSERT_EQ(ahead.read(at, read.data(), size), read_outcome::read) << at << ' ' << size;
        ASSERT_TRUE(std::equal(read.begin(), read.end(), content.begin() + static_cast<std::ptrdiff_t>(at)))
            << at << ' ' << size;
    }
};

TEST_F(ReadAhead, GivesTheFilesBytesWhicheverWayItGoes) {
    read_ahead ahead(file);
    ASSERT_TRUE(ahead.ready());
    std::mt19937 random(1);
    std::uint64_t at = 0;
    for (int i = 0; i < 60'000; ++i) {
        const std::size_t size = 1 + random() % (random() % 50 == 0 ? 9000 : 60);
        switch (random() % 8) {
        case 0:
            at = random() % content.size();
            break;
        case 1:
        case 2:
            at -= std::min<std::uint64_t>(at, random() % 300);
            break;
        default:
            at += random() % 300;
            break;
        }
        at = std::min<std::uint64_t>(at, content.size() - size);
        ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, at, size));
    }
}

TEST_F(ReadAhead, ReadsTheLastByteAndNothingBehindIt) {
    read_ahead ahead(file);
    std::uint8_t read[2] = {};
    ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, content.size() - 1, 1));
    EXPECT_EQ(ahead.read(content.size() - 1, read, 2), read_outcome::cut);
    EXPECT_EQ(ahead.read(content.size(), read, 1), read_outcome::cut);
    EXPECT_EQ(ahead.read(~std::uint64_t{0}, read, 2), read_outcome::cut);
}

TEST_F(ReadAhead, SaysThatAFileWasCutMeanwhile) {
    std::filesystem::resize_file(folder.path() / "noise", 1000);
    read_ahead ahead(file);
    std::uint8_t read[2] = {};
    EXPECT_EQ(ahead.read(200'000, read, 2), read_outcome::cut);
}

TEST_F(ReadAhead, IsNotReadyWithoutMemory) {
    const auto plan = failing_heap::nth(1);
    EXPECT_FALSE(read_ahead(file).ready());
}

TEST(RandomAccessFile, RefusesWhatIsNoRegularFile) {
    const temp_folder folder;
    random_access_file missing, directory;
    EXPECT_EQ(missing.open(folder.file("missing").c_str()), open_outcome::cannot_open);
    EXPECT_EQ(directory.open(folder.path().string().c_str()), open_outcome::cannot_open);
}

TEST(Arena, KeepsEveryArrayApartAndFreesThemAll) {
    const heap_ledger ledger;
    {
        arena memory;
        std::mt19937 random(3);
        std::vector<std::pair<std::uint8_t *, std::size_t>> taken;
        for (int i = 0; i < 3000; ++i) {
            const std::size_t size = random() % (i % 100 == 0 ? 200'000 : 200);
            auto *const array = memory.array<std::uint8_t>(size);
            ASSERT_NE(array, nullptr);
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(array) % 8, 0u);
            std::memset(array, i % 251, size);
            taken.emplace_back(array, size);
        }
        for (std::size_t i = 0; i < taken.size(); ++i)
            ASSERT_TRUE(std::all_of(taken[i].first, taken[i].first + taken[i].second,
                                    [i](std::uint8_t value) { return value == i % 251; }));
        EXPECT_GT(ledger.live(), 0u);
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(Arena, GoesOnAfterAnAllocationThatFailed) {
    arena memory;
    {
        const auto plan = failing_heap::nth(1);
        EXPECT_EQ(memory.array<std::uint64_t>(3), nullptr);
    }
    EXPECT_NE(memory.array<std::uint64_t>(3), nullptr);
    EXPECT_EQ(memory.array<std::uint64_t>(~std::uint64_t{0}), nullptr);
}

} // namespace
} // namespace qel::test
