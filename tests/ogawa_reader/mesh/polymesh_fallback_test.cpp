// SPDX-License-Identifier: MIT
// What is found in an archive's bytes when its node tree holds no positions.
#include "ogawa_reader/mesh/read_mesh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace qel {
namespace {

using test::bytes;
using test::failing_heap;
using test::heap_ledger;
using test::put;
using test::put_all;
using test::put_block;
using test::read_mesh;
using test::stored_archive;

using floats = std::vector<float>;
using words = std::vector<std::uint32_t>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

constexpr std::uint64_t data_at = 13000; // behind the positions

/// An archive without a root: filler that is nothing, and 1001 vertices near the start.
bytes vertices_only(std::uint64_t length = 40000) {
    bytes content(length, 0xFF);
    put(content, 8, std::uint64_t{0});
    put_block(content, 100, 12012, floats(3003, 5.0f));
    return content;
}

/// A size word, a digest of filler and unit vectors, as many as the size promises or as the file holds.
void put_normals(bytes &content, std::uint64_t at, std::uint64_t size,
                 const floats &head = {0, 0, 1, 0, 1, 0}) {
    put(content, at, size);
    floats values(std::min<std::uint64_t>((size - 16) / 12 * 3, (content.size() - at - 24) / 4), 1.0f);
    std::copy(head.begin(), head.end(), values.begin());
    put_all(content, at + 24, values);
}

bytes with_normals(std::uint64_t size, const floats &head = {0, 0, 1, 0, 1, 0}) {
    bytes content = vertices_only();
    put_normals(content, data_at, size, head);
    return content;
}

std::uint32_t normals(const bytes &content) {
    return read_mesh(content).mesh.normal_count;
}

TEST(FallbackPositions, AreThoseOfThePositionsScan) {
    const read_mesh read(vertices_only());
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.positions(), floats(3003, 5.0f));
    EXPECT_EQ(read.mesh.bounds_min[1], 5.0f);
    EXPECT_EQ(read.mesh.self_bounds_max[2], 5.0f);
    EXPECT_EQ(read.mesh.transform[10], 1.0);
    EXPECT_EQ(read.mesh.reserved_word, 1u);
    EXPECT_EQ(read.mesh.normals, nullptr);
    EXPECT_EQ(read.mesh.normal_scope, 0u);
    EXPECT_EQ(read.mesh.face_count, 0u);
    EXPECT_EQ(read.mesh.face_index_count, 0u);
    EXPECT_EQ(read.mesh.face_counts, nullptr);
    EXPECT_EQ(read.mesh.face_indices, nullptr);
}

TEST(FallbackPositions, ThatAreMissingLeaveOnlyNameAndPath) {
    const read_mesh read(bytes(5000, 0xFF));
    EXPECT_EQ(read.status, -1);
    ogawa_polymesh expected;
    std::memset(&expected, 0, sizeof expected);
    std::strcpy(expected.name, "mesh");
    std::strcpy(expected.path, "/mesh");
    EXPECT_EQ(std::memcmp(&read.mesh, &expected, sizeof expected), 0);
}

TEST(FallbackPositions, WithoutMemoryGiveMinusTwoAndKeepTheCount) {
    const stored_archive archive(vertices_only());
    const failing_heap heap = failing_heap::of_size(12012);
    const read_mesh read(archive);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(read.status, -2);
    EXPECT_EQ(read.mesh.vertex_count, 1001u);
    EXPECT_EQ(read.mesh.positions, nullptr);
    EXPECT_STREQ(read.mesh.path, "/mesh");
    EXPECT_EQ(read.mesh.transform[0], 0.0) << "it ends at once";
    EXPECT_EQ(read.mesh.reserved_word, 0u);
}

TEST(FallbackPositions, AloneAreAllThereIsOfTheShortestFiles) {
    for (std::uint64_t length = 90; length <= 130; ++length) {
        bytes content(length, 0xFF);
        put(content, 8, std::uint64_t{0});
        put(content, 16, std::uint64_t{12012});
        for (std::uint64_t at = 24; at + 4 <= length; at += 4)
            put(content, at, 1.0f);
        const stored_archive archive(content);
        EXPECT_EQ(read_mesh(archive).status, length < 96 ? -1 : 0) << length;
        EXPECT_TRUE(test::agrees_with_model(archive)) << length;
    }
}

TEST(FallbackNormals, AreReadBehindTheirDigest) {
    const read_mesh read(with_normals(12016));
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.mesh.normal_count, 1000u);
    EXPECT_EQ(read.mesh.normal_scope, 4u);
    floats expected(3000, 1.0f);
    const floats head = {0, 0, 1, 0, 1, 0};
    std::copy(head.begin(), head.end(), expected.begin());
    EXPECT_EQ(read.normals(), expected);
}

TEST(FallbackNormals, HaveFrom10001To1999999Bytes) {
    EXPECT_EQ(normals(with_normals(10000)), 0u) << "832 whole triples, but too few bytes";
    EXPECT_EQ(normals(with_normals(10012)), 833u);
    bytes content = vertices_only(2020000);
    put_normals(content, data_at, 1999996);
    EXPECT_EQ(normals(content), 166665u);
    put_normals(content, data_at, 2000008);
    EXPECT_EQ(normals(content), 0u);
    EXPECT_EQ(normals(with_normals(10012 + (std::uint64_t{1} << 24))), 0u);
    EXPECT_EQ(normals(with_normals(10012 + (std::uint64_t{1} << 40))), 0u);
}

TEST(FallbackNormals, AreWholeTriplesBesideTheDigest) {
    for (std::uint64_t size = 10013; size < 10024; ++size)
        EXPECT_EQ(normals(with_normals(size)), 0u) << size;
    EXPECT_EQ(normals(with_normals(10024)), 834u);
}

TEST(FallbackNormals, BeginWithSixFloatsFromMinus11To11) {
    for (std::size_t i = 0; i < 6; ++i) {
        for (const float bad : {nan, infinity, -infinity, std::nextafter(1.1f, 2.0f), -1.2f}) {
            floats head = {0, 0, 1, 0, 1, 0};
            head[i] = bad;
            EXPECT_EQ(normals(with_normals(12016, head)), 0u) << i << ' ' << bad;
        }
    }
}

TEST(FallbackNormals, BeginWithTwoTriplesOfLengthOne) {
    for (const std::size_t first : {0u, 3u}) {
        const auto found = [&](float x, float y, float z) {
            floats head = {0, 0, 1, 0, 1, 0};
            head[first] = x;
            head[first + 1] = y;
            head[first + 2] = z;
            return normals(with_normals(12016, head)) != 0;
        };
        EXPECT_TRUE(found(0.96f, 0, 0));
        EXPECT_TRUE(found(0, -1.04f, 0));
        EXPECT_TRUE(found(0.6f, 0, 0.8f));
        EXPECT_TRUE(found(-0.577f, 0.577f, -0.577f));
        EXPECT_FALSE(found(0, 0, 0));
        EXPECT_FALSE(found(0, 0.95f, 0)) << "strictly between";
        EXPECT_FALSE(found(0, 0, 1.05f));
        EXPECT_FALSE(found(0.7f, 0.5f, 0.2f));
        EXPECT_FALSE(found(0.8f, 0.7f, 0.3f));
        // The squares are summed from left to right in single precision: these two come out at 0.95 and at
        // 1.05, and between them in any other order or in double precision.
        EXPECT_FALSE(found(0.02f, -0.77f, 0x1.1cb396p-1f));
        EXPECT_TRUE(found(0.02f, -0.77f, 0x1.1cb398p-1f));
        EXPECT_FALSE(found(-0.56f, -0.48f, 0x1.7ea1d6p-1f));
        EXPECT_TRUE(found(-0.56f, -0.48f, 0x1.7ea1d4p-1f));
    }
}

TEST(FallbackNormals, AreTriedAtEveryOffset) {
    for (std::uint64_t shift = 0; shift < 70; ++shift) {
        bytes content = vertices_only();
        put_normals(content, data_at + shift, 12016);
        EXPECT_EQ(normals(content), 1000u) << shift;
    }
}

TEST(FallbackNormals, AreTriedFromOffset16To101BytesBeforeTheEnd) {
    for (const std::uint64_t at : {15u, 16u}) {
        bytes content(40000, 0xFF);
        put(content, 8, std::uint64_t{0});
        put_block(content, 1500, 12012, floats(3003, 5.0f));
        bytes head(48);
        put(head, 0, std::uint64_t{999988}); // (cut short, but it is the count that tells)
        put_all(head, 24, floats{0, 0, 1, 0, 1, 0});
        std::copy(head.begin(), head.end(), content.begin() + static_cast<std::ptrdiff_t>(at));
        EXPECT_EQ(normals(content), at == 16 ? 83331u : 0u);
    }
    for (const std::uint64_t from_end : {101u, 100u}) {
        bytes content = vertices_only();
        put_normals(content, content.size() - from_end, 12016);
        EXPECT_EQ(normals(content), from_end == 101 ? 1000u : 0u);
    }
}

TEST(FallbackNormals, AreTheLargestBlockAndOfEqualOnesTheFirst) {
    bytes content = vertices_only(200000);
    put_normals(content, 20000, 12016, {0, 0, 0.96f, 0, 1, 0});
    put_normals(content, 40000, 12028, {0, 0, 0.97f, 0, 1, 0});
    put_normals(content, 60000, 12028, {0, 0, 0.98f, 0, 1, 0});
    put_normals(content, 80000, 12016, {0, 0, 0.99f, 0, 1, 0});
    const read_mesh read(content);
    ASSERT_EQ(read.mesh.normal_count, 1001u);
    EXPECT_EQ(read.mesh.normals[2], 0.97f);
}

TEST(FallbackNormals, CutShortAreNotThereButCounted) {
    bytes content = with_normals(12016);
    content.resize(data_at + 24 + 11999);
    const read_mesh cut(content);
    EXPECT_EQ(cut.status, 0);
    EXPECT_EQ(cut.mesh.normal_count, 1000u);
    EXPECT_EQ(cut.mesh.normals, nullptr);
    EXPECT_EQ(cut.mesh.normal_scope, 0u);
    content.push_back(0);
    EXPECT_NE(read_mesh(content).mesh.normals, nullptr);
}

TEST(FallbackNormals, WithoutMemoryAreNotThereButCounted) {
    const stored_archive archive(with_normals(12028 + 12)); // 12024 bytes: not as many as the positions
    const failing_heap heap = failing_heap::of_size(12024);
    const read_mesh read(archive);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.mesh.normal_count, 1002u);
    EXPECT_EQ(read.mesh.normals, nullptr);
    EXPECT_EQ(read.mesh.normal_scope, 0u);
}

words counting(std::uint32_t count) {
    words run(count);
    for (std::uint32_t i = 0; i < count; ++i)
        run[i] = (i * 7 + 1) % 1001;
    return run;
}

bytes with_words(const words &run, std::uint64_t at = data_at) {
    bytes content = vertices_only();
    put_all(content, at, run);
    return content;
}

TEST(FallbackTopology, IsTheLongestRunTakenAsTriangles) {
    const read_mesh read(with_words(counting(300)));
    EXPECT_EQ(read.face_indices(), counting(300));
    EXPECT_EQ(read.face_counts(), words(100, 3));
}

TEST(FallbackTopology, NeedsARunOfSixWords) {
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

TEST(FallbackTopology, KeepsIndicesBeyondAMultipleOfThree) {
    const read_mesh read(with_words(counting(7)));
    EXPECT_EQ(read.face_counts(), (words{3, 3}));
    EXPECT_EQ(read.face_indices(), counting(7));
    EXPECT_EQ(read_mesh(with_words(counting(8))).mesh.face_count, 2u);
    EXPECT_EQ(read_mesh(with_words(counting(9))).mesh.face_count, 3u);
}

TEST(FallbackTopology, HoldsWordsBelowTheVertexCount) {
    EXPECT_EQ(read_mesh(with_words({1, 2, 1000, 3, 4, 5, 6})).mesh.face_index_count, 7u);
    EXPECT_EQ(read_mesh(with_words({1, 2, 1001, 3, 4, 5, 6})).mesh.face_index_count, 0u);
    EXPECT_EQ(read_mesh(with_words({1, 2, 1001, 3, 4, 5, 6, 7, 8})).face_indices(),
              (words{3, 4, 5, 6, 7, 8}));
}

TEST(FallbackTopology, AlsoHoldsThreeAndFourButDoesNotBeginWithThem) {
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

TEST(FallbackTopology, IsTheFirstOfEqualRuns) {
    bytes content = with_words({10, 11, 12, 13, 14, 15, 16});
    put_all(content, data_at + 100, words{20, 21, 22, 23, 24, 25, 26});
    EXPECT_EQ(read_mesh(content).face_indices()[0], 10u);
    put_all(content, data_at + 200, words{30, 31, 32, 33, 34, 35, 36, 37});
    EXPECT_EQ(read_mesh(content).face_indices()[0], 30u);
}

TEST(FallbackTopology, IsSoughtAtEveryFourthOffset) {
    for (std::uint64_t shift = 0; shift < 8; ++shift) {
        const stored_archive archive(with_words(counting(40), data_at + shift));
        EXPECT_EQ(read_mesh(archive).mesh.face_index_count != 0, shift % 4 == 0) << shift;
        EXPECT_TRUE(test::agrees_with_model(archive)) << shift;
    }
}

TEST(FallbackTopology, IsFoundAmongRunsOfAnyLengthAtAnyPlace) {
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

TEST(FallbackTopology, EndsWithTheFile) {
    for (std::size_t extra = 0; extra < 4; ++extra) {
        bytes content = with_words(counting(50));
        content.resize(data_at + 200 + extra);
        EXPECT_EQ(read_mesh(content).face_indices(), counting(50)) << extra;
    }
}

TEST(FallbackTopology, IsTheSameOverTheBordersOfTheWindow) {
    bytes content = vertices_only(600000);
    put_all(content, 262144 - 400, counting(1000));
    put_all(content, 524288 - 400, counting(1001));
    EXPECT_EQ(read_mesh(content).face_indices(), counting(1001));
    const stored_archive archive(content);
    const failing_heap heap = failing_heap::of_size(256 << 10); // and over those of a small one
    EXPECT_EQ(read_mesh(archive).face_indices(), counting(1001));
    EXPECT_GT(heap.failures(), 0u);
}

TEST(FallbackTopology, EndsAfterTenMillionWords) {
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

TEST(FallbackTopology, WithoutMemoryForIndicesKeepsTheirCount) {
    const stored_archive archive(with_words(counting(301)));
    const failing_heap heap = failing_heap::of_size(301 * 4);
    const read_mesh read(archive);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.mesh.face_index_count, 301u);
    EXPECT_EQ(read.mesh.face_indices, nullptr);
    EXPECT_EQ(read.mesh.face_count, 0u);
    EXPECT_EQ(read.mesh.face_counts, nullptr);
    EXPECT_EQ(read.mesh.transform[0], 1.0);
}

TEST(FallbackTopology, WithoutMemoryForFaceCountsReleasesTheIndices) {
    const stored_archive archive(with_words(counting(301)));
    const heap_ledger ledger;
    {
        const failing_heap heap = failing_heap::of_size(100 * 4);
        const read_mesh read(archive);
        EXPECT_EQ(heap.failures(), 1u);
        EXPECT_EQ(read.status, 0);
        EXPECT_EQ(read.mesh.face_index_count, 0u);
        EXPECT_EQ(read.mesh.face_indices, nullptr);
        EXPECT_EQ(read.mesh.face_count, 100u);
        EXPECT_EQ(read.mesh.face_counts, nullptr);
        EXPECT_EQ(ledger.live(), 1u) << "the positions";
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(Fallback, AgreesWithItsPlainFormOnAdversarialFiles) {
    std::mt19937 generator(14);
    const auto random = [&] { return static_cast<std::uint32_t>(generator()); };
    const auto pick = [&](const auto &values) { return values[random() % std::size(values)]; };
    const float values[] = {0.5f, 1.0f, -1.0f,  0.6f, 0.8f, 0.95f, 1.05f, 1.1f, std::nextafter(1.1f, 2.0f),
                            0.7f, 2.0f, 300.0f, nan};
    const std::uint32_t small[] = {0, 1, 2, 3, 4, 5, 6, 7, 20, 100, 400, 1000, 1001, 12012};
    const std::uint64_t normal_sizes[] = {10000, 10001, 10012, 10013, 10024, 10036, 1999996, 2000008};
    stored_archive archive;
    int meshes = 0, normals_read = 0, normals_counted = 0, topologies = 0;
    for (int round = 0; round < 500; ++round) {
        const std::uint64_t length = random() % 4 == 0 ? 14000 + random() % 2000 : 200 + random() % 2000;
        bytes content(length);
        for (std::uint64_t at = 0; at < length;) {
            const std::uint32_t kind = random() % 3; // a stretch of small words, of floats or of noise
            for (std::uint32_t i = 1 + random() % 40; i > 0 && at < length; --i, at += 4)
                put(content, at, kind == 0 ? pick(small) : random());
            if (kind == 1) put(content, at, pick(values));
        }
        content.resize(length);
        put(content, 8, std::uint64_t{0});
        for (std::uint32_t i = random() % 24; i > 0; --i) {
            const std::uint64_t at = 16 + random() % std::min<std::uint64_t>(length - 80, 4000);
            put(content, at, pick(normal_sizes));
            for (std::uint64_t f = 0; f < 6; ++f)
                put(content, at + 24 + f * 4, f % 3 == 0 ? (random() % 2 == 0 ? 1.0f : pick(values)) : 0.05f);
        }
        const std::uint64_t at = 16 + random() % std::min<std::uint64_t>(length - 100, 500);
        put_block(content, at, 12012 + random() % 100, floats(18, 1.0f));
        content.resize(length - random() % 5);
        archive.store(content);
        ASSERT_TRUE(test::agrees_with_model(archive)) << "round " << round;
        const read_mesh read(archive);
        meshes += read.status == 0;
        normals_counted += read.mesh.normal_count != 0;
        normals_read += read.mesh.normals != nullptr;
        topologies += read.mesh.face_indices != nullptr;
    }
    EXPECT_GT(meshes, 400);
    EXPECT_GT(normals_counted, 50);
    EXPECT_GT(normals_read, 5);
    EXPECT_GT(topologies, 300);
}

} // namespace
} // namespace qel
