// SPDX-License-Identifier: MIT
#include "common/heap.h"

#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qel {
namespace {

using namespace test;

struct record25 {
    char bytes[25];
};

TEST(Heap, AllocatesOneByteForNoRecords) {
    const failing_heap watch = failing_heap::of_size(1);
    EXPECT_EQ(heap_array<record25>(0), nullptr);
    EXPECT_EQ(watch.failures(), 1u);
}

TEST(Heap, RefusesCountsLargerThanMemory) {
    const failing_heap watch = failing_heap::nth(0);
    EXPECT_EQ(heap_array<record25>(~std::uint64_t{0}), nullptr);
    EXPECT_EQ(heap_zeroed<record25>(~std::uint64_t{0} / 25), nullptr);
    EXPECT_EQ(heap_table<record25>(std::uint64_t{1} << 62), nullptr);
    EXPECT_EQ(watch.count(), 0u) << "refused before the heap is asked";
}

TEST(Heap, ZeroesRecordsOnRequest) {
    const scratch<record25> records(heap_zeroed<record25>(100));
    ASSERT_NE(records, nullptr);
    for (std::size_t i = 0; i < 100; ++i)
        for (const char byte : records[i].bytes)
            ASSERT_EQ(byte, 0);
}

TEST(Heap, LargeTablesAreWholeAndFreedAsUsual) {
    auto *table = heap_table<std::uint32_t>(0x800000);
    ASSERT_NE(table, nullptr);
    table[0] = 1;
    table[0x7FFFFF] = 2;
    EXPECT_EQ(table[0] + table[0x7FFFFF], 3u);
    release(table);
    EXPECT_EQ(table, nullptr);
}

#if defined(__linux__)
TEST(Heap, TablesOfWholeHugePagesBeginAtOne) {
    constexpr std::uint64_t huge = 2 << 20;
    for (const std::uint64_t pages : {2u, 3u, 4u}) {
        auto *table = heap_table<std::uint8_t>(pages * huge);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table) % huge, 0u) << pages;
        release(table);
    }
}

TEST(Heap, AlignedArraysBeginAtACacheLine) {
    struct line {
        char bytes[64];
    };
    std::vector<scratch<line>> all;
    for (const std::uint64_t count : {1u, 1u, 1u, 1u, 2u, 3u}) {
        all.emplace_back(heap_lines<line>(count));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(all.back().get()) % 64, 0u) << count;
    }
}
#endif

TEST(Heap, TablesOfPartialHugePagesAreAllocatedLikeArrays) {
    for (const std::uint64_t count : {std::uint64_t{1000}, (std::uint64_t{4} << 20) / 4 + 1}) {
        auto *table = heap_table<std::uint32_t>(count);
        ASSERT_NE(table, nullptr);
        table[count - 1] = 7;
        EXPECT_EQ(table[count - 1], 7u);
        release(table);
        const failing_heap watch = failing_heap::of_size(static_cast<std::size_t>(count) * 4);
        EXPECT_EQ(heap_table<std::uint32_t>(count), nullptr);
        EXPECT_EQ(watch.count(), 1u);
    }
}

TEST(Heap, RefusesExactlyWhatDoesNotFitIntoHalfTheAddresses) {
    constexpr std::uint64_t most = ~std::size_t{0} / 2 / 4;
    EXPECT_EQ(array_bytes<std::uint32_t>(most), most * 4);
    EXPECT_EQ(array_bytes<std::uint32_t>(most + 1), 0u);
    EXPECT_EQ(heap_zeroed<std::uint32_t>(most + 1), nullptr);
    EXPECT_EQ(heap_table<std::uint32_t>(most + 1), nullptr);
}

TEST(Heap, AlignedArraysOfZeroOrTooManyRecordsBehaveAsUnalignedOnes) {
    struct line {
        char bytes[64];
    };
    auto *none = heap_lines<line>(0);
    EXPECT_NE(none, nullptr);
    release(none);
    const failing_heap watch = failing_heap::nth(0);
    EXPECT_EQ(heap_lines<line>(~std::uint64_t{0}), nullptr);
    EXPECT_EQ(heap_lines<line>(~std::size_t{0} / 2 / 64 + 1), nullptr);
    EXPECT_EQ(watch.count(), 0u) << "refused before the heap is asked";
}

TEST(Heap, LargeTablesFailAsOneAllocation) {
    const failing_heap watch = failing_heap::of_size(std::size_t{32} << 20);
    EXPECT_EQ(heap_table<std::uint32_t>(0x800000), nullptr);
    EXPECT_EQ(watch.count(), 1u);
}

} // namespace
} // namespace qel
