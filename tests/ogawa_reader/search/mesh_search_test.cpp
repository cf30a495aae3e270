// SPDX-License-Identifier: MIT
// The mesh-data search of mesh_scan.h.
#include "ogawa_reader/search/mesh_search.h"

#include "model/mesh_scan_model.h"
#include "ogawa_reader/container/stored_archive.h"
#include "support/failing_heap.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace qel {
namespace {

using namespace test;

using floats = std::vector<float>;
using words = std::vector<std::uint32_t>;

struct block {
    std::uint64_t at, size;
};

/// As ogawa_mesh_locations, but of blocks that can be compared and printed.
struct located {
    block positions, uvs, normals, face_counts, reserved;
};
static_assert(sizeof(located) == sizeof(ogawa_mesh_locations));

std::ostream &operator<<(std::ostream &out, const block &b) {
    return out << '{' << b.at << ", " << b.size << '}';
}

bool operator==(const block &a, const block &b) {
    return a.at == b.at && a.size == b.size;
}

constexpr block none = {0, 0};

located search(const stored_archive &archive) {
    ogawa_mesh_locations found;
    std::memset(&found, 0xAB, sizeof found);
    ogawa_find_mesh_data(&archive.record, &found);
    located result;
    std::memcpy(&result, &found, sizeof result);
    return result;
}

located search(const bytes &content) {
    return search(stored_archive(content));
}

/// 0xFF bytes, which never form a plausible size, with one block.
template <class T>
bytes block_at(std::uint64_t offset, std::uint64_t size, const std::vector<T> &payload, std::uint64_t length = 400) {
    bytes content(length, 0xFF);
    put_block(content, offset, size, payload);
    return content;
}

TEST(MeshSearch, FindsPositions) {
    const located found = search(block_at(100, 1200, floats{100, -2000, 3}));
    EXPECT_EQ(found.positions, (block{108, 1200}));
    EXPECT_EQ(found.uvs, none);
    EXPECT_EQ(found.normals, none);
    EXPECT_EQ(found.face_counts, none);
    EXPECT_EQ(found.reserved, none);
}

TEST(MeshSearch, FindsUvs) {
    const located found = search(block_at(100, 1208, floats{0.25f, 0.5f, 0.75f}));
    EXPECT_EQ(found.positions, none);
    EXPECT_EQ(found.uvs, (block{108, 1208}));
}

TEST(MeshSearch, FindsFaceCounts) {
    const located found = search(block_at(100, 12, words{3, 100, 4}));
    EXPECT_EQ(found.face_counts, (block{108, 12}));
    EXPECT_EQ(found.positions, none);
    EXPECT_EQ(found.uvs, none);
}

TEST(MeshSearch, LeavesTheOutputsAloneWithoutARootReference) {
    located untouched;
    std::memset(&untouched, 0xAB, sizeof untouched);
    for (std::size_t size = 0; size < 16; ++size) {
        const located found = search(bytes(size));
        EXPECT_EQ(std::memcmp(&found, &untouched, sizeof found), 0) << size;
    }
}

TEST(MeshSearch, ClearsTheOutputsInFilesTooShortToSearch) {
    for (std::size_t size = 16; size < 37; ++size) {
        const located found = search(bytes(size, 0xFF));
        for (const block &b : {found.positions, found.uvs, found.normals, found.face_counts, found.reserved})
            EXPECT_EQ(b, none) << size;
    }
}

TEST(MeshSearch, TriesEveryFourthOffsetFrom16ToTheLastWholeCandidate) {
    for (std::uint64_t offset = 16; offset < 80; ++offset) {
        const located found = search(block_at(offset, 12, words{3, 3, 3}, offset + 20));
        EXPECT_EQ(found.face_counts, offset % 4 == 0 ? (block{offset + 8, 12}) : none) << offset;
    }
    EXPECT_EQ(search(block_at(12, 12, words{3, 3, 3})).face_counts, none) << "the header is not searched";
    bytes cut = block_at(16, 12, words{3, 3, 3}, 36);
    cut.pop_back();
    EXPECT_EQ(search(cut).face_counts, none);
}

TEST(MeshSearch, TestsEveryPositionOfALargeFile) {
    // Around the borders of chunks of 4096 and 262144 bytes, and at the end.
    const std::uint64_t length = 600000;
    for (const std::uint64_t border :
         {std::uint64_t{4112}, std::uint64_t{8192}, std::uint64_t{262160}, std::uint64_t{524304}, length - 40}) {
        for (std::uint64_t offset = border - 40; offset <= border + 20; offset += 4) {
            const located found = search(block_at(offset, 12, words{3, 3, 3}, length));
            ASSERT_EQ(found.face_counts, (block{offset + 8, 12})) << offset;
        }
    }
}

TEST(MeshSearch, AcceptsSizesFrom12To10000000InStepsOfFour) {
    for (const std::uint64_t size : {0u, 8u, 13u, 14u, 15u})
        EXPECT_EQ(search(block_at(100, size, words{3, 3, 3})).face_counts, none) << size;
    EXPECT_EQ(search(block_at(100, 12, words{3, 3, 3})).face_counts.size, 12u);
    EXPECT_EQ(search(block_at(100, 10000000, floats{1, 2, 3})).uvs.size, 10000000u);
    EXPECT_EQ(search(block_at(100, 10000004, floats{1, 2, 3})).uvs, none);
    EXPECT_EQ(search(block_at(100, 9999996, floats{1, 2, 3})).positions.size, 9999996u);
    EXPECT_EQ(search(block_at(100, 10000008, floats{1, 2, 3})).positions, none);
}

TEST(MeshSearch, NeverTakesAPayloadOf1000BytesAsPositionsOrUvs) {
    EXPECT_EQ(search(block_at(100, 1000, floats{1, 2, 3})).uvs, none);
    EXPECT_EQ(search(block_at(100, 996, floats{1, 2, 3})).positions, none);
    EXPECT_EQ(search(block_at(100, 1000, floats{1, 2, 3})).positions, none);
    EXPECT_EQ(search(block_at(100, 1008, floats{1, 2, 3})).positions.size, 1008u);
    EXPECT_EQ(search(block_at(100, 1016, floats{1, 2, 3})).uvs.size, 1016u);
}

TEST(MeshSearch, NeverTakesAPayloadOf1000000BytesAsFaceCounts) {
    EXPECT_EQ(search(block_at(100, 1000000, words{3, 3, 3})).face_counts, none);
    EXPECT_EQ(search(block_at(100, 999996, words{3, 3, 3})).face_counts.size, 999996u);
}

TEST(MeshSearch, BoundsFaceCountsBy3And100) {
    for (std::size_t i = 0; i < 3; ++i) {
        for (const std::uint32_t bad : {0u, 2u, 101u, 0x80000003u}) {
            words payload = {3, 100, 50};
            payload[i] = bad;
            EXPECT_EQ(search(block_at(100, 12, payload)).face_counts, none) << bad;
        }
    }
}

TEST(MeshSearch, BoundsPositionsBy10000InXAndBy50000InYAndZ) {
    EXPECT_EQ(search(block_at(100, 1212, floats{-9999.5f, 50000, -50000})).positions.size, 1212u);
    EXPECT_EQ(search(block_at(100, 1212, floats{10000, 0, 0})).positions, none);
    EXPECT_EQ(search(block_at(100, 1212, floats{0, above(50000), 0})).positions, none);
    EXPECT_EQ(search(block_at(100, 1212, floats{0, 0, -above(50000)})).positions, none);
    for (std::size_t i = 0; i < 3; ++i) {
        for (const float bad : {nan, infinity, -infinity}) {
            floats payload = {1, 2, 3};
            payload[i] = bad;
            EXPECT_EQ(search(block_at(100, 1212, payload)).positions, none);
            EXPECT_EQ(search(block_at(100, 1208, payload)).uvs, none);
        }
    }
}

TEST(MeshSearch, BoundsUvsBy10InUAndVAndBy50000InTheThirdFloat) {
    EXPECT_EQ(search(block_at(100, 1208, floats{-10, 10, 50000})).uvs.size, 1208u);
    for (const float bad : {above(10), -above(10)}) {
        EXPECT_EQ(search(block_at(100, 1208, floats{bad, 0, 0})).uvs, none);
        EXPECT_EQ(search(block_at(100, 1208, floats{0, bad, 0})).uvs, none);
    }
    EXPECT_EQ(search(block_at(100, 1208, floats{0, 0, above(50000)})).uvs, none);
}

TEST(MeshSearch, DoesNotTakePositionsAsUvsAsWell) {
    const located found = search(block_at(100, 1200, floats{1, 2, 3}));
    EXPECT_EQ(found.positions, (block{108, 1200}));
    EXPECT_EQ(found.uvs, none);
}

TEST(MeshSearch, UsesABlockTooSmallForPositionsAsUvs) {
    bytes content = block_at(100, 1248, floats{1, 2, 3});
    put_block(content, 200, 1224, floats{1, 2, 3}); // of both lengths, too
    put_block(content, 300, 1248, floats{1, 2, 3});
    const located found = search(content);
    EXPECT_EQ(found.positions, (block{108, 1248}));
    EXPECT_EQ(found.uvs, (block{308, 1248}));
}

TEST(MeshSearch, KeepsTheEarlierOfEqualSizes) {
    bytes content = block_at(100, 1212, floats{1, 2, 3});
    put_block(content, 140, 1212, floats{4, 5, 6});
    put_block(content, 180, 1208, floats{1, 2, 3});
    put_block(content, 220, 1208, floats{1, 2, 3});
    put_block(content, 260, 16, words{3, 3, 3});
    put_block(content, 300, 16, words{3, 3, 3});
    located found = search(content);
    EXPECT_EQ(found.positions.at, 108u);
    EXPECT_EQ(found.uvs.at, 188u);
    EXPECT_EQ(found.face_counts.at, 268u);
    put(content, 140, std::uint64_t{1236});
    put(content, 220, std::uint64_t{1216});
    put(content, 300, std::uint64_t{20});
    found = search(content);
    EXPECT_EQ(found.positions.at, 148u);
    EXPECT_EQ(found.uvs.at, 228u);
    EXPECT_EQ(found.face_counts.at, 308u);
}

TEST(MeshSearch, MayMistakeFaceCountsForUvs) {
    // Small integers are tiny floats.
    const located found = search(block_at(100, 1208, words{4, 4, 4}));
    EXPECT_EQ(found.uvs, (block{108, 1208}));
    EXPECT_EQ(found.face_counts, (block{108, 1208}));
}

TEST(MeshSearch, AgreesWithItsPlainFormOnAdversarialFilesAndWithoutMemory) {
    std::mt19937 random(12);
    const auto pick = [&](const auto &values) { return values[random() % std::size(values)]; };
    const float values[] = {0.0f,     -10.0f,    10.0f,           above(10.0f), 9999.5f,
                            10000.0f, -50000.0f, above(50000.0f), nan,          infinity};
    const std::uint32_t counts[] = {2, 3, 4, 99, 100, 101, 1000, 1200};
    const std::uint64_t sizes[] = {8,    12,   16,     996,    1000,    1004,    1008,     1200,    1208,
                                   1224, 1226, 999996, 999999, 1000000, 9999996, 10000000, 10000004};
    stored_archive archive;
    int found_all = 0;
    for (int round = 0; round < 1500; ++round) {
        bytes content(random() % (round % 5 == 0 ? 13000 : 300));
        for (std::uint64_t at = 0; at + 4 <= content.size(); at += 4) {
            if (random() % 3 == 0)
                put(content, at, pick(counts));
            else
                put(content, at, pick(values));
            if (random() % 4 == 0 && at + 8 <= content.size()) put(content, at, pick(sizes)), at += 4;
        }
        archive.store(content);
        const failing_heap heap = round % 2 == 0 ? failing_heap::from(1) : failing_heap::nth(0);
        const located found = search(archive);
        model::mesh_locations expected;
        std::memset(&expected, 0xAB, sizeof expected);
        model::find_mesh_data(archive.stream(), &expected);
        ASSERT_EQ(sizeof found, sizeof expected);
        ASSERT_EQ(std::memcmp(&found, &expected, sizeof found), 0) << "round " << round;
        found_all += found.positions.size != 0 && found.uvs.size != 0 && found.face_counts.size != 0;
    }
    EXPECT_GT(found_all, 150);
}

} // namespace
} // namespace qel
