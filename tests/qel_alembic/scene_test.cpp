// SPDX-License-Identifier: MIT
#include "support/failing_heap.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using namespace test;

TEST(SceneFree, ReleasesMeshesFramesAndIndexAndKeepsTheRest) {
    std::mt19937 random(102);
    qel_alembic_file scene;
    {
        owned_scene owned;
        const heap_ledger ledger;
        owned.add_mesh(test::random_positions(random, 20), test::random_triangles(random, 20, 10));
        owned.add_keys({1, 2});
        owned.add_frame(1, 1.0f, {{1, 2, 3}, {4, 5, 6}});
        owned.add_frame(2, 2.0f, {});
        owned.scene.version = 1;
        owned.scene.total_faces = 10;
        owned.scene.fps = 25.0f;
        std::memcpy(owned.scene.source, "here", 5);
        ASSERT_EQ(qel_alembic_build_hash_table(&owned.scene), 0);
        qel_alembic_free(&owned.scene);
        EXPECT_EQ(ledger.live(), 0u);
        scene = owned.scene;
    }
    EXPECT_EQ(scene.meshes, nullptr);
    EXPECT_EQ(scene.frames, nullptr);
    EXPECT_EQ(scene.hash, nullptr);
    EXPECT_EQ(scene.mesh_count, 0u);
    EXPECT_EQ(scene.frame_count, 0u);
    EXPECT_EQ(scene.hash_size, 0x800000u);
    EXPECT_EQ(scene.total_vertices, 22u);
    EXPECT_EQ(scene.total_tokens, 22u);
    EXPECT_EQ(scene.total_faces, 10u);
    EXPECT_EQ(scene.fps, 25.0f);
    EXPECT_STREQ(scene.source, "here");
    qel_alembic_free(&scene); // again: harmless
}

TEST(SceneFree, TakesNullAndCountsWithoutArrays) {
    qel_alembic_free(nullptr);
    qel_alembic_file scene = {};
    scene.mesh_count = 9;
    scene.frame_count = 9;
    qel_alembic_free(&scene);
    EXPECT_EQ(scene.mesh_count, 0u);
    EXPECT_EQ(scene.frame_count, 0u);
    owned_scene owned;
    owned.add_frame(1, 1.0f, {});
    std::free(owned.scene.frames[0].meshes);
    owned.scene.frames[0].meshes = nullptr;
    owned.scene.frames[0].mesh_count = 9;
    qel_alembic_free(&owned.scene);
}

TEST(SceneMeshFree, ReleasesTheArraysAndKeepsTheFaceCount) {
    qel_alembic_mesh_free(nullptr);
    std::mt19937 random(103);
    qel_alembic_mesh mesh = {};
    const heap_ledger ledger;
    ASSERT_EQ(load_raw(test::random_positions(random, 3), {0, 1, 2}, mesh), 0);
    qel_alembic_mesh_free(&mesh);
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_EQ(mesh.vertex_count, 0u);
    EXPECT_EQ(mesh.face_count, 1u);
    EXPECT_EQ(mesh.positions, nullptr);
    EXPECT_EQ(mesh.indices, nullptr);
    EXPECT_EQ(mesh.vertices, nullptr);
    EXPECT_EQ(mesh.tokens, nullptr);
    EXPECT_STREQ(mesh.name, "mesh");
}

} // namespace
} // namespace qel
