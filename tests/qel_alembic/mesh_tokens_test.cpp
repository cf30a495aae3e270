// SPDX-License-Identifier: MIT
#include "model/topology_model.h"
#include "qel_alembic/loaded_mesh.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <random>
#include <string>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t seed = 0x5A5A5A5A;

std::uint32_t rotl5(std::uint32_t value) {
    return value << 5 | value >> 27;
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
void expect_same(const qel_alembic_mesh &mesh, const model::processed_mesh &expected) {
    EXPECT_EQ(std::memcmp(mesh.vertices, expected.vertices.data(), expected.vertices.size() * 40), 0);
    EXPECT_EQ(std::memcmp(mesh.tokens, expected.tokens.data(), expected.tokens.size() * 32), 0);
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
    const std::vector<std::uint32_t> forth = {0, 1, 2, 0, 3, 4}, back = {0, 3, 4, 0, 1, 2}, turned = {1, 2, 0, 0, 3, 4};
    const std::uint32_t hash = qel_alembic_topology_hash(0, forth.data(), 2);
    EXPECT_NE(hash, qel_alembic_topology_hash(0, back.data(), 2));
    EXPECT_NE(hash, qel_alembic_topology_hash(0, turned.data(), 2));
}

TEST(TopologyHash, CountsAFaceOnceForAVertexThatRepeatsInIt) {
    const std::vector<std::uint32_t> face = {4, 4, 4};
    const std::uint32_t mix = 4 * 0x1F1F1F1Fu ^ 4 * 0x2E2E2E2Eu ^ 4 * 0x3D3D3D3Du;
    EXPECT_EQ(qel_alembic_topology_hash(4, face.data(), 1), rotl5(mix ^ seed));
}

TEST(TopologyHash, FindsVerticesOfAnyNumber) {
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
    loaded_mesh owned(corner_triangle, one_face);
    EXPECT_EQ(qel_alembic_process_mesh(&owned.mesh, 77), 0);
    EXPECT_EQ(owned.mesh.layer, 77);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(owned.mesh.tokens[i].layer, 77);
        EXPECT_EQ(std::string(owned.mesh.tokens[i].hex_id, 8), "0000000" + std::to_string(i));
    }
}

TEST(ProcessMesh, PutsTheCornersOfTheBoxAtTheCornersOfTheLattice) {
    const loaded_mesh owned({-1, 2, 3, 4, 5, 6, 1, 3, 4}, {});
    EXPECT_EQ(owned.mesh.vertices[0].morton, 0u);
    EXPECT_EQ(owned.mesh.vertices[1].morton, 233471u);
}

TEST(ProcessMesh, HashesAVertexInNoFaceToTheSeedAndToZeroWithoutFaces) {
    std::vector<float> positions = corner_triangle;
    positions.insert(positions.end(), {9, 9, 9});
    EXPECT_EQ(loaded_mesh(positions, one_face).mesh.vertices[3].topology, seed);
    EXPECT_EQ(loaded_mesh(positions, {}).mesh.vertices[3].topology, 0u);
}

TEST(ProcessMesh, HashesToZeroWithoutAFaceCountOrIndices) {
    float positions[] = {0, 0, 0};
    std::uint32_t indices[] = {0, 0, 0};
    for (const bool has_count : {true, false}) {
        bare_mesh mesh(1, positions);
        mesh.face_count = has_count ? 5 : 0;
        mesh.indices = has_count ? nullptr : indices;
        ASSERT_EQ(qel_alembic_process_mesh(&mesh, 1), 0);
        EXPECT_EQ(mesh.vertices[0].topology, 0u) << (has_count ? "a count alone" : "indices alone");
    }
}

TEST(ProcessMesh, IgnoresIndicesBeyondTheMesh) {
    const loaded_mesh owned({0, 0, 0, 1, 1, 1}, {0, 2, 0xFFFFFFFF, 5, 6, 7});
    EXPECT_EQ(owned.mesh.vertices[0].topology, rotl5(2 * 0x2E2E2E2Eu ^ 0xFFFFFFFFu * 0x3D3D3D3Du ^ seed));
    EXPECT_EQ(owned.mesh.vertices[1].topology, seed);
}

TEST(ProcessMesh, ProcessedTwiceReusesItsArraysAndGivesIdenticalTokens) {
    std::mt19937 random(53);
    loaded_mesh owned(test::random_positions(random, 50), test::random_triangles(random, 50, 80));
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

TEST(ProcessMesh, ComputesABoxWhoseXBoundsAreZero) {
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
        loaded_mesh owned(positions, indices);
        const auto layer = static_cast<std::uint8_t>(round);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, layer), 0);
        expect_same(owned.mesh, model::process_mesh(positions, indices, owned.mesh.bounds, layer));
        if (HasFailure()) FAIL() << "round " << round;
    }
}

TEST(ProcessMesh, EqualsThePlainFormAtEveryRemainderAndForExtremePositionsAndBoxes) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
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
        const std::vector<std::uint32_t> indices = test::random_triangles(random, vertices, 50);
        loaded_mesh owned(positions, indices);
        const float *const box = boxes[vertices % std::size(boxes)];
        std::copy_n(box, 6, owned.mesh.bounds);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, 2), 0);
        expect_same(owned.mesh, model::process_mesh(positions, indices, box, 2));
        if (HasFailure()) FAIL() << vertices << " vertices";
    }
}

TEST(ProcessMesh, OfALargeMeshEqualsThePlainFormWithAndWithoutScratchMemory) {
    std::mt19937 random(56);
    const std::uint32_t vertices = 4100;
    const std::vector<float> positions = test::random_positions(random, vertices);
    const std::vector<std::uint32_t> indices = test::random_triangles(random, vertices, 6000, 9);
    loaded_mesh owned(positions, indices);
    const model::processed_mesh expected = model::process_mesh(positions, indices, owned.mesh.bounds, 1);
    for (const bool has_memory : {true, false}) {
        expect_same(owned.mesh, expected);
        std::memset(owned.mesh.vertices, 0, vertices * 40);
        std::memset(owned.mesh.tokens, 0, vertices * 32);
        const failing_heap heap = has_memory ? failing_heap::nth(0) : failing_heap::from(1);
        ASSERT_EQ(qel_alembic_process_mesh(&owned.mesh, 1), 0);
        EXPECT_EQ(heap.failures(), has_memory ? 0u : 1u);
    }
    expect_same(owned.mesh, expected);
}

TEST(ProcessMesh, OfALargeMeshWithoutPositionsUpdatesOnlyHashesAndTokens) {
    std::mt19937 random(57);
    const std::uint32_t vertices = 4100;
    loaded_mesh owned(test::random_positions(random, vertices), test::random_triangles(random, vertices, 6000, 9));
    const model::processed_mesh expected = {{owned.mesh.vertices, owned.mesh.vertices + vertices},
                                            {owned.mesh.tokens, owned.mesh.tokens + vertices}};
    for (std::uint32_t i = 0; i < vertices; ++i)
        owned.mesh.vertices[i].topology = 77;
    std::memset(owned.mesh.tokens, 0, vertices * 32);
    float *positions = nullptr;
    std::swap(positions, owned.mesh.positions);
    EXPECT_EQ(qel_alembic_process_mesh(&owned.mesh, 1), 0);
    std::swap(positions, owned.mesh.positions);
    expect_same(owned.mesh, expected);
}

TEST(ProcessMesh, HashesAMillionFacesInOnePass) {
    const test::plain_mesh grid = test::make_grid(700, 715, true); // a walk per vertex would take minutes
    const loaded_mesh owned(grid.positions, grid.face_indices);
    for (const std::uint32_t i : {0u, 701u, 250'000u, grid.vertex_count() - 1})
        EXPECT_EQ(owned.mesh.vertices[i].topology,
                  qel_alembic_topology_hash(i, owned.mesh.indices, owned.mesh.face_count));
}

} // namespace
} // namespace qel
