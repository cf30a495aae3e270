// SPDX-License-Identifier: MIT
// Lookups in indexes whose nodes are not in the order of the tokens. No built unit has such an index.
#include "support/units.h"

#include <gtest/gtest.h>

#include <utility>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t none = 0xFFFFFFFF;

class UnitLookupIndex : public testing::Test {
  protected:
    UnitLookupIndex() { EXPECT_EQ(create(unit, {make_token(10, "AAAA"), make_token(20, "BBBB")}), 0); }

    owned_unit unit;
};

TEST_F(UnitLookupIndex, ReturnsTheTokenOfTheNode) {
    // Each node now holds the other token, and each bucket refers to the other node.
    for (qel_hash_index *const index : {unit.morton_index, unit.hex_index}) {
        std::swap(index->nodes[0].token, index->nodes[1].token);
        for (std::uint32_t bucket = 0; bucket < QEL_HASH_BUCKETS; ++bucket)
            if (index->buckets[bucket] != none) index->buckets[bucket] ^= 1;
    }
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 10), 0u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 20), 1u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "AAAA\0\0\0"), 0u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "BBBB\0\0\0"), 1u);
}

TEST_F(UnitLookupIndex, FindsNoneIfTheNodeHoldsAnotherToken) {
    unit.morton_index->nodes[0].token = 1;
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 10), none);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 20), 1u);
}

TEST_F(UnitLookupIndex, FindsNoneIfTheNodeHoldsNoToken) {
    unit.morton_index->nodes[1].token = none;
    unit.hex_index->nodes[1].token = none;
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 20), none);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "BBBB\0\0\0"), none);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 10), 0u);
}

} // namespace
} // namespace qel
