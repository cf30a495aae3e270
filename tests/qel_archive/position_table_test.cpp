// SPDX-License-Identifier: MIT
#include "qel_archive/position_table.h"

#include "support/failing_heap.h"

#include <gtest/gtest.h>

namespace qel::archives {
namespace {

using namespace test;

/// Positions in a file: near each other, far apart, and 0.
std::uint64_t position_of(std::uint64_t i) {
    return i % 2 == 0 ? i * 8 : i << 32;
}

TEST(PositionTable, FindsNothingAtFirst) {
    const position_table table;
    EXPECT_EQ(table.find(0), nullptr);
    EXPECT_EQ(table.find(16), nullptr);
}

TEST(PositionTable, FindsTheNumberOfEveryPosition) {
    position_table table;
    constexpr std::uint64_t count = 200'000; // searches that met many others would take minutes
    for (std::uint64_t i = 0; i < count; ++i) {
        ASSERT_EQ(table.find(position_of(i)), nullptr) << i;
        ASSERT_TRUE(table.add(position_of(i), i + 1));
        ASSERT_NE(table.find(position_of(i)), nullptr) << i;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t *const found = table.find(position_of(i));
        ASSERT_NE(found, nullptr) << i;
        EXPECT_EQ(*found, i + 1);
        EXPECT_EQ(table.find(position_of(i) + 1), nullptr) << "one byte beside it";
    }
}

TEST(PositionTable, KeepsWhatItHasWhenGrowingFails) {
    const heap_ledger ledger;
    {
        position_table table;
        std::uint64_t count = 0;
        for (std::uint64_t failures = 0; failures < 3;) { // at each of the first three sizes
            const failing_heap heap = failing_heap::nth(1);
            if (table.add(position_of(count), count + 1)) {
                ++count;
                continue;
            }
            ++failures;
            EXPECT_EQ(heap.failures(), 1u);
            EXPECT_EQ(table.find(position_of(count)), nullptr);
            for (std::uint64_t i = 0; i < count; ++i) {
                const std::uint64_t *const found = table.find(position_of(i));
                ASSERT_NE(found, nullptr) << i;
                EXPECT_EQ(*found, i + 1);
            }
            ASSERT_TRUE(table.add(position_of(count), count + 1)) << "the second allocation succeeds";
            ++count;
        }
        EXPECT_GT(count, 64u);
    }
    EXPECT_EQ(ledger.live(), 0u);
}

} // namespace
} // namespace qel::archives
