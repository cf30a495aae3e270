// SPDX-License-Identifier: MIT
#include "qel_alembic/vertex_tokens.h"

#include "model/topology_model.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace qel {
namespace {

using namespace test;

constexpr float largest = std::numeric_limits<float>::max();
constexpr float unit_box[6] = {0, 0, 0, 1, 1, 1};
constexpr float lattice_box[6] = {0, 0, 0, 47, 47, 47}; // whose cells have sides of 1

using cell = std::array<int, 3>;

cell cell_of(float x, float y, float z, const float *bounds) {
    std::uint8_t mx = 99, my = 99, mz = 99;
    qel_alembic_world_to_matrix(x, y, z, bounds, &mx, &my, &mz);
    return {mx, my, mz};
}

using box = std::array<float, 6>;

box box_of(const std::vector<float> &positions) {
    box bounds = {};
    qel_alembic_compute_bounds(positions.data(), static_cast<std::uint32_t>(positions.size() / 3), bounds.data());
    return bounds;
}

qel_alembic_vertex processed(const std::array<float, 3> &position, const float *bounds) {
    qel_alembic_vertex vertex = {};
    qel_alembic_process_vertex(position.data(), bounds, &vertex);
    return vertex;
}

float any_float(std::mt19937 &random) {
    return from_bits(static_cast<std::uint32_t>(random()));
}

TEST(AlembicComputeBounds, BoxesAllVerticesPerAxis) {
    EXPECT_EQ(box_of({1, 5, -3, -2, 7, 0, 4, 6, 9}), (box{-2, 5, -3, 4, 7, 9}));
}

TEST(AlembicComputeBounds, IsThePointForOneVertex) {
    EXPECT_EQ(box_of({1.5f, -2.5f, 3.5f}), (box{1.5f, -2.5f, 3.5f, 1.5f, -2.5f, 3.5f}));
}

TEST(AlembicComputeBounds, LetsNoLaterNaNReplaceABound) {
    EXPECT_EQ(box_of({1, 1, 1, nan, nan, nan, 2, 2, 2}), (box{1, 1, 1, 2, 2, 2}));
}

TEST(AlembicComputeBounds, KeepsANaNOfTheFirstVertex) {
    const box bounds = box_of({nan, 1, 1, 5, 5, 5});
    EXPECT_TRUE(std::isnan(bounds[0]));
    EXPECT_TRUE(std::isnan(bounds[3]));
    EXPECT_EQ(bounds[4], 5.0f);
}

TEST(AlembicComputeBounds, ComparesStrictlySoTheFirstZeroStays) {
    const box bounds = box_of({-0.0f, 0.0f, 0.0f, 0.0f, -0.0f, 0.0f});
    EXPECT_TRUE(std::signbit(bounds[0]));
    EXPECT_TRUE(std::signbit(bounds[3]));
    EXPECT_FALSE(std::signbit(bounds[1]));
}

TEST(AlembicComputeBounds, DoesNothingWithoutPositionsBoundsOrVertices) {
    const float positions[] = {1, 2, 3};
    float bounds[6] = {9, 9, 9, 9, 9, 9};
    qel_alembic_compute_bounds(nullptr, 1, bounds);
    qel_alembic_compute_bounds(positions, 0, bounds);
    qel_alembic_compute_bounds(positions, 1, nullptr);
    for (const float bound : bounds)
        EXPECT_EQ(bound, 9.0f);
}

TEST(WorldToMatrix, PutsTheMaximumCornerAt47TheMiddleAt23AndTheMinimumAtZero) {
    const float bounds[6] = {-3, 10, 0.5f, 5, 12, 900};
    EXPECT_EQ(cell_of(5, 12, 900, bounds), (cell{47, 47, 47}));
    EXPECT_EQ(cell_of(1, 11, 450.25f, bounds), (cell{23, 23, 23}));
    EXPECT_EQ(cell_of(-3, 10, 0.5f, bounds), (cell{0, 0, 0}));
}

TEST(WorldToMatrix, TruncatesSoOnlyTheMaximumReaches47) {
    EXPECT_EQ(cell_of(46.999f, 0.999f, 23.5f, lattice_box), (cell{46, 0, 23}));
    EXPECT_EQ(cell_of(47.0f, 1.5f, 46.5f, lattice_box), (cell{47, 1, 46}));
}

TEST(WorldToMatrix, ClampsPointsOutsideTheBox) {
    EXPECT_EQ(cell_of(-0.5f, 1.5f, largest, unit_box), (cell{0, 47, 47}));
    EXPECT_EQ(cell_of(-infinity, infinity, -largest, unit_box), (cell{0, 47, 0}));
}

TEST(WorldToMatrix, UsesSpanOneOnAFlatAxis) {
    const float bounds[6] = {2, 2, 2, 2, 2.00005f, 3};
    // trunc((v - min) x 47) on the two flat axes
    EXPECT_EQ(cell_of(2.5f, 2.1f, 2.5f, bounds), (cell{23, 4, 23}));
    EXPECT_EQ(cell_of(9.0f, 1.0f, 3.0f, bounds), (cell{47, 0, 47}));
}

TEST(WorldToMatrix, TreatsAnAxisAtTheFlatThresholdAsASpan) {
    const float threshold = 0.0001f;
    EXPECT_EQ(bits_of(threshold), 0x38D1B717u);
    const float bounds[6] = {0, 0, 0, threshold, std::nextafter(threshold, 0.0f), 1};
    EXPECT_EQ(cell_of(threshold, threshold, 1, bounds), (cell{47, 0, 47}));
}

TEST(WorldToMatrix, TreatsANegativeSpanAsFlat) {
    const float bounds[6] = {1, 1, 1, -1, -1, -1};
    EXPECT_EQ(cell_of(1.5f, 1.0f, 0.0f, bounds), (cell{23, 0, 0}));
}

TEST(WorldToMatrix, GivesZeroForNaN) {
    EXPECT_EQ(cell_of(nan, 1, 1, unit_box), (cell{0, 47, 47}));
    const float endless[6] = {-infinity, nan, 0, infinity, 1, nan};
    EXPECT_EQ(cell_of(1, 1, 1, endless), (cell{0, 0, 0}));
    const float endless_high[6] = {0, 0, 0, infinity, infinity, infinity};
    EXPECT_EQ(cell_of(infinity, 1, largest, endless_high), (cell{0, 0, 0}));
}

TEST(WorldToMatrix, TouchesNothingWithoutBounds) {
    EXPECT_EQ(cell_of(1, 1, 1, nullptr), (cell{99, 99, 99}));
}

TEST(MatrixToWorld, ScalesTheCellIntoTheBox) {
    const float bounds[6] = {-1, 0, 10, 1, 94, 10};
    float x = 0, y = 0, z = 0;
    qel_alembic_matrix_to_world(47, 1, 30, bounds, &x, &y, &z);
    EXPECT_EQ(x, 1.0f);
    EXPECT_EQ(y, 1.0f / 47.0f * 94.0f);
    EXPECT_EQ(z, 10.0f); // no guard for a zero span
}

TEST(MatrixToWorld, TakesCellsBeyondTheLattice) {
    float x = 0, y = 0, z = 0;
    qel_alembic_matrix_to_world(255, 94, 0, unit_box, &x, &y, &z);
    EXPECT_EQ(x, 255.0f / 47.0f);
    EXPECT_EQ(y, 2.0f);
    EXPECT_EQ(z, 0.0f);
}

TEST(MatrixToWorld, TouchesNothingWithoutBounds) {
    float x = 7, y = 8, z = 9;
    qel_alembic_matrix_to_world(1, 2, 3, nullptr, &x, &y, &z);
    EXPECT_EQ(x + y + z, 24.0f);
}

TEST(ProcessVertex, FillsTheLowestCorner) {
    const float position[] = {0, 0, 0};
    qel_alembic_vertex vertex;
    std::memset(&vertex, 0xCD, sizeof vertex);
    qel_alembic_process_vertex(position, unit_box, &vertex);
    EXPECT_EQ(vertex.morton, 0u);
    EXPECT_EQ(vertex.k11_level, -11);
    EXPECT_EQ(vertex.i_state, 1);
    EXPECT_EQ(vertex.topology, 0u);
    EXPECT_NEAR(vertex.phi_norm, 1.618034f, 1e-6f);
    EXPECT_EQ(vertex.em_coupling, (vertex.phi_norm / 48.0f + 1.0f) * 10.665754f);
}

TEST(ProcessVertex, FillsTheHighestCorner) {
    const qel_alembic_vertex vertex = processed({1, 1, 1}, unit_box);
    EXPECT_EQ(vertex.position[0], 1.0f);
    EXPECT_EQ(vertex.matrix_x, 47);
    EXPECT_EQ(vertex.matrix_y, 47);
    EXPECT_EQ(vertex.matrix_z, 47);
    EXPECT_EQ(vertex.morton, 233471u);
    EXPECT_EQ(vertex.k11_level, -8);
    EXPECT_EQ(vertex.i_state, 0);
}

TEST(ProcessVertex, InterleavesXLowestThenYThenZ) {
    EXPECT_EQ(processed({1.5f, 0, 0}, lattice_box).morton, 1u);
    EXPECT_EQ(processed({0, 1.5f, 0}, lattice_box).morton, 2u);
    EXPECT_EQ(processed({0, 0, 32.5f}, lattice_box).morton, 1u << 17);
}

TEST(ProcessVertex, StatesFollowTheTwoLowBitsOfTheSignedLevel) {
    const std::int8_t expected[4] = {0, 1, -1, 2};
    for (int x = 0; x < 23; ++x) {
        const qel_alembic_vertex vertex = processed({static_cast<float>(x) + 0.5f, 0, 0}, lattice_box);
        EXPECT_EQ(vertex.k11_level, x - 11);
        EXPECT_EQ(vertex.i_state, expected[(x - 11 + 12) % 4]) << x;
    }
}

TEST(ProcessVertex, KeepsItsPadding) {
    const float position[] = {0.5f, 0.25f, 0.125f};
    qel_alembic_vertex vertex;
    std::memset(&vertex, 0xAB, sizeof vertex);
    qel_alembic_process_vertex(position, unit_box, &vertex);
    EXPECT_EQ(vertex.padding0, 0xAB);
    EXPECT_EQ(vertex.padding1[0], 0xAB);
    EXPECT_EQ(vertex.padding1[1], 0xAB);
}

TEST(ProcessVertex, CouplingStaysSinglePrecision) {
    // Of the 110,592 cells, some would round differently with the product in double precision.
    int different = 0;
    for (int i = 0; i < 48; ++i) {
        const qel_alembic_vertex vertex = processed({static_cast<float>(i), 3, 5}, lattice_box);
        const float t = vertex.phi_norm / 48.0f + 1.0f;
        EXPECT_EQ(vertex.em_coupling, t * 10.665754f);
        different += vertex.em_coupling != static_cast<float>(static_cast<double>(t) * 10.665754185164001);
    }
    EXPECT_GT(different, 0);
}

TEST(ProcessVertex, DoesNothingWithoutAnyOfItsArguments) {
    const float position[] = {1, 1, 1};
    qel_alembic_vertex vertex = {};
    qel_alembic_process_vertex(nullptr, unit_box, &vertex);
    qel_alembic_process_vertex(position, nullptr, &vertex);
    qel_alembic_process_vertex(position, unit_box, nullptr);
    EXPECT_EQ(vertex.em_coupling, 0.0f);
}

TEST(ProcessVertex, EqualsItsPlainFormForAnyPositionAndBox) {
    std::mt19937 random(51);
    std::uniform_real_distribution<float> near(-2.0f, 2.0f);
    for (int round = 0; round < 20'000; ++round) {
        float position[3], bounds[6];
        for (float &value : position)
            value = round % 3 == 0 ? any_float(random) : near(random);
        for (float &value : bounds)
            value = round % 5 == 0 ? any_float(random) : near(random);
        qel_alembic_vertex vertex = {};
        qel_alembic_process_vertex(position, bounds, &vertex);
        const qel_alembic_vertex expected = model::process_vertex(position, bounds);
        ASSERT_EQ(std::memcmp(&vertex, &expected, sizeof vertex), 0) << "round " << round;
    }
}

TEST(GenerateToken, CutsTheMeshNumberTo8BitsAndTheVertexNumberTo24) {
    const qel_alembic_vertex vertex = {};
    qel_alembic_token token = {};
    qel_alembic_generate_token(&vertex, 3, 0x1FF, 0x1234567, &token);
    EXPECT_EQ(std::string(token.hex_id, 8), "FF234567");
}

TEST(GenerateToken, MixesThePayload) {
    qel_alembic_vertex vertex = {};
    vertex.matrix_x = 1, vertex.matrix_y = 2, vertex.matrix_z = 3;
    vertex.morton = 0x1000'0000'0000'0035u;
    vertex.topology = 0x80000001;
    qel_alembic_token token = {};
    qel_alembic_generate_token(&vertex, 200, 0, 5, &token);
    EXPECT_EQ(token.morton, 0x1000'0000'0000'0035u);
    EXPECT_EQ(token.payload, 0x1001'0203'8000'0034u);
    EXPECT_EQ(token.layer, 200);
    EXPECT_EQ(std::string(token.hex_id, 8), "00000005");
}

TEST(GenerateToken, KeepsItsPadding) {
    const qel_alembic_vertex vertex = {};
    qel_alembic_token token;
    std::memset(&token, 0xAB, sizeof token);
    qel_alembic_generate_token(&vertex, 1, 0, 0, &token);
    for (const std::uint8_t byte : token.padding)
        EXPECT_EQ(byte, 0xAB);
}

TEST(GenerateToken, DoesNothingWithoutVertexOrToken) {
    const qel_alembic_vertex vertex = {};
    qel_alembic_token token;
    std::memset(&token, 0xAB, sizeof token);
    qel_alembic_generate_token(nullptr, 1, 0, 0, &token);
    qel_alembic_generate_token(&vertex, 1, 0, 0, nullptr);
    EXPECT_EQ(token.layer, 0xAB);
}

TEST(GenerateToken, EqualsItsPlainFormForAnyVertex) {
    std::mt19937 random(52);
    const auto byte = [&random] { return static_cast<std::uint8_t>(random()); };
    for (int round = 0; round < 5'000; ++round) {
        qel_alembic_vertex vertex = {};
        vertex.matrix_x = byte(), vertex.matrix_y = byte(), vertex.matrix_z = byte();
        vertex.morton = std::uint64_t{random()} << 32 | random();
        vertex.topology = static_cast<std::uint32_t>(random());
        const auto mesh = static_cast<std::uint32_t>(random()), index = static_cast<std::uint32_t>(random());
        const std::uint8_t layer = byte();
        qel_alembic_token token = {};
        qel_alembic_generate_token(&vertex, layer, mesh, index, &token);
        const qel_alembic_token expected = model::generate_token(vertex, layer, mesh, index);
        ASSERT_EQ(std::memcmp(&token, &expected, sizeof token), 0) << "round " << round;
    }
}

} // namespace
} // namespace qel
