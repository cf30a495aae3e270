// SPDX-License-Identifier: MIT
#include "model/tangent_model.h"
#include "ogawa_reader/geometry/uv_mesh.h"
#include "support/failing_heap.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

namespace qel {
namespace {

using namespace test;

/// Corners (0,0,0), (1,0,0), (0,1,0) and UVs (0,0), (1,0), (0,1).
struct single_triangle : uv_mesh {
    single_triangle() : uv_mesh({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1}) {}
};

/// A unit square of four vertices, its UVs turned by a quarter.
struct turned_quad : uv_mesh {
    turned_quad() : uv_mesh({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {4}, {0, 1, 2, 3}, {0, 0, 0, 1, -1, 1, -1, 0}) {}
};

floats repeated(const floats &vector, std::size_t times) {
    floats result;
    while (times-- != 0)
        result.insert(result.end(), vector.begin(), vector.end());
    return result;
}

const floats no_vectors(9, 0.0f);

/// Tangents and bitangents.
using tangents_and_bitangents = std::pair<floats, floats>;

tangents_and_bitangents computed(uv_mesh &record) {
    EXPECT_EQ(record.compute(), 0);
    return {record.tangents(), record.bitangents()};
}

/// The same two vectors at each of so many vertices.
tangents_and_bitangents everywhere(const floats &tangent, const floats &bitangent, std::size_t vertices = 3) {
    return {repeated(tangent, vertices), repeated(bitangent, vertices)};
}

TEST(ComputeTangentFrame, OfASingleTriangleFollowsItsUvs) {
    single_triangle record;
    EXPECT_EQ(computed(record), everywhere({1, 0, 0}, {0, 1, 0}));
    EXPECT_EQ(record.mesh.tangent_frame.count, 3u);
    EXPECT_EQ(record.mesh.tangent_frame.components, 3u);
}

TEST(ComputeTangentFrame, OfEqualUvsAndPositionsStaysZero) {
    uv_mesh record(floats(9, 2.0f), {3}, {0, 1, 2}, floats(6, 0.5f));
    EXPECT_EQ(computed(record), (tangents_and_bitangents{no_vectors, no_vectors}));
}

TEST(ComputeTangentFrame, NormalizesTheLongVectorsOfUvsOnALine) {
    // det is 0, the factor 1e8: T = ((1,0,0) 2 - (0,1,0) 1) 1e8, B = ((0,1,0) 1 - (1,0,0) 2) 1e8.
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 1, 2, 2});
    const float x = 2e8f, y = 1e8f, length = std::sqrt(x * x + y * y);
    EXPECT_EQ(computed(record), everywhere({x / length, -y / length, 0}, {-x / length, y / length, 0}));
}

TEST(ComputeTangentFrame, UsesTheFixedFactorOnlyBelow1em8) {
    // det is -1e-8 and then just nearer to 0: only 1 / det is negative.
    const floats positions{0, 0, 0, 1, 0, 0, 0, 1, 0};
    uv_mesh divided(positions, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, -1e-8f});
    EXPECT_EQ(computed(divided), everywhere({1, 0, 0}, {0, -1, 0}));
    uv_mesh fixed(positions, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, -std::nextafter(1e-8f, 0.0f)});
    EXPECT_EQ(computed(fixed), everywhere({-1, 0, 0}, {0, 1, 0}));
}

TEST(ComputeTangentFrame, GivesAQuadTheVectorsOfItsFirstTriangle) {
    turned_quad record;
    EXPECT_EQ(computed(record), everywhere({0, -1, 0}, {1, 0, 0}, 4));
}

TEST(ComputeTangentFrame, SkipsFacesOfTwoCorners) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {2, 0, 1, 3}, {2, 1, 0, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    EXPECT_EQ(computed(record), everywhere({1, 0, 0}, {0, 1, 0}));
}

TEST(ComputeTangentFrame, TreatsEveryFaceAsATriangleWithoutFaceCounts) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {}, {0, 1, 2, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    record.mesh.face_counts = nullptr;
    record.mesh.face_count = 2;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, LeavesAVertexWithoutFacesZero) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0, 5, 5, 5}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    EXPECT_EQ(computed(record),
              (tangents_and_bitangents{{1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0}}));
}

TEST(ComputeTangentFrame, LeavesASumNotLongerThan1em8AsItIs) {
    // With these UVs tangent and bitangent are the edges; each is normalized or left by itself.
    const float longer = std::nextafter(1e-8f, 1.0f);
    uv_mesh record({0, 0, 0, 1e-8f, 0, 0, 0, longer, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    EXPECT_EQ(computed(record), everywhere({1e-8f, 0, 0}, {0, 1, 0}));
}

TEST(ComputeTangentFrame, DoesNotOrthogonalize) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 1, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    const float half = 1.0f / std::sqrt(2.0f);
    EXPECT_EQ(computed(record), everywhere({1, 0, 0}, {half, half, 0}));
}

TEST(ComputeTangentFrame, AddsOncePerOccurrenceOfAVertex) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {5, 3}, {0, 1, 2, 0, 0, 0, 2, 1}, {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute(), 0);
    const model::plain_tangent_frame plain = model::compute_plain_tangent_frame(record.mesh, record.set());
    EXPECT_EQ(record.tangents(), plain.tangents);
    EXPECT_EQ(record.tangents()[0], 1.0f);
}

TEST(ComputeTangentFrame, ChoosesASetByItsExactName) {
    single_triangle record;
    record.add_set("UV", {0, 0, 0, 1, 1, 0});
    record.add_set("map", {0, 0, -1, 0, 0, -1});
    record.add_set("map", {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute("map"), 0);
    EXPECT_EQ(record.tangents(), repeated({-1, 0, 0}, 3)) << "the first of two of one name";
    ogawa_free_tangent_frame(&record.mesh.tangent_frame);
    ASSERT_EQ(record.compute("UV"), 0);
    EXPECT_EQ(record.tangents(), repeated({0, 1, 0}, 3));
    for (const char *name : {"", "u", "uvs", "Uv", "map1"})
        EXPECT_EQ(record.compute(name), -2) << name;
}

TEST(ComputeTangentFrame, ReadsNoNameBeyondItsField) {
    const std::string full(64, 'n');
    single_triangle record;
    std::memcpy(record.set().name, full.data(), 64);
    EXPECT_EQ(record.compute(full.substr(1).c_str()), -2);
    EXPECT_EQ(record.compute((full + "n").c_str()), -2);
    EXPECT_EQ(record.compute(full.c_str()), 0);
}

TEST(ComputeTangentFrame, RefusesANullMeshAndOneWithoutVertices) {
    EXPECT_EQ(ogawa_compute_tangent_frame(nullptr, nullptr), -1);
    single_triangle no_vertices;
    no_vertices.mesh.vertex_count = 0;
    EXPECT_EQ(no_vertices.compute(), -1);
}

TEST(ComputeTangentFrame, FindsNoSetOfANameInANullArray) {
    single_triangle record;
    record.mesh.uv_sets = nullptr;
    EXPECT_EQ(record.compute("uv"), -2);
}

TEST(ComputeTangentFrame, LeavesBothPointersNullWithoutAnyMemory) {
    single_triangle record;
    const failing_heap heap = failing_heap::of_size(36);
    EXPECT_EQ(record.compute(), -3);
    EXPECT_EQ(heap.failures(), 2u);
    EXPECT_EQ(record.mesh.tangent_frame.tangents, nullptr);
    EXPECT_EQ(record.mesh.tangent_frame.bitangents, nullptr);
}

TEST(ComputeTangentFrame, OverwritesWhatItHeldWithoutFreeing) {
    single_triangle record;
    ASSERT_EQ(record.compute(), 0);
    ogawa_tangent_frame first = record.mesh.tangent_frame;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_NE(record.mesh.tangent_frame.tangents, first.tangents);
    EXPECT_EQ(first.tangents[0], 1.0f) << "still allocated";
    ogawa_free_tangent_frame(&first);
}

TEST(ComputeTangentFrame, ReadsUvsByCornerInAFaceVaryingSetWithIndices) {
    uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {1, 3}, {2, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    record.set_uv_indices({9, 0, 2, 1}); // the first belongs to the face of one corner
    EXPECT_EQ(computed(record), everywhere({0, 1, 0}, {1, 0, 0}));
}

TEST(ComputeTangentFrame, ReadsUvsByVertexInOtherScopes) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1}, OGAWA_SCOPE_VERTEX);
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, UsesUvZeroForAVertexBeyondTheValues) {
    uv_mesh record({5, 5, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {1, 2, 3}, {7, 7, 0, 0, 1, 0});
    // Vertex 3 has no UV and uses (7, 7).
    uv_mesh spelled_out({5, 5, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {1, 2, 3}, {7, 7, 0, 0, 1, 0, 7, 7});
    EXPECT_EQ(computed(record), computed(spelled_out));
    EXPECT_NE(record.tangents()[3], 0.0f);
}

TEST(ComputeTangentFrame, UsesUvZeroForAMissingOrTooLargeIndex) {
    const floats positions{0, 0, 0, 1, 0, 0, 0, 1, 0};
    for (const numbers &indices : {numbers{1, 2}, numbers{1, 2, 3}, numbers{1, 2, 0xFFFFFFFF}}) {
        uv_mesh record(positions, {3}, {0, 1, 2}, {0, 1, 0, 0, 1, 0});
        record.set_uv_indices(indices);
        EXPECT_EQ(computed(record), everywhere({1, 0, 0}, {0, 1, 0}));
    }
}

TEST(ComputeTangentFrame, DoesNotCheckTheIndicesIfTheirCountIsZero) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1});
    record.set().index_count = 0;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, DoesNotCheckTheValuesOfIndicesIfTheirCountIsZero) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1});
    record.set().value_count = 0;
    EXPECT_EQ(computed(record), everywhere({0, 1, 0}, {1, 0, 0}));
}

TEST(ComputeTangentFrame, UsesUvZeroForEveryVertexIfTheCountOfValuesIsZero) {
    for (const float u : {0.0f, nan}) { // a difference of equal numbers is zero, of two NaN it is NaN
        uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {u, 0, 1, 0, 0, 1});
        record.set().value_count = 0;
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(std::isnan(record.bitangents()[0]), std::isnan(u));
        EXPECT_EQ(record.tangents() == no_vectors, !std::isnan(u));
    }
}

TEST(ComputeTangentFrame, TreatsASetWithoutValuesAsZeros) {
    for (const bool indexed : {false, true}) {
        single_triangle record;
        record.set().values = nullptr;
        if (indexed) record.set_uv_indices({0, 1, 2});
        EXPECT_EQ(computed(record), (tangents_and_bitangents{no_vectors, no_vectors}));
    }
}

TEST(ComputeTangentFrame, IgnoresAFaceWithAnInvalidVertexAmongItsFirstThree) {
    for (std::size_t bad = 0; bad < 4; ++bad) {
        numbers indices{0, 1, 2, 2};
        indices[bad] = bad % 2 == 0 ? 3 : 0xFFFFFFFF;
        uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {4}, indices, {0, 0, 1, 0, 0, 1});
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), bad < 3 ? no_vectors : repeated({1, 0, 0}, 3)) << bad;
    }
}

TEST(ComputeTangentFrame, StopsAtTheIndexCount) {
    for (std::uint32_t held = 1; held <= 4; ++held) {
        uv_mesh record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0xFFFFFFFF, 0xFFFFFFFF, 3}, numbers{0, 1, 2, 0},
                       {0, 0, 1, 0, 0, 1});
        record.mesh.face_index_count = held;
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), held < 3 ? no_vectors : repeated({1, 0, 0}, 3)) << held;
    }
}

TEST(ComputeTangentFrame, ReturnsZerosForNullPositionsOrFaceIndices) {
    single_triangle no_positions, no_indices;
    no_positions.mesh.positions = nullptr;
    no_indices.mesh.face_indices = nullptr;
    for (uv_mesh *record : {static_cast<uv_mesh *>(&no_positions), static_cast<uv_mesh *>(&no_indices)}) {
        ASSERT_EQ(record->compute(), 0);
        EXPECT_EQ(record->tangents(), no_vectors);
        EXPECT_EQ(record->mesh.tangent_frame.components, 3u);
    }
}

} // namespace
} // namespace qel
