// SPDX-License-Identifier: MIT
// Every form of the merge that a nearest query ends with.
#include "qel_unit/nearest_merge.h"
#include "support/kernel_forms.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace qel {
namespace {

using test::runnable;
using keys = std::vector<std::uint64_t>;
using numbers = std::vector<std::uint32_t>;

/// What a form writes, and whether it accepts the query.
struct answer {
    bool given;
    numbers tokens;
    keys distances;

    bool operator==(const answer &other) const {
        return given == other.given && (!given || (tokens == other.tokens && distances == other.distances));
    }
};

constexpr std::uint32_t untouched = 0x55555555;

answer merge(merge_function *form, const keys &mortons, std::uint64_t target, std::uint32_t start,
             std::uint32_t wanted) {
    const std::vector<qel_token> tokens = test::tokens_with_keys(mortons);
    const nearest_query query = {tokens.data(), static_cast<std::uint32_t>(tokens.size()), target, start};
    keys hops(std::size_t{2} * wanted);
    answer found = {false, numbers(wanted + 1, untouched), keys(wanted + 1, untouched)};
    found.given = form(query, wanted, hops.data(), found.tokens.data(), found.distances.data());
    EXPECT_EQ(found.tokens.back(), untouched) << "nothing is written after the results";
    EXPECT_EQ(found.distances.back(), untouched);
    found.tokens.pop_back();
    found.distances.pop_back();
    return found;
}

void expect_merged(const keys &mortons, std::uint64_t target, std::uint32_t start, const numbers &tokens,
                   const keys &distances) {
    for (const auto &form : runnable(merge_kernel)) {
        const auto wanted = static_cast<std::uint32_t>(tokens.size());
        const answer found = merge(form.call, mortons, target, start, wanted);
        EXPECT_TRUE(found.given) << form.name;
        EXPECT_EQ(found.tokens, tokens) << form.name;
        EXPECT_EQ(found.distances, distances) << form.name;
    }
}

void expect_refused(const keys &mortons, std::uint64_t target, std::uint32_t start, std::uint32_t wanted) {
    for (const auto &form : runnable(merge_kernel))
        EXPECT_FALSE(merge(form.call, mortons, target, start, wanted).given) << form.name;
}

TEST(NearestMerge, TakesTheNearerOfBothSides) {
    expect_merged({0, 100, 200, 300, 1000}, 210, 2, {2, 3, 1, 0, 4}, {3, 9, 10, 14, 28});
    expect_merged({0, 100, 200, 300, 1000}, 210, 3, {2, 3}, {3, 9});
}

TEST(NearestMerge, TakesAllOfOneSideIfTheOtherIsFarOrEmpty) {
    expect_merged({1, 2, 3, 4, 5, 6, 7, 8, 9}, 0, 0, {0, 1, 2, 3, 4, 5, 6, 7}, {1, 1, 1, 2, 2, 2, 2, 2});
    expect_merged({1, 2, 3, 4, 5, 6, 7, 8, 9}, 10, 8, {8, 7, 6, 5, 4, 3, 2, 1}, {1, 1, 1, 2, 2, 2, 2, 2});
    expect_merged({1, 4, 9, 16, 25, 36, 49, 64, 81}, 0, 0, {0, 1, 2, 3, 4, 5, 6, 7}, {1, 2, 3, 4, 5, 6, 7, 8});
    expect_merged({19, 36, 51, 64, 75, 84, 91, 96, 99}, 100, 8, {8, 7, 6, 5, 4, 3, 2, 1}, {1, 2, 3, 4, 5, 6, 7, 8});
    expect_merged({1, 101, 104, 109, 116, 125, 136, 149, 164}, 100, 0, {1, 2, 3, 4, 5, 6, 7, 8},
                  {1, 2, 3, 4, 5, 6, 7, 8});
    expect_merged({1, 2, 3, 9000}, 3, 2, {2, 1, 0}, {0, 1, 1});
    expect_merged({7}, 5, 0, {0}, {1});
}

TEST(NearestMerge, OffersTheStartFirstAndThenTheLeftSide) {
    expect_merged({6, 10, 14}, 10, 1, {1, 0, 2}, {0, 2, 2}); // the start is on the right
    expect_merged({9, 9, 9, 11, 11, 11}, 10, 2, {2, 1, 3, 0, 4, 5}, {1, 1, 1, 1, 1, 1});
    expect_merged({9, 9, 9, 11, 11, 11}, 10, 3, {3, 2, 4, 1, 5, 0}, {1, 1, 1, 1, 1, 1});
}

TEST(NearestMerge, RefusesDecreasingDistances) {
    expect_refused({50, 10, 60, 100}, 55, 2, 4);
    expect_refused({10, 50, 100, 60}, 55, 1, 4);
    for (std::uint64_t place = 1; place < 8; ++place) { // one of 2, 4, 6, ... is less than the last
        keys mortons;
        for (std::uint64_t i = 1; i <= 9; ++i)
            mortons.push_back(4 * i * i);
        mortons[place] = (2 * place - 1) * (2 * place - 1);
        expect_refused(mortons, 0, 0, 8);
    }
}

TEST(NearestMerge, RefusesDistancesWhoseSquareWraps) {
    constexpr std::uint64_t most = 0xFFFFFFFFFFFFFFFF;
    expect_refused({0, most}, 1, 0, 2);
    expect_refused({0, most}, most - 1, 1, 2);
    expect_merged({0, most}, most / 2, 0, {0, 1}, {3037000448, 3037000448});
}

TEST(NearestMerge, RefusesWhereATokenBeyondTheListsMayBeNearer) {
    expect_refused({100, 200, 150}, 100, 0, 2);
    expect_refused({150, 100, 200}, 200, 2, 2);
    expect_merged({100, 200, 200}, 100, 0, {0, 1}, {0, 10});
}

TEST(NearestMerge, IsTheSameInEveryForm) {
    std::mt19937_64 random(17);
    std::uint64_t given = 0, refused = 0;
    for (int round = 0; round < 20000; ++round) {
        keys mortons(random() % 30 + 1);
        const std::uint64_t spread = std::uint64_t{1} << random() % 64;
        for (std::uint64_t &morton : mortons)
            morton = random() % spread;
        std::sort(mortons.begin(), mortons.end());
        if (round % 4 == 0) std::swap(mortons[random() % mortons.size()], mortons[random() % mortons.size()]);
        const std::uint64_t target = round % 3 == 0 ? mortons[random() % mortons.size()] : random() % spread;
        const auto place = std::lower_bound(mortons.begin(), mortons.end(), target) - mortons.begin();
        const auto last = static_cast<std::uint32_t>(mortons.size() - 1);
        const std::uint32_t start = std::min(static_cast<std::uint32_t>(place), last);
        const auto wanted = static_cast<std::uint32_t>(random() % std::min<std::size_t>(mortons.size(), 10)) + 1;
        const answer plain = merge(merge_kernel.forms.plain, mortons, target, start, wanted);
        (plain.given ? given : refused) += 1;
        for (const auto &form : runnable(merge_kernel))
            ASSERT_EQ(merge(form.call, mortons, target, start, wanted), plain) << form.name << ", round " << round;
    }
    EXPECT_GT(given, 10000u);
    EXPECT_GT(refused, 1000u);
}

} // namespace
} // namespace qel
