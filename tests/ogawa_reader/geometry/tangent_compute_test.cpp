// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "model/tangent_model.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace qel {
namespace {

using test::failing_heap;
using test::heap_ledger;
using floats = std::vector<float>;
using numbers = std::vector<std::uint32_t>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/// A mesh record over vectors, with one UV set named "uv" at first.
class mesh_record {
  public:
    mesh_record(floats positions, numbers counts, numbers indices, floats uvs)
        : positions_(std::move(positions)), counts_(std::move(counts)), indices_(std::move(indices)) {
        mesh.positions = positions_.data();
        mesh.vertex_count = static_cast<std::uint32_t>(positions_.size() / 3);
        mesh.face_counts = counts_.data();
        mesh.face_count = static_cast<std::uint32_t>(counts_.size());
        mesh.face_indices = indices_.data();
        mesh.face_index_count = static_cast<std::uint32_t>(indices_.size());
        add_set("uv", std::move(uvs));
    }
    ~mesh_record() { ogawa_free_tangent_frame(&mesh.tangent_frame); }
    mesh_record(const mesh_record &) = delete;
    mesh_record &operator=(const mesh_record &) = delete;

    void add_set(const char *name, floats uvs) {
        values_.push_back(std::make_unique<floats>(std::move(uvs)));
        ogawa_uv_set set{};
        std::strcpy(set.name, name);
        set.values = values_.back()->data();
        set.value_count = static_cast<std::uint32_t>(values_.back()->size() / 2);
        set.scope = OGAWA_SCOPE_FACE_VARYING;
        sets_.push_back(set);
        mesh.uv_sets = sets_.data();
        mesh.uv_set_count = static_cast<std::uint32_t>(sets_.size());
    }

    void set_uv_indices(numbers indices, std::uint32_t scope = OGAWA_SCOPE_FACE_VARYING) {
        uv_indices_ = std::move(indices);
        sets_[0].indices = uv_indices_.data();
        sets_[0].index_count = static_cast<std::uint32_t>(uv_indices_.size());
        sets_[0].scope = scope;
    }

    ogawa_uv_set &set() { return sets_[0]; }
    std::int32_t compute(const char *name = nullptr) { return ogawa_compute_tangent_frame(&mesh, name); }
    floats tangents() const { return listed(mesh.tangent_frame.tangents); }
    floats bitangents() const { return listed(mesh.tangent_frame.bitangents); }

    ogawa_polymesh mesh{};

  private:
    floats listed(const float *vectors) const { return floats(vectors, vectors + mesh.vertex_count * 3); }

    floats positions_;
    numbers counts_, indices_, uv_indices_;
    std::vector<std::unique_ptr<floats>> values_;
    std::vector<ogawa_uv_set> sets_;
};

/// Corners (0,0,0), (1,0,0), (0,1,0) and UVs (0,0), (1,0), (0,1).
struct single_triangle : mesh_record {
    single_triangle() : mesh_record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1}) {}
};

/// A unit square of four vertices, its UVs turned by a quarter.
struct turned_quad : mesh_record {
    turned_quad()
        : mesh_record({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {4}, {0, 1, 2, 3}, {0, 0, 0, 1, -1, 1, -1, 0}) {}
};

floats repeated(const floats &vector, std::size_t times) {
    floats result;
    while (times-- != 0)
        result.insert(result.end(), vector.begin(), vector.end());
    return result;
}

const floats no_vectors(9, 0.0f);

TEST(ComputeTangentFrame, OfASingleTriangleFollowsItsUvs) {
    single_triangle record;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.mesh.tangent_frame.count, 3u);
    EXPECT_EQ(record.mesh.tangent_frame.components, 3u);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, OfEqualUvsAndPositionsStaysZero) {
    mesh_record record(floats(9, 2.0f), {3}, {0, 1, 2}, floats(6, 0.5f));
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), no_vectors);
    EXPECT_EQ(record.bitangents(), no_vectors);
}

TEST(ComputeTangentFrame, NormalizesTheLongVectorsOfUvsOnALine) {
    // det is 0, the factor 1e8: T = ((1,0,0) 2 - (0,1,0) 1) 1e8, B = ((0,1,0) 1 - (1,0,0) 2) 1e8.
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 1, 2, 2});
    ASSERT_EQ(record.compute(), 0);
    const float x = 2e8f, y = 1e8f, length = std::sqrt(x * x + y * y);
    EXPECT_EQ(record.tangents(), repeated({x / length, -y / length, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({-x / length, y / length, 0}, 3));
}

TEST(ComputeTangentFrame, TakesTheFixedFactorOnlyBelow1em8) {
    // det is -1e-8 and then just nearer to 0: only 1 / det is negative.
    const floats positions{0, 0, 0, 1, 0, 0, 0, 1, 0};
    mesh_record divided(positions, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, -1e-8f});
    ASSERT_EQ(divided.compute(), 0);
    EXPECT_EQ(divided.tangents(), repeated({1, 0, 0}, 3));
    EXPECT_EQ(divided.bitangents(), repeated({0, -1, 0}, 3));
    mesh_record fixed(positions, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, -std::nextafter(1e-8f, 0.0f)});
    ASSERT_EQ(fixed.compute(), 0);
    EXPECT_EQ(fixed.tangents(), repeated({-1, 0, 0}, 3));
    EXPECT_EQ(fixed.bitangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, GivesAQuadTheVectorsOfItsFirstTriangle) {
    turned_quad record;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({0, -1, 0}, 4));
    EXPECT_EQ(record.bitangents(), repeated({1, 0, 0}, 4));
}

TEST(ComputeTangentFrame, SkipsAFaceOfTwoCornersAndGoesOnBehindThem) {
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {2, 0, 1, 3}, {2, 1, 0, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, TakesEveryFaceForATriangleWithoutFaceCounts) {
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {}, {0, 1, 2, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    record.mesh.face_counts = nullptr;
    record.mesh.face_count = 2;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, LeavesAVertexWithoutFacesZero) {
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0, 5, 5, 5}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), (floats{1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(record.bitangents(), (floats{0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0}));
}

TEST(ComputeTangentFrame, LeavesASumNotLongerThan1em8AsItIs) {
    // With these UVs tangent and bitangent are the edges; each is normalized or left by itself.
    const float longer = std::nextafter(1e-8f, 1.0f);
    mesh_record record({0, 0, 0, 1e-8f, 0, 0, 0, longer, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1e-8f, 0, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, MakesThemNotOrthogonal) {
    mesh_record record({0, 0, 0, 1, 0, 0, 1, 1, 0}, {3}, {0, 1, 2}, {0, 0, 1, 0, 0, 1});
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
    const float half = 1.0f / std::sqrt(2.0f);
    EXPECT_EQ(record.bitangents(), repeated({half, half, 0}, 3));
}

TEST(ComputeTangentFrame, AddsOncePerOccurrenceOfAVertex) {
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {5, 3}, {0, 1, 2, 0, 0, 0, 2, 1}, {0, 0, 1, 0, 0, 1});
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

TEST(ComputeTangentFrame, RefusesAMeshWithoutVerticesOrUvSets) {
    EXPECT_EQ(ogawa_compute_tangent_frame(nullptr, nullptr), -1);
    single_triangle no_vertices;
    no_vertices.mesh.vertex_count = 0;
    EXPECT_EQ(no_vertices.compute(), -1);
    single_triangle no_sets;
    no_sets.mesh.uv_set_count = 0;
    EXPECT_EQ(no_sets.compute(), -1);
    EXPECT_EQ(no_sets.mesh.tangent_frame.count, 0u);
}

TEST(ComputeTangentFrame, FindsNoSetInANullArray) {
    single_triangle record;
    record.mesh.uv_sets = nullptr;
    record.mesh.tangent_frame.count = 7;
    EXPECT_EQ(record.compute(nullptr), -2);
    EXPECT_EQ(record.compute("uv"), -2);
    EXPECT_EQ(record.mesh.tangent_frame.count, 7u) << "the frame is untouched";
}

TEST(ComputeTangentFrame, KeepsTheArrayItGotWhenTheOtherIsMissing) {
    for (const std::uint64_t failing : {1u, 2u}) {
        single_triangle record;
        heap_ledger ledger;
        {
            const failing_heap heap = failing_heap::nth(failing);
            EXPECT_EQ(record.compute(), -3);
            EXPECT_EQ(heap.count(), 2u);
        }
        const ogawa_tangent_frame &frame = record.mesh.tangent_frame;
        EXPECT_EQ(frame.count, 3u);
        EXPECT_EQ(frame.components, 0u);
        EXPECT_EQ(frame.tangents == nullptr, failing == 1);
        EXPECT_EQ(frame.bitangents == nullptr, failing == 2);
        EXPECT_EQ(ledger.live(), 1u);
        ogawa_free_tangent_frame(&record.mesh.tangent_frame);
        EXPECT_EQ(ledger.live(), 0u);
    }
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

TEST(ComputeTangentFrame, TakesUvsByCornerInAFaceVaryingSetWithIndices) {
    mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {1, 3}, {2, 0, 1, 2}, {0, 0, 1, 0, 0, 1});
    record.set_uv_indices({9, 0, 2, 1}); // the first belongs to the face of one corner
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({0, 1, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, TakesUvsByVertexWhereTheScopeIsNotFaceVarying) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1}, OGAWA_SCOPE_VERTEX);
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, TakesUvZeroForAVertexBeyondTheValues) {
    mesh_record record({5, 5, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {1, 2, 3}, {7, 7, 0, 0, 1, 0});
    ASSERT_EQ(record.compute(), 0);
    // Vertex 3 has no UV of its own and takes (7, 7).
    mesh_record spelled_out({5, 5, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {1, 2, 3}, {7, 7, 0, 0, 1, 0, 7, 7});
    ASSERT_EQ(spelled_out.compute(), 0);
    EXPECT_EQ(record.tangents(), spelled_out.tangents());
    EXPECT_EQ(record.bitangents(), spelled_out.bitangents());
    EXPECT_NE(record.tangents()[3], 0.0f);
}

TEST(ComputeTangentFrame, TakesUvZeroForAnIndexThatIsMissingOrBeyondTheValues) {
    const floats positions{0, 0, 0, 1, 0, 0, 0, 1, 0};
    for (const numbers &indices : {numbers{1, 2}, numbers{1, 2, 3}, numbers{1, 2, 0xFFFFFFFF}}) {
        mesh_record record(positions, {3}, {0, 1, 2}, {0, 1, 0, 0, 1, 0});
        record.set_uv_indices(indices);
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), repeated({1, 0, 0}, 3));
        EXPECT_EQ(record.bitangents(), repeated({0, 1, 0}, 3));
    }
}

TEST(ComputeTangentFrame, DoesNotBoundTheIndicesWhereTheirCountIsZero) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1});
    record.set().index_count = 0;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({0, 1, 0}, 3));
}

TEST(ComputeTangentFrame, DoesNotBoundTheValuesOfIndicesWhereTheirCountIsZero) {
    single_triangle record;
    record.set_uv_indices({0, 2, 1});
    record.set().value_count = 0;
    ASSERT_EQ(record.compute(), 0);
    EXPECT_EQ(record.tangents(), repeated({0, 1, 0}, 3));
    EXPECT_EQ(record.bitangents(), repeated({1, 0, 0}, 3));
}

TEST(ComputeTangentFrame, TakesUvZeroForEveryVertexWhereTheCountOfValuesIsZero) {
    for (const float u : {0.0f, nan}) { // a difference of equal numbers is zero, of two NaN it is NaN
        mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {3}, {0, 1, 2}, {u, 0, 1, 0, 0, 1});
        record.set().value_count = 0;
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(std::isnan(record.bitangents()[0]), std::isnan(u));
        EXPECT_EQ(record.tangents() == no_vectors, !std::isnan(u));
    }
}

TEST(ComputeTangentFrame, TakesASetWithoutValuesForZeros) {
    for (const bool indexed : {false, true}) {
        single_triangle record;
        record.set().values = nullptr;
        if (indexed) record.set_uv_indices({0, 1, 2});
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), no_vectors);
        EXPECT_EQ(record.bitangents(), no_vectors);
    }
}

TEST(ComputeTangentFrame, TakesNothingFromAFaceWhoseFirstThreeCornersAreNotAllVertices) {
    for (std::size_t bad = 0; bad < 4; ++bad) {
        numbers indices{0, 1, 2, 2};
        indices[bad] = bad % 2 == 0 ? 3 : 0xFFFFFFFF;
        mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {4}, indices, {0, 0, 1, 0, 0, 1});
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), bad < 3 ? no_vectors : repeated({1, 0, 0}, 3)) << bad;
    }
}

TEST(ComputeTangentFrame, StopsAtTheIndexCount) {
    for (std::uint32_t held = 1; held <= 4; ++held) {
        mesh_record record({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0xFFFFFFFF, 0xFFFFFFFF, 3}, numbers{0, 1, 2, 0},
                           {0, 0, 1, 0, 0, 1});
        record.mesh.face_index_count = held;
        ASSERT_EQ(record.compute(), 0);
        EXPECT_EQ(record.tangents(), held < 3 ? no_vectors : repeated({1, 0, 0}, 3)) << held;
    }
}

TEST(ComputeTangentFrame, TakesNothingFromNullPositionsOrFaceIndices) {
    single_triangle no_positions, no_indices;
    no_positions.mesh.positions = nullptr;
    no_indices.mesh.face_indices = nullptr;
    for (mesh_record *record :
         {static_cast<mesh_record *>(&no_positions), static_cast<mesh_record *>(&no_indices)}) {
        ASSERT_EQ(record->compute(), 0);
        EXPECT_EQ(record->tangents(), no_vectors);
        EXPECT_EQ(record->mesh.tangent_frame.components, 3u);
    }
}

/// Equal bits; any NaN equals any other, for which of two operands gives its bits is the machine's choice.
void expect_same(const floats &actual, const floats &expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
        ASSERT_EQ(std::memcmp(&actual[i], &expected[i], 4), 0)
            << i << ": " << actual[i] << ", " << expected[i];
    }
}

float random_float(std::mt19937 &random, bool odd_ones) {
    static constexpr float odd[] = {nan, infinity, -infinity, 1e-40f, -1e-45f, 3e38f, 0.0f, -0.0f, 1e-8f};
    if (odd_ones && random() % 6 == 0) return odd[random() % std::size(odd)];
    return static_cast<float>(static_cast<int>(random() % 2001) - 1000) / (random() % 2 == 0 ? 300.0f : 1e5f);
}

std::unique_ptr<mesh_record> random_record(std::mt19937 &random) {
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
    auto record = std::make_unique<mesh_record>(positions, counts, indices, uvs);
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
        const std::unique_ptr<mesh_record> record = random_record(random);
        ASSERT_EQ(record->compute("uv"), 0);
        const auto plain = model::compute_plain_tangent_frame(record->mesh, record->set());
        expect_same(record->tangents(), plain.tangents);
        expect_same(record->bitangents(), plain.bitangents);
        if (HasFatalFailure()) FAIL() << "mesh " << i;
    }
}

TEST(ComputeTangentFrame, EqualsItsPlainestFormOnATorus) {
    const test::plain_mesh torus = test::make_torus(60, 40, 3, 1);
    mesh_record record(torus.positions, torus.face_counts, torus.face_indices, torus.corner_uvs);
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
