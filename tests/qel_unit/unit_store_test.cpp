// SPDX-License-Identifier: MIT
#include "qel_unit/unit_store.h"

#include "model/unit_model.h"
#include "support/failing_heap.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace qel {
namespace {

using namespace test;

std::vector<qel_token> five_tokens() {
    return {make_token(50, "00000005", 500, 5), make_token(10, "00000001", 100, 1), make_token(40, "00000004", 400, 4),
            make_token(20, "00000002", 200, 2), make_token(30, "00000003", 300, 3)};
}

/// Tokens whose keys and identities often share buckets; some identities are short, some hold bytes from 0x80 on.
std::vector<qel_token> crowded_tokens(std::size_t count, unsigned seed) {
    std::mt19937_64 random(seed);
    std::vector<qel_token> tokens;
    for (std::size_t i = 0; i < count; ++i) {
        qel_token token = {};
        token.morton = random() % 5 == 0 ? random() : random() % 300 << 32 | random() % 300;
        for (char &byte : token.hex_id)
            byte = static_cast<char>(i % 3 == 0 ? random() : random() % 2 + (i % 3 == 1 ? 'A' : 0));
        token.payload = random();
        token.layer = static_cast<std::uint8_t>(random());
        tokens.push_back(token);
    }
    return tokens;
}

void expect_index(const qel_hash_index &index, const model::chained_index &expected) {
    ASSERT_EQ(index.node_count, expected.nodes.size());
    for (std::size_t i = 0; i < expected.nodes.size(); ++i) {
        ASSERT_EQ(index.nodes[i].token, expected.nodes[i].first) << "node " << i;
        ASSERT_EQ(index.nodes[i].next, expected.nodes[i].second) << "node " << i;
    }
    ASSERT_TRUE(std::equal(expected.buckets.begin(), expected.buckets.end(), index.buckets));
}

TEST(UnitCreate, KeepsTheCallersOrderAndEveryByte) {
    const std::vector<qel_token> tokens = five_tokens();
    owned_unit unit;
    ASSERT_EQ(create(unit, tokens), 0);
    EXPECT_EQ(unit.version, 1u);
    EXPECT_EQ(unit.count, 5u);
    EXPECT_EQ(unit.extra, 0u);
    EXPECT_TRUE(test::same_tokens(test::tokens_of(unit), tokens));
}

TEST(UnitCreate, CopiesIdentitiesAsTheyAre) {
    std::vector<qel_token> tokens = {make_token(1), make_token(2)};
    std::memcpy(tokens[0].hex_id, "AB\0CD\xFFGH", 8);
    owned_unit unit;
    ASSERT_EQ(create(unit, tokens), 0);
    EXPECT_EQ(std::memcmp(unit.tokens[0].hex_id, "AB\0CD\xFFGH", 8), 0);
    EXPECT_EQ(std::memcmp(unit.tokens[1].hex_id, "\0\0\0\0\0\0\0\0", 8), 0);
}

TEST(UnitCreate, OverwritesWhatTheRecordHeld) {
    owned_unit unit;
    std::memset(static_cast<qel_unit *>(&unit), 0xEE, sizeof(qel_unit));
    ASSERT_EQ(create(unit, five_tokens()), 0);
    EXPECT_EQ(unit.version, 1u);
    EXPECT_EQ(unit.extra, 0u);
    EXPECT_EQ(unit.morton_index->node_count, 5u);
}

TEST(UnitCreate, PutsTheLaterOfTwoCollidingTokensAtTheHeadOfTheChain) {
    const std::uint64_t key = 0x0000000500000003, same_hash = 0x0000000300000005;
    owned_unit unit;
    ASSERT_EQ(create(unit, {make_token(key, "A"), make_token(9, "B"), make_token(same_hash, "C")}), 0);
    const std::uint32_t head = unit.morton_index->buckets[6];
    ASSERT_EQ(head, 2u);
    EXPECT_EQ(unit.morton_index->nodes[head].token, 2u);
    ASSERT_EQ(unit.morton_index->nodes[head].next, 0u);
    EXPECT_EQ(unit.morton_index->nodes[0].token, 0u);
    EXPECT_EQ(unit.morton_index->nodes[0].next, 0xFFFFFFFFu);
    EXPECT_EQ(unit.hex_index->node_count, 3u);
}

TEST(UnitCreate, HashesAnIdentityToItsFirstZeroByte) {
    qel_token token = make_token(1);
    std::memcpy(token.hex_id, "AB\0ZZZZZ", 8);
    owned_unit unit;
    ASSERT_EQ(create(unit, {token, make_token(2, "ABCDEFGH")}), 0);
    EXPECT_EQ(unit.hex_index->buckets[((5381u * 33 + 'A') * 33 + 'B') & 0x7FFFFF], 0u);
    EXPECT_EQ(unit.hex_index->buckets[2961065], 1u) << "without a zero byte, all 8";
}

TEST(UnitCreate, BuildsTheIndexesThatThePlainLoopBuilds) {
    for (const std::size_t count : {1u, 2u, 31u, 32u, 33u, 64u, 1000u, 30000u}) {
        const std::vector<qel_token> tokens = crowded_tokens(count, static_cast<unsigned>(count));
        owned_unit unit;
        ASSERT_EQ(create(unit, tokens), 0);
        expect_index(*unit.morton_index, model::morton_index(tokens));
        expect_index(*unit.hex_index, model::hex_index(tokens));
        for (std::uint32_t i = 0; i < count; ++i)
            ASSERT_EQ(unit.order[i], i);
    }
}

TEST(UnitCreate, LeavesTokensBeyondAllNodesOutOfTheIndexes) {
    constexpr std::uint32_t count = 0x800002;
    std::vector<std::uint64_t> keys(count); // also taken as identities and payloads
    for (std::uint32_t i = 0; i < count; ++i)
        keys[i] = std::uint64_t{i} << 40 | i;
    const std::vector<std::uint8_t> layers(count, 1);
    owned_unit unit;
    ASSERT_EQ(qel_unit_create(&unit, count, keys.data(), reinterpret_cast<const char *>(keys.data()), keys.data(),
                              layers.data()),
              0);
    EXPECT_EQ(unit.morton_index->node_count, 0x800000u);
    EXPECT_EQ(unit.hex_index->node_count, 0x800000u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, keys[0x800000]), QEL_NOT_FOUND);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, keys[0x800001]), QEL_NOT_FOUND);

    std::uint64_t morton = 0;
    char hex_id[8];
    std::uint8_t layer = 0;
    EXPECT_EQ(qel_unit_get_token(&unit, 0x800001, &morton, hex_id, &layer), 0) << "found by number";
    EXPECT_EQ(morton, keys[0x800001]);
    std::uint32_t number = 0;
    std::uint64_t distance = 1;
    EXPECT_EQ(qel_unit_query_nearest(&unit, keys[0x800001], 1, &number, &distance), 1u) << "and by the nearest query";
    EXPECT_EQ(number, 0x800001u);
    EXPECT_EQ(distance, 0u);
    EXPECT_EQ(unit.order[0x800001], 0x800001u);
}

class UnitCreateFailure : public testing::Test {
  protected:
    UnitCreateFailure() { std::memset(&unit, 0xEE, sizeof unit); }

    void expect_numbers_set() const {
        EXPECT_EQ(unit.version, 1u);
        EXPECT_EQ(unit.count, 5u);
        EXPECT_EQ(unit.extra, 0u);
    }

    void expect_released() const {
        EXPECT_EQ(unit.tokens, nullptr);
        EXPECT_EQ(unit.morton_index, nullptr);
        EXPECT_EQ(unit.hex_index, nullptr);
    }

    std::int32_t create(qel_unit *into, std::uint32_t count) const {
        return qel_unit_create(into, count, arrays.mortons.data(), arrays.hex_ids.data(), arrays.payloads.data(),
                               arrays.layers.data());
    }

    const token_arrays arrays{five_tokens()};
    qel_unit unit;
};

TEST_F(UnitCreateFailure, KeepsTheUnitUnchangedForCountZero) {
    const qel_unit before = unit;
    EXPECT_EQ(create(&unit, 0), -1);
    EXPECT_EQ(std::memcmp(&unit, &before, sizeof unit), 0);
}

TEST_F(UnitCreateFailure, RefusesNoUnit) {
    EXPECT_EQ(create(nullptr, 5), -1);
}

TEST_F(UnitCreateFailure, OfTheTokensLeavesTheNumbersSetAndNoTokens) {
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(5 * 25);
    EXPECT_EQ(arrays.create(unit), -2);
    EXPECT_EQ(heap.count(), 1u) << "the first allocation";
    expect_numbers_set();
    EXPECT_EQ(unit.tokens, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(UnitCreateFailure, OfAnyPartOfAnIndexReleasesEverything) {
    // The hex index is allocated even when the key index has failed.
    const std::uint64_t attempts[] = {0, 0, 5, 7, 7, 5, 7, 7};
    for (std::uint64_t n = 2; n <= 7; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(arrays.create(unit), -3) << n;
        EXPECT_EQ(heap.count(), attempts[n]) << n;
        expect_numbers_set();
        expect_released();
        EXPECT_EQ(ledger.live(), 0u) << n;
    }
}

TEST_F(UnitCreateFailure, OfBothIndexesReleasesEverything) {
    for (const std::size_t size : {sizeof(qel_hash_index), std::size_t{5 * 8}, std::size_t{0x2000000}}) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(arrays.create(unit), -3) << size;
        EXPECT_EQ(heap.failures(), 2u) << size;
        expect_released();
        EXPECT_EQ(ledger.live(), 0u) << size;
    }
}

TEST_F(UnitCreateFailure, OfTheOrderReleasesEverything) {
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(5 * 4);
    EXPECT_EQ(arrays.create(unit), -4);
    EXPECT_EQ(heap.count(), 8u) << "the last allocation";
    expect_numbers_set();
    expect_released();
    EXPECT_EQ(unit.order, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(UnitCreateFailure, OfAllAllocationsFromTheNthOnReturnsTheFirstCode) {
    const std::int32_t codes[] = {0, -2, -3, -3, -3, -3, -3, -3, -4, 0};
    for (std::uint64_t n = 1; n <= 8; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::from(n);
        EXPECT_EQ(arrays.create(unit), codes[n]) << n;
        EXPECT_EQ(ledger.live(), 0u) << n;
    }
}

TEST(UnitCreate, TakesEightAllocations) {
    heap_ledger ledger;
    owned_unit unit;
    const failing_heap heap = failing_heap::nth(0);
    ASSERT_EQ(create(unit, five_tokens()), 0);
    EXPECT_EQ(heap.count(), 8u);
    EXPECT_EQ(ledger.live(), 8u);
    unit.reset();
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(UnitFree, KeepsTheOrderAndTheNumbers) {
    heap_ledger ledger;
    qel_unit unit = {};
    ASSERT_EQ(create(unit, five_tokens()), 0);
    unit.extra = 9;
    std::uint32_t *const order = unit.order;
    qel_unit_free(&unit);
    EXPECT_EQ(unit.tokens, nullptr);
    EXPECT_EQ(unit.morton_index, nullptr);
    EXPECT_EQ(unit.hex_index, nullptr);
    EXPECT_EQ(unit.version, 1u);
    EXPECT_EQ(unit.count, 5u);
    EXPECT_EQ(unit.extra, 9u);
    EXPECT_EQ(unit.order, order);
    EXPECT_EQ(order[4], 4u);
    EXPECT_EQ(ledger.live(), 1u) << "the caller owns the order";
    EXPECT_EQ(ledger.free_all(), 1u);
}

TEST(UnitFree, LeavesAUnitThatReportsItsOldCountAndFindsNothing) {
    owned_unit unit;
    ASSERT_EQ(create(unit, five_tokens()), 0);
    qel_unit_free(&unit);
    std::uint64_t morton = 1;
    char hex_id[8] = {2};
    std::uint8_t layer = 3;
    std::uint32_t number = 4;
    EXPECT_EQ(qel_unit_get_count(&unit), 5u);
    EXPECT_EQ(qel_unit_get_token(&unit, 0, &morton, hex_id, &layer), -1);
    EXPECT_EQ(qel_unit_get_all_tokens(&unit, &morton, hex_id, &layer), 0u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 50), QEL_NOT_FOUND);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "00000005"), QEL_NOT_FOUND);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 0, 0, 50), QEL_NOT_FOUND);
    EXPECT_EQ(qel_unit_query_layer(&unit, 5, &number, 1), 0u);
    EXPECT_EQ(qel_unit_query_nearest(&unit, 50, 1, &number, &morton), 0u);
    EXPECT_EQ(qel_unit_save("never created", &unit), -1);
    EXPECT_EQ(number, 4u);
    EXPECT_EQ(morton, 1u);
}

TEST(UnitFree, AcceptsAnEmptyUnitAndASecondCall) {
    qel_unit unit = {};
    qel_unit_free(&unit);
    owned_unit built;
    ASSERT_EQ(create(built, five_tokens()), 0);
    qel_unit_free(&built);
    qel_unit_free(&built);
    EXPECT_EQ(built.tokens, nullptr);
}

TEST(UnitFree, ReleasesARecordThatACallerFilled) {
    heap_ledger ledger;
    qel_unit unit = {};
    unit.tokens = static_cast<qel_token *>(std::malloc(25));
    unit.hex_index = static_cast<qel_hash_index *>(std::calloc(1, sizeof(qel_hash_index)));
    unit.hex_index->nodes = static_cast<qel_hash_node *>(std::malloc(8));
    qel_unit_free(&unit);
    EXPECT_EQ(unit.hex_index, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

} // namespace
} // namespace qel
