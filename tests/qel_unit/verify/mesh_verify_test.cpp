// SPDX-License-Identifier: MIT
#include "model/verify_model.h"

#include "qel_unit.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <random>
#include <vector>

namespace qel {
namespace {

using namespace test;

constexpr float quiet_nan = std::numeric_limits<float>::quiet_NaN();
constexpr float smallest = std::numeric_limits<float>::denorm_min();
constexpr float largest = std::numeric_limits<float>::max();

/// All four verdicts on positions, which must agree: 1, 0, or 2 where they do not.
std::uint32_t verdict(const std::vector<float> &positions) {
    const auto count = static_cast<std::uint32_t>(positions.size() / 3);
    const std::uint32_t minus = qel_mesh_verify_p_minus_p(positions.data(), count);
    const std::uint32_t quotient = qel_mesh_verify_p_div_p(positions.data(), count);
    const std::uint32_t both = qel_mesh_is_static_valid(positions.data(), count);
    qel_mesh_verify_report report;
    const std::int32_t valid = qel_mesh_verify_identity(positions.data(), count, 0, 0, 0, 1, 1, 1, &report);
    const bool agree = minus == quotient && both == minus && report.p_minus_p_ok == minus &&
                       report.p_div_p_ok == minus && report.valid == minus && valid == static_cast<std::int32_t>(minus);
    return agree ? minus : 2;
}

TEST(MeshVerify, AcceptsFinitePositions) {
    EXPECT_EQ(verdict({1, 2, 3}), 1u);
    EXPECT_EQ(verdict({largest, -largest, -1e-30f}), 1u);
}

TEST(MeshVerify, RefusesInfinities) {
    EXPECT_EQ(verdict({1, infinity, 3}), 0u);
    EXPECT_EQ(verdict({1, 2, -infinity}), 0u);
}

TEST(MeshVerify, RefusesNans) {
    EXPECT_EQ(verdict({quiet_nan, 2, 3}), 0u);
    EXPECT_EQ(verdict({-quiet_nan, 2, 3}), 0u);
    EXPECT_EQ(verdict({from_bits(0x7F800001), 2, 3}), 0u) << "a signalling NaN";
    EXPECT_EQ(verdict({from_bits(0xFFFFFFFF), 2, 3}), 0u);
}

TEST(MeshVerify, AcceptsZerosOfBothSigns) {
    EXPECT_EQ(verdict({0.0f, -0.0f, 0.0f, -0.0f, -0.0f, 0.0f}), 1u);
}

TEST(MeshVerify, AcceptsSubnormals) {
    EXPECT_EQ(verdict({smallest, -smallest, from_bits(0x007FFFFF)}), 1u);
}

TEST(MeshVerify, AcceptsNullAndZeroPositions) {
    const float bad[3] = {infinity, infinity, infinity};
    EXPECT_EQ(qel_mesh_verify_p_minus_p(nullptr, 7), 1u);
    EXPECT_EQ(qel_mesh_verify_p_minus_p(bad, 0), 1u);
    EXPECT_EQ(qel_mesh_verify_p_div_p(nullptr, 7), 1u);
    EXPECT_EQ(qel_mesh_verify_p_div_p(bad, 0), 1u);
    EXPECT_EQ(qel_mesh_is_static_valid(nullptr, 7), 1u);
    EXPECT_EQ(qel_mesh_is_static_valid(bad, 0), 1u);
}

TEST(MeshVerify, ExaminesEveryCoordinateAndNoneBeyond) {
    for (const std::uint32_t count : {1u, 2u, 170u, 171u, 342u, 400u}) {
        std::vector<float> positions(count * 3 + 1, 1.5f);
        positions.back() = quiet_nan; // after the last triple
        for (std::size_t i = 0; i < count * 3; ++i) {
            positions[i] = i % 2 == 0 ? infinity : quiet_nan;
            ASSERT_EQ(qel_mesh_verify_p_minus_p(positions.data(), count), 0u) << count << ' ' << i;
            ASSERT_EQ(qel_mesh_verify_p_div_p(positions.data(), count), 0u) << count << ' ' << i;
            positions[i] = 1.5f;
        }
        EXPECT_EQ(qel_mesh_is_static_valid(positions.data(), count), 1u);
    }
}

TEST(MeshVerify, AgreesWithSumsAndQuotients) {
    std::mt19937 random(61);
    for (int round = 0; round < 3000; ++round) {
        const auto count = static_cast<std::uint32_t>(random() % 400 + 1);
        std::vector<float> positions(count * 3);
        for (float &p : positions) {
            std::uint32_t bits = static_cast<std::uint32_t>(random());
            if ((bits & 0x7F800000) == 0x7F800000) bits ^= 0x00800000; // finite, except the few below
            p = from_bits(bits);
        }
        for (std::uint32_t odd = static_cast<std::uint32_t>(random() % 3); odd > 0; --odd)
            positions[random() % positions.size()] = from_bits(0x7F800000u | static_cast<std::uint32_t>(random()));
        ASSERT_EQ(qel_mesh_verify_p_minus_p(positions.data(), count), model::p_minus_p(positions.data(), count));
        ASSERT_EQ(qel_mesh_verify_p_div_p(positions.data(), count), model::p_div_p(positions.data(), count));
        ASSERT_NE(verdict(positions), 2u);
    }
}

TEST(MeshBoundsCoherence, ScoresTheProportionsOfABox) {
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, 1, 1, 1), 1.0f);
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, 1, 1, 2), 1.0f / 3.0f);
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, 10, 10, 11), 1.0f / 3.0f) << "not scale-free";
    EXPECT_EQ(qel_mesh_bounds_coherence(-2, -2, -2, 2, 2, 2), 1.0f);
}

TEST(MeshBoundsCoherence, TakesFlatAndInvertedSidesAsOne) {
    EXPECT_EQ(qel_mesh_bounds_coherence(5, 5, 5, 5, 5, 5), 1.0f);
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, 3, 0, 0), 0.2f);
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, -7, 1, 1), 1.0f);
}

TEST(MeshBoundsCoherence, KeepsNans) {
    EXPECT_TRUE(std::isnan(qel_mesh_bounds_coherence(0, quiet_nan, 0, 1, 1, 1)));
    EXPECT_TRUE(std::isnan(qel_mesh_bounds_coherence(infinity, 0, 0, infinity, 1, 1)));
}

TEST(MeshBoundsCoherence, IsZeroForAnInfiniteSide) {
    EXPECT_EQ(qel_mesh_bounds_coherence(0, 0, 0, infinity, 1, 1), 0.0f);
    EXPECT_EQ(qel_mesh_bounds_coherence(-largest, 0, 0, largest, 1, 1), 0.0f);
}

TEST(MeshBoundsCoherence, AgreesBitForBitWithTheFormula) {
    std::mt19937 random(62);
    std::uniform_real_distribution<float> coordinate(-10.0f, 10.0f);
    for (int round = 0; round < 20000; ++round) {
        float low[3], high[3];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = round % 2 == 0 ? coordinate(random) : from_bits(static_cast<std::uint32_t>(random()));
            high[axis] = round % 4 < 2 ? coordinate(random) : from_bits(static_cast<std::uint32_t>(random()));
        }
        const float score = qel_mesh_bounds_coherence(low[0], low[1], low[2], high[0], high[1], high[2]);
        const float expected = model::bounds_coherence(low, high);
        if (std::isnan(expected)) {
            ASSERT_TRUE(std::isnan(score));
        } else {
            ASSERT_EQ(bits_of(score), bits_of(expected));
        }
    }
}

/// The report on positions in a box; both identities hold, or neither does.
qel_mesh_verify_report report_on(const float *positions, std::uint32_t count, const std::array<float, 6> &box,
                                 bool valid = true) {
    qel_mesh_verify_report report;
    std::memset(&report, 0xEE, sizeof report);
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(qel_mesh_verify_identity(positions, count, box[0], box[1], box[2], box[3], box[4], box[5], &report),
              valid ? 1 : 0);
    EXPECT_EQ(report.p_minus_p_ok, valid ? 1u : 0u);
    EXPECT_EQ(report.p_div_p_ok, valid ? 1u : 0u);
    EXPECT_EQ(report.valid, valid ? 1u : 0u);
    EXPECT_EQ(report.vertex_count, count);
    EXPECT_GE(report.verified_at, before);
    EXPECT_LE(report.verified_at, std::time(nullptr));
    return report;
}

TEST(MeshVerifyIdentity, FillsEveryFieldOfTheReport) {
    const float positions[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(report_on(positions, 2, {1, 3, 10, 11, 5, 60}).coherence, 1.0f / 97.0f) << "sides 10, 2, 50";
}

TEST(MeshVerifyIdentity, ReportsBothIdentitiesWhenTheyFail) {
    const float positions[3] = {1, infinity, 3};
    EXPECT_EQ(report_on(positions, 1, {0, 0, 0, 1, 1, 1}, false).coherence, 1.0f) << "independent of the verdict";
}

TEST(MeshVerifyIdentity, CoherenceDoesNotAffectTheVerdict) {
    const float positions[3] = {1, 2, 3};
    EXPECT_TRUE(std::isnan(report_on(positions, 1, {quiet_nan, 0, 0, 1, 1, 1}).coherence));
}

TEST(MeshVerifyIdentity, MissingPositionsAreValidAndTheirBoxIsScored) {
    EXPECT_EQ(report_on(nullptr, 7, {0, 0, 0, 2, 2, 2}).coherence, 1.0f);
}

TEST(MeshVerifyIdentity, NoPositionsAreValid) {
    const float bad[3] = {infinity, infinity, infinity};
    EXPECT_EQ(report_on(bad, 0, {0, 0, 0, 1, 1, 2}).coherence, 1.0f / 3.0f);
}

TEST(MeshVerifyIdentity, RequiresAReport) {
    const float positions[3] = {1, 2, 3};
    EXPECT_EQ(qel_mesh_verify_identity(positions, 1, 0, 0, 0, 1, 1, 1, nullptr), -1);
}

} // namespace
} // namespace qel
