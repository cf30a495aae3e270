// SPDX-License-Identifier: MIT
#include "ogawa_reader/cache/cache_loading.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace qel {
namespace {

using namespace test;

TEST(MeshCacheFree, UnmapsAMeshWithoutASkinToo) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    cache_mesh quad = test::quad();
    test::write_file(path, model::save_mesh(quad.record(), nullptr).content);
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    EXPECT_EQ(mesh.skin, nullptr);
    EXPECT_TRUE(is_mapped(path));
    qel_mesh_free(&mesh);
    EXPECT_FALSE(is_mapped(path));
}

TEST(MeshCacheFree, UnmapsReleasesAndClears) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    test::write_file(path, whole_cache_file(some_skin()));
    const heap_ledger ledger;
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    EXPECT_TRUE(is_mapped(path));
    EXPECT_EQ(ledger.live(), 3u) << "skin, joints and weights";
    qel_mesh_free(&mesh);
    EXPECT_FALSE(is_mapped(path));
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_TRUE(is_zero(mesh));
    qel_mesh_free(&mesh);
    qel_mesh_free(nullptr);
}

TEST(MeshCacheFree, ReleasesASkinWithoutAMapping) {
    qel_mesh mesh = {};
    mesh.header.vertex_count = 9;
    mesh.skin = static_cast<qel_skin *>(std::calloc(1, sizeof(qel_skin)));
    mesh.skin->weights = static_cast<qel_skin_weight *>(std::malloc(20));
    qel_mesh_free(&mesh);
    EXPECT_TRUE(is_zero(mesh));
}

TEST(MeshCacheGpuData, ReturnsPointersAndCounts) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    test::write_file(path, whole_cache_file(some_skin()));
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    const float *positions = nullptr, *normals = nullptr;
    const std::uint32_t *indices = nullptr;
    std::uint32_t vertices = 0, triangles = 0;
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, &positions, &normals, &indices, &vertices, &triangles), 0);
    EXPECT_EQ(positions, mesh.positions);
    EXPECT_EQ(normals, mesh.normals);
    EXPECT_EQ(indices, mesh.indices);
    EXPECT_EQ(vertices, 4u);
    EXPECT_EQ(triangles, 2u);
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    mesh.normals = nullptr;
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, nullptr, &normals, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(normals, nullptr);
    qel_mesh_free(&mesh);
}

TEST(MeshCacheGpuData, NeedsAMapping) {
    const float marker = 0;
    const float *positions = &marker;
    std::uint32_t vertices = 77;
    EXPECT_EQ(qel_mesh_get_gpu_data(nullptr, &positions, nullptr, nullptr, &vertices, nullptr), -1);
    qel_mesh mesh = {};
    mesh.header.vertex_count = 3;
    qel_mesh_free(&mesh);
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, &positions, nullptr, nullptr, &vertices, nullptr), -1);
    EXPECT_EQ(positions, &marker);
    EXPECT_EQ(vertices, 77u);
}

} // namespace
} // namespace qel
