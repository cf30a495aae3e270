// SPDX-License-Identifier: MIT
#include "support/failing_heap.h"
#include "support/float_bits.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel {
namespace {

using namespace test;

class SampleFrame : public testing::Test {
  protected:
    std::int32_t sample(std::int32_t frame) { return qel_alembic_sample_frame(&owned.scene, frame, &mesh); }

    owned_scene owned;
    qel_alembic_mesh mesh = {};
};

TEST_F(SampleFrame, WithoutFramesCopiesTheFirstMeshForAnyNumber) {
    owned.add_keys({1, 2}, 9);
    owned.add_keys({3});
    EXPECT_EQ(sample(12), 0);
    EXPECT_EQ(std::memcmp(&mesh, owned.scene.meshes, sizeof mesh), 0); // shallow: the same arrays
    owned.scene.mesh_count = 1;
    EXPECT_EQ(sample(12), 0);
    owned.scene.mesh_count = 0; // an array without a count
    EXPECT_EQ(sample(12), -1);
    owned.scene.mesh_count = 2;
}

TEST_F(SampleFrame, CopiesTheFirstMeshOfTheFirstFrameThatHasAny) {
    owned.add_keys({1});
    owned.add_frame(7, 0.0f, {});
    owned.add_frame(7, 1.0f, {{1, 2, 3}, {4, 5, 6}});
    owned.add_frame(7, 2.0f, {{7, 8, 9}});
    EXPECT_EQ(sample(7), 0);
    EXPECT_EQ(mesh.positions, owned.scene.frames[1].meshes[0].positions);
}

TEST_F(SampleFrame, TreatsFrameZeroAsANumberLikeAnyOther) {
    owned.add_keys({1});
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    EXPECT_EQ(sample(0), -1);
    owned.add_frame(0, 0.0f, {{4, 5, 6}});
    EXPECT_EQ(sample(0), 0);
    EXPECT_EQ(mesh.positions[0], 4.0f);
}

TEST_F(SampleFrame, SkipsFramesOfOtherNumbers) {
    owned.add_keys({1});
    owned.add_frame(3, 0.0f, {{1, 2, 3}});
    owned.add_frame(9, 0.0f, {{4, 5, 6}});
    owned.add_frame(5, 0.0f, {{7, 8, 9}});
    EXPECT_EQ(sample(5), 0);
    EXPECT_EQ(mesh.positions[0], 7.0f);
    EXPECT_EQ(sample(3), 0);
    EXPECT_EQ(sample(4), -1);
}

TEST_F(SampleFrame, ReturnsMinusOneForNoSceneOutputMeshOrFrame) {
    mesh.face_count = 44;
    EXPECT_EQ(qel_alembic_sample_frame(nullptr, 0, &mesh), -1);
    EXPECT_EQ(qel_alembic_sample_frame(&owned.scene, 0, nullptr), -1);
    EXPECT_EQ(sample(0), -1);   // no meshes
    owned.scene.mesh_count = 3; // a count without an array
    EXPECT_EQ(sample(0), -1);
    owned.scene.mesh_count = 0;
    owned.add_frame(5, 0.0f, {});
    EXPECT_EQ(sample(5), -1); // no meshes in it
    EXPECT_EQ(sample(6), -1);
    EXPECT_EQ(mesh.face_count, 44u);
}

class InterpolateTime : public testing::Test {
  protected:
    /// The interpolated positions of the first mesh, or none.
    std::vector<float> at(float time) {
        owned_mesh mesh;
        mesh.mesh.face_count = 44;
        status = qel_alembic_interpolate_time(&owned.scene, time, &mesh.mesh);
        EXPECT_EQ(mesh.mesh.face_count, 44u);
        if (status != 0) {
            EXPECT_EQ(mesh.mesh.positions, nullptr);
            return {};
        }
        return {mesh.mesh.positions, mesh.mesh.positions + 3 * mesh.mesh.vertex_count};
    }

    std::int32_t status_at(float time) {
        at(time);
        return status;
    }

    owned_scene owned;
    std::int32_t status = 1;
};

using floats = std::vector<float>;

TEST_F(InterpolateTime, BlendsBetweenTheTwoFramesAroundATime) {
    owned.add_frame(1, 0.0f, {{0, 10, -4, 1, 1, 1}});
    owned.add_frame(2, 2.0f, {{2, 20, 4, 1, 2, 3}});
    owned.add_frame(3, 4.0f, {{100, 100, 100, 100, 100, 100}});
    EXPECT_EQ(at(0.5f), (floats{0.5f, 12.5f, -2, 1, 1.25f, 1.5f}));
    EXPECT_EQ(at(3.0f), (floats{51, 60, 52, 50.5f, 51, 51.5f}));
}

TEST_F(InterpolateTime, AtExactlyAFramesTimeGivesThatFramesPositions) {
    owned.add_frame(1, 0.25f, {{1, 2, 3}});
    owned.add_frame(2, 0.5f, {{5, 6, 8}});
    owned.add_frame(3, 1.0f, {{9, 9, 9}});
    EXPECT_EQ(at(0.25f), (floats{1, 2, 3}));
    EXPECT_EQ(at(0.5f), (floats{5, 6, 8})); // alpha 1 of the first pair
    EXPECT_EQ(at(1.0f), (floats{9, 9, 9}));
}

TEST_F(InterpolateTime, OutsideTheRangeReturnsMinusOne) {
    owned.add_frame(1, 0.25f, {{1, 2, 3}});
    owned.add_frame(2, 0.5f, {{5, 6, 8}});
    for (const float time : {0.2499f, 0.5001f, -infinity, infinity, nan}) {
        EXPECT_EQ(status_at(time), -1) << time;
    }
}

TEST_F(InterpolateTime, ComputesInSinglePrecisionInTheOrderWritten) {
    std::mt19937 random(121);
    std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
    floats a(3000), b(3000);
    for (std::size_t i = 0; i < a.size(); ++i)
        a[i] = value(random), b[i] = value(random);
    owned.add_frame(1, 0.1f, {a});
    owned.add_frame(2, 0.7f, {b});
    const volatile float from = 0.1f, to = 0.7f, time = 0.3f;
    const volatile float elapsed = time - from, whole = to - from;
    const volatile float alpha = elapsed / whole;
    const floats found = at(time);
    ASSERT_EQ(found.size(), a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        const volatile float step = b[i] - a[i];
        const volatile float scaled = step * alpha;
        ASSERT_EQ(found[i], a[i] + scaled) << i;
    }
}

TEST_F(InterpolateTime, BetweenTwoFramesAtOneTimeGivesNaN) {
    owned.add_frame(1, 1.0f, {{1, 2, 3}});
    owned.add_frame(2, 1.0f, {{1, 6, 8}});
    const floats found = at(1.0f);
    ASSERT_EQ(found.size(), 3u);
    for (const float value : found)
        EXPECT_TRUE(std::isnan(value)); // 0 / 0, used as it is, even between equal coordinates
}

TEST_F(InterpolateTime, TakesTheFirstPairThatFitsAndSkipsFramesOutOfOrder) {
    owned.add_frame(1, 5.0f, {{1, 1, 1}});
    owned.add_frame(2, 0.0f, {{2, 2, 2}});
    owned.add_frame(3, nan, {{3, 3, 3}});
    owned.add_frame(4, 2.0f, {{4, 4, 4}});
    owned.add_frame(5, 4.0f, {{6, 6, 6}});
    owned.add_frame(6, 9.0f, {{9, 9, 9}});
    EXPECT_EQ(at(3.0f), (floats{5, 5, 5}));
    EXPECT_EQ(status_at(1.0f), -1); // between frames 2 and 4, but not between neighbours
}

TEST_F(InterpolateTime, WithUnequalVertexCountsReturnsMinusOne) {
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    owned.add_frame(2, 1.0f, {{1, 2, 3, 4, 5, 6}});
    owned.add_frame(3, 1.0f, {{1, 2, 3, 4, 5, 6}}); // fits, but is the second mesh
    EXPECT_EQ(status_at(1.0f), -1);
}

TEST_F(InterpolateTime, WithoutMeshesReturnsMinusOne) {
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    owned.add_frame(2, 1.0f, {});
    owned.add_frame(3, 2.0f, {{1, 2, 3}});
    EXPECT_EQ(status_at(0.5f), -1);
    EXPECT_EQ(status_at(1.5f), -1);
    owned.scene.frames[1].mesh_count = 4; // a count without an array
    std::free(owned.scene.frames[1].meshes);
    owned.scene.frames[1].meshes = nullptr;
    EXPECT_EQ(status_at(0.5f), -1);
}

TEST_F(InterpolateTime, NeedsThePositionsOfBothFrames) {
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    owned.add_frame(2, 1.0f, {{4, 5, 6}});
    for (const int missing : {0, 1}) {
        float *&positions = owned.scene.frames[missing].meshes[0].positions;
        float *const there = positions;
        positions = nullptr;
        EXPECT_EQ(status_at(0.5f), -1) << "frame " << missing;
        positions = there;
    }
    EXPECT_EQ(status_at(0.5f), 0);
}

TEST_F(InterpolateTime, NeedsNoArraysForMeshesWithoutVertices) {
    for (const std::int32_t number : {1, 2}) {
        float *&positions = owned.add_frame(number, static_cast<float>(number), {{}}).meshes[0].positions;
        std::free(positions);
        positions = nullptr;
    }
    qel_alembic_mesh mesh = {};
    EXPECT_EQ(qel_alembic_interpolate_time(&owned.scene, 1.5f, &mesh), 0);
    EXPECT_NE(mesh.positions, nullptr);
    std::free(mesh.positions);
}

TEST_F(InterpolateTime, OfMeshesWithoutVerticesGivesAnEmptyArray) {
    owned.add_frame(1, 0.0f, {{}});
    owned.add_frame(2, 1.0f, {{}});
    qel_alembic_mesh mesh = {};
    mesh.vertex_count = 9;
    EXPECT_EQ(qel_alembic_interpolate_time(&owned.scene, 0.5f, &mesh), 0);
    EXPECT_EQ(mesh.vertex_count, 0u);
    EXPECT_NE(mesh.positions, nullptr);
    std::free(mesh.positions);
}

TEST_F(InterpolateTime, WithFewerThanTwoFramesReturnsMinusOne) {
    EXPECT_EQ(status_at(0.0f), -1);
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    EXPECT_EQ(status_at(0.0f), -1);
    qel_alembic_file counts = {};
    counts.frame_count = 5; // a count without an array
    qel_alembic_mesh mesh = {};
    EXPECT_EQ(qel_alembic_interpolate_time(&counts, 0.0f, &mesh), -1);
}

TEST_F(InterpolateTime, RefusesNoSceneAndNoOutput) {
    owned.add_frame(1, 0.0f, {{1, 2, 3}});
    owned.add_frame(2, 1.0f, {{1, 2, 3}});
    qel_alembic_mesh mesh = {};
    EXPECT_EQ(qel_alembic_interpolate_time(nullptr, 0.5f, &mesh), -1);
    EXPECT_EQ(qel_alembic_interpolate_time(&owned.scene, 0.5f, nullptr), -1);
}

TEST_F(InterpolateTime, WithoutMemorySetsTheCountAndNullPositions) {
    owned.add_frame(1, 0.0f, {{1, 2, 3, 4, 5, 6}});
    owned.add_frame(2, 1.0f, {{1, 2, 3, 4, 5, 6}});
    float stale = 0;
    qel_alembic_mesh mesh = {};
    mesh.positions = &stale;
    const failing_heap heap = failing_heap::of_size(2 * 12);
    EXPECT_EQ(qel_alembic_interpolate_time(&owned.scene, 0.5f, &mesh), -4);
    EXPECT_EQ(mesh.vertex_count, 2u);
    EXPECT_EQ(mesh.positions, nullptr);
    EXPECT_EQ(heap.count(), 1u);
}

TEST(FrameRange, RunsFromZeroToTheLastFramesPosition) {
    owned_scene owned;
    owned.scene.fps = 24.0f;
    std::uint32_t start = 9, end = 9;
    float fps = 0;
    qel_alembic_get_frame_range(&owned.scene, &start, &end, &fps);
    EXPECT_EQ(start, 0u);
    EXPECT_EQ(end, 0u);
    EXPECT_EQ(fps, 24.0f);
    owned.add_frame(100, 0.0f, {});
    qel_alembic_get_frame_range(&owned.scene, &start, &end, &fps);
    EXPECT_EQ(end, 0u);
    owned.add_frame(200, 1.0f, {});
    owned.add_frame(300, 2.0f, {});
    qel_alembic_get_frame_range(&owned.scene, &start, &end, &fps);
    EXPECT_EQ(start, 0u);
    EXPECT_EQ(end, 2u);
}

TEST(FrameRange, HasOptionalOutputsAndNeedsAScene) {
    owned_scene owned;
    owned.add_frame(1, 0.0f, {});
    owned.add_frame(2, 0.0f, {});
    std::uint32_t start = 9, end = 9;
    float fps = 9;
    qel_alembic_get_frame_range(nullptr, &start, &end, &fps);
    EXPECT_EQ(start, 9u);
    EXPECT_EQ(end, 9u);
    EXPECT_EQ(fps, 9.0f);
    qel_alembic_get_frame_range(&owned.scene, nullptr, nullptr, nullptr);
    qel_alembic_get_frame_range(&owned.scene, nullptr, &end, nullptr);
    EXPECT_EQ(end, 1u);
}

} // namespace
} // namespace qel
