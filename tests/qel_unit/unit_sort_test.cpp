// SPDX-License-Identifier: MIT
// The sort of a unit, through its load.
#include "model/unit_model.h"
#include "qel_unit/unit_load_fixture.h"
#include "support/failing_heap.h"

#include <random>

namespace qel {
namespace {

using namespace test;

using keys = std::vector<std::uint64_t>;

class UnitSort : public unit_load_test {
  protected:
    /// Loads and compares everything that a load sets with the plain reading of the bytes.
    void expect_as_model(const bytes &file) {
        const model::loaded_file expected = model::load(file);
        owned_unit loaded;
        ASSERT_EQ(load(file, loaded), expected.status);
        if (expected.status != 0) return;
        EXPECT_EQ(loaded.version, expected.version);
        EXPECT_EQ(loaded.extra, expected.extra);
        ASSERT_EQ(loaded.count, expected.tokens.size());
        ASSERT_TRUE(same_tokens(tokens_of(loaded), expected.tokens));
        EXPECT_EQ(loaded.morton_index->node_count, loaded.count);
        EXPECT_EQ(loaded.hex_index->node_count, loaded.count);
        for (std::uint32_t i = 0; i < loaded.count; ++i)
            ASSERT_EQ(loaded.order[i], i);
    }
};

TEST_F(UnitSort, SortsKeysAsUnsignedNumbers) {
    const keys all = {0xFFFFFFFFFFFFFFFF, 1, 0x8000000000000000, 0, 0x7FFFFFFFFFFFFFFF};
    ASSERT_EQ(load(unit_file(tokens_with_keys(all))), 0);
    EXPECT_EQ(keys_of(unit), (keys{0, 1, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, 0xFFFFFFFFFFFFFFFF}));
}

TEST_F(UnitSort, KeepsTheFilesOrderOfEqualKeys) {
    std::vector<qel_token> tokens;
    for (std::uint64_t i = 0; i < 100; ++i)
        tokens.push_back(make_token(i % 2 == 0 ? 7 : 3, "", i));
    ASSERT_EQ(load(unit_file(tokens)), 0);
    for (std::uint64_t i = 0; i < 50; ++i) {
        EXPECT_EQ(+unit.tokens[i].payload, 2 * i + 1);
        EXPECT_EQ(+unit.tokens[50 + i].payload, 2 * i);
    }
}

TEST_F(UnitSort, EqualsThePlainReadingOfRandomUnits) {
    std::mt19937_64 random(5);
    // Few and many differing bits, together or scattered: every number of radix passes occurs.
    const std::uint64_t masks[] = {0x0000000000000000, 0x0000000000000001, 0x00000000000000FF, 0x00000000000001FF,
                                   0x8000000000000000, 0x8000000000000001, 0x0000003F003F003F, 0x0000FFFFFFFFFFFF,
                                   0x0101010101010101, 0x8080808080808080, 0xF0F0F0F0F0F0F0F0, 0xFE00000000000000,
                                   0x5555555555555555, 0xFFFFFFFFFFFFFFFF};
    for (const std::uint64_t mask : masks) {
        std::vector<qel_token> tokens(1 + random() % 3000);
        const std::uint64_t base = random();
        for (qel_token &token : tokens) {
            token = make_token((base & ~mask) | (random() & mask), "", random(), static_cast<std::uint8_t>(random()));
            std::memcpy(token.hex_id, &mask, 4);
        }
        SCOPED_TRACE(mask);
        expect_as_model(unit_file(static_cast<std::uint32_t>(tokens.size()) + random() % 2, tokens, 3, 4));
    }
}

TEST_F(UnitSort, EqualsThePlainReadingOfALargeUnit) {
    std::mt19937_64 random(6);
    std::vector<qel_token> tokens(300000);
    for (qel_token &token : tokens)
        token = make_token(random() % 48 << 32 | random() % 48 << 16 | random() % 48, "", random());
    expect_as_model(unit_file(tokens));
}

TEST_F(UnitSort, ComparesWholeKeysThatAgreeInTheirHighestDifferingBits) {
    std::mt19937_64 random(8);
    // Few values of the high half, so that many tokens have equal key prefixes.
    for (const std::uint64_t low_bits : {0xFFFFFFFFu, 1u})
        for (const std::uint64_t high : {1u, 2u, 40u}) {
            std::vector<qel_token> tokens(4000);
            for (qel_token &token : tokens) {
                const std::uint64_t low = random() % 2 == 0 ? random() % 50 : random();
                token = make_token((random() % high * 0x6789ABCD) << 32 | (low & low_bits), "", random());
            }
            tokens[0].morton = 0; // all high bits and `low_bits` differ somewhere
            tokens[1].morton = 0xFFFFFFFF00000000 | low_bits;
            tokens[2].morton = tokens[1].morton - 1;
            SCOPED_TRACE(testing::Message() << high << " high halves, low bits " << low_bits);
            expect_as_model(unit_file(tokens));
        }
}

TEST_F(UnitSort, GivesTheSameOrderWithoutScratchMemory) {
    std::mt19937_64 random(7);
    for (const std::uint64_t values : {2ULL, 700ULL, 1ULL << 20, 1ULL << 60}) {
        std::vector<qel_token> tokens(5000);
        for (qel_token &token : tokens)
            token = make_token(random() % values, "", random());
        const bytes file = unit_file(tokens);
        const model::loaded_file expected = model::load(file);
        const heap_ledger ledger;
        owned_unit loaded;
        {
            const failing_heap heap = failing_heap::from(9); // after the 8 allocations of a loaded's arrays
            ASSERT_EQ(load(file, loaded), 0);
            EXPECT_EQ(heap.failures(), 1u);
        }
        EXPECT_TRUE(same_tokens(tokens_of(loaded), expected.tokens));
        EXPECT_EQ(ledger.live(), 8u);
    }
}

TEST_F(UnitSort, TakesOneScratchArray) {
    const bytes file = unit_file(tokens_with_keys({4, 3, 2, 1}));
    const failing_heap heap = failing_heap::nth(0);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(heap.count(), 9u);
}

TEST_F(UnitSort, TakesNoScratchMemoryForASortedFile) {
    const failing_heap heap = failing_heap::nth(0);
    ASSERT_EQ(load(unit_file(sorted)), 0);
    EXPECT_EQ(heap.count(), 8u);
}

} // namespace
} // namespace qel
