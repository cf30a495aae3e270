// SPDX-License-Identifier: MIT
#include "model/unit_model.h"
#include "qel_unit/unit_load_fixture.h"
#include "support/failing_heap.h"

#include <algorithm>
#include <random>

namespace qel {
namespace {

using namespace test;

using UnitLoad = unit_load_test;
using keys = std::vector<std::uint64_t>;

TEST_F(UnitLoad, SortsByKeyAndKeepsEveryByte) {
    ASSERT_EQ(load(unit_file(3, unsorted, 0xDEADBEEF, 0xCAFE)), 0);
    EXPECT_EQ(unit.version, 0xDEADBEEFu) << "any version is taken";
    EXPECT_EQ(unit.count, 3u);
    EXPECT_EQ(unit.extra, 0xCAFEu);
    EXPECT_TRUE(same_tokens(tokens_of(unit), sorted));
}

TEST_F(UnitLoad, GivesBackASavedUnitSortedWithItsNewTokenNumbers) {
    owned_unit created;
    ASSERT_EQ(create(created, unsorted), 0);
    EXPECT_EQ(qel_unit_lookup_morton(&created, 30), 0u);
    ASSERT_EQ(qel_unit_save(path.c_str(), &created), 0);
    ASSERT_EQ(qel_unit_load(path.c_str(), &unit), 0);
    EXPECT_EQ(keys_of(unit), (keys{10, 20, 30}));
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 30), 2u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 10), 0u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "00000003"), 2u);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "00000002"), 1u);
}

TEST_F(UnitLoad, KeepsTheWholeRecordsOfATruncatedFile) {
    bytes file = unit_file(5, unsorted);
    file.insert(file.end(), 10, 0x55);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(unit.count, 3u);
    EXPECT_TRUE(same_tokens(tokens_of(unit), sorted));
    EXPECT_EQ(unit.order[2], 2u);
}

TEST_F(UnitLoad, IgnoresRecordsBeyondTheCount) {
    ASSERT_EQ(load(unit_file(2, unsorted)), 0);
    EXPECT_EQ(keys_of(unit), (keys{10, 30}));
}

TEST_F(UnitLoad, TakesAHeaderAloneAsAnEmptyUnit) {
    ASSERT_EQ(load(unit_file(0, {})), 0);
    EXPECT_EQ(unit.count, 0u);
    EXPECT_NE(unit.tokens, nullptr);
    EXPECT_NE(unit.order, nullptr);
    ASSERT_NE(unit.morton_index, nullptr);
    ASSERT_NE(unit.hex_index, nullptr);
    EXPECT_EQ(unit.morton_index->node_count, 0u);
    EXPECT_EQ(qel_unit_lookup_morton(&unit, 0), QEL_NOT_FOUND);
    EXPECT_EQ(qel_unit_lookup_hex(&unit, "\0\0\0\0\0\0\0"), QEL_NOT_FOUND);
}

TEST_F(UnitLoad, IgnoresRecordsAfterACountOfZero) {
    ASSERT_EQ(load(unit_file(0, unsorted)), 0);
    EXPECT_EQ(unit.count, 0u);
}

TEST_F(UnitLoad, TakesACountWithoutRecordsAsAnEmptyUnit) {
    ASSERT_EQ(load(unit_file(1000, {})), 0);
    EXPECT_EQ(unit.count, 0u);
    EXPECT_NE(unit.tokens, nullptr);
}

TEST_F(UnitLoad, FilesOfEveryLengthGiveTheirWholeRecords) {
    const bytes whole = unit_file(unsorted);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        owned_unit loaded;
        loaded.count = 4711;
        const std::int32_t status =
            load(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)), loaded);
        if (length < 24) {
            ASSERT_EQ(status, -2);
            ASSERT_EQ(loaded.count, 4711u);
        } else {
            ASSERT_EQ(status, 0);
            ASSERT_EQ(loaded.count, (length - 24) / 25);
            ASSERT_TRUE(std::is_sorted(loaded.order, loaded.order + loaded.count));
        }
    }
}

TEST_F(UnitLoad, AcceptsAnyClaimedCountThatFitsMemory) {
    for (const std::uint32_t claim : {4u, 171798692u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(claim);
        const heap_ledger ledger;
        owned_unit loaded;
        const std::int32_t status = load(unit_file(claim, unsorted), loaded);
        if (status == 0) {
            EXPECT_EQ(keys_of(loaded), (keys{10, 20, 30}));
        } else {
            EXPECT_EQ(status, -4) << "no memory for so many";
            EXPECT_EQ(loaded.count, claim);
            EXPECT_EQ(loaded.tokens, nullptr);
            EXPECT_EQ(ledger.live(), 0u);
        }
    }
}

TEST_F(UnitLoad, ComputesTheSizeOfTheClaimedCountIn64Bits) {
    const failing_heap heap = failing_heap::of_size(std::size_t{25} * 0xFFFFFFFF);
    EXPECT_EQ(load(unit_file(0xFFFFFFFF, unsorted)), -4);
    EXPECT_EQ(heap.failures(), sizeof(std::size_t) == 8 ? 1u : 0u) << "32-bit addresses have no block of this size";
}

TEST_F(UnitLoad, RandomBytesEndInADocumentedCode) {
    std::mt19937 random(11);
    for (int round = 0; round < 300; ++round) {
        bytes file(random() % 120);
        for (auto &byte : file)
            byte = static_cast<std::uint8_t>(random());
        if (round % 2 == 0 && file.size() >= 12) std::memcpy(file.data(), "QEL", 4);
        if (round % 4 == 0 && file.size() >= 12) std::memcpy(&file[8], "\7\0\0", 4);
        const bool claims_much = file.size() >= 12 && file[11] != 0;
        const std::int32_t expected = claims_much && model::load(file).status == 0 ? -4 : model::load(file).status;
        owned_unit loaded;
        // A claim of gigabytes is refused here on every machine.
        std::uint32_t claim = 0;
        if (file.size() >= 12) std::memcpy(&claim, &file[8], 4);
        const failing_heap heap = failing_heap::of_size(claims_much ? std::size_t{25} * claim : 3);
        ASSERT_EQ(load(file, loaded), expected) << "round " << round;
    }
}

TEST_F(UnitLoad, ReleasesTheMemoryOfMissingRecords) {
    const failing_heap heap = failing_heap::of_size(2 * 25); // the size of the two tokens, whose allocation fails
    ASSERT_EQ(load(unit_file(1000, {sorted[0], sorted[1]})), 0);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(keys_of(unit), (keys{10, 20})) << "the larger block stays in use";
}

TEST_F(UnitLoad, LeaksNothing) {
    for (const bytes &file : {unit_file(sorted), unit_file(unsorted), unit_file(90, unsorted), unit_file(0, {})}) {
        const heap_ledger ledger;
        owned_unit loaded;
        ASSERT_EQ(load(file, loaded), 0);
        EXPECT_EQ(ledger.live(), 8u);
        loaded.reset();
        EXPECT_EQ(ledger.live(), 0u);
    }
}

class UnitLoadFailure : public unit_load_test {
  protected:
    UnitLoadFailure() { std::memset(&record, 0xEE, sizeof record); }

    bool untouched() const {
        const auto *first = reinterpret_cast<const unsigned char *>(&record);
        return std::all_of(first, first + sizeof record, [](unsigned char byte) { return byte == 0xEE; });
    }

    void expect_numbers(std::uint32_t count) const {
        EXPECT_EQ(record.version, 8u);
        EXPECT_EQ(record.count, count);
        EXPECT_EQ(record.extra, 9u);
    }

    void expect_released() const {
        EXPECT_EQ(record.tokens, nullptr);
        EXPECT_EQ(record.morton_index, nullptr);
        EXPECT_EQ(record.hex_index, nullptr);
    }

    qel_unit record;
    const bytes file = unit_file(3, unsorted, 8, 9);
    const bytes short_file = unit_file(1000, unsorted, 8, 9);
};

TEST_F(UnitLoadFailure, NoFileKeepsTheUnitUnchanged) {
    EXPECT_EQ(qel_unit_load(folder.file("missing").c_str(), &record), -1);
    EXPECT_TRUE(untouched());
}

TEST_F(UnitLoadFailure, AShortHeaderKeepsTheUnitUnchanged) {
    EXPECT_EQ(load({}, record), -2);
    EXPECT_EQ(load(bytes(file.begin(), file.begin() + 23), record), -2);
    EXPECT_EQ(load({'N', 'O', 'P', 'E'}, record), -2) << "the length is tested before the magic";
    EXPECT_TRUE(untouched());
}

TEST_F(UnitLoadFailure, AnotherMagicKeepsTheUnitUnchanged) {
    for (std::size_t at = 0; at < 4; ++at) {
        bytes other = file;
        other[at] ^= 0x20;
        EXPECT_EQ(load(other, record), -3) << at;
    }
    EXPECT_TRUE(untouched());
}

TEST_F(UnitLoadFailure, OfTheTokensSetsTheNumbersAsClaimed) {
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(1000 * 25);
    EXPECT_EQ(load(short_file, record), -4);
    EXPECT_EQ(heap.count(), 1u) << "the first allocation";
    expect_numbers(1000);
    EXPECT_EQ(record.tokens, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(UnitLoadFailure, OfAnyPartOfAnIndexReleasesEverything) {
    for (const bytes &content : {file, short_file}) {
        for (std::uint64_t n = 2; n <= 7; ++n) {
            const heap_ledger ledger;
            const failing_heap heap = failing_heap::nth(n);
            EXPECT_EQ(load(content, record), -5) << n;
            expect_numbers(3);
            expect_released();
            EXPECT_EQ(ledger.live(), 0u) << n;
        }
    }
}

TEST_F(UnitLoadFailure, OfTheOrderReleasesEverything) {
    for (const bytes &content : {file, short_file}) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(8);
        EXPECT_EQ(load(content, record), -6);
        EXPECT_EQ(heap.failures(), 1u);
        expect_numbers(3);
        expect_released();
        EXPECT_EQ(record.order, nullptr);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST_F(UnitLoadFailure, OfEachArrayHasItsCode) {
    // With 32-bit pointers an index record is as large as three numbers, and allocated first.
    const std::int32_t of_three_numbers = sizeof(qel_hash_index) == 3 * 4 ? -5 : -6;
    const std::pair<std::size_t, std::int32_t> sizes[] = {
        {3 * 25, -4}, {sizeof(qel_hash_index), -5}, {std::size_t{0x2000000}, -5}, {3 * 4, of_three_numbers}};
    for (const auto &[size, code] : sizes) {
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(load(file, record), code) << size;
    }
}

TEST_F(UnitLoadFailure, OfAllAllocationsFromTheNthOnReturnsTheFirstCode) {
    const std::int32_t codes[] = {0, -4, -5, -5, -5, -5, -5, -5, -6};
    for (std::uint64_t n = 1; n <= 8; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::from(n);
        EXPECT_EQ(load(file, record), codes[n]) << n;
        EXPECT_EQ(ledger.live(), 0u) << n;
    }
}

} // namespace
} // namespace qel
