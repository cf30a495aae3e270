// SPDX-License-Identifier: MIT
#include "model/skin_model.h"
#include "ogawa_reader/cache/cache_cases.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace qel {
namespace {

using namespace test;

using triples = std::vector<float>;

const std::vector<double> identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// Joint 0 alone.
constexpr qel_skin_weight whole = {{0, 0, 0, 0}, {1, 0, 0, 0}}, halves = {{0, 0, 0, 0}, {0.5f, 0.5f, 0, 0}};

/// A joint whose transform moves by (x, y, z); the descriptor is noise, which is not read.
qel_skin_joint moving_joint(double x, double y, double z) {
    qel_skin_joint joint;
    std::memset(joint.descriptor, 0xDD, sizeof joint.descriptor);
    std::copy(identity.begin(), identity.end(), joint.joint_transform);
    joint.joint_transform[12] = x;
    joint.joint_transform[13] = y;
    joint.joint_transform[14] = z;
    return joint;
}

std::vector<double> identity_poses(std::size_t joints) {
    std::vector<double> poses;
    for (std::size_t j = 0; j < joints; ++j)
        poses.insert(poses.end(), identity.begin(), identity.end());
    return poses;
}

/// Skins into an array that holds 99s where nothing is written.
triples applied(cache_skin skin, const std::vector<double> &poses, const triples &positions) {
    const qel_skin record = skin.record();
    triples out(positions.size(), 99.0f);
    qel_skin_apply(&record, poses.data(), positions.data(), out.data());
    return out;
}

TEST(SkinApply, IdentitiesReproduceThePositions) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {whole, whole, whole}};
    const triples positions = {0.1f, -0.2f, 0.3f, 1e30f, -1e-30f, 5.0f, 1e-45f, 3.4e38f, 7.0f};
    EXPECT_EQ(applied(skin, identity_poses(1), positions), positions);
}

TEST(SkinApply, OppositeJointsOfHalfWeightCancelOut) {
    cache_skin skin{{moving_joint(2, 0, 0), moving_joint(-2, 0, 0)}, {{{0, 1, 0, 0}, {0.5f, 0.5f, 0, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(2), {1, 2, 3}), (triples{1, 2, 3}));
}

TEST(SkinApply, MultipliesThePoseFromTheLeft) {
    cache_skin skin{{moving_joint(10, 0, 0)}, {whole}};
    // The pose swaps x and y, then the joint moves x: the row vector is multiplied by the pose first.
    const std::vector<double> pose = {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    EXPECT_EQ(applied(skin, pose, {1, 2, 3}), (triples{12, 1, 3}));
}

TEST(SkinApply, DoesNotDivideByTheFourthCoordinate) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {whole}};
    double *const transform = skin.joints[0].joint_transform;
    transform[3] = std::numeric_limits<double>::quiet_NaN(); // in the fourth column
    transform[15] = 2;
    EXPECT_EQ(applied(skin, identity, {4, 5, 6}), (triples{4, 5, 6}));
}

TEST(SkinApply, IgnoresWeightsBelowAMillionth) {
    cache_skin skin{{moving_joint(0, 0, 0)},
                    {{{0, 0, 0, 0}, {5e-7f, 0, -1, -std::numeric_limits<float>::infinity()}},
                     {{0, 0, 0, 0}, {std::nextafter(1e-6f, 0.0f), 0, 0, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 2, 3, 4, 5, 6}), (triples{0, 0, 0, 0, 0, 0}));
}

TEST(SkinApply, UsesAWeightOfAMillionth) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {{{0, 0, 0, 0}, {1e-6f, 0, 0, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 2, 4}), (triples{1e-6f, 2e-6f, 4e-6f}));
}

TEST(SkinApply, UsesANanWeight) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {{{0, 0, 0, 0}, {std::numeric_limits<float>::quiet_NaN(), 1, 0, 0}}}};
    for (const float coordinate : applied(skin, identity_poses(1), {1, 2, 3}))
        EXPECT_TRUE(std::isnan(coordinate));
}

TEST(SkinApply, IgnoresJointsBeyondTheSkin) {
    cache_skin skin{{moving_joint(0, 0, 0), moving_joint(1, 0, 0)}, {{{2, 1, 255, 3}, {1, 1, 1, 1}}}};
    EXPECT_EQ(applied(skin, identity_poses(2), {1, 2, 3}), (triples{2, 2, 3}));
}

TEST(SkinApply, DoesNotNormalizeWeights) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {{{0, 0, 0, 0}, {0.5f, 0, 0, 0}}, {{0, 0, 0, 0}, {1, 1, 1, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(1), {2, 4, 6, 1, 1, 1}), (triples{1, 2, 3, 3, 3, 3}));
}

TEST(SkinApply, AddsSlotsInOrderInSinglePrecision) {
    cache_skin skin{{moving_joint(0, 0, 0)},
                    {{{0, 0, 0, 0}, {16777216.0f, 1, 1, 0}}, {{0, 0, 0, 0}, {1, 1, 16777216.0f, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 0, 0, 1, 0, 0}), (triples{16777216.0f, 0, 0, 16777218.0f, 0, 0}));
}

TEST(SkinApply, RoundsTheMovedPositionBeforeItIsWeighted) {
    cache_skin skin{{moving_joint(1e-9, 0, 0)}, {{{0, 0, 0, 0}, {3, 0, 0, 0}}}};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 0, 0}), (triples{3, 0, 0}));
    skin.joints = {moving_joint(1e300, 0, 0)};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 0, 0}), (triples{std::numeric_limits<float>::infinity(), 0, 0}));
}

TEST(SkinApply, UsesTheSkinsVertexCount) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {whole, whole}};
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 2, 3, 4, 5, 6, 7, 8, 9}), (triples{1, 2, 3, 4, 5, 6, 99, 99, 99}));
    skin.weights.clear();
    EXPECT_EQ(applied(skin, identity_poses(1), {1, 2, 3}), (triples{99, 99, 99}));
}

TEST(SkinApply, WithoutJointsEveryPositionIsTheOrigin) {
    cache_skin skin;
    skin.weights.assign(2, {{0, 0, 0, 0}, {1, 1, 1, 1}});
    EXPECT_EQ(applied(skin, identity, {1, 2, 3, 4, 5, 6}), (triples{0, 0, 0, 0, 0, 0}));
}

TEST(SkinApply, WritesNothingWithoutScratchMemory) {
    cache_skin skin;
    skin.joints.assign(3, moving_joint(0, 0, 0));
    skin.weights = {whole};
    const heap_ledger ledger;
    {
        const failing_heap heap = failing_heap::of_size(3 * 128);
        EXPECT_EQ(applied(skin, identity_poses(3), {1, 2, 3}), (triples{99, 99, 99}));
        EXPECT_EQ(heap.failures(), 1u);
    }
    skin.joints.clear();
    {
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_EQ(applied(skin, identity, {1, 2, 3}), (triples{99, 99, 99})) << "no joints, same scratch";
    }
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(SkinApply, AllocatesOneScratchArrayAndReleasesIt) {
    cache_skin skin;
    skin.joints.assign(5, moving_joint(0, 0, 0));
    skin.weights.assign(50, {{4, 0, 0, 0}, {1, 0, 0, 0}});
    const heap_ledger ledger;
    const failing_heap watch = failing_heap::nth(0);
    applied(skin, identity_poses(5), triples(150, 1.0f));
    EXPECT_EQ(watch.count(), 1u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(SkinApply, DoesNothingWithoutAnArgument) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {whole}};
    const qel_skin record = skin.record();
    const float in[3] = {1, 2, 3};
    float out[3] = {99, 99, 99};
    qel_skin_apply(nullptr, identity.data(), in, out);
    qel_skin_apply(&record, nullptr, in, out);
    qel_skin_apply(&record, identity.data(), nullptr, out);
    qel_skin_apply(&record, identity.data(), in, nullptr);
    EXPECT_EQ(out[0], 99.0f);
}

TEST(SkinApply, DoesNothingWhereCountsHaveNoArrays) {
    cache_skin skin{{moving_joint(0, 0, 0)}, {whole}};
    qel_skin record = skin.record();
    const float in[3] = {1, 2, 3};
    float out[3] = {99, 99, 99};
    record.joints = nullptr;
    qel_skin_apply(&record, identity.data(), in, out);
    record = skin.record();
    record.weights = nullptr;
    qel_skin_apply(&record, identity.data(), in, out);
    EXPECT_EQ(out[0], 99.0f);
}

TEST(SkinApply, MayWriteOverItsInput) {
    cache_skin skin{{moving_joint(1, 2, 3)}, {halves, halves}};
    const qel_skin record = skin.record();
    triples positions = {1, 1, 1, 2, 2, 2};
    qel_skin_apply(&record, identity.data(), positions.data(), positions.data());
    EXPECT_EQ(positions, (triples{2, 3, 4, 3, 4, 5}));
}

TEST(SkinApply, TakesMoreJointsThanAVertexCanName) {
    std::mt19937 random(72);
    cache_skin skin;
    for (int j = 0; j < 300; ++j)
        skin.joints.push_back(moving_joint(j, 0, 0));
    skin.weights = {{{255, 0, 0, 0}, {1, 0, 0, 0}}};
    EXPECT_EQ(applied(skin, identity_poses(300), {1, 0, 0}), (triples{256, 0, 0}));
}

float odd_float(std::mt19937 &random) {
    static const float odd[] = {
        0.0f,      -0.0f,    1.0f,  1e-6f,  5e-7f, 1e-45f, -1e-40f,
        3.4e38f,   -3.4e38f, 1e20f, 1e-20f, 0.25f, 0.75f,  std::numeric_limits<float>::infinity(),
        -INFINITY, NAN};
    if (random() % 4 == 0) return odd[random() % std::size(odd)];
    return std::uniform_real_distribution<float>(-2.0f, 2.0f)(random);
}

double odd_double(std::mt19937 &random) {
    static const double odd[] = {0.0, -0.0, 1.0, 1e300, -1e300, 1e-310, INFINITY, NAN};
    if (random() % 12 == 0) return odd[random() % std::size(odd)];
    return std::uniform_real_distribution<double>(-2.0, 2.0)(random);
}

TEST(SkinApply, AgreesBitForBitWithThePlainFormula) {
    std::mt19937 random(73);
    for (int round = 0; round < 400; ++round) {
        cache_skin skin = test::noise_skin(random, random() % 6, random() % 40);
        std::vector<double> poses(skin.joints.size() * 16 + 1);
        triples positions(skin.weights.size() * 3 + 1);
        const bool odd = round % 2 == 0;
        std::uniform_real_distribution<float> plain(-3.0f, 3.0f);
        for (double &value : poses)
            value = odd ? odd_double(random) : static_cast<double>(plain(random));
        for (float &value : positions)
            value = odd ? odd_float(random) : plain(random);
        for (auto &joint : skin.joints)
            for (double &value : joint.joint_transform)
                value = odd ? odd_double(random) : static_cast<double>(plain(random));
        for (auto &weight : skin.weights)
            for (int slot = 0; slot < 4; ++slot) {
                weight.joints[slot] = static_cast<std::uint8_t>(random() % 7);
                weight.weights[slot] = odd ? odd_float(random) : plain(random);
            }
        const qel_skin record = skin.record();
        const triples expected = model::skin_apply(record, poses, positions);
        triples out(positions.size(), 99.0f);
        qel_skin_apply(&record, poses.data(), positions.data(), out.data());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (std::isnan(expected[i])) {
                ASSERT_TRUE(std::isnan(out[i])) << "round " << round << " float " << i;
            } else if (std::memcmp(&out[i], &expected[i], 4) != 0) {
                FAIL() << "round " << round << " float " << i << ": " << out[i] << " for " << expected[i];
            }
        }
        ASSERT_EQ(out[expected.size()], 99.0f) << "nothing after the last position";
    }
}

TEST(SkinFree, ReleasesArraysAndClearsTheRecord) {
    qel_skin skin;
    std::memset(&skin, 0xEE, sizeof skin);
    skin.joints = static_cast<qel_skin_joint *>(std::malloc(sizeof(qel_skin_joint)));
    skin.weights = static_cast<qel_skin_weight *>(std::malloc(sizeof(qel_skin_weight)));
    qel_skin_free(&skin);
    const qel_skin zero = {};
    EXPECT_EQ(std::memcmp(skin.bind_extra, zero.bind_extra, sizeof zero.bind_extra), 0);
    EXPECT_EQ(skin.joints, nullptr);
    EXPECT_EQ(skin.weights, nullptr);
    EXPECT_EQ(skin.joint_count, 0u);
    EXPECT_EQ(skin.weight_count, 0u);
    qel_skin_free(&skin); // once more, cleared
}

TEST(SkinFree, AcceptsNull) {
    qel_skin_free(nullptr);
}

TEST(ReadSkinning, FindsNothingAndClearsTheRecord) {
    ogawa_archive archive;
    std::memset(&archive, 0, sizeof archive);
    qel_skin skin;
    std::memset(&skin, 0xEE, sizeof skin);
    EXPECT_EQ(ogawa_read_skinning(&archive, nullptr, &skin), -1);
    const std::vector<std::uint8_t> zeros(sizeof skin, 0);
    EXPECT_EQ(std::memcmp(&skin, zeros.data(), sizeof skin), 0) << "padding included";
}

TEST(ReadSkinning, RefusesANullRecord) {
    const ogawa_archive archive = {};
    EXPECT_EQ(ogawa_read_skinning(&archive, nullptr, nullptr), -1);
}

} // namespace
} // namespace qel
