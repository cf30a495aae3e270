// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh/mesh_record.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace qel {
namespace {

using test::failing_heap;
using test::heap_ledger;
using test::with_each_form;

TEST(GetVertexNeighbors, ListsAQuadsVerticesInCornerOrder) {
    mesh_record record(4, {4}, {0, 1, 2, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.neighbors_of(0), (numbers{1, 2, 3}));
    EXPECT_EQ(record.neighbors_of(2), (numbers{0, 1, 3}));
}

TEST(GetVertexNeighbors, OfTwoTrianglesComeInOrderOfFirstAppearance) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.faces_of(1), (numbers{0, 1}));
    EXPECT_EQ(record.neighbors_of(1), (numbers{0, 2, 3}));
}

TEST(GetVertexNeighbors, ReadNoMoreThanTheRunOfThreeFields) {
    mesh_record record(4, {4}, {0, 1, 2, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    struct {
        std::uint32_t *face_counts;
        std::uint32_t face_count;
        std::uint32_t *face_indices;
    } faces{nullptr, 0, record.mesh.face_indices};
    std::uint32_t *neighbors = nullptr, count = 0;
    ASSERT_EQ(ogawa_get_vertex_neighbors(&record.mesh.manifold, &faces, 1, &neighbors, &count), 0);
    EXPECT_EQ(numbers(neighbors, neighbors + count), (numbers{0, 2, 3}));
    std::free(neighbors);
}

TEST(GetVertexNeighbors, RefuseNullArgumentsAndAVertexBeyondTheLast) {
    mesh_record record(4, {4}, {0, 1, 2, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    std::uint32_t marker = 0, *neighbors = &marker, count = 77;
    const ogawa_manifold *manifold = &record.mesh.manifold;
    const void *faces = &record.mesh.face_counts;
    EXPECT_EQ(ogawa_get_vertex_neighbors(nullptr, faces, 0, &neighbors, &count), -1);
    EXPECT_EQ(ogawa_get_vertex_neighbors(manifold, nullptr, 0, &neighbors, &count), -1);
    EXPECT_EQ(ogawa_get_vertex_neighbors(manifold, faces, 4, &neighbors, &count), -1);
    EXPECT_EQ(neighbors, &marker);
    EXPECT_EQ(count, 77u);
}

TEST(GetVertexNeighbors, ReportMissingMemoryForTheListAndForTheResult) {
    mesh_record record(4, {3, 3}, {0, 1, 2, 2, 1, 3});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    // Vertex 1 has two faces and three neighbours: a list of 2 x 10 words, a result of 3.
    for (const std::size_t size : {80u, 12u}) {
        with_each_form(neighbors_kernel, [&] {
            const heap_ledger ledger;
            std::uint32_t marker = 0, *neighbors = &marker, count = 77;
            const failing_heap heap = failing_heap::of_size(size);
            EXPECT_EQ(record.ask(1, neighbors, count), -2);
            EXPECT_EQ(heap.failures(), 1u) << size;
            EXPECT_EQ(neighbors, &marker);
            EXPECT_EQ(count, 77u);
            EXPECT_EQ(ledger.live(), 0u);
        });
    }
}

TEST(GetVertexNeighbors, OfAFaceOfElevenCornersFillTheListOfTen) {
    mesh_record record(11, {11}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    with_each_form(neighbors_kernel, [&] {
        std::uint32_t *neighbors = nullptr, count = 0;
        for (const std::uint64_t n : {1u, 2u}) {
            const failing_heap heap = failing_heap::nth(n);
            EXPECT_EQ(record.ask(5, neighbors, count), -2);
        }
        // Both the list and the result take 40 bytes, so the first of the two fails and the second is not attempted.
        const failing_heap heap = failing_heap::of_size(40);
        EXPECT_EQ(record.ask(5, neighbors, count), -2);
        EXPECT_EQ(heap.count(), 1u);
    });
    EXPECT_EQ(record.neighbors_of(5), (numbers{0, 1, 2, 3, 4, 6, 7, 8, 9, 10}));
}

TEST(GetVertexNeighbors, ListAllVerticesOfALargeFace) {
    numbers indices;
    for (std::uint32_t i = 0; i < 500; ++i)
        indices.push_back(i);
    mesh_record record(500, {500}, indices);
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    const numbers neighbors = record.neighbors_of(250);
    EXPECT_EQ(neighbors.size(), 499u);
    EXPECT_EQ(neighbors.front(), 0u);
    EXPECT_EQ(neighbors.back(), 499u);
}

TEST(GetVertexNeighbors, MayAllHaveTheSameHash) {
    // Fibonacci hashing with 64 places: one of 64 vertices has place 63.
    numbers indices = {0};
    for (std::uint32_t vertex = 1; indices.size() < 49; ++vertex)
        if (vertex * 0x9E3779B1u >> 26 == 63) indices.push_back(vertex);
    mesh_record record(10'000, {49}, indices);
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.neighbors_of(0), numbers(indices.begin() + 1, indices.end()));
}

/// A hub, vertex 0, with `spokes` triangles round it.
mesh_record *make_fan(std::uint32_t spokes) {
    numbers indices;
    for (std::uint32_t i = 0; i < spokes; ++i)
        indices.insert(indices.end(), {0, i + 1, (i + 1) % spokes + 1});
    return new mesh_record(spokes + 1, numbers(spokes, 3), indices);
}

TEST(GetVertexNeighbors, OfAHubAllocateTheListAndTheResultOnly) {
    for (const std::uint32_t spokes : {33u, 200u, 1024u}) {
        const std::unique_ptr<mesh_record> fan(make_fan(spokes));
        ASSERT_EQ(ogawa_build_manifold(&fan->mesh), 0);
        const heap_ledger ledger;
        std::uint32_t *neighbors = nullptr, count = 77;
        for (const std::uint64_t n : {1u, 2u}) {
            const failing_heap heap = failing_heap::nth(n);
            EXPECT_EQ(fan->ask(0, neighbors, count), -2) << spokes;
            EXPECT_EQ(heap.count(), n);
        }
        EXPECT_EQ(neighbors, nullptr);
        EXPECT_EQ(count, 77u);
        EXPECT_EQ(ledger.live(), 0u);
        const numbers found = fan->neighbors_of(0);
        ASSERT_EQ(found.size(), spokes);
        for (std::uint32_t i = 0; i < spokes; ++i)
            ASSERT_EQ(found[i], i + 1);
    }
}

TEST(GetVertexNeighbors, OfAHubOfManyFacesAreFoundQuickly) {
    const std::uint32_t spokes = 300'000;
    const std::unique_ptr<mesh_record> fan(make_fan(spokes));
    ASSERT_EQ(ogawa_build_manifold(&fan->mesh), 0);
    const numbers neighbors = fan->neighbors_of(0);
    ASSERT_EQ(neighbors.size(), spokes);
    for (std::uint32_t i = 0; i < spokes; ++i)
        ASSERT_EQ(neighbors[i], i + 1);
}

TEST(GetVertexNeighbors, OfAHubOfLargeFacesAllocateTheListAndTheResultOnly) {
    // Faces of 9 corners round vertex 0: 8 others each, more keys than ten words a face hold.
    numbers indices;
    const std::uint32_t faces = 300;
    for (std::uint32_t f = 0; f < faces; ++f) {
        indices.push_back(0);
        for (std::uint32_t i = 1; i < 9; ++i)
            indices.push_back(f * 7 + i); // each begins with the last of the face before
    }
    mesh_record record(faces * 7 + 2, numbers(faces, 9), indices);
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    std::uint32_t *neighbors = nullptr, count = 0;
    for (const std::uint64_t n : {1u, 2u}) {
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(record.ask(0, neighbors, count), -2);
    }
    const numbers found = record.neighbors_of(0);
    ASSERT_EQ(found.size(), faces * 7 + 1);
    for (std::uint32_t i = 0; i < found.size(); ++i)
        ASSERT_EQ(found[i], i + 1);
}

TEST(GetVertexNeighbors, DistinguishVerticesOfOneHash) {
    // The first five have the hash of the centre, the others the one before it, so that probing continues into it.
    for (const numbers &round : {numbers{34, 89, 178, 233, 267}, numbers{55, 144, 199, 288, 343},
                                 numbers{55, 34, 144, 89, 199}, numbers{34, 55, 89, 144, 178}}) {
        mesh_record record(400, {3, 4, 4},
                           {0, round[0], round[1], 0, round[1], round[2], round[3], round[3], round[0], 0, round[4]});
        ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
        EXPECT_EQ(record.neighbors_of(0), round);
    }
}

TEST(GetVertexNeighbors, AreInOrderAroundTheLimitsOfTheTable) {
    for (const std::uint32_t neighbors : {47u, 48u, 49u, 50u, 63u, 64u, 65u, 66u}) {
        numbers counts, indices, expected;
        for (std::uint32_t i = 1; i <= neighbors; ++i) {
            counts.push_back(3);
            indices.insert(indices.end(), {0, i * 5 % 67, i * 5 % 67}); // 67 is prime: no two are equal
            expected.push_back(i * 5 % 67);
        }
        mesh_record record(67, counts, indices);
        ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
        EXPECT_EQ(record.neighbors_of(0), expected) << neighbors << " neighbours";
    }
}

TEST(GetVertexNeighbors, AreInOrderAroundTheWidthOfARegister) {
    // 16 corners fit in one: of the vertex's faces together, and of one face with the vertex itself.
    for (std::uint32_t others = 14; others <= 18; ++others) {
        numbers star, polygon, expected;
        for (std::uint32_t i = 1; i <= others; ++i) {
            star.insert(star.end(), {0, i % 13 + 1}); // the last ones repeat the first
            if (i <= 13) expected.push_back(i % 13 + 1);
        }
        mesh_record edges(20, numbers(others, 2), star);
        ASSERT_EQ(ogawa_build_manifold(&edges.mesh), 0);
        EXPECT_EQ(edges.neighbors_of(0), expected) << others;
        for (std::uint32_t i = 0; i <= others; ++i)
            polygon.push_back(i);
        mesh_record face(20, {others + 1}, polygon);
        ASSERT_EQ(ogawa_build_manifold(&face.mesh), 0);
        EXPECT_EQ(face.neighbors_of(0), numbers(polygon.begin() + 1, polygon.end())) << others;
    }
}

TEST(GetVertexNeighbors, ReturnsNoneForAnIsolatedVertex) {
    mesh_record record(3, {3, 0, 1}, {1, 1, 1, 1});
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.neighbors_of(0), numbers{});
    EXPECT_EQ(record.neighbors_of(1), numbers{});
}

TEST(GetVertexNeighbors, VisitAFaceOnceIfItRepeatsTheVertex) {
    // Visiting it once per listing would read 40,000,000,000 corners.
    numbers indices(200'000, 0);
    indices.back() = 1;
    mesh_record record(2, {200'000}, indices);
    ASSERT_EQ(ogawa_build_manifold(&record.mesh), 0);
    EXPECT_EQ(record.neighbors_of(0), numbers{1});
    EXPECT_EQ(record.neighbors_of(1), numbers{0});
}

TEST(VertexLookups, FindNothingAfterABuildThatFailedMidway) {
    const heap_ledger ledger;
    mesh_record record(16, {3}, {0, 1, 2}); // vertex 8 is among many that no face names
    ogawa_manifold &manifold = record.mesh.manifold;
    {
        const failing_heap heap = failing_heap::nth(3);
        ASSERT_EQ(ogawa_build_manifold(&record.mesh), -2);
    }
    ASSERT_TRUE(ledger.has_freed(manifold.vertex_face_offsets)) << "nothing may be read there";
    const std::uint32_t *faces = nullptr;
    std::uint32_t *neighbors = nullptr, count = 0;
    EXPECT_EQ(ogawa_get_vertex_faces(&manifold, 8, &faces, &count), -1);
    EXPECT_EQ(record.ask(8, neighbors, count), -1);
    std::memset(static_cast<void *>(&manifold), 0, sizeof manifold);
}

} // namespace
} // namespace qel
