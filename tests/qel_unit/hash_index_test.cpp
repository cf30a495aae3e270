// SPDX-License-Identifier: MIT
#include "qel_unit/hash_index.h"

#include "model/unit_model.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>

namespace qel {
namespace {

using namespace test;

struct index_deleter {
    void operator()(qel_hash_index *index) const { release_index(index); }
};
using owned_index = std::unique_ptr<qel_hash_index, index_deleter>;

/// An identity of exactly 8 bytes: the text, filled up with `rest`.
std::string identity(const std::string &text, char rest = '\0') {
    std::string bytes = text.substr(0, 8);
    bytes.resize(8, rest);
    return bytes;
}

TEST(MortonHash, FoldsTheHighHalfOntoTheLowAndKeepsTwentyThreeBits) {
    EXPECT_EQ(morton_hash(0), 0u);
    EXPECT_EQ(morton_hash(0x0000000100020003), 0x00020002u);
    EXPECT_EQ(morton_hash(0xFFFFFFFF00000000), 0x7FFFFFu);
    EXPECT_EQ(morton_hash(0xFFFFFFFFFFFFFFFF), 0u);
    EXPECT_EQ(morton_hash(0x00800000), 0u) << "bit 23 is dropped";
    EXPECT_EQ(morton_hash(0x123456789ABCDEF0), (0x12345678u ^ 0x9ABCDEF0u) & 0x7FFFFF);
}

TEST(IdentityHash, IsDjb2) {
    EXPECT_EQ(identity_hash(identity("A").c_str()), (5381u * 33 + 65) & 0x7FFFFF);
    EXPECT_EQ(identity_hash(identity("AB").c_str()), ((5381u * 33 + 65) * 33 + 66) & 0x7FFFFF);
    EXPECT_EQ(identity_hash("00000001"), 7205766u);
    EXPECT_EQ(identity_hash("FFFFFFFF"), 229685u);
}

TEST(IdentityHash, OfAnEmptyIdentityIsTheStartValue) {
    EXPECT_EQ(identity_hash(identity("").c_str()), 5381u);
}

TEST(IdentityHash, StopsBeforeTheFirstZeroByte) {
    const char padded[8] = {'A', 'B', 0, 'X', 'Y', 'Z', '1', '2'};
    EXPECT_EQ(identity_hash(padded), ((5381u * 33 + 65) * 33 + 66) & 0x7FFFFF);
}

/// Both forms of a field's hash are the identity's.
void expect_field_hash(const std::string &field) {
    const std::uint32_t expected = model::hex_bucket(field.data());
    ASSERT_EQ(field_hash(field.data()), expected);
    ASSERT_EQ(field_hash_plain(field.data()), expected);
}

TEST(FieldHash, EqualsTheLoopWithAnyTwoBytesSideBySideAnywhere) {
    constexpr char some[] = {0, 1, 2, 'A', 'B', 0x7E, 0x7F, '\x80', '\x81', '\xFE', '\xFF'};
    for (const char rest : {'A', 'B', '\x80'})
        for (std::size_t at = 0; at < 7; ++at)
            for (const char first : some)
                for (const char second : some) {
                    std::string field(8, rest);
                    field[at] = first;
                    field[at + 1] = second;
                    SCOPED_TRACE(testing::Message() << at << ' ' << +first << ' ' << +second);
                    expect_field_hash(field);
                }
}

TEST(IdentityHash, ReadsEightBytesAndNoFurther) {
    EXPECT_EQ(identity_hash("ABCDEFGH"), identity_hash("ABCDEFGHI"));
    EXPECT_EQ(identity_hash("ABCDEFGH"), 2961065u);
    const std::unique_ptr<char[]> exact(new char[8]); // a ninth byte would be outside the array
    std::memcpy(exact.get(), "ABCDEFGH", 8);
    EXPECT_EQ(identity_hash(exact.get()), 2961065u);
}

TEST(IdentityHash, TakesBytesAsSigned) {
    EXPECT_EQ(identity_hash(identity("\xFF").c_str()), 5381u * 33 - 1);
    EXPECT_EQ(identity_hash(identity("\x80").c_str()), 5381u * 33 - 128);
    EXPECT_EQ(identity_hash(identity("\x7F").c_str()), 5381u * 33 + 127);
}

TEST(IdentityHash, EqualsPlainArithmeticOnRandomBytes) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        char bytes[8];
        for (char &byte : bytes)
            byte = static_cast<char>(random() % (round % 3 == 0 ? 4 : 256));
        ASSERT_EQ(identity_hash(bytes), model::hex_bucket(bytes));
    }
}

TEST(FieldHash, IsTheIdentityHashWhateverTheBytes) {
    std::mt19937 random(23);
    for (int round = 0; round < 200000; ++round) {
        std::string field(8, '\0');
        for (char &byte : field) // mostly characters of 7 bits, so that all of a field often are
            byte = static_cast<char>(random() % 16 != 0 ? 1 + random() % 127 : random() & 255);
        expect_field_hash(field);
    }
}

TEST(FieldHash, IsTheIdentityHashWithEveryByteInEveryPlace) {
    for (int place = 0; place < 8; ++place) {
        for (const char rest : {'\x01', '0', 'F', '\x7F', '\x80', '\xFF'}) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string field = identity("", rest);
                field[static_cast<std::size_t>(place)] = static_cast<char>(byte);
                expect_field_hash(field);
            }
        }
    }
}

TEST(HashIndex, IsCreatedEmpty) {
    const owned_index index(create_index(10));
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(index->node_count, 0u);
    EXPECT_TRUE(
        std::all_of(index->buckets, index->buckets + 0x800000, [](std::uint32_t head) { return head == 0xFFFFFFFF; }));
    EXPECT_EQ(newest_entry(*index, 0), QEL_NOT_FOUND);
    EXPECT_EQ(newest_entry(*index, 0x7FFFFF), QEL_NOT_FOUND);
}

TEST(HashIndex, ChainsTheNewestEntryFirst) {
    const owned_index index(create_index(3));
    insert(*index, 77, 10);
    insert(*index, 78, 20);
    insert(*index, 77, 30);
    EXPECT_EQ(index->node_count, 3u);
    EXPECT_EQ(index->buckets[77], 2u);
    EXPECT_EQ(index->nodes[2].token, 30u);
    EXPECT_EQ(index->nodes[2].next, 0u);
    EXPECT_EQ(index->nodes[0].token, 10u);
    EXPECT_EQ(index->nodes[0].next, 0xFFFFFFFFu);
    EXPECT_EQ(index->nodes[1].next, 0xFFFFFFFFu);
    EXPECT_EQ(newest_entry(*index, 77), 30u);
    EXPECT_EQ(newest_entry(*index, 78), 20u);
}

TEST(HashIndex, ReturnsTheNewestNodesEntryUnchecked) {
    const owned_index index(create_index(1));
    insert(*index, 5, QEL_NOT_FOUND);
    EXPECT_EQ(newest_entry(*index, 5), QEL_NOT_FOUND);
}

TEST(HashIndex, IgnoresEntriesOnceItHasAsManyNodesAsBuckets) {
    const owned_index index(create_index(0x800000));
    index->node_count = 0x7FFFFF;
    insert(*index, 1, 100);
    EXPECT_EQ(index->node_count, 0x800000u);
    EXPECT_EQ(newest_entry(*index, 1), 100u);
    insert(*index, 1, 200);
    insert(*index, 2, 300);
    EXPECT_EQ(index->node_count, 0x800000u);
    EXPECT_EQ(newest_entry(*index, 1), 100u);
    EXPECT_EQ(newest_entry(*index, 2), QEL_NOT_FOUND);
}

TEST(HashIndex, AllocatesItsRecordNodesAndBuckets) {
    for (const std::size_t size : {sizeof(qel_hash_index), 5 * sizeof(qel_hash_node), std::size_t{0x2000000}}) {
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(create_index(5), nullptr) << size;
        EXPECT_EQ(heap.failures(), 1u) << size;
    }
}

TEST(HashIndex, LeaksNothingIfAnAllocationFails) {
    const std::uint64_t attempts[] = {0, 1, 3, 3}; // without a record its arrays are not allocated
    for (std::uint64_t n = 1; n <= 3; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(create_index(5), nullptr);
        EXPECT_EQ(heap.count(), attempts[n]);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST(HashIndex, AcceptsACapacityOfZero) {
    const owned_index index(create_index(0));
    ASSERT_NE(index, nullptr);
    EXPECT_EQ(newest_entry(*index, 0), QEL_NOT_FOUND);
}

TEST(HashIndex, RefusesACapacityLargerThanMemory) {
    const heap_ledger ledger;
    EXPECT_EQ(create_index(~std::uint64_t{0}), nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(HashIndex, ReleasesEverythingAndNullsThePointer) {
    const heap_ledger ledger;
    qel_hash_index *index = create_index(5);
    EXPECT_EQ(ledger.live(), 3u);
    release_index(index);
    EXPECT_EQ(index, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
    release_index(index);
    EXPECT_EQ(index, nullptr);
}

} // namespace
} // namespace qel
