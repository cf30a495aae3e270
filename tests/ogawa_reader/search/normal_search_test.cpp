// SPDX-License-Identifier: MIT
// Which normals are found in the bytes of an archive whose node tree holds no positions.
#include "ogawa_reader/search/searched_archive.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel {
namespace {

using namespace test;

std::uint32_t normals(const bytes &content) {
    return read_mesh(content).mesh.normal_count;
}

TEST(NormalsFromBytes, AreReadAfterTheirDigest) {
    const read_mesh read(with_normals(12016));
    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.mesh.normal_count, 1000u);
    EXPECT_EQ(read.mesh.normal_scope, 4u);
    floats expected(3000, 1.0f);
    const floats head = {0, 0, 1, 0, 1, 0};
    std::copy(head.begin(), head.end(), expected.begin());
    EXPECT_EQ(read.normals(), expected);
}

TEST(NormalsFromBytes, HaveFrom10001To1999999Bytes) {
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

TEST(NormalsFromBytes, AreWholeTriplesBesideTheDigest) {
    for (std::uint64_t size = 10013; size < 10024; ++size)
        EXPECT_EQ(normals(with_normals(size)), 0u) << size;
    EXPECT_EQ(normals(with_normals(10024)), 834u);
}

TEST(NormalsFromBytes, BeginWithSixFloatsFromMinus11To11) {
    for (std::size_t i = 0; i < 6; ++i) {
        for (const float bad : {nan, infinity, -infinity, std::nextafter(1.1f, 2.0f), -1.2f}) {
            floats head = {0, 0, 1, 0, 1, 0};
            head[i] = bad;
            EXPECT_EQ(normals(with_normals(12016, head)), 0u) << i << ' ' << bad;
        }
    }
}

TEST(NormalsFromBytes, BeginWithTwoTriplesOfLengthOne) {
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

TEST(NormalsFromBytes, AreTriedAtEveryOffset) {
    for (std::uint64_t shift = 0; shift < 70; ++shift) {
        bytes content = vertices_only();
        put_normals(content, data_at + shift, 12016);
        EXPECT_EQ(normals(content), 1000u) << shift;
    }
}

TEST(NormalsFromBytes, AreTriedFromOffset16To101BytesBeforeTheEnd) {
    for (const std::uint64_t at : {15u, 16u}) {
        bytes content(40000, 0xFF);
        put(content, 8, std::uint64_t{0});
        put_block(content, 1500, 12012, floats(3003, 5.0f));
        bytes head(48);
        put(head, 0, std::uint64_t{999988}); // truncated: the count is checked
        put_all(head, 24, floats{0, 0, 1, 0, 1, 0});
        std::copy(head.begin(), head.end(), content.begin() + static_cast<std::ptrdiff_t>(at));
        EXPECT_EQ(normals(content), at == 16 ? 83331u : 0u);
    }
    for (const std::uint64_t from_end : {101u, 100u, 48u}) {
        bytes content = vertices_only();
        put_normals(content, content.size() - from_end, 12016);
        EXPECT_EQ(normals(content), from_end == 101 ? 1000u : 0u);
    }
}

TEST(NormalsFromBytes, AreTriedToTheEndOfAFileOfFewerThan100Bytes) {
    for (const std::uint64_t length : {99u, 100u}) {
        bytes content(length, 0xFF);
        put(content, 8, std::uint64_t{0});
        put_block(content, 16, 12012, floats(18, 5.0f));
        put(content, 24, std::uint64_t{12016}); // as two floats, both are near zero
        put_all(content, 48, floats{0, 0, 1, 0, 0, 1});
        EXPECT_EQ(normals(content), length == 99 ? 1000u : 0u);
    }
}

TEST(NormalsFromBytes, AreTriedOverTheBordersOfTheWindow) {
    // From 12208 on the search reads 16384 bytes, then twice as many.
    for (std::uint64_t at = 28592 - 60; at < 28592; ++at) {
        bytes content = vertices_only(60000);
        put_normals(content, at, 12016, {0, 0, 1, 0, 0, 1});
        const read_mesh read(content);
        ASSERT_EQ(read.normals().size(), 3000u) << at;
        EXPECT_EQ(floats(read.mesh.normals, read.mesh.normals + 6), (floats{0, 0, 1, 0, 0, 1})) << at;
    }
}

TEST(NormalsFromBytes, AreTheLargestBlockAndOfEqualOnesTheFirst) {
    bytes content = vertices_only(200000);
    put_normals(content, 20000, 12016, {0, 0, 0.96f, 0, 1, 0});
    put_normals(content, 40000, 12028, {0, 0, 0.97f, 0, 1, 0});
    put_normals(content, 60000, 12028, {0, 0, 0.98f, 0, 1, 0});
    put_normals(content, 80000, 12016, {0, 0, 0.99f, 0, 1, 0});
    const read_mesh read(content);
    ASSERT_EQ(read.mesh.normal_count, 1001u);
    EXPECT_EQ(read.mesh.normals[2], 0.97f);
}

} // namespace
} // namespace qel
