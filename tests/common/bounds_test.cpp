// SPDX-License-Identifier: MIT
// Bounds are tested through the interface; here every form of the kernel is compared with the plain model.
#include "common/bounds.h"

#include "model/bounds_model.h"
#include "support/float_bits.h"
#include "support/kernel_forms.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace qel {
namespace {

using namespace test;

using box = std::array<std::uint32_t, 6>; // as bits: zeros have signs and NaNs have payloads

template <class Function>
box box_of(Function *bounds, const float *positions, std::size_t count) {
    float numbers[6];
    bounds(positions, static_cast<std::uint32_t>(count), numbers);
    box bits;
    std::memcpy(bits.data(), numbers, sizeof numbers);
    return bits;
}

/// Holds all forms to the model on the first `count` positions.
void expect_all_agree(const float *positions, std::size_t count, const char *what) {
    const box expected = box_of(model::bounds, positions, count);
    for (const auto &form : runnable(bounds_kernel))
        ASSERT_EQ(box_of(form.call, positions, count), expected) << form.name << ", " << count << ' ' << what;
}

TEST(BoundsKernel, FindsAnExtremeAtAnyPosition) {
    std::vector<float> positions(33 * 3, 1.0f);
    for (std::size_t count = 1; count <= 33; ++count)
        for (std::size_t i = 0; i < count * 3; ++i) {
            positions[i] = -7;
            expect_all_agree(positions.data(), count, "minimum");
            positions[i] = 7;
            expect_all_agree(positions.data(), count, "maximum");
            positions[i] = 1;
        }
}

TEST(BoundsKernel, ReadsNothingAfterTheLastPosition) {
    for (std::size_t count = 1; count <= 40; ++count) {
        const std::vector<float> positions(count * 3, 2.0f); // AddressSanitizer watches its end
        std::vector<float> followed(positions);
        followed.insert(followed.end(), 64, -infinity);
        expect_all_agree(positions.data(), count, "exact");
        for (const auto &form : runnable(bounds_kernel))
            EXPECT_EQ(box_of(form.call, followed.data(), count), box_of(form.call, positions.data(), count));
    }
}

TEST(BoundsKernel, KeepsTheFirstOfEqualZeros) {
    // Every place of the first -0 among +0 and of the first +0 among -0, with and without farther coordinates.
    for (const float rest : {0.0f, -0.0f, 1.0f, -1.0f})
        for (const std::size_t count : {2u, 4u, 8u, 9u, 16u, 21u})
            for (std::size_t early = 0; early < count * 3; ++early)
                for (std::size_t late = early % 3; late < count * 3; late += 3) {
                    std::vector<float> positions(count * 3, rest);
                    positions[early] = -0.0f;
                    positions[late] = 0.0f;
                    expect_all_agree(positions.data(), count, "zeros");
                }
}

TEST(BoundsKernel, KeepsTheFirstOfRandomZeros) {
    std::mt19937 random(71);
    const float choices[] = {0.0f, -0.0f, 0.0f, -0.0f, 1e-45f, -1e-45f};
    for (int round = 0; round < 20000; ++round) {
        const std::size_t sorts = round % 3 == 0 ? 6 : round % 3 == 1 ? 5 : 4; // with both tiny ones, one, none
        std::vector<float> positions((1 + random() % 40) * 3);
        for (float &value : positions)
            value = choices[random() % sorts];
        expect_all_agree(positions.data(), positions.size() / 3, "zeros and denormals");
    }
}

TEST(BoundsKernel, KeepsTheFirstPositionsNanAndItsPayload) {
    std::mt19937 random(72);
    for (const std::uint32_t nan : {0x7FC00000u, 0x7F800001u, 0xFFC12345u, 0xFFFFFFFFu})
        for (std::size_t count = 1; count <= 33; ++count)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                std::vector<float> positions(count * 3);
                for (float &value : positions)
                    value = static_cast<float>(random() % 9) - 4;
                positions[axis] = from_bits(nan);
                expect_all_agree(positions.data(), count, "NaN first");
                for (const auto &form : runnable(bounds_kernel)) {
                    ASSERT_EQ(box_of(form.call, positions.data(), count)[axis], nan) << form.name;
                    ASSERT_EQ(box_of(form.call, positions.data(), count)[axis + 3], nan) << form.name;
                }
            }
}

TEST(BoundsKernel, IgnoresLaterNans) {
    for (const std::uint32_t nan : {0x7FC00000u, 0x7F800001u, 0xFFC12345u})
        for (std::size_t count = 2; count <= 33; ++count)
            for (std::size_t i = 3; i < count * 3; ++i) {
                std::vector<float> positions(count * 3);
                for (std::size_t j = 0; j < positions.size(); ++j)
                    positions[j] = static_cast<float>(j * 7 % 11) - 5;
                positions[i] = from_bits(nan);
                expect_all_agree(positions.data(), count, "NaN later");
            }
}

TEST(BoundsKernel, AgreesWithTheModelOnAnyBitsAtAnyAddress) {
    std::mt19937 random(73);
    std::vector<float> storage(16 + 160 * 3);
    for (std::size_t count = 1; count <= 160; ++count)
        for (std::size_t offset = 0; offset < 16; ++offset) { // all places in a cache line
            for (float &value : storage)
                value = from_bits(static_cast<std::uint32_t>(random()));
            expect_all_agree(storage.data() + offset, count, "any bits");
        }
}

TEST(BoundsKernel, AgreesWithTheModelOnInfinitiesAndLargeNumbers) {
    std::mt19937 random(74);
    const float choices[] = {infinity, -infinity, 3.4e38f, -3.4e38f, 1e-45f, -1e-45f, 0.0f, -0.0f, NAN, 1.0f};
    for (int round = 0; round < 20000; ++round) {
        std::vector<float> positions((1 + random() % 64) * 3);
        for (float &value : positions)
            value = choices[random() % std::size(choices)];
        expect_all_agree(positions.data(), positions.size() / 3, "odd numbers");
    }
}

TEST(BoundsKernel, AgreesWithTheModelOnTenMillionPositions) {
    std::vector<float> positions(10000003 * 3);
    std::uint32_t word = 75; // a congruential sequence: this many are slow to draw where tests run instrumented
    for (float &value : positions)
        value = static_cast<float>(static_cast<std::int32_t>(word = word * 1664525u + 1013904223u)) * 1e-3f;
    expect_all_agree(positions.data(), positions.size() / 3, "positions");
}

TEST(ComputeBoundsChoice, IsMadeByTheFirstCallAndStays) {
    float numbers[6];
    const float position[3] = {1, 2, 3};
    compute_bounds(position, 1, numbers);
    EXPECT_EQ(bounds_kernel.chosen(), bounds_kernel.forms.best(detect_instruction_set()));
}

} // namespace
} // namespace qel
