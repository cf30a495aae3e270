// SPDX-License-Identifier: MIT
#include "model/topology_model.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <random>
#include <string>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t seed = 0x5A5A5A5A;
const std::vector<float> corner_triangle = {0, 0, 0, 1, 0, 0, 0, 1, 1};
const std::vector<std::uint32_t> one_face = {0, 1, 2};

std::uint32_t rotl5(std::uint32_t value) {
    return value << 5 | value >> 27;
}

std::int32_t load(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                  qel_alembic_mesh &mesh, const char *name = "mesh") {
    return qel_alembic_load_raw(positions.data(), static_cast<std::uint32_t>(positions.size() / 3),
                                indices.data(), static_cast<std::uint32_t>(indices.size() / 3), name, &mesh);
}

/// A mesh of `count` vertices whose positions and indices the test owns.
struct bare_mesh : qel_alembic_mesh {
    bare_mesh(std::uint32_t count, float *vectors) : qel_alembic_mesh{} {
        vertex_count = count;
        positions = vectors;
    }
    ~bare_mesh() {
        std::free(vertices);
        std::free(tokens);
    }
    bare_mesh(const bare_mesh &) = delete;
    bare_mesh &operator=(const bare_mesh &) = delete;
};

/// Whether records and tokens are those of the model, to the byte.
void expect_same(const qel_alembic_mesh &mesh, const std::vector<qel_alembic_vertex> &vertices,
                 const std::vector<qel_alembic_token> &tokens) {
    EXPECT_EQ(std::memcmp(mesh.vertices, vertices.data(), vertices.size() * 40), 0);
    EXPECT_EQ(std::memcmp(mesh.tokens, tokens.data(), tokens.size() * 32), 0);
}

TEST(TopologyHash, IsZeroWithoutFaces) {
    EXPECT_EQ(qel_alembic_topology_hash(0, nullptr, 1), 0u);
    EXPECT_EQ(qel_alembic_topology_hash(0, one_face.data(), 0), 0u);
}

TEST(TopologyHash, IsTheSeedForAVertexInNoFace) {
    EXPECT_EQ(qel_alembic_topology_hash(3, one_face.data(), 1), seed);
}

TEST(TopologyHash, MixesEachFaceOfTheVertexAndRotates) {
    const std::uint32_t face = 1 * 0x2E2E2E2Eu ^ 2 * 0x3D3D3D3Du;
    EXPECT_EQ(qel_alembic_topology_hash(1, one_face.data(), 1), rotl5(face ^ seed));
    const std::vector<std::uint32_t> two = {0, 1, 2, 7, 8, 9, 0, 1, 2};
    EXPECT_EQ(qel_alembic_topology_hash(2, two.data(), 3), rotl5(rotl5(face ^ seed) ^ face));
}

TEST(TopologyHash, DependsOnTheOrderOfFacesAndOfIndices) {
    const std::vector<std::uint32_t> forth = {0, 1, 2, 0, 3, 4}, back = {0, 3, 4, 0, 1, 2},
                                     turned = {1, 2, 0, 0, 3, 4};
    const std::uint32_t hash = qel_alembic_topology_hash(0, forth.data(), 2);
    EXPECT_NE(hash, qel_alembic_topology_hash(0, back.data(), 2));
    EXPECT_NE(hash, qel_alembic_topology_hash(0, turned.data(), 2));
}

TEST(TopologyHash, CountsAFaceOnceForAVertexThatRepeatsInIt) {
    const std::vector<std::uint32_t> face = {4, 4, 4};
    const std::uint32_t mix = 4 * 0x1F1F1F1Fu ^ 4 * 0x2E2E2E2Eu ^ 4 * 0x3D3D3D3Du;
    EXPECT_EQ(qel_alembic_topology_hash(4, face.data(), 1), rotl5(mix ^ seed));
}

TEST(TopologyHash, FindsVerticesBeyondAnyMesh) {
    const std::vector<std::uint32_t> face = {0, 0xFFFFFFFF, 1};
    EXPECT_NE(qel_alembic_topology_hash(0xFFFFFFFF, face.data(), 1), seed);
}

TEST(ProcessMesh, RefusesNoMeshAndNoVertices) {
    qel_alembic_mesh mesh = {};
    mesh.layer = 9;
    EXPECT_EQ(qel_alembic_process_mesh(nullptr, 1), -1);
    EXPECT_EQ(qel_alembic_process_mesh(&mesh, 1), -1);
    EXPECT_EQ(mesh.layer, 9);
    EXPECT_EQ(mesh.vertices, nullptr);
}

TEST(ProcessMesh, GivesEveryVertexAndTokenTheLayerAndTheirNumber) {
    owned_mesh owned;
    ASSERT_EQ(load(corner_triangle, one_face, owned.mesh), 0);
    EXPECT_EQ(qel_alembic_process_mesh(&owned.mesh, 77), 0);
    EXPECT_EQ(owned.mesh.layer, 77);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(owned.mesh.tokens[i].layer, 77);
        EXPECT_EQ(std::string(owned.mesh.tokens[i].hex_id, 8), "0000000" + std::to_string(i));
    }
}

TEST(ProcessMesh, PutsTheCornersOfTheBoxAtTheCornersOfTheLattice) {
    owned_mesh owned;
    ASSERT_EQ(load({-1, 2, 3, 4, 5, 6, 1, 3, 4}, {}, owned.mesh), 0);
    EXPECT_EQ(owned.mesh.vertices[0].morton, 0u);
    EXPECT_EQ(owned.mesh.vertices[1].morton, 233471u);
}

TEST(ProcessMesh, HashesAVertexInNoFaceToTheSeedAndToZeroWithoutFaces) {
    owned_mesh with_face, without;
    std::vector<float> positions = corner_triangle;
    positions.insert(positions.end(), {9, 9, 9});
    ASSERT_EQ(load(positions, one_face, with_face.mesh), 0);
    EXPECT_EQ(with_face.mesh.vertices[3].topology, seed);
    ASSERT_EQ(load(positions, {}, without.mesh), 0);
    EXPECT_EQ(without.mesh.vertices[3].topology, 0u);
}

TEST(ProcessMesh, HashesToZeroWhenItHasAFaceCountButNoIndices) {
    float positions[] = {0, 0, 0};
    bare_mesh mesh(1, positions);
    mesh.face_count = 5;
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.vertices[0].topology, 0u);
}

TEST(ProcessMesh, HashesToZeroWhenItHasIndicesButNoFaceCount) {
    float positions[] = {0, 0, 0};
    std::uint32_t indices[] = {0, 0, 0};
    bare_mesh mesh(1, positions);
    mesh.indices = indices;
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.vertices[0].topology, 0u);
}

TEST(ProcessMesh, IgnoresIndicesBeyondTheMesh) {
    owned_mesh owned;
    ASSERT_EQ(load({0, 0, 0, 1, 1, 1}, {0, 2, 0xFFFFFFFF, 5, 6, 7}, owned.mesh), 0);
    EXPECT_EQ(owned.mesh.vertices[0].topology, rotl5(2 * 0x2E2E2E2Eu ^ 0xFFFFFFFFu * 0x3D3D3D3Du ^ seed));
    EXPECT_EQ(owned.mesh.vertices[1].topology, seed);
}

TEST(ProcessMesh, ProcessedTwiceReusesItsArraysAndGivesIdenticalTokens) {
    std::mt19937 random(53);
    owned_mesh owned;
    ASSERT_EQ(load(test::random_positions(random, 50), test::random_triangles(random, 50, 80), owned.mesh),
              0);
    qel_alembic_mesh &mesh = owned.mesh;
    const std::vector<qel_alembic_token> before(mesh.tokens, mesh.tokens + 50);
    qel_alembic_vertex *const vertices = mesh.vertices;
    qel_alembic_token *const tokens = mesh.tokens;
    const failing_heap none = failing_heap::from(1);
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(none.count(), 0u);
    EXPECT_EQ(mesh.vertices, vertices);
    EXPECT_EQ(mesh.tokens, tokens);
    EXPECT_EQ(std::memcmp(before.data(), tokens, 50 * sizeof *tokens), 0);
}

TEST(ProcessMesh, ZeroesThePaddingOfNewArraysAndKeepsThatOfReusedOnes) {
    float positions[] = {0, 0, 0, 1, 1, 1};
    bare_mesh mesh(2, positions);
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.vertices[1].padding0, 0);
    EXPECT_EQ(mesh.vertices[1].padding1[1], 0);
    EXPECT_EQ(mesh.tokens[1].padding[6], 0);
    mesh.vertices[1].padding0 = 11;
    mesh.vertices[1].padding1[1] = 12;
    mesh.tokens[1].padding[6] = 13;
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.vertices[1].padding0, 11);
    EXPECT_EQ(mesh.vertices[1].padding1[1], 12);
    EXPECT_EQ(mesh.tokens[1].padding[6], 13);
}

TEST(ProcessMesh, KeepsABoxThatIsSet) {
    float positions[] = {0.5f, 0, 0, 5, 5, 5};
    bare_mesh mesh(2, positions);
    mesh.bounds[3] = 1; // only max x is not 0
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.bounds[3], 1.0f);
    EXPECT_EQ(mesh.bounds[4], 0.0f);
    EXPECT_EQ(mesh.vertices[0].matrix_x, 23);
    EXPECT_EQ(mesh.vertices[1].matrix_x, 47);
}

TEST(ProcessMesh, ComputesABoxWhoseXPairIsZeroWhateverItsOtherBounds) {
    float positions[] = {0, 1, 2, -0.0f, 3, 4};
    bare_mesh mesh(2, positions);
    mesh.bounds[0] = -0.0f;
    mesh.bounds[1] = 100;
    mesh.bounds[5] = 200;
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    const float expected[6] = {0, 1, 2, 0, 3, 4};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(mesh.bounds[i], expected[i]);
    positions[1] = -7; // flat at x = 0: computed again at every call
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
    EXPECT_EQ(mesh.bounds[1], -7.0f);
}

TEST(ProcessMesh, WithoutPositionsChangesOnlyTheTopologyOfVertexRecords) {
    bare_mesh mesh(3, nullptr);
    std::vector<std::uint32_t> indices = one_face;
    mesh.indices = indices.data();
    mesh.face_count = 1;
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 4), 0);
    EXPECT_EQ(mesh.vertices[2].em_coupling, 0.0f);
    EXPECT_EQ(mesh.vertices[2].topology, qel_alembic_topology_hash(2, one_face.data(), 1));
    std::memset(mesh.vertices, 0x11, 3 * sizeof *mesh.vertices);
    ASSERT_EQ(qel_alembic_process_mesh(&mesh, 4), 0);
    EXPECT_EQ(mesh.vertices[1].morton, 0x1111111111111111u);
    EXPECT_EQ(mesh.vertices[1].topology, qel_alembic_topology_hash(1, one_face.data(), 1));
    EXPECT_EQ(mesh.tokens[1].morton, 0x1111111111111111u);
    EXPECT_EQ(mesh.bounds[3], 0.0f);
}

TEST(ProcessMesh, LeavesTheVerticesInTheRecordWhenTheTokensCannotBeAllocated) {
    float positions[] = {0, 0, 0, 1, 1, 1};
    bare_mesh mesh(2, positions);
    mesh.layer = 9;
    {
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_EQ(qel_alembic_process_mesh(&mesh, 1), -4);
    }
    EXPECT_EQ(mesh.vertices, nullptr);
    {
        const failing_heap heap = failing_heap::of_size(2 * 32);
        EXPECT_EQ(qel_alembic_process_mesh(&mesh, 1), -4);
    }
    EXPECT_NE(mesh.vertices, nullptr);
    EXPECT_EQ(mesh.tokens, nullptr);
    EXPECT_EQ(mesh.layer, 9);
    EXPECT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
}

TEST(ProcessMesh, EqualsThePlainFormOfOneWalkPerVertex) {
    std::mt19937 random(54);
    for (int round = 0; round < 60; ++round) {
        const std::uint32_t vertices = 1 + static_cast<std::uint32_t>(random() % 120);
        const std::vector<float> positions = test::random_positions(random, vertices);
        const std::vector<std::uint32_t> indices =
            test::random_triangles(random, vertices, random() % 200, round % 3 == 0 ? 40 : 0);
        owned_mesh owned;
        ASSERT_EQ(load(positions, indices, owned.mesh), 0);
        const auto layer = static_cast<std::uint8_t>(round);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, layer), 0);
        const model::processed_mesh expected =
            model::process_mesh(positions, indices, owned.mesh.bounds, layer);
        expect_same(owned.mesh, expected.vertices, expected.tokens);
        if (HasFailure()) FAIL() << "round " << round;
    }
}

TEST(ProcessMesh, EqualsThePlainFormAtEveryRemainderAndForExtremePositionsAndBoxes) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN(),
                    inf = std::numeric_limits<float>::infinity();
    const float strange[] = {nan, inf, -inf, 0.0f, -0.0f, 1e-45f, 3e38f, -3e38f, 5.0f, 4.9999995f};
    const float boxes[][6] = {{-5, -5, -5, 5, 5, 5},
                              {5, 5, 5, -5, -5, -5},
                              {-5, nan, -inf, 5, 5, inf},
                              {-3e38f, 0, 0, 3e38f, 1e-5f, 0},
                              {1, 1, 1, 1, 1, 1.0001f}};
    std::mt19937 random(55);
    for (std::uint32_t vertices = 1; vertices <= 200; ++vertices) {
        std::vector<float> positions = test::random_positions(random, vertices, 6.0f);
        for (std::size_t i = random() % 7; i < positions.size(); i += 7)
            positions[i] = strange[random() % std::size(strange)];
        owned_mesh owned;
        ASSERT_EQ(load(positions, test::random_triangles(random, vertices, 50), owned.mesh), 0);
        const float *const box = boxes[vertices % std::size(boxes)];
        std::copy_n(box, 6, owned.mesh.bounds);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, 2), 0);
        const std::vector<std::uint32_t> indices(owned.mesh.indices, owned.mesh.indices + 150);
        const model::processed_mesh expected = model::process_mesh(positions, indices, box, 2);
        expect_same(owned.mesh, expected.vertices, expected.tokens);
        if (HasFailure()) FAIL() << vertices << " vertices";
    }
}

TEST(ProcessMesh, OfALargeMeshEqualsThePlainFormWithAndWithoutScratchMemory) {
    std::mt19937 random(56);
    const std::uint32_t vertices = 4100;
    const std::vector<float> positions = test::random_positions(random, vertices);
    const std::vector<std::uint32_t> indices = test::random_triangles(random, vertices, 6000, 9);
    owned_mesh owned;
    ASSERT_EQ(load(positions, indices, owned.mesh), 0);
    const model::processed_mesh expected = model::process_mesh(positions, indices, owned.mesh.bounds, 1);
    for (const bool has_memory : {true, false}) {
        expect_same(owned.mesh, expected.vertices, expected.tokens);
        std::memset(owned.mesh.vertices, 0, vertices * 40);
        std::memset(owned.mesh.tokens, 0, vertices * 32);
        const failing_heap heap = has_memory ? failing_heap::nth(0) : failing_heap::from(1);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, 1), 0);
        EXPECT_EQ(heap.failures(), has_memory ? 0u : 1u);
    }
    expect_same(owned.mesh, expected.vertices, expected.tokens);
}

TEST(ProcessMesh, OfALargeMeshWithoutPositionsRefreshesItsHashesAlone) {
    std::mt19937 random(57);
    const std::uint32_t vertices = 4100;
    owned_mesh owned;
    ASSERT_EQ(load(test::random_positions(random, vertices),
                   test::random_triangles(random, vertices, 6000, 9), owned.mesh),
              0);
    const std::vector<qel_alembic_vertex> expected(owned.mesh.vertices, owned.mesh.vertices + vertices);
    const std::vector<qel_alembic_token> tokens(owned.mesh.tokens, owned.mesh.tokens + vertices);
    for (std::uint32_t i = 0; i < vertices; ++i)
        owned.mesh.vertices[i].topology = 77;
    std::memset(owned.mesh.tokens, 0, vertices * sizeof tokens[0]);
    float *positions = nullptr;
    std::swap(positions, owned.mesh.positions);
    EXPECT_EQ(qel_alembic_process_mesh(&owned.mesh, 1), 0);
    std::swap(positions, owned.mesh.positions);
    expect_same(owned.mesh, expected, tokens);
}

TEST(ProcessMesh, HashesAMillionFacesInOnePass) {
    const test::plain_mesh grid = test::make_grid(700, 715, true); // a walk per vertex would take minutes
    owned_mesh owned;
    ASSERT_EQ(load(grid.positions, grid.face_indices, owned.mesh), 0);
    for (const std::uint32_t i : {0u, 701u, 250'000u, grid.vertex_count() - 1})
        EXPECT_EQ(owned.mesh.vertices[i].topology,
                  qel_alembic_topology_hash(i, owned.mesh.indices, owned.mesh.face_count));
}

TEST(LoadRaw, CopiesItsArraysAndProcessesWithLayerOne) {
    owned_mesh owned;
    std::vector<float> positions = corner_triangle;
    std::vector<std::uint32_t> indices = one_face;
    ASSERT_EQ(load(positions, indices, owned.mesh, "corner"), 0);
    const qel_alembic_mesh &mesh = owned.mesh;
    EXPECT_STREQ(mesh.name, "corner");
    EXPECT_EQ(mesh.vertex_count, 3u);
    EXPECT_EQ(mesh.face_count, 1u);
    EXPECT_NE(mesh.positions, positions.data());
    EXPECT_EQ(std::memcmp(mesh.positions, positions.data(), 36), 0);
    EXPECT_NE(mesh.indices, indices.data());
    EXPECT_EQ(std::memcmp(mesh.indices, indices.data(), 12), 0);
    EXPECT_EQ(mesh.bounds[3], 1.0f);
    EXPECT_EQ(mesh.reserved, 0u);
    EXPECT_EQ(mesh.layer, 1);
    EXPECT_EQ(mesh.tokens[2].layer, 1);
}

TEST(LoadRaw, RefusesMissingPositionsOrRecordAndWritesNothing) {
    qel_alembic_mesh mesh = {};
    mesh.face_count = 77;
    EXPECT_EQ(qel_alembic_load_raw(nullptr, 1, nullptr, 0, "x", &mesh), -1);
    EXPECT_EQ(qel_alembic_load_raw(corner_triangle.data(), 3, nullptr, 0, "x", nullptr), -1);
    EXPECT_EQ(mesh.face_count, 77u);
}

TEST(LoadRaw, ZeroesTheWholeRecordFirst) {
    qel_alembic_mesh mesh;
    std::memset(&mesh, 0xEE, sizeof mesh);
    ASSERT_EQ(load(corner_triangle, {}, mesh, "a"), 0);
    EXPECT_EQ(mesh.reserved, 0u);
    EXPECT_EQ(mesh.indices, nullptr);
    EXPECT_EQ(std::string(mesh.name, 64), "a" + std::string(63, '\0'));
    qel_alembic_mesh_free(&mesh);
}

TEST(LoadRaw, NamesAMeshWithoutNameUnnamed) {
    owned_mesh owned;
    ASSERT_EQ(load(corner_triangle, {}, owned.mesh, nullptr), 0);
    EXPECT_STREQ(owned.mesh.name, "unnamed");
}

TEST(LoadRaw, CutsANameTo63Characters) {
    owned_mesh owned, fits;
    ASSERT_EQ(load(corner_triangle, {}, owned.mesh, std::string(64, 'n').c_str()), 0);
    EXPECT_EQ(owned.mesh.name, std::string(63, 'n'));
    ASSERT_EQ(load(corner_triangle, {}, fits.mesh, std::string(63, 'm').c_str()), 0);
    EXPECT_EQ(fits.mesh.name, std::string(63, 'm'));
}

TEST(LoadRaw, StoresTheFaceCountEvenWithoutIndices) {
    owned_mesh owned;
    ASSERT_EQ(qel_alembic_load_raw(corner_triangle.data(), 3, nullptr, 12, "x", &owned.mesh), 0);
    EXPECT_EQ(owned.mesh.face_count, 12u);
    EXPECT_EQ(owned.mesh.indices, nullptr);
    EXPECT_EQ(owned.mesh.vertices[0].topology, 0u);
}

TEST(LoadRaw, TakesIndicesWithoutFacesAsNone) {
    owned_mesh owned;
    ASSERT_EQ(qel_alembic_load_raw(corner_triangle.data(), 3, one_face.data(), 0, "x", &owned.mesh), 0);
    EXPECT_EQ(owned.mesh.indices, nullptr);
}

TEST(LoadRaw, WithoutVerticesHoldsNameCountsAndArraysAndReturnsMinusOne) {
    owned_mesh owned;
    const heap_ledger ledger;
    EXPECT_EQ(qel_alembic_load_raw(corner_triangle.data(), 0, one_face.data(), 1, "none", &owned.mesh), -1);
    EXPECT_STREQ(owned.mesh.name, "none");
    EXPECT_EQ(owned.mesh.face_count, 1u);
    EXPECT_NE(owned.mesh.positions, nullptr);
    EXPECT_EQ(owned.mesh.indices[2], 2u);
    EXPECT_EQ(owned.mesh.bounds[3], 0.0f);
    EXPECT_EQ(owned.mesh.vertices, nullptr);
    EXPECT_EQ(owned.mesh.layer, 0);
    qel_alembic_mesh_free(&owned.mesh);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(LoadRaw, WithoutMemoryForPositionsHoldsNothing) {
    qel_alembic_mesh mesh = {};
    const failing_heap heap = failing_heap::nth(1);
    EXPECT_EQ(load(corner_triangle, one_face, mesh), -4);
    EXPECT_EQ(mesh.positions, nullptr);
    EXPECT_EQ(mesh.vertex_count, 3u);
    EXPECT_EQ(mesh.face_count, 1u);
}

TEST(LoadRaw, WithoutMemoryForIndicesKeepsThePointerToFreedPositions) {
    qel_alembic_mesh mesh = {};
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::nth(2);
    EXPECT_EQ(load(corner_triangle, one_face, mesh), -4);
    EXPECT_NE(mesh.positions, nullptr);
    EXPECT_EQ(mesh.indices, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(LoadRaw, WithoutMemoryForVerticesOrTokensKeepsWhatItHas) {
    for (const std::uint64_t n : {3u, 4u}) {
        owned_mesh owned;
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(load(corner_triangle, one_face, owned.mesh), -4);
        EXPECT_EQ(ledger.live(), n - 1);
        EXPECT_EQ(owned.mesh.bounds[3], 1.0f);
        EXPECT_EQ(owned.mesh.layer, 0);
        EXPECT_EQ(owned.mesh.tokens, nullptr);
        qel_alembic_mesh_free(&owned.mesh);
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST(LoadRaw, AllocatesPositionsIndicesVerticesAndTokensInThatOrder) {
    const std::size_t sizes[] = {3 * 12, 2 * 12, 3 * 40, 3 * 32};
    const std::vector<std::uint32_t> two_faces = {0, 1, 2, 2, 1, 0};
    for (const std::size_t size : sizes) {
        qel_alembic_mesh mesh = {};
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(load(corner_triangle, two_faces, mesh), -4);
        EXPECT_EQ(heap.failures(), 1u) << size;
        EXPECT_EQ(heap.count(), static_cast<std::uint64_t>(std::find(sizes, sizes + 4, size) - sizes + 1));
        if (mesh.indices != nullptr) qel_alembic_mesh_free(&mesh);
    }
}

} // namespace
} // namespace qel
