// SPDX-License-Identifier: MIT
// Skinning is tested through the interface; here every form of the kernel is compared with the plain model.
#include "ogawa_reader/cache/skin_blend.h"

#include "model/skin_model.h"
#include "support/float_bits.h"
#include "support/kernel_forms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace qel {
namespace {

using namespace test;

constexpr double identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// A skin and what it moves. The joints' own transforms are identities.
struct blend_case {
    std::vector<qel_skin_weight> weights;
    std::vector<joint_matrix> poses;
    std::vector<float> positions;

    /// Products with identities, as skinning forms them: infinities and NaNs spread.
    std::vector<joint_matrix> joints() const {
        std::vector<joint_matrix> products(poses.size());
        for (std::size_t j = 0; j < poses.size(); ++j)
            for (std::size_t r = 0; r < 4; ++r)
                for (std::size_t c = 0; c < 4; ++c) {
                    const double *const row = poses[j].at[r];
                    products[j].at[r][c] = row[0] * identity[c] + row[1] * identity[4 + c] + row[2] * identity[8 + c] +
                                           row[3] * identity[12 + c];
                }
        return products;
    }

    std::vector<float> by_model() const {
        std::vector<qel_skin_joint> records(poses.size());
        std::vector<double> numbers(poses.size() * 16);
        for (std::size_t j = 0; j < poses.size(); ++j) {
            std::memcpy(&numbers[j * 16], &poses[j], sizeof poses[j]);
            std::memcpy(records[j].joint_transform, identity, sizeof identity);
        }
        qel_skin skin = {};
        skin.joints = records.data();
        skin.joint_count = static_cast<std::uint32_t>(records.size());
        skin.weights = const_cast<qel_skin_weight *>(weights.data());
        skin.weight_count = static_cast<std::uint32_t>(weights.size());
        return model::skin_apply(skin, numbers, positions);
    }
};

/// The bits that must agree: all NaNs are equal, for which of two results is the compiler's choice.
std::vector<std::uint32_t> comparable(const std::vector<float> &numbers) {
    std::vector<std::uint32_t> bits(numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        std::memcpy(&bits[i], &numbers[i], 4);
        if (std::isnan(numbers[i])) bits[i] = 0x7FC00000;
    }
    return bits;
}

/// Compares all forms with the model. The output begins `offset` floats into a cache line; the rest must stay.
void expect_all_agree(const blend_case &c, std::size_t offset) {
    const std::vector<std::uint32_t> expected = comparable(c.by_model());
    const std::vector<joint_matrix> joints = c.joints();
    alignas(64) static float storage[16 + 600];
    ASSERT_LE(offset + expected.size(), std::size(storage));
    for (const auto &form : runnable(skin_kernel)) {
        std::fill(std::begin(storage), std::end(storage), 99.0f);
        form.call(c.weights.data(), static_cast<std::uint32_t>(c.weights.size()), joints.data(),
                  static_cast<std::uint32_t>(joints.size()), c.positions.data(), storage + offset);
        const std::vector<float> out(storage + offset, storage + offset + expected.size());
        ASSERT_EQ(comparable(out), expected) << form.name << ", " << c.weights.size() << " vertices";
        for (std::size_t i = 0; i < std::size(storage); ++i)
            if (i < offset || i >= offset + expected.size()) {
                ASSERT_EQ(storage[i], 99.0f) << form.name << " wrote beside the results";
            }
    }
}

template <class Number>
Number odd_number(std::mt19937 &random) {
    using limits = std::numeric_limits<Number>;
    const Number odd[] = {0,
                          -Number{0},
                          1,
                          limits::denorm_min(),
                          -limits::min() / 3,
                          limits::max(),
                          -limits::max(),
                          limits::infinity(),
                          -limits::infinity(),
                          limits::quiet_NaN(),
                          -limits::quiet_NaN()};
    return odd[random() % std::size(odd)];
}

/// `oddness` of 16 numbers are zeros of both signs, denormals, infinities, NaNs …
blend_case random_case(std::mt19937 &random, std::size_t vertices, std::size_t joints, unsigned oddness) {
    std::uniform_real_distribution<double> plain(-2.0, 2.0);
    const auto number = [&](auto kind) {
        using type = decltype(kind);
        return random() % 16 < oddness ? odd_number<type>(random) : static_cast<type>(plain(random));
    };
    const float thresholds[] = {1e-6f, std::nextafter(1e-6f, 0.0f), 5e-7f, 0.0f, -0.0f, -1.0f, NAN, -NAN, infinity};
    blend_case c;
    c.poses.resize(joints);
    for (joint_matrix &joint : c.poses)
        for (auto &row : joint.at)
            for (double &value : row)
                value = number(double{});
    c.positions.resize(vertices * 3);
    for (float &value : c.positions)
        value = number(float{});
    c.weights.resize(vertices);
    for (qel_skin_weight &weight : c.weights) {
        const bool full = random() % 2 == 0; // all four slots used
        for (int slot = 0; slot < 4; ++slot) {
            weight.joints[slot] = static_cast<std::uint8_t>(random() % (full ? joints : joints + 2));
            weight.weights[slot] = full || random() % 3 != 0 ? std::fabs(number(float{})) + 1e-3f
                                                             : thresholds[random() % std::size(thresholds)];
        }
    }
    return c;
}

TEST(SkinKernel, AgreesWithTheModelOnPlainNumbers) {
    std::mt19937 random(91);
    for (int round = 0; round < 400; ++round)
        expect_all_agree(random_case(random, random() % 190, 1 + random() % 100, 0), random() % 16);
}

TEST(SkinKernel, AgreesWithTheModelOnOddNumbers) {
    std::mt19937 random(92);
    for (int round = 0; round < 1500; ++round)
        expect_all_agree(random_case(random, random() % 40, 1 + random() % 6, 1 + random() % 8), random() % 16);
}

TEST(SkinKernel, AgreesWithTheModelWhereverSlotsAreSkipped) {
    std::mt19937 random(93);
    blend_case c = random_case(random, 256, 3, 0);
    c.positions.resize(3 * 256);
    c.weights.resize(256);
    for (unsigned v = 0; v < 256; ++v) // every combination of light weights and unknown joints
        for (unsigned slot = 0; slot < 4; ++slot) {
            c.weights[v].weights[slot] = (v >> slot & 1) != 0 ? 0.25f : 9e-7f;
            c.weights[v].joints[slot] =
                static_cast<std::uint8_t>((v >> (slot + 4) & 1) != 0 ? slot % 3 : 3 + slot * 84);
        }
    c.weights.resize(190);
    c.positions.resize(190 * 3);
    expect_all_agree(c, 0);
}

TEST(SkinKernel, UsesAllJointsThatAByteCanName) {
    std::mt19937 random(94);
    for (const std::size_t joints : {127u, 128u, 129u, 255u, 256u}) {
        blend_case c = random_case(random, 128, joints, 0);
        for (unsigned v = 0; v < 128; ++v)
            for (unsigned slot = 0; slot < 4; ++slot)
                c.weights[v].joints[slot] = static_cast<std::uint8_t>(v * 2 + slot % 2);
        expect_all_agree(c, 0);
    }
}

TEST(SkinKernel, AgreesWithTheModelOnResultsThatOverflowAndUnderflow) {
    std::mt19937 random(95);
    for (int round = 0; round < 300; ++round) {
        blend_case c = random_case(random, 20, 3, 0);
        for (joint_matrix &joint : c.poses)
            for (auto &row : joint.at)
                for (double &value : row)
                    value = std::ldexp(value, static_cast<int>(random() % 320) - 160);
        expect_all_agree(c, 0);
    }
}

TEST(SkinKernel, WritesOverItsInput) {
    std::mt19937 random(96);
    const blend_case c = random_case(random, 100, 5, 0);
    const std::vector<joint_matrix> joints = c.joints();
    for (const auto &form : runnable(skin_kernel)) {
        std::vector<float> positions = c.positions;
        form.call(c.weights.data(), 100, joints.data(), 5, positions.data(), positions.data());
        EXPECT_EQ(comparable(positions), comparable(c.by_model())) << form.name;
    }
}

TEST(SkinKernel, PutsEveryPositionAtTheOriginWithoutJoints) {
    const std::vector<qel_skin_weight> weights(9, {{0, 0, 0, 0}, {1, 1, 1, 1}});
    const std::vector<float> positions(27, 5.0f);
    for (const auto &form : runnable(skin_kernel)) {
        std::vector<float> out(27, 99.0f);
        form.call(weights.data(), 9, nullptr, 0, positions.data(), out.data());
        EXPECT_EQ(out, std::vector<float>(27, 0.0f)) << form.name;
    }
}

TEST(SkinChoice, IsMadeByTheFirstCallAndCanBeForced) {
    const joint_matrix joint = {};
    float out = 0;
    skin_blend(nullptr, 0, &joint, 1, nullptr, &out);
    EXPECT_EQ(skin_kernel.chosen(), skin_kernel.forms.best(detect_instruction_set()));
    const forced_form<skin_function> forced(skin_kernel,
                                            [](const qel_skin_weight *, std::uint32_t, const joint_matrix *,
                                               std::uint32_t, const float *, float *results) { *results = 55; });
    skin_blend(nullptr, 0, &joint, 1, nullptr, &out);
    EXPECT_EQ(out, 55.0f);
}

} // namespace
} // namespace qel
