// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "model/manifold_model.h"
#include "ogawa_reader/mesh/mesh_record.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace qel {
namespace {

using test::failing_heap;
using test::heap_ledger;

bool is_zero(const ogawa_manifold &manifold) {
    const auto *raw = reinterpret_cast<const std::uint8_t *>(&manifold);
    for (std::size_t i = 0; i < sizeof manifold; ++i)
        if (raw[i] != 0) return false;
    return true;
}

TEST(BuildManifold, RefusesANullMesh) {
    EXPECT_EQ(ogawa_build_manifold(nullptr), -1);
}

TEST(BuildManifold, WritesOneFaceOffsetForAMeshWithoutFaces) {
    mesh_record record(3, {}, {});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), numbers{0});
    for (std::uint32_t vertex = 0; vertex < 3; ++vertex) {
        EXPECT_TRUE(record.faces_of(vertex).empty());
        EXPECT_TRUE(record.neighbors_of(vertex).empty());
    }
}

TEST(BuildManifold, FillsEveryFieldOfTwoTriangles) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    std::memset(static_cast<void *>(&record.mesh.manifold), 0xCD, sizeof record.mesh.manifold);
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    const ogawa_manifold &manifold = record.mesh.manifold;
    EXPECT_EQ(manifold.vertex_count, 4u);
    EXPECT_EQ(manifold.face_count, 2u);
    EXPECT_EQ(manifold.face_vertices, record.mesh.face_indices);
    EXPECT_EQ(numbers(manifold.vertex_face_offsets, manifold.vertex_face_offsets + 5), (numbers{0, 1, 3, 5, 6}));
    EXPECT_EQ(numbers(manifold.vertex_faces, manifold.vertex_faces + 6), (numbers{0, 0, 1, 0, 1, 1}));
    EXPECT_EQ(record.face_offsets(), (numbers{0, 3, 6}));
    EXPECT_EQ(manifold.aux_array_a, nullptr);
    EXPECT_EQ(manifold.aux_count, 0u);
    EXPECT_EQ(manifold.aux_array_b, nullptr);
    EXPECT_EQ(manifold.aux_array_c, nullptr);
}

TEST(BuildManifold, TreatsEveryFaceAsATriangleWithoutFaceCounts) {
    mesh_record record(4, {}, {0, 1, 2, 2, 1, 3});
    record.drop_counts();
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), (numbers{0, 3, 6}));
    EXPECT_EQ(record.faces_of(2), (numbers{0, 1}));
}

TEST(BuildManifold, GivesFacesWithoutCornersEqualOffsets) {
    mesh_record record(3, {0, 3, 0, 0, 1, 0}, {0, 1, 2, 2});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), (numbers{0, 0, 3, 3, 3, 4, 4}));
    EXPECT_EQ(record.faces_of(2), (numbers{1, 4}));
}

TEST(BuildManifold, IgnoresCornersOutOfRangeButKeepsTheirPlace) {
    mesh_record record(3, {4, 3}, {0, 3, 1, 0xFFFFFFFF, 9, 1, 2});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), (numbers{0, 4, 7}));
    EXPECT_EQ(record.faces_of(0), numbers{0});
    EXPECT_EQ(record.faces_of(1), (numbers{0, 1}));
    EXPECT_EQ(record.faces_of(2), numbers{1});
    EXPECT_EQ(record.neighbors_of(2), (numbers{9, 1})) << "a neighbour need not be a vertex of the mesh";
}

TEST(BuildManifold, ListsAFaceOncePerOccurrenceOfTheVertex) {
    mesh_record record(3, {5, 3}, {0, 1, 0, 2, 0, 0, 2, 1});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.faces_of(0), (numbers{0, 0, 0, 1}));
    EXPECT_EQ(record.neighbors_of(0), (numbers{1, 2}));
}

TEST(BuildManifold, StopsAtTheIndexCount) {
    mesh_record record(4, {3, 4, 0xFFFFFFFF, 0xFFFFFFFF, 3}, {0, 1, 2, 3, 1});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), (numbers{0, 3, 5, 5, 5, 5}));
    EXPECT_EQ(record.faces_of(1), (numbers{0, 1}));
    EXPECT_EQ(record.neighbors_of(1), (numbers{0, 2, 3}));
}

TEST(BuildManifold, TrustsTheFaceCountsWhereTheIndexCountIsZero) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    record.mesh.face_index_count = 0;
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.face_offsets(), (numbers{0, 3, 6}));
    EXPECT_EQ(record.neighbors_of(1), (numbers{0, 2, 3}));
}

TEST(BuildManifold, TreatsNullFaceIndicesAsNoCorners) {
    for (const std::uint32_t index_count : {0u, 6u}) {
        mesh_record record(4, {3, 3}, {});
        record.mesh.face_indices = nullptr;
        record.mesh.face_index_count = index_count;
        ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
        EXPECT_EQ(record.face_offsets(), (numbers{0, 0, 0}));
        EXPECT_TRUE(record.faces_of(1).empty());
        EXPECT_TRUE(record.neighbors_of(1).empty());
        EXPECT_EQ(record.mesh.manifold.face_vertices, nullptr);
    }
}

TEST(BuildManifold, OverwritesWhatItHeldWithoutFreeing) {
    mesh_record record(4, {3}, {0, 1, 2});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    ogawa_manifold first = record.mesh.manifold;
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_NE(record.mesh.manifold.vertex_faces, first.vertex_faces);
    EXPECT_EQ(first.vertex_faces[0], 0u) << "still allocated";
    ogawa_free_manifold(&first);
}

/// Builds with the n-th allocation failing.
struct failed_build {
    heap_ledger ledger;
    mesh_record record{4, {3, 3}, {0, 1, 2, 2, 1, 3}};

    explicit failed_build(std::uint64_t n) {
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(ogawa_build_manifold(&record.mesh), -2);
    }
    ~failed_build() { std::memset(static_cast<void *>(&record.mesh.manifold), 0, sizeof(ogawa_manifold)); }
};

TEST(BuildManifold, MakesFourAllocationsOfTheirExactSizes) {
    // 5 vertices, 2 faces, 6 corners: 20, 24, 24 and 12 bytes.
    for (const auto &[size, failures] : {std::pair{20u, 1u}, {24u, 1u}, {12u, 1u}, {16u, 0u}}) {
        heap_ledger ledger;
        mesh_record record(5, {3, 3}, {0, 1, 2, 2, 1, 3});
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(ogawa_build_manifold(&record.mesh), failures == 0 ? 0 : -2);
        EXPECT_EQ(heap.failures(), failures) << size;
        if (failures == 0) {
            EXPECT_EQ(heap.count(), 4u);
            continue;
        }
        std::memset(static_cast<void *>(&record.mesh.manifold), 0, sizeof(ogawa_manifold));
        ledger.free_all();
    }
}

TEST(GetVertexFaces, RefusesAVertexBeyondTheLast) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    const std::uint32_t *faces = nullptr;
    std::uint32_t count = 77;
    EXPECT_EQ(ogawa_get_vertex_faces(&record.mesh.manifold, 4, &faces, &count), -1);
    EXPECT_EQ(ogawa_get_vertex_faces(&record.mesh.manifold, 0xFFFFFFFF, &faces, &count), -1);
    EXPECT_EQ(ogawa_get_vertex_faces(nullptr, 0, &faces, &count), -1);
    EXPECT_EQ(faces, nullptr);
    EXPECT_EQ(count, 77u);
}

TEST(GetVertexFaces, PointsIntoTheManifold) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    const std::uint32_t *faces = nullptr;
    std::uint32_t count = 0;
    ASSERT_EQ(ogawa_get_vertex_faces(&record.mesh.manifold, 3, &faces, &count), 0);
    EXPECT_EQ(faces, record.mesh.manifold.vertex_faces + 5);
    EXPECT_EQ(count, 1u);
}

TEST(VertexLookups, FindNothingInAManifoldWhoseBuildingFailed) {
    for (std::uint64_t n = 1; n <= 4; ++n) {
        failed_build build(n);
        const std::uint32_t *faces = nullptr;
        std::uint32_t *neighbors = nullptr, count = 0;
        EXPECT_EQ(ogawa_get_vertex_faces(&build.record.mesh.manifold, 0, &faces, &count), n < 4 ? -1 : 0) << n;
        EXPECT_EQ(build.record.ask(0, neighbors, count), -1) << n;
        EXPECT_EQ(neighbors, nullptr);
        build.ledger.free_all();
    }
}

/// A manifold of three vertices, made by hand.
struct hand_made {
    std::uint32_t vertex_face_offsets[4] = {0, 0, 0, 0}, face_offsets[2] = {0, 0};
    ogawa_manifold manifold{};
    ogawa_polymesh mesh{};

    hand_made() {
        manifold.vertex_count = 3;
        manifold.vertex_face_offsets = vertex_face_offsets;
    }

    /// What both lookups answer, when they agree; a list of faces or neighbours is counted as well.
    std::int32_t look_up(std::uint32_t vertex) {
        const std::uint32_t *faces = nullptr;
        std::uint32_t *neighbors = nullptr, face_count = 0, neighbor_count = 0;
        const std::int32_t status = ogawa_get_vertex_faces(&manifold, vertex, &faces, &face_count);
        EXPECT_EQ(ogawa_get_vertex_neighbors(&manifold, &mesh.face_counts, vertex, &neighbors, &neighbor_count),
                  status);
        std::free(neighbors);
        EXPECT_EQ(face_count, 0u);
        EXPECT_EQ(neighbor_count, 0u);
        return status;
    }
};

TEST(VertexLookups, FindEmptyListsIfNoVertexHasAFace) {
    hand_made without_faces, empty_faces;
    empty_faces.manifold.face_offsets = empty_faces.face_offsets;
    empty_faces.manifold.face_count = 1;
    for (std::uint32_t vertex = 0; vertex < 4; ++vertex) {
        EXPECT_EQ(without_faces.look_up(vertex), vertex < 3 ? 0 : -1);
        EXPECT_EQ(empty_faces.look_up(vertex), vertex < 3 ? 0 : -1);
    }
}

TEST(VertexLookups, FindNothingWithoutArrays) {
    hand_made no_offsets, no_lists;
    no_offsets.manifold.vertex_face_offsets = nullptr;
    EXPECT_EQ(no_offsets.look_up(0), -1);
    no_lists.vertex_face_offsets[2] = no_lists.vertex_face_offsets[3] = 1;
    EXPECT_EQ(no_lists.look_up(0), 0);
    EXPECT_EQ(no_lists.look_up(1), -1);
}

TEST(VertexLookups, OfAMeshWithoutFacesNeedNoMemoryForTheLists) {
    for (const numbers &counts : {numbers{}, numbers{0, 0}}) {
        mesh_record record(3, counts, {});
        {
            const failing_heap heap = failing_heap::nth(3);
            ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0) << "no list is missing";
            EXPECT_EQ(heap.failures(), 1u);
        }
        EXPECT_EQ(record.mesh.manifold.vertex_faces, nullptr);
        EXPECT_TRUE(record.faces_of(2).empty());
        EXPECT_TRUE(record.neighbors_of(2).empty());
    }
}

TEST(IsManifoldClosed, ReturnsFalseEvenForACube) {
    mesh_record cube(8, {4, 4, 4, 4, 4, 4}, {0, 1, 3, 2, 4, 6, 7, 5, 0, 4, 5, 1, 2, 3, 7, 6, 0, 2, 6, 4, 1, 5, 7, 3});
    ASSERT_EQ(ogawa_build_manifold(&cube.mesh), 0);
    EXPECT_EQ(ogawa_is_manifold_closed(&cube.mesh.manifold), 0);
    EXPECT_EQ(ogawa_is_manifold_closed(nullptr), 0);
}

TEST(FreeManifold, AcceptsNullAndAClearedRecord) {
    ogawa_free_manifold(nullptr);
    ogawa_manifold manifold{};
    ogawa_free_manifold(&manifold);
    EXPECT_TRUE(is_zero(manifold));
}

TEST(FreeManifold, ReleasesAllItOwnsButNotTheFaceVertices) {
    heap_ledger ledger;
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(ledger.live(), 3u);
    ogawa_manifold &manifold = record.mesh.manifold;
    manifold.aux_array_a = std::malloc(1);
    manifold.aux_array_b = std::malloc(2);
    manifold.aux_array_c = std::malloc(3);
    manifold.aux_count = 9;
    ogawa_free_manifold(&manifold);
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_TRUE(is_zero(manifold));
    EXPECT_EQ(record.mesh.face_indices[5], 3u);
}

void expect_equal_to_model(mesh_record &record) {
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    const ogawa_manifold &manifold = record.mesh.manifold;
    const model::plain_manifold plain = model::build_plain_manifold(record.mesh);
    ASSERT_EQ(numbers(manifold.vertex_face_offsets, manifold.vertex_face_offsets + record.mesh.vertex_count + 1),
              plain.vertex_face_offsets);
    ASSERT_EQ(numbers(manifold.vertex_faces, manifold.vertex_faces + plain.vertex_faces.size()), plain.vertex_faces);
    ASSERT_EQ(record.face_offsets(), plain.face_offsets);
    for (std::uint32_t vertex = 0; vertex < record.mesh.vertex_count; ++vertex)
        ASSERT_EQ(record.neighbors_of(vertex), model::plain_neighbors(plain, record.mesh.face_indices, vertex));
}

/// A record with faces of 0 to `largest` corners, some corners out of range, and at times fewer or more corners
/// than the faces claim.
std::unique_ptr<mesh_record> random_record(std::mt19937 &random, std::uint32_t largest) {
    const auto below = [&random](std::size_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    const std::uint32_t vertices = 1 + below(12), faces = below(30);
    numbers counts, indices;
    std::size_t claimed = 0;
    for (std::uint32_t f = 0; f < faces; ++f) {
        counts.push_back(below(5) == 0 ? 0 : below(largest + 1));
        claimed += counts.back();
    }
    const std::uint32_t kind = below(4);
    const std::size_t held = kind == 0 ? below(claimed + 1) : kind == 1 ? claimed + below(9) : claimed;
    while (indices.size() < held)
        indices.push_back(below(12) == 0 ? std::numeric_limits<std::uint32_t>::max() - below(3) : below(vertices + 2));
    auto record = std::make_unique<mesh_record>(vertices, counts, indices);
    if (kind == 2) record->mesh.face_index_count = 0;
    if (indices.empty()) record->mesh.face_indices = nullptr;
    if (kind == 3) record->drop_counts();
    return record;
}

TEST(Manifold, EqualsItsPlainestFormOnRandomMeshes) {
    std::mt19937 random(61);
    for (int i = 0; i < 3000; ++i) {
        expect_equal_to_model(*random_record(random, i % 10 == 0 ? 90 : 6));
        if (HasFatalFailure()) FAIL() << "mesh " << i;
    }
}

TEST(Manifold, EqualsItsPlainestFormOnATorus) {
    const test::plain_mesh torus = test::make_torus(40, 30, 3, 1);
    mesh_record record(torus.vertex_count(), torus.face_counts, torus.face_indices);
    expect_equal_to_model(record);
    EXPECT_EQ(record.faces_of(17).size(), 4u);
    EXPECT_EQ(record.neighbors_of(17).size(), 8u);
}

} // namespace
} // namespace qel
