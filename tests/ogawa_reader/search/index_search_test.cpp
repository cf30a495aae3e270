// SPDX-License-Identifier: MIT
// Which run of words is taken as face indices in the bytes of an archive whose node tree holds no positions.
#include "ogawa_reader/search/index_search.h"

#include "ogawa_reader/search/searched_archive.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <random>

namespace qel {
namespace {

using namespace test;

TEST(IndicesFromBytes, IsTheLongestRunTakenAsTriangles) {
    const read_mesh read(with_words(counting(300)));
    EXPECT_EQ(read.face_indices(), counting(300));
    EXPECT_EQ(read.face_counts(), words(100, 3));
}

TEST(IndicesFromBytes, NeedsARunOfSixWords) {
    const read_mesh five(with_words(counting(5)));
    EXPECT_EQ(five.status, 0);
    EXPECT_EQ(five.mesh.face_count, 0u);
    EXPECT_EQ(five.mesh.face_counts, nullptr);
    EXPECT_EQ(five.mesh.face_index_count, 0u);
    EXPECT_EQ(five.mesh.face_indices, nullptr);
    const read_mesh six(with_words(counting(6)));
    EXPECT_EQ(six.mesh.face_count, 2u);
    EXPECT_EQ(six.mesh.face_index_count, 6u);
}

TEST(IndicesFromBytes, HoldsWordsBelowTheVertexCount) {
    EXPECT_EQ(read_mesh(with_words({1, 2, 1000, 3, 4, 5, 6})).mesh.face_index_count, 7u);
    EXPECT_EQ(read_mesh(with_words({1, 2, 1001, 3, 4, 5, 6})).mesh.face_index_count, 0u);
    EXPECT_EQ(read_mesh(with_words({1, 2, 1001, 3, 4, 5, 6, 7, 8})).face_indices(), (words{3, 4, 5, 6, 7, 8}));
}

TEST(IndicesFromBytes, MayContainThreeAndFourButDoNotBeginWithThem) {
    // Four vertices only, at the file's end; they are what is kept of the triples there.
    bytes content(200, 0xFF);
    put(content, 8, std::uint64_t{0});
    put_all(content, 16, words{4, 4, 4, 0, 4, 4, 3, 4, 1, 9, 4, 3, 2, 1, 0});
    floats vertices(15, 2.0f);
    vertices.insert(vertices.begin(), {nan, nan, nan}); // skipped
    vertices[17] = nan;                                 // of a triple that is dropped
    put_block(content, 200, 48012, vertices);
    const stored_archive archive(content);
    const read_mesh read(archive);
    ASSERT_EQ(read.mesh.vertex_count, 4u);
    EXPECT_EQ(read.face_indices(), (words{0, 4, 4, 3, 4, 1}));
    EXPECT_TRUE(test::agrees_with_model(archive));
}

TEST(IndicesFromBytes, IsTheFirstOfEqualRuns) {
    bytes content = with_words({10, 11, 12, 13, 14, 15, 16});
    put_all(content, data_at + 100, words{20, 21, 22, 23, 24, 25, 26});
    EXPECT_EQ(read_mesh(content).face_indices()[0], 10u);
    put_all(content, data_at + 200, words{30, 31, 32, 33, 34, 35, 36, 37});
    EXPECT_EQ(read_mesh(content).face_indices()[0], 30u);
}

TEST(IndicesFromBytes, AreSearchedAtEveryFourthOffset) {
    for (std::uint64_t shift = 0; shift < 8; ++shift) {
        const stored_archive archive(with_words(counting(40), data_at + shift));
        EXPECT_EQ(read_mesh(archive).mesh.face_index_count != 0, shift % 4 == 0) << shift;
        EXPECT_TRUE(test::agrees_with_model(archive)) << shift;
    }
}

TEST(IndicesFromBytes, IsFoundAmongRunsOfAnyLengthAtAnyPlace) {
    std::mt19937 random(91);
    for (std::uint32_t round = 0; round < 200; ++round) {
        words data;
        const std::uint32_t most = round % 40 + 1;
        while (data.size() < 400) {
            for (auto length = random() % most + 1; length > 0; --length)
                data.push_back(static_cast<std::uint32_t>(random() % 1001));
            data.insert(data.end(), random() % 4 == 0 ? 17 : random() % 3 + 1, 0xFFFFFFFF);
        }
        EXPECT_TRUE(test::agrees_with_model(stored_archive(with_words(data)))) << round;
    }
}

TEST(IndicesFromBytes, EndsWithTheFile) {
    for (std::size_t extra = 0; extra < 4; ++extra) {
        bytes content = with_words(counting(50));
        content.resize(data_at + 200 + extra);
        EXPECT_EQ(read_mesh(content).face_indices(), counting(50)) << extra;
    }
}

TEST(IndicesFromBytes, HoldsNoWordBehindAView) {
    const words seven(40, 7);
    for (std::size_t count = 6; count < seven.size(); ++count) {
        index_search search(1001);
        search.look(16, {reinterpret_cast<const std::uint8_t *>(seven.data()), count * 4});
        EXPECT_EQ(search.finish().size, count * 4);
    }
}

TEST(IndicesFromBytes, IsTheSameOverTheBordersOfTheWindow) {
    bytes content = vertices_only(600000);
    put_all(content, 262144 - 400, counting(1000));
    put_all(content, 524288 - 400, counting(1001));
    EXPECT_EQ(read_mesh(content).face_indices(), counting(1001));
    const stored_archive archive(content);
    const failing_heap heap = failing_heap::of_size(256 << 10); // and over those of a small one
    EXPECT_EQ(read_mesh(archive).face_indices(), counting(1001));
    EXPECT_GT(heap.failures(), 0u);
}

TEST(IndicesFromBytes, EndsAfterTenMillionWords) {
    bytes content = vertices_only(13000);
    stored_archive archive(content);
    archive.resize(13000 + 4 * 10000003); // a hole: zeros
    const read_mesh read(archive);
    EXPECT_EQ(read.mesh.face_index_count, 10000000u);
    EXPECT_EQ(read.mesh.face_count, 3333333u);
    ASSERT_NE(read.mesh.face_indices, nullptr);
    EXPECT_EQ(read.mesh.face_indices[9999999], 0u);
    EXPECT_EQ(read.mesh.face_counts[3333332], 3u);
}

} // namespace
} // namespace qel
