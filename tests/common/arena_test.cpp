// SPDX-License-Identifier: MIT
#include "common/arena.h"

#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qel {
namespace {

using namespace test;

TEST(Arena, RefusesCountsLargerThanMemory) {
    arena memory;
    const failing_heap watch = failing_heap::nth(0);
    EXPECT_EQ(memory.array<std::uint64_t>(std::numeric_limits<std::uint64_t>::max()), nullptr);
    EXPECT_EQ(memory.array<std::uint64_t>(std::numeric_limits<std::size_t>::max() / 2 / 8 + 1), nullptr);
    EXPECT_EQ(memory.array<std::uint8_t>(std::numeric_limits<std::uint64_t>::max()), nullptr);
    EXPECT_EQ(watch.count(), 0u) << "refused before the heap is asked";
}

TEST(Arena, KeepsArraysApartThroughBlocksOfEverySize) {
    const heap_ledger ledger;
    {
        arena memory;
        constexpr std::size_t count = 1000; // 80 MB in arrays of 80 KB, past the last growth of the blocks
        std::vector<std::uint64_t *> arrays;
        for (std::size_t i = 0; i < count; ++i) {
            auto *const array = memory.array<std::uint64_t>(10'000);
            ASSERT_NE(array, nullptr);
            array[0] = i;
            array[9'999] = ~std::uint64_t{i};
            arrays.push_back(array);
        }
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(arrays[i][0], i);
            ASSERT_EQ(arrays[i][9'999], ~std::uint64_t{i});
        }
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(Arena, KeepsArraysOfRandomSizesApartAndAligned) {
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

TEST(Arena, TakesLargeBlocksInWholeHugePages) {
    constexpr std::size_t huge = std::size_t{2} << 20;
    arena memory;
    ASSERT_NE(memory.array<std::uint8_t>(20 * huge),
              nullptr); // a quarter of it are five huge pages, of which four fit
    const failing_heap heap = failing_heap::of_size(4 * huge);
    EXPECT_EQ(memory.array<std::uint8_t>(1), nullptr);
    EXPECT_EQ(heap.failures(), 1u);
}

TEST(Arena, MakesABlockWholeFromTwoHugePagesOn) {
    struct {
        std::size_t array, block;                                                // bytes
    } const cases[] = {{std::size_t{12} << 20, (std::size_t{12} << 20) / 4 + 2}, // less than two
                       {std::size_t{20} << 20, std::size_t{4} << 20}};           // two and a half
    for (const auto &one : cases) {
        arena memory;
        ASSERT_NE(memory.array<std::uint8_t>(one.array), nullptr);
        const failing_heap heap = failing_heap::of_size(one.block);
        EXPECT_EQ(memory.array<std::uint8_t>(1), nullptr);
        EXPECT_EQ(heap.failures(), 1u) << one.array;
    }
}

/// The number of blocks that an arena allocates for `count` arrays of one size.
std::uint64_t blocks_of(arena &memory, std::uint64_t count, std::uint64_t bytes) {
    const failing_heap watch = failing_heap::nth(0);
    for (std::uint64_t i = 0; i < count; ++i)
        EXPECT_NE(memory.array<std::uint8_t>(bytes), nullptr);
    return watch.count();
}

TEST(Arena, FillsItsFirstBlockOf4KibibytesToTheLastByte) {
    arena memory;
    EXPECT_EQ(blocks_of(memory, 511, 8), 1u);
    EXPECT_EQ(blocks_of(memory, 1, 8), 1u);
    EXPECT_EQ(blocks_of(memory, 510, 1), 0u) << "each takes eight bytes";
    EXPECT_EQ(blocks_of(memory, 1, 1), 1u);
}

TEST(Arena, PutsLargeArraysIntoTheirOwnBlock) {
    arena memory;
    EXPECT_EQ(blocks_of(memory, 3, 1024), 1u);
    EXPECT_EQ(blocks_of(memory, 3, 1032), 3u);
    EXPECT_EQ(blocks_of(memory, 1, 1016), 0u) << "the first block is not given up for them";
}

TEST(Arena, GrowsItsBlocksWithItsMemoryAsFarAs8Mebibytes) {
    arena memory;
    EXPECT_EQ(blocks_of(memory, 100, 1000), 13u);
    memory.clear();
    EXPECT_EQ(blocks_of(memory, 100, 1000), 13u) << "from the smallest again";
    EXPECT_EQ(blocks_of(memory, 100'000, 1000), 34u);
}

TEST(Arena, GivesArraysAgainAfterABlockFailed) {
    arena memory;
    {
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_EQ(memory.array<std::uint64_t>(1), nullptr);
    }
    auto *const array = memory.array<std::uint64_t>(1);
    ASSERT_NE(array, nullptr);
    *array = 7;
    EXPECT_EQ(*array, 7u);
}

TEST(HeapList, KeepsItsRecordsWhenGrowingFails) {
    heap_list<std::uint32_t> list;
    for (std::uint32_t i = 0; i < 8; ++i)
        ASSERT_TRUE(list.push(i));
    {
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_FALSE(list.push(8));
        EXPECT_EQ(heap.failures(), 1u);
    }
    ASSERT_TRUE(list.push(9));
    ASSERT_EQ(list.size(), 9u);
    for (std::uint32_t i = 0; i < 8; ++i)
        EXPECT_EQ(list[i], i);
    EXPECT_EQ(list.top(), 9u);
}

} // namespace
} // namespace qel
