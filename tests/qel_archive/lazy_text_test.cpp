// SPDX-License-Identifier: MIT
#include "qel_archive/lazy_text.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>

namespace qel::archives {
namespace {

using namespace test;

TEST(LazyTexts, AreMadeForASlotAndFreedTogether) {
    const heap_ledger ledger;
    {
        lazy_texts texts;
        std::atomic<const char *> slots[2] = {};
        const char *const first = texts.get(slots[0], 3, [](char *bytes) { std::memcpy(bytes, "arm", 3); });
        const char *const second = texts.get(slots[1], 0, [](char *) {});
        EXPECT_STREQ(first, "arm");
        EXPECT_STREQ(second, "");
        EXPECT_EQ(slots[0].load(), first);
        EXPECT_EQ(slots[1].load(), second);
        EXPECT_EQ(ledger.live(), 2u);
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(LazyTexts, ReturnTheTextOfAFasterThread) {
    lazy_texts texts;
    std::atomic<const char *> slot{nullptr};
    const heap_ledger ledger;
    const char *faster = nullptr;
    const char *const slower = texts.get(slot, 4, [&](char *bytes) {
        // Another thread makes the text after this one has tested the slot and before it stores its own.
        faster = texts.get(slot, 4, [](char *other) { std::memcpy(other, "fast", 4); });
        std::memcpy(bytes, "slow", 4);
    });
    EXPECT_STREQ(slower, "fast");
    EXPECT_EQ(slower, faster);
    EXPECT_EQ(slot.load(), faster);
    EXPECT_EQ(ledger.live(), 1u) << "what the slower one wrote is freed";
}

TEST(LazyTexts, AreNullWithoutMemory) {
    lazy_texts texts;
    std::atomic<const char *> slot{nullptr};
    {
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_EQ(texts.get(slot, 3, [](char *bytes) { std::memset(bytes, 'x', 3); }), nullptr);
        EXPECT_EQ(slot.load(), nullptr);
    }
    EXPECT_STREQ(texts.get(slot, 3, [](char *bytes) { std::memset(bytes, 'x', 3); }), "xxx");
}

} // namespace
} // namespace qel::archives
