// SPDX-License-Identifier: MIT
#include "qel_unit/token.h"

#include "model/unit_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qel {
namespace {

constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
constexpr std::int32_t int_max = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t int_min = std::numeric_limits<std::int32_t>::min();

qel_token token_with_key(std::uint64_t morton) {
    qel_token token = {};
    token.morton = morton;
    return token;
}

/// Numbers of every magnitude, most of them near a power of two or a square.
std::vector<std::uint64_t> edge_numbers(unsigned seed) {
    std::vector<std::uint64_t> numbers;
    std::mt19937_64 random(seed);
    for (int bit = 0; bit < 64; ++bit) {
        const std::uint64_t power = std::uint64_t{1} << bit;
        for (std::uint64_t step = 0; step < 4; ++step) {
            numbers.push_back(power + step);
            numbers.push_back(power - 1 - step);
        }
        for (int i = 0; i < 60; ++i)
            numbers.push_back(random() >> bit);
        for (int i = 0; i < 60; ++i) {
            const std::uint64_t side = (random() >> 32) >> (bit / 2);
            numbers.push_back(side * side);
            numbers.push_back(side * side - 1);
            numbers.push_back(side * side + 1);
        }
    }
    return numbers;
}

TEST(Token, IsTwentyFivePackedBytesLittleEndian) {
    qel_token token = {};
    token.morton = 0x0102030405060708;
    std::memcpy(token.hex_id, "0000ABCD", 8);
    token.payload = 0x1112131415161718;
    token.layer = 0x21;
    const unsigned char expected[25] = {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, '0',  '0',  '0',  '0', 'A',
                                        'B',  'C',  'D',  0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11, 0x21};
    EXPECT_EQ(sizeof token, 25u);
    EXPECT_EQ(std::memcmp(&token, expected, 25), 0);
}

TEST(CompareTokensMorton, OrdersKeysAsUnsignedNumbers) {
    const qel_token low = token_with_key(1), high = token_with_key(std::uint64_t{1} << 63);
    EXPECT_EQ(compare_tokens_morton(&low, &high), -1);
    EXPECT_EQ(compare_tokens_morton(&high, &low), 1);
}

TEST(CompareTokensMorton, ComparesOnlyTheKey) {
    qel_token a = token_with_key(7), b = token_with_key(7);
    b.payload = 1;
    b.layer = 2;
    b.hex_id[0] = 'X';
    EXPECT_EQ(compare_tokens_morton(&a, &b), 0);
    EXPECT_EQ(compare_tokens_morton(&b, &a), 0);
}

TEST(CompareSearchResults, ComparesOnlyTheDistanceAsAnUnsignedNumber) {
    const qel_search_result near = {9, 9, 1}, far = {1, 1, most}, near_too = {2, 3, 1};
    EXPECT_EQ(compare_search_results(&near, &far), -1);
    EXPECT_EQ(compare_search_results(&far, &near), 1);
    EXPECT_EQ(compare_search_results(&near, &near_too), 0);
}

TEST(RuvSqrt, GivesTruncatedRoots) {
    const std::uint64_t roots[][2] = {{0, 0}, {1, 1},  {2, 1},    {3, 1},           {4, 2},          {8, 2},
                                      {9, 3}, {99, 9}, {100, 10}, {16777215, 4095}, {16777216, 4096}};
    for (const auto &[number, root] : roots)
        EXPECT_EQ(ruv_sqrt(number), root) << number;
}

TEST(RuvSqrt, RoundsTheArgumentToSinglePrecisionFirst) {
    EXPECT_EQ(ruv_sqrt(16777217), 4096u);
    EXPECT_EQ(ruv_sqrt(most), 4294967296u);
    EXPECT_EQ(ruv_sqrt(0xFFFFFF7FFFFFFFFF), 4294967040u) << "just below the tie: rounds down to 2^64 - 2^40";
    EXPECT_EQ(ruv_sqrt(0xFFFFFF8000000000), 4294967296u) << "the tie rounds to the even 2^64";
    EXPECT_EQ(ruv_sqrt(std::uint64_t{1} << 63), 3037000448u) << "the exact root is 3037000499";
    EXPECT_EQ(ruv_sqrt(999999999999), 1000000u) << "the exact root is 999999";
}

TEST(RuvSqrt, EqualsIntegerArithmeticOnEveryMagnitude) {
    for (const std::uint64_t n : edge_numbers(1))
        ASSERT_EQ(ruv_sqrt(n), model::root(n)) << n;
}

TEST(RuvIsqrt, GivesTruncatedRootsAndZeroBelowOne) {
    const std::pair<std::int32_t, std::uint32_t> roots[] = {{1, 1},  {2, 1},           {3, 1},           {4, 2},
                                                            {99, 9}, {16777217, 4096}, {int_max, 46340}, {0, 0},
                                                            {-1, 0}, {-5, 0},          {int_min, 0}};
    for (const auto &[number, root] : roots)
        EXPECT_EQ(ruv_isqrt(number), root) << number;
}

TEST(RuvIsqrt, EqualsIntegerArithmeticOnEveryMagnitude) {
    for (const std::uint64_t number : edge_numbers(2)) {
        const auto n = static_cast<std::int32_t>(number & 0x7FFFFFFF);
        ASSERT_EQ(ruv_isqrt(n), model::root(number & 0x7FFFFFFF)) << n;
    }
}

TEST(RuvBoundedSqrt, KeepsTheRootBetweenItsBounds) {
    EXPECT_EQ(ruv_bounded_sqrt(100, 2, 5), 5);
    EXPECT_EQ(ruv_bounded_sqrt(100, 2, 10), 10);
    EXPECT_EQ(ruv_bounded_sqrt(100, 2, 50), 10);
    EXPECT_EQ(ruv_bounded_sqrt(100, 10, 50), 10);
    EXPECT_EQ(ruv_bounded_sqrt(100, 11, 50), 11);
    EXPECT_EQ(ruv_bounded_sqrt(1, -3, 9), 1);
    EXPECT_EQ(ruv_bounded_sqrt(int_max, int_min, int_max), 46340);
}

TEST(RuvBoundedSqrt, TestsTheLowerBoundFirstWhenTheyCross) {
    EXPECT_EQ(ruv_bounded_sqrt(1, 3, 2), 3);
    EXPECT_EQ(ruv_bounded_sqrt(100, 20, 5), 20);
    EXPECT_EQ(ruv_bounded_sqrt(100, 7, 5), 5) << "a lower bound that the root exceeds has no effect";
}

TEST(RuvBoundedSqrt, UsesRootZeroForZeroAndBelow) {
    EXPECT_EQ(ruv_bounded_sqrt(0, 0, 9), 0);
    EXPECT_EQ(ruv_bounded_sqrt(-4, 0, -7), -7);
    EXPECT_EQ(ruv_bounded_sqrt(-4, 1, 9), 1);
    EXPECT_EQ(ruv_bounded_sqrt(-4, -3, 9), 0);
    EXPECT_EQ(ruv_bounded_sqrt(int_min, int_min, int_min), int_min);
}

TEST(RuvHopDistance, IsTheRootOfTheDifferenceEitherWay) {
    EXPECT_EQ(ruv_hop_distance(10, 10), 0u);
    EXPECT_EQ(ruv_hop_distance(10, 11), 1u);
    EXPECT_EQ(ruv_hop_distance(11, 10), 1u);
    EXPECT_EQ(ruv_hop_distance(10, 110), 10u);
    EXPECT_EQ(ruv_hop_distance(most, most), 0u);
    EXPECT_EQ(ruv_hop_distance(most, most - 4), 2u);
}

TEST(RuvHopDistance, DoesNotOverflow) {
    EXPECT_EQ(ruv_hop_distance(0, most), 4294967296u);
    EXPECT_EQ(ruv_hop_distance(most, 0), 4294967296u);
    EXPECT_EQ(ruv_hop_distance(0, std::uint64_t{1} << 63), 3037000448u);
}

TEST(RuvHopDistance, EqualsIntegerArithmeticOnEveryMagnitude) {
    const std::vector<std::uint64_t> numbers = edge_numbers(3);
    for (std::size_t i = 1; i < numbers.size(); ++i)
        ASSERT_EQ(ruv_hop_distance(numbers[i - 1], numbers[i]), model::hops(numbers[i - 1], numbers[i]))
            << numbers[i - 1] << ' ' << numbers[i];
}

class ApplyIlogic : public testing::Test {
  protected:
    void SetUp() override {
        std::memcpy(token.hex_id, "ABCDEF01", 8);
        token.morton = 5;
        token.payload = 0x0102030405060708;
        token.layer = 9;
        before = token;
    }

    bool unchanged() const { return std::memcmp(&token, &before, sizeof token) == 0; }

    qel_token token = {}, before = {};
};

TEST_F(ApplyIlogic, DoublesTheKeyAndAddsOneForTwo) {
    qel_token_apply_ilogic(&token, 2);
    EXPECT_EQ(+token.morton, 11u);
    token.morton = 5;
    EXPECT_TRUE(unchanged()) << "only the key changes";
}

TEST_F(ApplyIlogic, DoublesModuloTwoToTheSixtyFourth) {
    token.morton = 0x8000000000000001;
    qel_token_apply_ilogic(&token, 2);
    EXPECT_EQ(+token.morton, 3u);
}

TEST_F(ApplyIlogic, HalvesTheKeyForThree) {
    qel_token_apply_ilogic(&token, 3);
    EXPECT_EQ(+token.morton, 2u);
    EXPECT_EQ(+token.payload, 0x0102030405060708u);
    token.morton = most;
    qel_token_apply_ilogic(&token, 3);
    EXPECT_EQ(+token.morton, 0x7FFFFFFFFFFFFFFFu) << "a logical shift";
    token.morton = 5;
    EXPECT_TRUE(unchanged()) << "only the key changes";
}

TEST_F(ApplyIlogic, ReversesThePayloadForMinusOne) {
    qel_token_apply_ilogic(&token, -1);
    EXPECT_EQ(+token.payload, 0x0807060504030201u);
    qel_token_apply_ilogic(&token, -1);
    EXPECT_TRUE(unchanged()) << "twice gives the payload back, and only the payload changes";
}

TEST_F(ApplyIlogic, ChangesNothingForOtherOperations) {
    for (const std::int32_t op : {int_min, -3, -2, 0, 1, 4, 5, 255, int_max}) {
        qel_token_apply_ilogic(&token, op);
        EXPECT_TRUE(unchanged()) << op;
    }
}

TEST_F(ApplyIlogic, DoesNothingForNoToken) {
    qel_token_apply_ilogic(nullptr, 2);
    qel_token_apply_ilogic(nullptr, -1);
}

} // namespace
} // namespace qel
