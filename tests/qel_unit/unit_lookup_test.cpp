// SPDX-License-Identifier: MIT
// Access by number, exact lookups and the scan by layer.
#include "model/unit_model.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t none = 0xFFFFFFFF;

std::vector<qel_token> some_tokens() {
    return {make_token(0x0000000100020003, "00000001", 11, 1), make_token(77, "ABCDEF", 22, 3),
            make_token(99, "ABCDEFGH", 33, 1), make_token(5, "", 44, 255)};
}

TEST(UnitGetCount, IsZeroForNoUnit) {
    EXPECT_EQ(qel_unit_get_count(nullptr), 0u);
    qel_unit unit = {};
    EXPECT_EQ(qel_unit_get_count(&unit), 0u);
    unit.count = 0xFFFFFFFF;
    EXPECT_EQ(qel_unit_get_count(&unit), 0xFFFFFFFFu);
}

class UnitGetToken : public testing::Test {
  protected:
    std::int32_t get(const qel_unit *from, std::uint32_t index) {
        return qel_unit_get_token(from, index, &morton, hex_id, &layer);
    }

    void expect_untouched() const {
        EXPECT_EQ(morton, 123u);
        EXPECT_EQ(std::string(hex_id, 9), "unchanged");
        EXPECT_EQ(layer, 45);
    }

    std::vector<qel_token> tokens = some_tokens();
    qel_unit unit = borrowed_unit(tokens);
    std::uint64_t morton = 123;
    char hex_id[9] = {'u', 'n', 'c', 'h', 'a', 'n', 'g', 'e', 'd'};
    std::uint8_t layer = 45;
};

TEST_F(UnitGetToken, CopiesKeyIdentityAndLayer) {
    ASSERT_EQ(get(&unit, 2), 0);
    EXPECT_EQ(morton, 99u);
    EXPECT_EQ(std::string(hex_id, 9), "ABCDEFGHd") << "8 bytes, no terminator";
    EXPECT_EQ(layer, 1);
}

TEST_F(UnitGetToken, CopiesTheZerosOfAShortIdentity) {
    ASSERT_EQ(get(&unit, 1), 0);
    EXPECT_EQ(std::string(hex_id, 9), std::string("ABCDEF\0\0d", 9));
}

TEST_F(UnitGetToken, RefusesNoUnitNoTokensAndNumbersFromTheCountOn) {
    EXPECT_EQ(get(nullptr, 0), -1);
    EXPECT_EQ(get(&unit, 4), -1);
    EXPECT_EQ(get(&unit, 0xFFFFFFFF), -1);
    unit.tokens = nullptr;
    EXPECT_EQ(get(&unit, 0), -1);
    expect_untouched();
}

TEST(UnitGetAllTokens, CopiesEveryTokenInStorageOrder) {
    std::vector<qel_token> tokens = some_tokens();
    const qel_unit unit = borrowed_unit(tokens);
    std::uint64_t mortons[5] = {0, 0, 0, 0, 9};
    char hex_ids[33];
    std::uint8_t layers[5] = {0, 0, 0, 0, 9};
    hex_ids[32] = '.';
    ASSERT_EQ(qel_unit_get_all_tokens(&unit, mortons, hex_ids, layers), 4u);
    const std::uint64_t expected_mortons[5] = {0x0000000100020003, 77, 99, 5, 9};
    const std::uint8_t expected_layers[5] = {1, 3, 1, 255, 9};
    EXPECT_TRUE(std::equal(mortons, mortons + 5, expected_mortons));
    EXPECT_TRUE(std::equal(layers, layers + 5, expected_layers));
    EXPECT_EQ(std::string(hex_ids, 33), std::string("00000001ABCDEF\0\0ABCDEFGH\0\0\0\0\0\0\0\0.", 33));
}

TEST(UnitGetAllTokens, GivesZeroForNoUnitNoTokensAndCountZero) {
    std::vector<qel_token> tokens = some_tokens();
    qel_unit unit = borrowed_unit(tokens);
    EXPECT_EQ(qel_unit_get_all_tokens(nullptr, nullptr, nullptr, nullptr), 0u);
    unit.count = 0;
    EXPECT_EQ(qel_unit_get_all_tokens(&unit, nullptr, nullptr, nullptr), 0u);
    unit.count = 4;
    unit.tokens = nullptr;
    EXPECT_EQ(qel_unit_get_all_tokens(&unit, nullptr, nullptr, nullptr), 0u);
}

TEST(UnitLookup, FindsNothingWithoutAnIndex) {
    std::vector<qel_token> tokens = some_tokens();
    const qel_unit unit = borrowed_unit(tokens);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 77), none);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "ABCDEFGH"), none);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 1, 2, 3), none);
}

TEST(UnitLookupMorton, FindsAKey) {
    owned_unit unit;
    ASSERT_EQ(create(unit, some_tokens()), 0);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 77), 1u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 5), 3u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 78), none) << "an empty bucket";
    EXPECT_EQ(qel_unit_lookup_morton(&unit, std::uint64_t{77} << 32), none) << "another key in the same bucket";
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 77 + 0x800000), none) << "another key in the same bucket";
}

TEST(UnitLookupMorton, FindsOnlyTheNewestOfABucket) {
    owned_unit unit;
    ASSERT_EQ(
        create(unit, {make_token(0x0000000300000005), make_token(0x0000000500000003), make_token(8), make_token(8)}),
        0);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 0x0000000500000003), 1u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 0x0000000300000005), none) << "in the unit, but not in the newest node";
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 8), 3u) << "of equal keys the later one";
}

TEST(UnitLookupHex, FindsAnIdentity) {
    owned_unit unit;
    ASSERT_EQ(create(unit, some_tokens()), 0);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "00000001"), 0u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "ABCDEFGH"), 2u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "00000002"), none);
}

TEST(UnitLookupHex, ComparesAllEightBytesIncludingThoseAfterATerminator) {
    owned_unit unit;
    ASSERT_EQ(create(unit, some_tokens()), 0);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "ABCDEF\0\0"), 1u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "ABCDEF\0x"), none) << "the same hash, another eighth byte";
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "\0\0\0\0\0\0\0\0"), 3u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "\0\0\0\0\0\0\0x"), none);
}

TEST(UnitLookupHex, FindsASevenCharacterTextOnlyWhereTheEighthByteIsZero) {
    qel_token ends_in_x = make_token(1, "0000001");
    ends_in_x.hex_id[7] = 'x';
    owned_unit unit, other;
    ASSERT_EQ(create(unit, {make_token(1, "0000001")}), 0);
    ASSERT_EQ(create(other, {ends_in_x}), 0);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "0000001"), 0u);
    EXPECT_EQ(qel_unit_lookup_hex(&other, "0000001"), none);
    EXPECT_EQ(qel_unit_lookup_hex(&other, "0000001x"), 0u);
}

TEST(UnitLookupHex, ReadsExactlyEightBytes) {
    owned_unit unit;
    ASSERT_EQ(create(unit, some_tokens()), 0);
    const std::unique_ptr<char[]> exact(new char[8]); // a ninth byte would be outside the array
    std::memcpy(exact.get(), "ABCDEFGH", 8);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, exact.get()), 2u);
}

TEST(UnitLookupHex, FindsOnlyTheNewestOfABucket) {
    owned_unit unit;
    // 'A' x 33 + 'b' is 'B' x 33 + 'A': two texts with one hash.
    ASSERT_EQ(create(unit, {make_token(1, "Ab"), make_token(2, "BA"), make_token(3, "CC"), make_token(4, "CC")}), 0);
    ASSERT_EQ(unit.hex_index->nodes[1].next, 0u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "BA\0\0\0\0\0"), 1u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "Ab\0\0\0\0\0"), none) << "in the unit, but not in the newest node";
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "CC\0\0\0\0\0"), 3u);
}

TEST(UnitQueryLatticeVertex, LooksUpThePackedKey) {
    owned_unit unit;
    ASSERT_EQ(create(unit, {make_token(0x0000000100020003), make_token(0x0000FFFFFFFFFFFF), make_token(0)}), 0);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 1, 2, 3), 0u);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 0xFFFF, 0xFFFF, 0xFFFF), 1u);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 0, 0, 0), 2u);
    EXPECT_EQ(qel_unit_query_lattice_vertex(&unit, 3, 2, 1), none);
}

TEST(UnitLookup, EqualsTheHeadOfThePlainIndexOnACrowdedUnit) {
    std::mt19937_64 random(21);
    std::vector<qel_token> tokens(20000);
    for (qel_token &token : tokens) {
        token = make_token(random() % 150 << 32 | random() % 150 << 16 | random() % 150);
        for (int i = 0; i < 4; ++i)
            token.hex_id[i] = static_cast<char>(random() % 16 + (i == 2 ? 0 : 60));
    }
    owned_unit unit;
    ASSERT_EQ(create(unit, tokens), 0);
    const model::chained_index by_key = model::morton_index(tokens), by_hex = model::hex_index(tokens);
    const auto head = [](const model::chained_index &index, std::uint32_t bucket) {
        const std::uint32_t node = index.buckets[bucket];
        return node == none ? none : index.nodes[node].first;
    };
    for (const qel_token &token : tokens) {
        const std::uint64_t key = token.morton;
        std::uint32_t expected = head(by_key, model::morton_bucket(key));
        if (tokens[expected].morton != key) expected = none;
        ASSERT_EQ(qel_unit_lookup_morton(&unit, key), expected);
        ASSERT_EQ(qel_unit_query_lattice_vertex(&unit, static_cast<std::uint16_t>(key >> 32),
                                                static_cast<std::uint16_t>(key >> 16), static_cast<std::uint16_t>(key)),
                  expected);
        expected = head(by_hex, model::hex_bucket(token.hex_id));
        if (std::memcmp(tokens[expected].hex_id, token.hex_id, 8) != 0) expected = none;
        ASSERT_EQ(qel_unit_lookup_hex(&unit, token.hex_id), expected);
    }
}

class UnitQueryLayer : public testing::Test {
  protected:
    std::vector<std::uint32_t> query(std::uint8_t layer, std::int32_t max) {
        std::vector<std::uint32_t> listed(tokens.size() + 1, 4711);
        const std::uint32_t found = qel_unit_query_layer(&unit, layer, listed.data(), max);
        EXPECT_TRUE(std::all_of(listed.begin() + found, listed.end(), [](std::uint32_t n) { return n == 4711; }))
            << "entries beyond the result do not change";
        listed.resize(found);
        return listed;
    }

    std::vector<qel_token> tokens = {make_token(4, "", 0, 1), make_token(3, "", 0, 3), make_token(2, "", 0, 1),
                                     make_token(1, "", 0, 1)};
    qel_unit unit = borrowed_unit(tokens);
    using numbers = std::vector<std::uint32_t>;
};

TEST_F(UnitQueryLayer, StopsAtTheMaximum) {
    EXPECT_EQ(query(1, 2), (numbers{0, 2}));
    EXPECT_EQ(query(1, 1), (numbers{0}));
}

TEST_F(UnitQueryLayer, ListsEveryTokenOfTheLayerInStorageOrder) {
    EXPECT_EQ(query(1, 3), (numbers{0, 2, 3}));
    EXPECT_EQ(query(1, 2147483647), (numbers{0, 2, 3}));
    EXPECT_EQ(query(3, 10), (numbers{1}));
    EXPECT_EQ(query(0, 10), (numbers{}));
    EXPECT_EQ(query(255, 10), (numbers{}));
}

TEST_F(UnitQueryLayer, GivesNothingForAMaximumBelowOne) {
    EXPECT_EQ(query(1, 0), (numbers{}));
    EXPECT_EQ(query(1, -1), (numbers{}));
    EXPECT_EQ(query(1, -2147483647 - 1), (numbers{}));
}

TEST_F(UnitQueryLayer, GivesNothingForCountZeroAndNoTokens) {
    unit.count = 0;
    EXPECT_EQ(query(1, 10), (numbers{}));
    unit.count = 4;
    unit.tokens = nullptr;
    EXPECT_EQ(query(1, 10), (numbers{}));
}

TEST_F(UnitQueryLayer, EqualsTheWalkOverTheTokens) {
    std::mt19937 random(31);
    for (std::uint32_t round = 0; round < 400; ++round) {
        tokens.resize(random() % 300 + 1);
        for (qel_token &token : tokens)
            token.layer = static_cast<std::uint8_t>(random() % (round % 5 + 1));
        unit = borrowed_unit(tokens);
        const auto max = static_cast<std::int32_t>(random() % 150) + 1;
        numbers expected;
        for (std::uint32_t i = 0; i < tokens.size() && expected.size() < static_cast<std::size_t>(max); ++i)
            if (tokens[i].layer == 0) expected.push_back(i);
        ASSERT_EQ(query(0, max), expected) << "round " << round;
    }
}

} // namespace
} // namespace qel
