// SPDX-License-Identifier: MIT
#include "qel_archive/names.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace qel::archives {
namespace {

/// The table of names, ordered.
struct ordered_names {
    explicit ordered_names(const std::vector<std::string> &names) {
        for (const std::string &name : names)
            texts.push_back({name.c_str(), static_cast<std::uint32_t>(name.size())});
        table = {texts.data(), static_cast<std::uint32_t>(texts.size()), nullptr};
        status = order_names(table, memory);
    }

    std::vector<text> texts;
    arena memory;
    name_table table;
    std::int32_t status;
};

/// Names that share long beginnings, hold bytes above 127 and are prefixes of each other.
std::vector<std::string> awkward_names(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        std::string name = "a_common_beginning";
        for (std::size_t rest = i; rest > 0; rest /= 3)
            name += rest % 3 == 0 ? "a" : rest % 3 == 1 ? "\xC3\xA9" : "12345678";
        names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    std::shuffle(names.begin(), names.end(), std::mt19937(5));
    return names;
}

TEST(Names, EveryNameIsFoundAndNoOther) {
    for (const std::size_t count : {1u, 2u, 8u, 9u, 10u, 300u}) {
        const std::vector<std::string> names = awkward_names(count);
        const ordered_names ordered(names);
        ASSERT_EQ(ordered.status, QEL_ARCHIVE_OK);
        for (std::uint32_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(find_name(ordered.table, names[i].data(), names[i].size()), i);
            EXPECT_EQ(find_name(ordered.table, (names[i] + "?").data(), names[i].size() + 1), none);
        }
        EXPECT_EQ(find_name(ordered.table, "", 0), none);
        EXPECT_EQ(find_name(ordered.table, "zebra", 5), none);
    }
}

TEST(Names, EveryNameIsFoundWithEqualAndWithDistinctFirstBytes) {
    for (const std::vector<std::string> &names :
         {std::vector<std::string>{"i", "h", "g", "f", "e", "d", "c", "b", "a"},
          std::vector<std::string>{"bz", "az", "by", "bx", "bw", "bv", "bu", "bt", "bs"}}) {
        const ordered_names ordered(names);
        for (std::uint32_t i = 0; i < names.size(); ++i)
            EXPECT_EQ(find_name(ordered.table, names[i].data(), names[i].size()), i) << names[i];
    }
}

TEST(Names, AllocateNothingIfTheyAreSorted) {
    const ordered_names ordered({"a", "b", "c", "d", "e", "f", "g", "h", "i"});
    EXPECT_EQ(ordered.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(ordered.table.order, nullptr);
}

TEST(Names, DuplicateNamesAreDamage) {
    for (const std::size_t count : {2u, 8u, 9u, 300u}) {
        std::vector<std::string> names = awkward_names(count);
        names.back() = names.front();
        EXPECT_EQ(ordered_names(names).status, QEL_ARCHIVE_DAMAGED) << count;
    }
    EXPECT_EQ(ordered_names(std::vector<std::string>(300, "n")).status, QEL_ARCHIVE_DAMAGED);
}

TEST(Names, DuplicateNamesAreDamageInAscendingOrder) {
    for (const std::size_t first : {0u, 4u, 8u}) {
        std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
        names[first + 1] = names[first];
        EXPECT_EQ(ordered_names(names).status, QEL_ARCHIVE_DAMAGED) << first;
    }
}

TEST(Names, SortReturnsNoMemory) {
    const std::vector<std::string> names = awkward_names(300);
    for (const std::uint64_t n : {1u, 2u}) {
        const auto plan = test::failing_heap::nth(n);
        EXPECT_EQ(ordered_names(names).status, QEL_ARCHIVE_NO_MEMORY);
    }
}

} // namespace
} // namespace qel::archives
