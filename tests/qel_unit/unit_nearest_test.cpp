// SPDX-License-Identifier: MIT
// The nearest query of a unit.
#include "model/unit_model.h"
#include "qel_unit/nearest_merge.h"
#include "support/each_form.h"
#include "support/failing_heap.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>

namespace qel {
namespace {

using test::borrowed_unit;
using test::failing_heap;
using test::tokens_with_keys;
using keys = std::vector<std::uint64_t>;

constexpr std::uint64_t most = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint64_t untouched = 0x5555555555555555;

struct result {
    std::uint32_t token;
    std::uint64_t distance;

    bool operator==(const result &other) const { return token == other.token && distance == other.distance; }
};
using results = std::vector<result>;

std::ostream &operator<<(std::ostream &stream, const result &r) {
    return stream << '(' << r.token << ", " << r.distance << ')';
}

results query(const qel_unit &unit, std::uint64_t target, std::int32_t k, std::size_t room) {
    std::vector<std::uint32_t> numbers(room, static_cast<std::uint32_t>(untouched));
    std::vector<std::uint64_t> distances(room, untouched);
    const std::uint32_t found = qel_unit_query_nearest(&unit, target, k, numbers.data(), distances.data());
    results list;
    for (std::size_t i = 0; i < room; ++i) {
        if (i < found) {
            list.push_back({numbers[i], distances[i]});
        } else {
            EXPECT_EQ(numbers[i], static_cast<std::uint32_t>(untouched)) << "entries beyond the result do not change";
            EXPECT_EQ(distances[i], untouched) << "entries beyond the result do not change";
        }
    }
    return list;
}

/// The same from every form of the kernel.
results query(std::vector<qel_token> tokens, std::uint64_t target, std::int32_t k) {
    std::vector<results> lists;
    test::with_each_form(merge_kernel, [&] {
        lists.push_back(query(borrowed_unit(tokens), target, k, tokens.size() + 2));
        EXPECT_EQ(lists.back(), lists.front());
    });
    return lists.front();
}

results query(const keys &mortons, std::uint64_t target, std::int32_t k) {
    return query(tokens_with_keys(mortons), target, k);
}

results model_query(const std::vector<qel_token> &tokens, std::uint64_t target, std::int32_t k) {
    results list;
    for (const model::near_token &near : model::nearest(tokens, target, k))
        list.push_back({near.token, near.distance});
    return list;
}

TEST(UnitQueryNearest, ListsTheNearestFirst) {
    const keys mortons = {0, 100, 200, 300, 1000};
    EXPECT_EQ(query(mortons, 210, 3), (results{{2, 3}, {3, 9}, {1, 10}}));
    EXPECT_EQ(query(mortons, 210, 1), (results{{2, 3}}));
}

TEST(UnitQueryNearest, GivesAsManyResultsAsTokensForALargeK) {
    const keys mortons = {0, 100, 200};
    EXPECT_EQ(query(mortons, 0, 4), (results{{0, 0}, {1, 10}, {2, 14}}));
    EXPECT_EQ(query(mortons, 0, 2147483647), (results{{0, 0}, {1, 10}, {2, 14}}));
    EXPECT_EQ(query(mortons, 200, 3), (results{{2, 0}, {1, 10}, {0, 14}}));
}

TEST(UnitQueryNearest, GivesNothingForAKBelowOne) {
    EXPECT_EQ(query(keys{1, 2}, 1, 0), results{});
    EXPECT_EQ(query(keys{1, 2}, 1, -1), results{});
    EXPECT_EQ(query(keys{1, 2}, 1, -2147483647 - 1), results{});
}

TEST(UnitQueryNearest, GivesNothingForNoUnitAndNoTokens) {
    std::uint32_t number = 1;
    std::uint64_t distance = 2;
    EXPECT_EQ(qel_unit_query_nearest(nullptr, 0, 1, &number, &distance), 0u);
    qel_unit unit = {};
    unit.count = 3;
    EXPECT_EQ(qel_unit_query_nearest(&unit, 0, 1, &number, &distance), 0u);
    EXPECT_EQ(number, 1u);
    EXPECT_EQ(distance, 2u);
}

TEST(UnitQueryNearest, OnALoadedUnitWithoutTokensGivesNothing) {
    const test::temp_folder folder;
    test::write_file(folder.file("empty"), test::unit_file({}));
    test::owned_unit unit;
    ASSERT_EQ(qel_unit_load(folder.file("empty").c_str(), &unit), 0);
    const failing_heap heap = failing_heap::nth(0);
    EXPECT_EQ(query(unit, 5, 3, 3), results{});
    EXPECT_EQ(heap.count(), 0u);
}

TEST(UnitQueryNearest, ComparesTheCountAsASignedNumber) {
    qel_token one = test::make_token(1);
    qel_unit unit = {};
    unit.tokens = &one;
    for (const std::uint32_t count : {0x80000000u, 0xFFFFFFFFu}) {
        unit.count = count;
        const failing_heap heap = failing_heap::nth(0);
        EXPECT_EQ(query(unit, 1, 3, 3), results{}) << count;
        EXPECT_EQ(heap.count(), 0u) << "no list of that many results";
    }
}

TEST(UnitQueryNearest, OfOneTokenGivesThatTokenForAnyTarget) {
    for (const std::uint64_t target : {std::uint64_t{0}, std::uint64_t{1000}, std::uint64_t{1001}, most})
        EXPECT_EQ(query(keys{1000}, target, 1), (results{{0, model::hops(1000, target)}})) << target;
    EXPECT_EQ(query(keys{0}, most, 5), (results{{0, 4294967296}}));
}

TEST(UnitQueryNearest, PutsAnEqualKeyFirst) {
    const keys mortons = {10, 20, 30, 40, 50, 60, 70};
    for (std::uint32_t i = 0; i < mortons.size(); ++i)
        EXPECT_EQ(query(mortons, mortons[i], 3).front(), (result{i, 0}));
}

TEST(UnitQueryNearest, KeepsTheFirstFoundWhenOneSlotIsLeft) {
    EXPECT_EQ(query(keys{6, 10, 14}, 10, 2), (results{{1, 0}, {0, 2}})) << "a pass offers the left side first";
    EXPECT_EQ(query(keys{6, 14}, 10, 1), (results{{1, 2}})) << "the search ends at 14, which is found first";
}

TEST(UnitQueryNearest, ListsEqualDistancesInTheOrderFound) {
    EXPECT_EQ(query(keys{6, 10, 14}, 10, 3), (results{{1, 0}, {0, 2}, {2, 2}}));
    EXPECT_EQ(query(keys{7, 7, 7, 7, 7}, 7, 5), (results{{2, 0}, {1, 0}, {3, 0}, {0, 0}, {4, 0}}));
    EXPECT_EQ(query(keys{7, 7, 7, 7, 7}, 7, 4), (results{{2, 0}, {1, 0}, {3, 0}, {0, 0}}));
}

TEST(UnitQueryNearest, OffersTheRightSideInThePassOfTheLeftSide) {
    // The left offer fills the list with distance 10; the right one, 9 hops away, still replaces it.
    EXPECT_EQ(query(keys{0, 100, 181}, 100, 2), (results{{1, 0}, {2, 9}}));
}

TEST(UnitQueryNearest, MayReturnMoreTokensOfOneSide) {
    EXPECT_EQ(query(keys{0, 1000, 1001, 1002, 1003, 1004, 5000}, 1000, 4), (results{{1, 0}, {2, 1}, {3, 1}, {4, 1}}));
    EXPECT_EQ(query(keys{996, 997, 998, 999, 1000, 5000, 6000}, 1000, 4), (results{{4, 0}, {3, 1}, {2, 1}, {1, 1}}));
}

TEST(UnitQueryNearest, StopsAtTwoToTheThirtySecondHopsWhoseSquareWraps) {
    EXPECT_EQ(query(keys{0, most}, 1, 1), (results{{1, 4294967296}}))
        << "the search ends at the far token, and no difference is below 0";
    EXPECT_EQ(query(keys{0, most}, 1, 2), (results{{0, 1}, {1, 4294967296}}));
}

TEST(UnitQueryNearest, StopsAtFarKeysInAnUnsortedUnit) {
    EXPECT_EQ(query(keys{104, 9000, 100, 101, 9000, 104}, 104, 1), (results{{3, 1}}));
    EXPECT_EQ(query(keys{104, 9000, 100, 101, 9000, 104}, 104, 6),
              (results{{5, 0}, {0, 0}, {3, 1}, {2, 2}, {4, 94}, {1, 94}}));
}

TEST(UnitQueryNearest, ContinuesAfterARefusedTokenIfTheRootRoundsUp) {
    // The root of h * h - 1 is h in single precision. A second token there is offered, though it cannot improve the
    // result, and the search comes to the third.
    constexpr std::uint64_t h = 12582912;
    EXPECT_EQ(query(keys{h * h - 1, h * h - 1, 5}, 0, 1), (results{{2, 2}}));
    EXPECT_EQ(query(keys{h * h - 1, h * h, 5}, 0, 1), (results{{0, h}})) << "not offered: the search ends";
}

TEST(UnitQueryNearest, WithoutMemoryForItsListGivesNothing) {
    std::vector<qel_token> tokens = tokens_with_keys({1, 2, 3});
    const qel_unit unit = borrowed_unit(tokens);
    const failing_heap heap = failing_heap::of_size(3 * 16);
    EXPECT_EQ(query(unit, 2, 9, 9), results{});
    EXPECT_EQ(heap.count(), 1u) << "one list of min(k, count) results";
    EXPECT_EQ(heap.failures(), 1u);
}

TEST(UnitQueryNearest, LeaksNothing) {
    std::vector<qel_token> tokens = tokens_with_keys({1, 2, 3});
    const qel_unit unit = borrowed_unit(tokens);
    const test::heap_ledger ledger;
    EXPECT_EQ(query(unit, 2, 2, 2).size(), 2u);
    EXPECT_EQ(ledger.live(), 0u);
}

/// Keys of one kind, and targets at, between and beyond them.
struct key_kind {
    const char *name;
    std::uint64_t (*key)(std::mt19937_64 &random);
};

const key_kind kinds[] = {
    {"anywhere", [](std::mt19937_64 &random) -> std::uint64_t { return random(); }},
    {"close together", [](std::mt19937_64 &random) -> std::uint64_t { return 1000 + random() % 500; }},
    {"mostly equal", [](std::mt19937_64 &random) -> std::uint64_t { return random() % 4; }},
    {"near zero or near the end",
     [](std::mt19937_64 &random) -> std::uint64_t {
         return random() % 2 == 0 ? random() % 1000 : most - random() % 1000;
     }},
    {"of every magnitude", [](std::mt19937_64 &random) -> std::uint64_t { return random() >> random() % 64; }},
    {"on the lattice", [](std::mt19937_64 &random) -> std::uint64_t {
         return random() % 48 << 32 | random() % 48 << 16 | random() % 48;
     }}};

enum class order { sorted, nearly_sorted, shuffled };

std::ostream &operator<<(std::ostream &stream, order value) {
    return stream << (value == order::sorted ? "Sorted" : value == order::shuffled ? "Shuffled" : "NearlySorted");
}

class UnitQueryNearestModel : public testing::TestWithParam<order> {
  protected:
    std::vector<qel_token> tokens(const key_kind &kind, std::size_t count) {
        keys mortons(count);
        for (std::uint64_t &morton : mortons)
            morton = kind.key(random);
        if (GetParam() != order::shuffled) std::sort(mortons.begin(), mortons.end());
        for (std::size_t swaps = GetParam() == order::nearly_sorted ? 1 + count / 16 : 0; swaps > 0; --swaps)
            std::swap(mortons[random() % count], mortons[random() % count]);
        return tokens_with_keys(mortons);
    }

    void expect_as_model(const std::vector<qel_token> &unit, std::uint64_t target, std::int32_t k) {
        ASSERT_EQ(query(unit, target, k), model_query(unit, target, k)) << "target " << target << ", k " << k;
    }

    std::mt19937_64 random{99};
};

TEST_P(UnitQueryNearestModel, EqualsThePlainPassesOnSmallUnits) {
    for (const key_kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        for (int round = 0; round < 400; ++round) {
            const std::vector<qel_token> unit = tokens(kind, random() % 12 + 1);
            const std::uint64_t target = round % 3 == 0 ? unit[random() % unit.size()].morton : kind.key(random);
            for (std::int32_t k = 1; k <= static_cast<std::int32_t>(unit.size()) + 1; ++k)
                expect_as_model(unit, target, k);
        }
    }
}

TEST_P(UnitQueryNearestModel, EqualsThePlainPassesOnLargerUnits) {
    for (const key_kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        for (int round = 0; round < 25; ++round) {
            const std::vector<qel_token> unit = tokens(kind, random() % 2000 + 1);
            for (const std::uint64_t target : {std::uint64_t{0}, most, unit.front().morton, kind.key(random)})
                expect_as_model(unit, target, static_cast<std::int32_t>(random() % 40) + 1);
        }
    }
}

TEST_P(UnitQueryNearestModel, EqualsThePlainPassesForManyResults) {
    for (const key_kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        const std::vector<qel_token> unit = tokens(kind, 700);
        for (const std::int32_t k : {255, 256, 257, 300, 699, 700, 701})
            expect_as_model(unit, kind.key(random), k);
    }
}

TEST_P(UnitQueryNearestModel, EqualsThePlainPassesWhereMostOffersComeAfterTheListIsFull) {
    for (const key_kind &kind : kinds) {
        SCOPED_TRACE(kind.name);
        const std::vector<qel_token> unit = tokens(kind, 3000);
        for (const std::int32_t k : {200, 600, 1000})
            expect_as_model(unit, kind.key(random), k);
    }
}

INSTANTIATE_TEST_SUITE_P(, UnitQueryNearestModel, testing::Values(order::sorted, order::nearly_sorted, order::shuffled),
                         testing::PrintToStringParamName());

TEST(UnitQueryNearest, MergesEightOfEachSideAndNoMore) {
    // Every token of one side is nearer than those of the other one, or they take turns.
    const auto squares = [](std::uint64_t first, std::uint64_t step) {
        keys mortons;
        for (std::uint64_t i = 0; i < 10; ++i)
            mortons.push_back(first + step * i * i);
        return mortons;
    };
    for (const std::uint64_t step : {1u, 4u, 100u}) {
        keys mortons = squares(1'000'000, step);
        for (const std::uint64_t key : squares(1'000'009, 9))
            mortons.push_back(2'000'000 - key);
        std::sort(mortons.begin(), mortons.end());
        const std::vector<qel_token> unit = tokens_with_keys(mortons);
        for (std::int32_t k = 7; k <= 10; ++k)
            EXPECT_EQ(query(unit, 1'000'000, k), model_query(unit, 1'000'000, k)) << step << ", k " << k;
    }
}

TEST(UnitQueryNearest, TakesEveryTokenOfALargeUnitInOneQuery) {
    // Dense on one side, sparse on the other: every right offer belongs before all left ones.
    constexpr std::uint32_t side = 100000;
    keys mortons;
    for (std::uint64_t i = 0; i < side; ++i)
        mortons.push_back(i << 24);
    for (std::uint64_t i = 0; i < side; ++i)
        mortons.push_back((std::uint64_t{side} << 24) + i);
    const results list = query(mortons, std::uint64_t{side} << 24, 2 * side);
    ASSERT_EQ(list.size(), 2u * side);
    EXPECT_EQ(list.front(), (result{side, 0}));
    EXPECT_EQ(list[1], (result{side + 1, 1}));
    EXPECT_EQ(list.back(), (result{0, model::hops(0, std::uint64_t{side} << 24)}));
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end(),
                               [](const result &a, const result &b) { return a.distance < b.distance; }));
    std::vector<bool> seen(list.size());
    for (const result &r : list) {
        ASSERT_FALSE(seen[r.token]);
        seen[r.token] = true;
    }
}

} // namespace
} // namespace qel
