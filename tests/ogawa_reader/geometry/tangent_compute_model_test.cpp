// SPDX-License-Identifier: MIT
// Computed tangents of random meshes are those of the model.
#include "model/tangent_model.h"
#include "ogawa_reader/geometry/uv_mesh.h"
#include "support/float_bits.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

namespace qel {
namespace {

using namespace test;

/// Equal bits; any NaN equals any other, for which of two operands gives its bits is the machine's choice.
void expect_same(const floats &actual, const floats &expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
        ASSERT_EQ(std::memcmp(&actual[i], &expected[i], 4), 0) << i << ": " << actual[i] << ", " << expected[i];
    }
}

float random_float(std::mt19937 &random, bool odd_ones) {
    static constexpr float odd[] = {nan, infinity, -infinity, 1e-40f, -1e-45f, 3e38f, 0.0f, -0.0f, 1e-8f};
    if (odd_ones && random() % 6 == 0) return odd[random() % std::size(odd)];
    return static_cast<float>(static_cast<int>(random() % 2001) - 1000) / (random() % 2 == 0 ? 300.0f : 1e5f);
}

std::unique_ptr<uv_mesh> random_record(std::mt19937 &random) {
    const auto below = [&random](std::size_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    const bool odd_ones = below(2) == 0;
    const std::uint32_t vertices = 1 + below(10);
    floats positions(vertices * 3), uvs(below(14) * 2);
    for (float &value : positions)
        value = random_float(random, odd_ones);
    for (float &value : uvs)
        value = random_float(random, odd_ones);
    numbers counts(below(15)), indices, uv_indices;
    std::uint32_t claimed = 0;
    for (std::uint32_t &count : counts)
        claimed += count = below(7);
    const std::uint32_t kind = below(5);
    indices.resize(kind == 0 ? below(claimed + 1) : claimed);
    for (std::uint32_t &index : indices)
        index = below(10) == 0 ? vertices + below(3) : below(vertices);
    auto record = std::make_unique<uv_mesh>(positions, counts, indices, uvs);
    if (indices.empty()) record->mesh.face_indices = nullptr;
    if (kind == 1) record->mesh.face_index_count = 0;
    if (kind == 2) {
        record->mesh.face_counts = nullptr;
        record->mesh.face_count = claimed / 3;
    }
    if (below(2) == 0) {
        uv_indices.resize(1 + below(claimed + 1));
        for (std::uint32_t &index : uv_indices)
            index = below(16);
        record->set_uv_indices(uv_indices, 3 + below(2));
        const bool held = std::all_of(uv_indices.begin(), uv_indices.end(),
                                      [&](std::uint32_t index) { return index < uvs.size() / 2; });
        if (held && uv_indices.size() >= claimed && below(2) == 0) record->set().value_count = 0;
    }
    return record;
}

TEST(ComputeTangentFrame, EqualsItsPlainestFormOnRandomMeshes) {
    std::mt19937 random(81);
    for (int i = 0; i < 5000; ++i) {
        const std::unique_ptr<uv_mesh> record = random_record(random);
        ASSERT_EQ(record->compute("uv"), 0);
        const auto plain = model::compute_plain_tangent_frame(record->mesh, record->set());
        expect_same(record->tangents(), plain.tangents);
        expect_same(record->bitangents(), plain.bitangents);
        if (HasFatalFailure()) FAIL() << "mesh " << i;
    }
}

TEST(ComputeTangentFrame, EqualsItsPlainestFormOnATorus) {
    const test::plain_mesh torus = test::make_torus(60, 40, 3, 1);
    uv_mesh record(torus.positions, torus.face_counts, torus.face_indices, torus.corner_uvs);
    numbers corners(torus.face_indices.size());
    for (std::size_t i = 0; i < corners.size(); ++i)
        corners[i] = static_cast<std::uint32_t>(i);
    record.set_uv_indices(corners);
    ASSERT_EQ(record.compute(), 0);
    const auto plain = model::compute_plain_tangent_frame(record.mesh, record.set());
    expect_same(record.tangents(), plain.tangents);
    expect_same(record.bitangents(), plain.bitangents);
    const floats tangents = record.tangents();
    for (std::size_t i = 0; i < tangents.size(); i += 3)
        ASSERT_NEAR(std::hypot(tangents[i], tangents[i + 1], tangents[i + 2]), 1.0f, 1e-6f);
}

} // namespace
} // namespace qel
