// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "support/failing_heap.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace qel {
namespace {

using namespace test;

using box = std::vector<float>;

box bounds_of(const std::vector<float> &positions) {
    box bounds(6, 77.0f);
    ogawa_compute_bounds(positions.data(), static_cast<std::uint32_t>(positions.size() / 3), bounds.data());
    return bounds;
}

TEST(ComputeBounds, OfOnePositionAreThatPosition) {
    EXPECT_EQ(bounds_of({1, -2, 3}), (box{1, -2, 3, 1, -2, 3}));
}

TEST(ComputeBounds, AreMinimaThenMaxima) {
    EXPECT_EQ(bounds_of({1, 5, -3, 4, 2, -6, 0, 3, 9}), (box{0, 2, -6, 4, 5, 9}));
}

TEST(ComputeBounds, DoNothingWithoutPositionsOrOutput) {
    const float positions[3] = {1, 2, 3};
    box bounds(6, 77.0f);
    ogawa_compute_bounds(positions, 0, bounds.data());
    ogawa_compute_bounds(nullptr, 1, bounds.data());
    EXPECT_EQ(bounds, box(6, 77.0f));
    ogawa_compute_bounds(positions, 1, nullptr);
}

TEST(ComputeBounds, AreNeverReplacedByANan) {
    EXPECT_EQ(bounds_of({1, 2, 3, nan, nan, nan, 2, 0, nan}), (box{1, 0, 3, 2, 2, 3}));
}

TEST(ComputeBounds, KeepANanOfTheFirstPosition) {
    const box bounds = bounds_of({nan, 1, 2, 5, 6, 7});
    EXPECT_TRUE(std::isnan(bounds[0]) && std::isnan(bounds[3]));
    EXPECT_EQ(bounds[4], 6.0f);
}

TEST(ComputeBounds, ReachInfinityAndKeepTheFirstZero) {
    const box bounds = bounds_of({-0.0f, 0.0f, 0, 0.0f, -0.0f, infinity, 0, 0, -infinity});
    EXPECT_TRUE(std::signbit(bounds[0]) && std::signbit(bounds[3]));
    EXPECT_FALSE(std::signbit(bounds[1]) || std::signbit(bounds[4]));
    EXPECT_EQ(bounds[2], -infinity);
    EXPECT_EQ(bounds[5], infinity);
}

TEST(TriangulateFace, FansAboutTheFirstCorner) {
    const std::uint32_t face[] = {7, 8, 9, 10, 11};
    std::uint32_t *triangles = nullptr;
    std::uint32_t count = 0;
    ASSERT_EQ(ogawa_triangulate_face(face, 5, &triangles, &count), 0);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(std::vector<std::uint32_t>(triangles, triangles + 9),
              (std::vector<std::uint32_t>{7, 8, 9, 7, 9, 10, 7, 10, 11}));
    std::free(triangles);
}

TEST(TriangulateFace, KeepsATriangle) {
    const std::uint32_t face[] = {4, 4, 0xFFFFFFFF};
    std::uint32_t *triangles = nullptr;
    std::uint32_t count = 0;
    ASSERT_EQ(ogawa_triangulate_face(face, 3, &triangles, &count), 0);
    ASSERT_EQ(count, 1u);
    EXPECT_EQ(std::vector<std::uint32_t>(triangles, triangles + 3), std::vector<std::uint32_t>(face, face + 3));
    std::free(triangles);
}

TEST(TriangulateFace, RefusesFewerThanThreeCornersAndNullPointers) {
    const std::uint32_t face[] = {1, 2, 3};
    std::uint32_t marker = 0, *triangles = &marker, count = 77;
    for (std::uint32_t corners = 0; corners < 3; ++corners)
        EXPECT_EQ(ogawa_triangulate_face(face, corners, &triangles, &count), -1);
    EXPECT_EQ(ogawa_triangulate_face(nullptr, 3, &triangles, &count), -1);
    EXPECT_EQ(ogawa_triangulate_face(face, 3, nullptr, &count), -1);
    EXPECT_EQ(ogawa_triangulate_face(face, 3, &triangles, nullptr), -1);
    EXPECT_EQ(triangles, &marker);
    EXPECT_EQ(count, 77u);
}

TEST(TriangulateFace, CountsBytesIn64Bits) {
    // 3 x 0xFFFFFFFD words: cut to 32 bits that would be a small block, and the face would be overrun.
    const std::uint32_t face[] = {1, 2, 3};
    std::uint32_t *triangles = nullptr, count = 77;
    const failing_heap heap = failing_heap::of_size(std::size_t{0xFFFFFFFD} * 12);
    EXPECT_EQ(ogawa_triangulate_face(face, 0xFFFFFFFF, &triangles, &count), -2);
    EXPECT_EQ(heap.failures(), sizeof(std::size_t) == 8 ? 1u : 0u) << "32 bits hold no such block to ask for";
}

} // namespace
} // namespace qel
