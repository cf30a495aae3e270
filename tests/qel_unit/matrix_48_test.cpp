// SPDX-License-Identifier: MIT
#include "qel_unit/matrix_48.h"

#include "model/matrix_model.h"
#include "qel_unit.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <vector>

namespace qel {
namespace {

using namespace test;

struct bytes3 {
    std::uint8_t x = 0, y = 0, z = 0;

    bool operator==(const bytes3 &other) const { return x == other.x && y == other.y && z == other.z; }
};

bytes3 palindrome(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    bytes3 out;
    qel_matrix_48_palindrome(x, y, z, &out.x, &out.y, &out.z);
    return out;
}

bytes3 mutate(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    bytes3 out;
    qel_matrix_48_mutate_tachyon(x, y, z, &out.x, &out.y, &out.z);
    return out;
}

qel_matrix_identity parent(std::uint8_t x, std::uint8_t y, std::uint8_t z, float phi_norm = 1.0f) {
    qel_matrix_identity identity = {};
    identity.x = x;
    identity.y = y;
    identity.z = z;
    identity.phi_norm = phi_norm;
    return identity;
}

qel_matrix_offspring reproduce(const qel_matrix_identity &a, const qel_matrix_identity &b, std::uint32_t mode) {
    qel_matrix_offspring child = {};
    qel_matrix_48_reproduce(&a, &b, mode, &child);
    return child;
}

bytes3 child_cell(const bytes3 &a, const bytes3 &b, std::uint32_t mode) {
    const qel_matrix_offspring child = reproduce(parent(a.x, a.y, a.z), parent(b.x, b.y, b.z), mode);
    return {child.x, child.y, child.z};
}

void expect_same(const qel_matrix_offspring &child, const qel_matrix_offspring &expected) {
    ASSERT_EQ(child.x, expected.x);
    ASSERT_EQ(child.y, expected.y);
    ASSERT_EQ(child.z, expected.z);
    ASSERT_EQ(child.chirality, expected.chirality);
    ASSERT_EQ(bits_of(child.phi_blend), bits_of(expected.phi_blend));
    ASSERT_EQ(bits_of(child.em_coupling), bits_of(expected.em_coupling));
    ASSERT_EQ(child.k11_level, expected.k11_level);
    ASSERT_EQ(child.i_state, expected.i_state);
}

TEST(Matrix48, ConstantsAreTheseSinglePrecisionNumbers) {
    EXPECT_EQ(bits_of(corner_radius), 0x4222D012u);
    EXPECT_EQ(bits_of(golden_ratio), 0x3FCF1BBDu);
    EXPECT_EQ(bits_of(2.618034f), 0x40278DDEu);
    EXPECT_EQ(bits_of(0.001f), 0x3A83126Fu);
}

TEST(Matrix48MortonEncode, InterleavesTheLowSixBits) {
    EXPECT_EQ(qel_matrix_48_morton_encode(0, 0, 0), 0u);
    EXPECT_EQ(qel_matrix_48_morton_encode(1, 0, 0), 1u);
    EXPECT_EQ(qel_matrix_48_morton_encode(0, 1, 0), 2u);
    EXPECT_EQ(qel_matrix_48_morton_encode(0, 0, 1), 4u);
    EXPECT_EQ(qel_matrix_48_morton_encode(32, 0, 0), 0x8000u);
    EXPECT_EQ(qel_matrix_48_morton_encode(0, 0, 32), 0x20000u);
    EXPECT_EQ(qel_matrix_48_morton_encode(47, 47, 47), 233471u);
    EXPECT_EQ(qel_matrix_48_morton_encode(63, 63, 63), 0x3FFFFu);
}

TEST(Matrix48MortonEncode, DropsBitsAboveTheSixth) {
    EXPECT_EQ(qel_matrix_48_morton_encode(64, 128, 0xFFFFFFC0), 0u);
    EXPECT_EQ(qel_matrix_48_morton_encode(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), 0x3FFFFu);
}

TEST(Matrix48MortonEncode, EqualsTheBitLoopAndIsUniqueOnAllSixBits) {
    std::set<std::uint64_t> seen;
    for (std::uint32_t x = 0; x < 64; ++x)
        for (std::uint32_t y = 0; y < 64; ++y)
            for (std::uint32_t z = 0; z < 64; ++z) {
                const std::uint64_t code = qel_matrix_48_morton_encode(x, y, z);
                ASSERT_EQ(code, model::morton_encode(x, y, z));
                ASSERT_TRUE(seen.insert(code).second);
            }
    std::mt19937 random(1);
    for (int i = 0; i < 10000; ++i) {
        const auto x = static_cast<std::uint32_t>(random()), y = static_cast<std::uint32_t>(random()),
                   z = static_cast<std::uint32_t>(random());
        ASSERT_EQ(qel_matrix_48_morton_encode(x, y, z), model::morton_encode(x, y, z));
    }
}

TEST(Matrix48Palindrome, MirrorsEachCoordinate) {
    EXPECT_EQ(palindrome(0, 23, 47), (bytes3{47, 24, 0}));
    EXPECT_EQ(palindrome(24, 1, 46), (bytes3{23, 46, 1}));
}

TEST(Matrix48Palindrome, KeepsTheLowEightBitsOfWhatWraps) {
    EXPECT_EQ(palindrome(50, 48, 255), (bytes3{253, 255, 48}));
    EXPECT_EQ(palindrome(256, 303, 0xFFFFFFFF), (bytes3{47, 0, 48}));
    for (std::uint32_t v = 0; v < 1000; ++v)
        ASSERT_EQ(palindrome(v, v * 7, v * 5000011),
                  (bytes3{model::palindrome(v), model::palindrome(v * 7), model::palindrome(v * 5000011)}));
}

TEST(Matrix48K11Level, IsTheSumModuloTwentyThreeMinusEleven) {
    EXPECT_EQ(qel_matrix_48_k11_level(0, 0, 0), -11);
    EXPECT_EQ(qel_matrix_48_k11_level(23, 0, 0), -11);
    EXPECT_EQ(qel_matrix_48_k11_level(11, 0, 0), 0);
    EXPECT_EQ(qel_matrix_48_k11_level(22, 0, 0), 11);
    EXPECT_EQ(qel_matrix_48_k11_level(7, 7, 8), 11);
    EXPECT_EQ(qel_matrix_48_k11_level(47, 47, 47), -8);
    EXPECT_EQ(qel_matrix_48_k11_level(255, 255, 255), -5);
}

TEST(Matrix48IState, TakesTheTwoLowBits) {
    EXPECT_EQ(qel_matrix_48_i_state(0), 0);
    EXPECT_EQ(qel_matrix_48_i_state(1), 1);
    EXPECT_EQ(qel_matrix_48_i_state(2), 255);
    EXPECT_EQ(qel_matrix_48_i_state(3), 2);
    EXPECT_EQ(qel_matrix_48_i_state(4), 0);
}

TEST(Matrix48IState, TakesTheTwoLowBitsOfNegativeValuesToo) {
    EXPECT_EQ(qel_matrix_48_i_state(-1), 2);
    EXPECT_EQ(qel_matrix_48_i_state(-2), 255);
    EXPECT_EQ(qel_matrix_48_i_state(-3), 1);
    EXPECT_EQ(qel_matrix_48_i_state(-4), 0);
    EXPECT_EQ(qel_matrix_48_i_state(-11), 1);
    EXPECT_EQ(qel_matrix_48_i_state(std::numeric_limits<std::int32_t>::min()), 0);
    EXPECT_EQ(qel_matrix_48_i_state(std::numeric_limits<std::int32_t>::max()), 2);
}

TEST(Matrix48PhiNorm, IsAboutTheGoldenRatioAtTheCorners) {
    EXPECT_FLOAT_EQ(qel_matrix_48_phi_norm(0, 0, 0), 1.618034f);
    const std::uint8_t edges[2] = {0, 47};
    for (const std::uint8_t x : edges)
        for (const std::uint8_t y : edges)
            for (const std::uint8_t z : edges)
                EXPECT_EQ(bits_of(qel_matrix_48_phi_norm(x, y, z)), bits_of(qel_matrix_48_phi_norm(0, 0, 0)));
}

TEST(Matrix48PhiNorm, IsLeastAtTheEightCellsAroundTheCentre) {
    const float least = qel_matrix_48_phi_norm(23, 23, 23);
    EXPECT_NEAR(least, 0.0344262, 1e-6);
    int cells = 0;
    for (int x = 0; x < 48; ++x)
        for (int y = 0; y < 48; ++y)
            for (int z = 0; z < 48; ++z) {
                const float norm = qel_matrix_48_phi_norm(static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                                                          static_cast<std::uint8_t>(z));
                ASSERT_GE(norm, least);
                cells += norm == least;
            }
    EXPECT_EQ(cells, 8);
}

TEST(Matrix48PhiNorm, HasTheseBits) {
    EXPECT_EQ(bits_of(qel_matrix_48_phi_norm(0, 0, 0)), 0x3FCF1BBDu);
    EXPECT_EQ(bits_of(qel_matrix_48_phi_norm(23, 24, 23)), 0x3D0D028Bu);
    EXPECT_EQ(bits_of(qel_matrix_48_phi_norm(10, 20, 30)), 0x3F1C9534u);
    EXPECT_EQ(bits_of(qel_matrix_48_phi_norm(255, 0, 128)), 0x41223CDFu);
}

TEST(Matrix48EmCoupling, HasTheseBits) {
    EXPECT_EQ(bits_of(qel_matrix_48_em_coupling(0, 0, 0)), 0x41306793u);
    EXPECT_EQ(bits_of(qel_matrix_48_em_coupling(23, 24, 23)), 0x412AC643u);
    EXPECT_EQ(bits_of(qel_matrix_48_em_coupling(10, 20, 30)), 0x412CD39Fu);
    EXPECT_EQ(bits_of(qel_matrix_48_em_coupling(255, 0, 128)), 0x414EB3AAu);
}

TEST(Matrix48, NormLevelAndCouplingEqualThePlainFormOnEveryByteTriple) {
    // All 256 values of two axes, and a third axis that takes every value, too.
    for (std::uint32_t x = 0; x < 256; ++x)
        for (std::uint32_t y = 0; y < 256; ++y)
            for (std::uint32_t step = 0; step < 256; step += 16) {
                const auto a = static_cast<std::uint8_t>(x), b = static_cast<std::uint8_t>(y),
                           c = static_cast<std::uint8_t>(step + (x + y) % 16);
                ASSERT_EQ(bits_of(qel_matrix_48_phi_norm(a, b, c)), bits_of(model::phi_norm(a, b, c)));
                ASSERT_EQ(bits_of(qel_matrix_48_em_coupling(a, b, c)), bits_of(model::em_coupling(a, b, c)));
                ASSERT_EQ(qel_matrix_48_k11_level(a, b, c), model::k11_level(a, b, c));
            }
}

TEST(Matrix48Identity, FillsEveryField) {
    qel_matrix_identity identity;
    std::memset(&identity, 0xEE, sizeof identity);
    EXPECT_EQ(qel_matrix_48_identity(10, 20, 30, &identity), 27560u);
    EXPECT_EQ(identity.x, 10);
    EXPECT_EQ(identity.y, 20);
    EXPECT_EQ(identity.z, 30);
    EXPECT_EQ(identity.mirror_x, 37);
    EXPECT_EQ(identity.mirror_y, 27);
    EXPECT_EQ(identity.mirror_z, 17);
    EXPECT_EQ(identity.k11_level, 3);
    EXPECT_EQ(identity.i_state, 2);
    EXPECT_EQ(identity.morton, 27560u);
    EXPECT_EQ(bits_of(identity.phi_norm), 0x3F1C9534u);
    EXPECT_EQ(bits_of(identity.em_coupling), 0x412CD39Fu);
}

TEST(Matrix48Identity, TakesTheLowEightBitsOfZ) {
    qel_matrix_identity wide, low;
    EXPECT_EQ(qel_matrix_48_identity(200, 100, 0xABCDEF33, &wide), qel_matrix_48_identity(200, 100, 0x33, &low));
    EXPECT_EQ(std::memcmp(&wide, &low, sizeof wide), 0);
    EXPECT_EQ(wide.z, 0x33);
    EXPECT_EQ(wide.mirror_x, 103) << "47 - 200 wraps";
}

void expect_plain_identity(std::uint8_t x, std::uint8_t y, std::uint32_t z) {
    qel_matrix_identity identity;
    const qel_matrix_identity expected = model::identity(x, y, z);
    ASSERT_EQ(qel_matrix_48_identity(x, y, z, &identity), expected.morton);
    ASSERT_EQ(std::memcmp(&identity, &expected, sizeof identity), 0) << +x << ' ' << +y << ' ' << z;
}

TEST(Matrix48Identity, EqualsThePlainFormOnTheWholeLattice) {
    for (std::uint8_t x = 0; x < 48; ++x)
        for (std::uint8_t y = 0; y < 48; ++y)
            for (std::uint32_t z = 0; z < 48; ++z)
                expect_plain_identity(x, y, z);
}

TEST(Matrix48Identity, EqualsThePlainFormBeyondTheLattice) {
    std::mt19937 random(2);
    for (int i = 0; i < 100000; ++i) {
        const auto x = static_cast<std::uint8_t>(random()), y = static_cast<std::uint8_t>(random());
        expect_plain_identity(x, y, static_cast<std::uint32_t>(random()));
    }
}

TEST(Matrix48CrossoverBind, IsTheTruncatedAverageOfEachAxis) {
    std::uint8_t c0 = 0, c1 = 0, c2 = 0;
    qel_matrix_48_crossover_bind(10, 47, 255, 11, 0, 255, &c0, &c1, &c2);
    EXPECT_EQ(c0, 10);
    EXPECT_EQ(c1, 23);
    EXPECT_EQ(c2, 255) << "the sum does not wrap";
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            const auto byte_a = static_cast<std::uint8_t>(a), byte_b = static_cast<std::uint8_t>(b);
            qel_matrix_48_crossover_bind(byte_a, byte_b, 0, byte_b, byte_a, byte_a, &c0, &c1, &c2);
            ASSERT_EQ(c0, (a + b) / 2);
            ASSERT_EQ(c1, (a + b) / 2);
            ASSERT_EQ(c2, a / 2);
        }
}

TEST(Matrix48MutateTachyon, GivesZeroAndOneTheSameImage) {
    EXPECT_EQ(mutate(0, 1, 48), (bytes3{47, 47, 0}));
    EXPECT_EQ(mutate(2, 24, 47), (bytes3{46, 24, 1}));
}

TEST(Matrix48MutateTachyon, MapsCoordinatesBeyondTheLatticeToZero) {
    EXPECT_EQ(mutate(49, 200, 255), (bytes3{0, 0, 0}));
    for (int v = 0; v < 256; ++v) {
        const auto byte = static_cast<std::uint8_t>(v), other = static_cast<std::uint8_t>(255 - v);
        ASSERT_EQ(mutate(byte, other, byte),
                  (bytes3{model::mutate_tachyon(byte), model::mutate_tachyon(other), model::mutate_tachyon(byte)}));
    }
}

TEST(Matrix48Chirality, ComparesUnsignedCoordinates) {
    EXPECT_EQ(qel_matrix_48_chirality(5, 5), 0);
    EXPECT_EQ(qel_matrix_48_chirality(6, 5), 1);
    EXPECT_EQ(qel_matrix_48_chirality(5, 6), -1);
    EXPECT_EQ(qel_matrix_48_chirality(200, 5), 1);
    EXPECT_EQ(qel_matrix_48_chirality(0, 255), -1);
}

TEST(Matrix48Reproduce, CrossesOverInModeZero) {
    EXPECT_EQ(child_cell({10, 20, 30}, {11, 21, 31}, 0), (bytes3{10, 20, 30}));
    EXPECT_EQ(child_cell({255, 0, 255}, {255, 255, 0}, 0), (bytes3{255, 127, 127}));
}

TEST(Matrix48Reproduce, MutatesTheFirstParentInModeTwo) {
    EXPECT_EQ(child_cell({0, 1, 48}, {47, 0, 10}, 2), (bytes3{47, 23, 5}));
    EXPECT_EQ(child_cell({47, 0, 10}, {0, 1, 48}, 2), (bytes3{0, 24, 43})) << "the second parent does not change";
    EXPECT_EQ(child_cell({200, 200, 200}, {200, 200, 200}, 2), (bytes3{100, 100, 100}));
}

TEST(Matrix48Reproduce, MovesTheMidpointOutwardsInOtherModes) {
    for (const std::uint32_t mode : {1u, 3u, 4u, 0xFFFFFFFFu}) {
        EXPECT_EQ(child_cell({23, 23, 23}, {23, 23, 23}, mode), (bytes3{22, 22, 22})) << mode;
        EXPECT_EQ(child_cell({24, 24, 24}, {24, 24, 24}, mode), (bytes3{24, 24, 24})) << mode;
        EXPECT_EQ(child_cell({30, 23, 24}, {30, 24, 23}, mode), (bytes3{31, 23, 23})) << mode;
    }
}

TEST(Matrix48Reproduce, DoesNotMoveTheExactCentre) {
    EXPECT_EQ(child_cell({23, 0, 47}, {24, 47, 0}, 1), (bytes3{23, 23, 23})) << "moved by nothing, then truncated";
}

TEST(Matrix48Reproduce, WrapsMidpointsThatLeaveTheLattice) {
    EXPECT_EQ(child_cell({47, 23, 23}, {47, 24, 24}, 1), (bytes3{0, 23, 23})) << "48.6 becomes 48, then 0";
    EXPECT_EQ(child_cell({0, 23, 23}, {0, 24, 24}, 1), (bytes3{255, 23, 23})) << "-1.6 becomes -1, then 255";
    EXPECT_EQ(child_cell({0, 0, 0}, {0, 0, 0}, 1), (bytes3{0, 0, 0})) << "-0.93 truncates to 0";
    EXPECT_EQ(child_cell({255, 23, 23}, {255, 24, 24}, 1), (bytes3{16, 23, 23})) << "256.6 becomes 256, then 16";
}

TEST(Matrix48Reproduce, FillsEveryField) {
    qel_matrix_offspring child;
    std::memset(&child, 0xEE, sizeof child);
    const qel_matrix_identity a = parent(12, 20, 30, 0.5f), b = parent(8, 20, 30, 0.25f);
    qel_matrix_48_reproduce(&a, &b, 0, &child);
    EXPECT_EQ(child.x, 10);
    EXPECT_EQ(child.y, 20);
    EXPECT_EQ(child.z, 30);
    EXPECT_EQ(child.chirality, -1);
    EXPECT_EQ(bits_of(child.phi_blend), bits_of(1.059017f / 2.618034f));
    EXPECT_EQ(bits_of(child.em_coupling), 0x412CD39Fu);
    EXPECT_EQ(child.k11_level, 3);
    EXPECT_EQ(child.i_state, 2);
}

TEST(Matrix48Reproduce, ReadsOnlyCellAndNormOfTheParents) {
    std::mt19937 random(3);
    for (std::uint32_t mode = 0; mode < 3; ++mode) {
        const qel_matrix_identity a = parent(1, 40, 7, 0.75f), b = parent(33, 2, 9, 1.25f);
        qel_matrix_identity noisy_a = a, noisy_b = b;
        for (qel_matrix_identity *noisy : {&noisy_a, &noisy_b}) {
            noisy->mirror_x = static_cast<std::uint8_t>(random());
            noisy->mirror_y = noisy->mirror_z = noisy->i_state = 0xEE;
            noisy->k11_level = 99;
            noisy->morton = random();
            noisy->em_coupling = -1.0f;
        }
        expect_same(reproduce(noisy_a, noisy_b, mode), reproduce(a, b, mode));
    }
}

TEST(Matrix48Reproduce, EqualsThePlainFormOnRandomParents) {
    std::mt19937 random(4);
    for (int i = 0; i < 300000; ++i) {
        // Parents of the lattice, of all bytes, and around the centre, where a midpoint moves the most.
        const auto coordinate = [&]() -> std::uint8_t {
            return static_cast<std::uint8_t>(i % 3 == 0   ? random() % 48
                                             : i % 3 == 1 ? random() % 256
                                                          : 21 + random() % 6);
        };
        const auto norm = [&] { return static_cast<float>(random() % 100000) / 7919.0f; };
        const qel_matrix_identity a = parent(coordinate(), coordinate(), coordinate(), norm());
        const qel_matrix_identity b = parent(coordinate(), coordinate(), coordinate(), norm());
        const std::uint32_t mode = i % 8 < 6 ? 1U : i % 8 == 6 ? 0U : 2U;
        expect_same(reproduce(a, b, mode), model::reproduce(a, b, mode));
        if (HasFatalFailure())
            FAIL() << +a.x << ' ' << +a.y << ' ' << +a.z << ' ' << +b.x << ' ' << +b.y << ' ' << +b.z;
    }
}

TEST(Matrix48Reproduce, EqualsThePlainFormOnEveryMidpointOfTheLattice) {
    // Twice a midpoint is the sum of two coordinates: 95 values on each axis.
    for (int x = 0; x < 95; ++x)
        for (int y = 0; y < 95; ++y)
            for (int z = 0; z < 95; ++z) {
                const auto half = [](int sum) { return static_cast<std::uint8_t>(sum / 2); };
                const auto rest = [](int sum) { return static_cast<std::uint8_t>(sum - sum / 2); };
                const qel_matrix_identity a = parent(half(x), half(y), half(z)), b = parent(rest(x), rest(y), rest(z));
                expect_same(reproduce(a, b, 1), model::reproduce(a, b, 1));
                if (HasFatalFailure()) FAIL() << x << ' ' << y << ' ' << z;
            }
}

TEST(Matrix48ValidateAll, IsTheNumberOfCells) {
    EXPECT_EQ(qel_matrix_48_validate_all(), 110592u);
}

} // namespace
} // namespace qel
