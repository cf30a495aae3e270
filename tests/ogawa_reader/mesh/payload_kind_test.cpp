// SPDX-License-Identifier: MIT
// Which kind payload_kind.cpp gives a payload, by its size and first words.
#include "ogawa_reader/mesh/read_mesh.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace qel {
namespace {

using namespace test;

using floats = std::vector<float>;
using words = std::vector<std::uint32_t>;

bytes triples(const floats &head, std::uint64_t size) {
    return payload_of<float>(head, size);
}

/// Positions of the smallest size there is, to accompany payloads that hold none.
bytes some_positions() {
    return triples({7, 7, 7}, 10008);
}

/// Vertices read from an archive with this payload alone, 0 when there is no mesh.
std::uint32_t vertices(const bytes &payload) {
    return read_mesh(archive_of({payload}).content()).mesh.vertex_count;
}

std::uint32_t normals(const bytes &payload) {
    return read_mesh(archive_of({payload, some_positions()}).content()).mesh.normal_count;
}

std::uint32_t faces(const bytes &payload) {
    return read_mesh(archive_of({payload, some_positions()}).content()).mesh.face_count;
}

std::uint32_t corners(const bytes &payload) {
    return read_mesh(archive_of({payload, some_positions()}).content()).mesh.face_index_count;
}

TEST(PolymeshPositions, NeedMoreThan10000BytesAndWholeTriples) {
    EXPECT_EQ(vertices(triples({2}, 9996)), 0u);
    EXPECT_EQ(vertices(triples({2}, 10000)), 0u);
    EXPECT_EQ(vertices(triples({2}, 10004)), 0u);
    EXPECT_EQ(vertices(triples({2}, 10007)), 0u);
    EXPECT_EQ(vertices(triples({2}, 10008)), 834u);
    EXPECT_EQ(vertices(triples({2}, 10020)), 835u);
}

TEST(PolymeshPositions, NeedAFloatAboveOneAndAHalfAmongTheFirstSix) {
    for (std::size_t i = 0; i < 12; ++i) {
        floats head(13, 0.5f);
        head[i] = -above(1.5f);
        EXPECT_EQ(vertices(triples(head, 10008)), i < 6 ? 834u : 0u) << i;
        head[i] = 1.5f;
        EXPECT_EQ(vertices(triples(head, 10008)), 0u) << i;
    }
}

TEST(PolymeshPositions, BeginWithSixCoordinates) {
    for (std::size_t i = 0; i < 12; ++i) {
        for (const float bad : {nan, infinity, -infinity, above(50000), -above(50000)}) {
            floats head(13, 2.0f);
            head[i] = bad;
            EXPECT_EQ(vertices(triples(head, 10008)), i < 6 ? 0u : 834u) << i << ' ' << bad;
        }
    }
    EXPECT_EQ(vertices(triples({50000, -50000, 3}, 10008)), 834u) << "the bound itself is a coordinate";
}

TEST(PolymeshNormals, HaveNoFloatAbove11AmongTheFirstSix) {
    EXPECT_EQ(normals(triples({0, 1, 0}, 10020)), 835u);
    EXPECT_EQ(normals(triples({-1.1f, 1.1f, 0}, 10020)), 835u);
    EXPECT_EQ(normals(triples({0, 0, 0, 0, 0, above(1.1f), 0}, 10020)), 0u);
    EXPECT_EQ(normals(triples({0, 0, 0, 0, 0, 0, above(1.1f), 0}, 10020)), 835u);
    EXPECT_EQ(normals(triples({0}, 9996)), 0u);
}

TEST(PolymeshNormals, AreNotRecognizedBetween11And15) {
    const read_mesh read(archive_of({triples({0, 1.2f, 0}, 12000), some_positions()}).content());
    EXPECT_EQ(read.mesh.vertex_count, 834u);
    EXPECT_EQ(read.mesh.normal_count, 0u);
    EXPECT_EQ(read.mesh.normals, nullptr);
    EXPECT_EQ(read.mesh.normal_scope, 0u);
}

TEST(PolymeshNormals, AreOfFaceVaryingScope) {
    const read_mesh read(archive_of({triples({0, 1, 0}, 12000), some_positions()}).content());
    EXPECT_EQ(read.mesh.normal_scope, 4u);
    EXPECT_EQ(read.normals().size(), 3000u);
    EXPECT_EQ(read.mesh.normal_indices, nullptr);
}

TEST(PolymeshNormals, AreAlsoSmallIntegersInWholeTriples) {
    // As floats they are near zero.
    const read_mesh read(
        archive_of({payload_of<std::uint32_t>({3, 4, 3, 4, 3, 4, 3, 4, 3, 4, 3}, 12000), some_positions()}).content());
    EXPECT_EQ(read.mesh.normal_count, 1000u);
    EXPECT_EQ(read.mesh.face_count, 3000u);
    EXPECT_EQ(read.mesh.face_index_count, 3000u);
}

TEST(PolymeshDigest, IsSkippedWhereTwoOfFourWordsAreNoCoordinates) {
    for (const float bad : {nan, infinity, -infinity, above(50000), -1e30f}) {
        for (std::size_t i = 0; i < 3; ++i) {
            floats payload(4 + 12000 / 4, 2.0f);
            payload[i] = payload[3] = bad;
            payload[4] = 42.0f;
            const read_mesh read(archive_of({test::bytes_of(payload)}).content());
            EXPECT_EQ(read.status, 0);
            EXPECT_EQ(read.positions(), floats(payload.begin() + 4, payload.end()));
        }
    }
}

TEST(PolymeshDigest, HasFourWords) {
    EXPECT_EQ(faces(payload_of<std::uint32_t>({~0u, 4, 4, 4, ~0u, 4}, 1020)), 255u)
        << "one of four words is no coordinate";
    EXPECT_EQ(faces(payload_of<std::uint32_t>({~0u, 4, 4, ~0u, 4}, 1020)), 251u);
    constexpr std::uint32_t no_coordinate = 0x476A6000; // the float 60000
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4, 4, 4, 4, no_coordinate, 4}, 10024)), 2506u)
        << "coordinates begin right after it";
}

TEST(PolymeshDigest, IsNotPartOfTheSize) {
    EXPECT_EQ(vertices(triples({nan, nan, 0, 0, 2}, 10016)), 0u) << "10000 bytes are left";
    EXPECT_EQ(vertices(triples({nan, nan, 0, 0, 2}, 10024)), 834u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({~0u, ~0u, 0, 0, 4}, 1016)), 0u) << "1000 bytes are left";
    EXPECT_EQ(faces(payload_of<std::uint32_t>({~0u, ~0u, 0, 0, 4}, 1020)), 251u);
}

TEST(PolymeshDigest, IsSkippedByTheSizeAloneWhereItsWordsLookLikeCoordinates) {
    const auto skipped = [](const floats &head, std::uint64_t size) {
        return vertices(triples(head, size)) == (size - 16) / 12;
    };
    EXPECT_TRUE(skipped({1, 2, 3, 4, 2}, 10024));
    EXPECT_TRUE(skipped({1, nan, 3, 4, 2}, 10024)) << "one word that is no coordinate changes nothing";
    EXPECT_TRUE(skipped({1, 2, 3, nan, 2}, 10024)) << "nor does the last one";
    EXPECT_TRUE(skipped({1, 2, 3, 4, 2, 2, 2, 2, 2, 2, nan, 2}, 10024)) << "nor one after the tenth";
    EXPECT_TRUE(skipped({1, 2, 3, 4, 0, 0, 0, 0, 0, -above(1.5f), 0}, 10024));
    EXPECT_FALSE(skipped({1, 2, 3, 4, 0, 0, 0, 0, 0, 1.5f, 0}, 10024));
    EXPECT_FALSE(skipped({1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 2, 2}, 10024)) << "the tenth word is the last one tested";
    EXPECT_FALSE(skipped({1, 2, 3, 4, 2}, 10012)) << "fewer than 10001 bytes would be left";
    EXPECT_FALSE(skipped({1, 2, 3, 4, 2}, 10020)) << "no whole triples without a digest";
    for (std::size_t i = 4; i < 10; ++i) {
        floats head = {1, 2, 3, 4, 2, 2, 2, 2, 2, 2, 2};
        head[i] = nan;
        EXPECT_EQ(vertices(triples(head, 10024)), 0u) << i;
    }
}

TEST(PolymeshDigest, IsSkippedByTheSizeOfAPayloadOfAnyKind) {
    // Corner counts with a float among them: after a digest there are four fewer.
    const auto words_read = [](float fifth, float tenth, std::uint64_t size = 10024) {
        words head(16, 4);
        std::memcpy(&head[4], &fifth, 4);
        std::memcpy(&head[9], &tenth, 4);
        return faces(payload_of(head, size));
    };
    EXPECT_EQ(words_read(1.5f, 0.5f), 2506u);
    EXPECT_EQ(words_read(above(1.5f), 0.5f), 2502u);
    EXPECT_EQ(words_read(2.0f, nan), 2506u);
    EXPECT_EQ(words_read(2.0f, 0.5f, 10012), 2503u) << "fewer than 10001 bytes would be left";
}

TEST(PolymeshDigest, AtTheEndOfTheFileKeepsTheWordsAlreadyRead) {
    // After the digest there are eight words only; the ninth and the tenth keep their first values.
    for (const std::uint32_t kept : {4u, 9u}) {
        archive_writer archive;
        archive.pad_to(3000, 0xFF);
        const std::uint64_t positions = archive.data(some_positions());
        const std::uint64_t counts = archive.data(payload_of<std::uint32_t>({4}, 2000));
        const std::uint64_t last = 3000 + 8 + 10008 + 8 + 2000 + 200;
        archive.finish(archive.group({positions, counts, last | archive_writer::data_bit}));
        archive.pad_to(last, 0xFF);
        // The ninth and tenth are also the fifth and sixth: with one more out of range, eight of ten need
        // them.
        archive.data_claiming(4016, test::bytes_of(words{~0u, ~0u, 0, 0, 4, 9, 4, 4, kept, 4, 4, 4}));
        const read_mesh read(archive.content());
        EXPECT_EQ(read.status, 0);
        // As the larger face counts it replaces the others, and then cannot be read.
        EXPECT_EQ(read.mesh.face_count, kept == 4 ? 0u : 500u);
        EXPECT_TRUE(test::agrees_with_model(stored_archive(archive.content())));
    }
}

TEST(PolymeshFaceCounts, AreEightOfTenWordsFrom3To8) {
    EXPECT_EQ(faces(payload_of<std::uint32_t>({3, 8, 3, 8, 3, 8, 3, 8, 2, 9, 0}, 1004)), 251u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({3, 8, 3, 8, 3, 8, 3, 2, 2, 9, 4}, 1004)), 0u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({1, 1, 3, 8, 3, 8, 3, 8, 4, 4, 0}, 1004)), 251u);
}

TEST(PolymeshFaceCounts, HaveFrom1001To499999BytesInWholeWords) {
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 1000)), 0u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 1002)), 0u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 1004)), 251u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 10000)), 2500u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 10002)), 0u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 10004)), 2501u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 499996)), 124999u);
    EXPECT_EQ(faces(payload_of<std::uint32_t>({4}, 500000)), 0u);
}

TEST(PolymeshFaceIndices, HaveMoreThan10000BytesInWholeWords) {
    const words ring = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(corners(payload_of<std::uint32_t>(ring, 10000)), 0u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>(ring, 10002)), 0u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>(ring, 10004)), 2501u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>(ring, 500000)), 125000u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>(ring, 500002)), 0u);
}

TEST(PolymeshFaceIndices, AreTenWordsUpTo99999) {
    for (std::size_t i = 0; i < 10; ++i) {
        words head = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 1000000};
        head[i] = 99999;
        EXPECT_EQ(corners(payload_of(head, 10004)), 2501u);
        head[i] = 100000;
        EXPECT_EQ(corners(payload_of(head, 10004)), 0u);
    }
}

TEST(PolymeshFaceIndices, ChangeFiveTimesAmongTenWords) {
    EXPECT_EQ(corners(payload_of<std::uint32_t>({1, 2, 1, 2, 1, 2, 2, 2, 2, 2, 9}, 10004)), 2501u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>({1, 2, 1, 2, 1, 1, 1, 1, 1, 1, 9}, 10004)), 0u);
    EXPECT_EQ(corners(payload_of<std::uint32_t>({1, 2, 1, 2, 1, 2, 2, 2, 2, 2, 2}, 10004)), 2501u);
}

TEST(PolymeshWinner, IsTheLargestOfItsKindAndOfEqualOnesTheFirst) {
    const words ring = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const std::uint64_t sizes[] = {12000, 12012, 12012, 12000}; // all of whole triples
    std::vector<bytes> payloads;
    for (int i = 0; i < 4; ++i) {
        const float f = static_cast<float>(i);
        const std::uint32_t u = static_cast<std::uint32_t>(i);
        payloads.push_back(triples({2 + f}, sizes[i]));
        payloads.push_back(triples({0.5f + 0.1f * f}, sizes[i]));
        payloads.push_back(payload_of<std::uint32_t>({3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3 + u}, sizes[i] - 8));
        payloads.push_back(payload_of<std::uint32_t>({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 20 + u}, sizes[i] - 8));
    }
    const read_mesh read(archive_of(payloads).content());
    EXPECT_EQ(read.positions(), floats(3003, 3.0f));
    EXPECT_EQ(read.normals(), floats(3003, 0.5f + 0.1f));
    ASSERT_EQ(read.mesh.face_count, 3001u);
    EXPECT_EQ(read.mesh.face_counts[10], 4u);
    ASSERT_EQ(read.mesh.face_index_count, 3001u);
    EXPECT_EQ(read.mesh.face_indices[10], 21u);
}

TEST(PolymeshNode, OfFewerThan48BytesBeforeTheFilesEndIsSkipped) {
    for (const std::uint64_t held : {47u, 48u}) {
        archive_writer archive;
        archive.pad_to(3000, 0xFF);
        const std::uint64_t positions = archive.data(some_positions());
        const std::uint64_t last = 14000;
        archive.finish(archive.group({positions, last | archive_writer::data_bit}));
        archive.pad_to(last, 0xFF);
        archive.data_claiming(20004, triples({2}, held));
        const read_mesh read(archive.content());
        // A larger winner that cannot be read leaves no mesh.
        EXPECT_EQ(read.mesh.vertex_count, held == 47 ? 834u : 0u);
        EXPECT_EQ(read.status, held == 47 ? 0 : -1);
    }
}

/// Payload heads near every threshold, and archives of them.
class PolymeshClassification : public testing::Test {
  protected:
    std::uint32_t random() { return static_cast<std::uint32_t>(generator()); }

    template <class T>
    auto pick(const T &values) {
        return values[random() % std::size(values)];
    }

    words random_head() {
        const float coordinates[] = {0, -0.5f, 1, 1.1f, above(1.1f), -1.2f, 1.5f, above(1.5f), 2, -700, 50000};
        const float others[] = {nan, infinity, -infinity, above(50000), -1e35f};
        const std::uint32_t small[] = {0, 1, 2, 3, 4, 4, 4, 5, 8, 9, 500, 99999, 100000};
        const std::uint32_t kind = random() % 4; // small integers, mixed, floats, corner counts
        words head(16);
        for (std::uint32_t &word : head) {
            const float value = random() % 15 == 0 ? pick(others) : pick(coordinates);
            std::memcpy(&word, &value, 4);
            if (kind == 0 || (kind == 1 && random() % 2 == 0)) word = pick(small);
            if (kind == 3) word = random() % 9 == 0 ? 9 : 3 + random() % 6;
        }
        if (random() % 2 == 0) head[random() % 4] = head[random() % 4] = ~0u; // a digest, or not quite
        return head;
    }

    /// Some nodes below the top object; the file ends within the last one's first words, or far after them.
    bytes random_archive() {
        const std::uint64_t sizes[] = {100,   101,   1000,   1001,   1004,   1016,    1020,  9996,
                                       10000, 10004, 10008,  10012,  10016,  10017,   10020, 10024,
                                       10028, 12000, 499996, 500000, 500016, 10000000};
        bytes content(2100, 0xFF);
        std::vector<std::uint64_t> nodes;
        for (std::uint32_t i = 1 + random() % 8; i > 0; --i) {
            nodes.push_back(content.size() | archive_writer::data_bit);
            const std::uint64_t size = pick(sizes);
            test::append(content, size);
            const bytes payload = payload_of(random_head(), std::min<std::uint64_t>(size, 13000));
            content.insert(content.end(), payload.begin(), payload.end());
        }
        if (random() % 3 == 0) content.resize((nodes.back() & ~archive_writer::data_bit) + 8 + 40 + random() % 30);
        test::put(content, 8, std::uint64_t{16});
        test::put_all(content, 16, std::vector<std::uint64_t>{3, 0, 0, 64});
        test::put(content, 64, std::uint64_t{nodes.size()});
        test::put_all(content, 72, nodes);
        return content;
    }

    std::mt19937 generator{13};
};

TEST_F(PolymeshClassification, AgreesWithItsPlainFormOnAdversarialPayloads) {
    stored_archive archive;
    int meshes = 0, normals = 0, face_counts = 0, face_indices = 0;
    for (int round = 0; round < 2000; ++round) {
        archive.store(random_archive());
        ASSERT_TRUE(test::agrees_with_model(archive)) << "round " << round;
        const read_mesh read(archive);
        meshes += read.status == 0;
        normals += read.mesh.normals != nullptr;
        face_counts += read.mesh.face_counts != nullptr;
        face_indices += read.mesh.face_indices != nullptr;
    }
    EXPECT_GT(meshes, 200);
    EXPECT_GT(normals, 50);
    EXPECT_GT(face_counts, 100);
    EXPECT_GT(face_indices, 100);
}

} // namespace
} // namespace qel
