// SPDX-License-Identifier: MIT
// Meshes loaded from arrays.
#include "qel_alembic/loaded_mesh.h"
#include "support/failing_heap.h"

#include <string>

namespace qel {
namespace {

using namespace test;

TEST(LoadRaw, CopiesItsArraysAndProcessesWithLayerOne) {
    const loaded_mesh owned(corner_triangle, one_face, "corner");
    const qel_alembic_mesh &mesh = owned.mesh;
    EXPECT_STREQ(mesh.name, "corner");
    EXPECT_EQ(mesh.vertex_count, 3u);
    EXPECT_EQ(mesh.face_count, 1u);
    EXPECT_NE(mesh.positions, corner_triangle.data());
    EXPECT_EQ(std::memcmp(mesh.positions, corner_triangle.data(), 36), 0);
    EXPECT_NE(mesh.indices, one_face.data());
    EXPECT_EQ(std::memcmp(mesh.indices, one_face.data(), 12), 0);
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
    ASSERT_EQ(load_raw(corner_triangle, {}, mesh, "a"), 0);
    EXPECT_EQ(mesh.reserved, 0u);
    EXPECT_EQ(mesh.indices, nullptr);
    EXPECT_EQ(std::string(mesh.name, 64), "a" + std::string(63, '\0'));
    qel_alembic_mesh_free(&mesh);
}

TEST(LoadRaw, NamesAMeshWithoutNameUnnamed) {
    EXPECT_STREQ(loaded_mesh(corner_triangle, {}, nullptr).mesh.name, "unnamed");
}

TEST(LoadRaw, CutsANameTo63Characters) {
    const std::string longest(63, 'n');
    EXPECT_EQ(loaded_mesh(corner_triangle, {}, (longest + "n").c_str()).mesh.name, longest);
    EXPECT_EQ(loaded_mesh(corner_triangle, {}, longest.c_str()).mesh.name, longest);
}

TEST(LoadRaw, StoresTheFaceCountEvenWithoutIndices) {
    owned_mesh owned;
    ASSERT_EQ(qel_alembic_load_raw(corner_triangle.data(), 3, nullptr, 12, "x", &owned.mesh), 0);
    EXPECT_EQ(owned.mesh.face_count, 12u);
    EXPECT_EQ(owned.mesh.indices, nullptr);
    EXPECT_EQ(owned.mesh.vertices[0].topology, 0u);
}

TEST(LoadRaw, IgnoresIndicesWithoutFaces) {
    owned_mesh owned;
    ASSERT_EQ(qel_alembic_load_raw(corner_triangle.data(), 3, one_face.data(), 0, "x", &owned.mesh), 0);
    EXPECT_EQ(owned.mesh.indices, nullptr);
}

TEST(LoadRaw, WithoutVerticesHoldsNameCountsAndArraysAndReturnsMinusOne) {
    owned_mesh owned;
    const heap_ledger ledger;
    const float beyond[3] = {1, 1, 1};
    EXPECT_EQ(qel_alembic_load_raw(beyond, 0, one_face.data(), 1, "none", &owned.mesh), -1);
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
    EXPECT_EQ(load_raw(corner_triangle, one_face, mesh), -4);
    EXPECT_EQ(mesh.positions, nullptr);
    EXPECT_EQ(mesh.vertex_count, 3u);
    EXPECT_EQ(mesh.face_count, 1u);
}

TEST(LoadRaw, WithoutMemoryForIndicesKeepsThePointerToFreedPositions) {
    qel_alembic_mesh mesh = {};
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::nth(2);
    EXPECT_EQ(load_raw(corner_triangle, one_face, mesh), -4);
    EXPECT_NE(mesh.positions, nullptr);
    EXPECT_EQ(mesh.indices, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(LoadRaw, WithoutMemoryForVerticesOrTokensKeepsWhatItHas) {
    for (const std::uint64_t n : {3u, 4u}) {
        owned_mesh owned;
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(load_raw({1, 1, 1}, one_face, owned.mesh), -4);
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
    for (std::size_t i = 0; i < 4; ++i) {
        qel_alembic_mesh mesh = {};
        const failing_heap heap = failing_heap::of_size(sizes[i]);
        EXPECT_EQ(load_raw(corner_triangle, two_faces, mesh), -4);
        EXPECT_EQ(heap.failures(), 1u) << sizes[i];
        EXPECT_EQ(heap.count(), i + 1);
        if (mesh.indices != nullptr) qel_alembic_mesh_free(&mesh);
    }
}

} // namespace
} // namespace qel
