// SPDX-License-Identifier: MIT
// What saving a mesh cache file refuses, and what it leaves out where memory is missing.
#include "ogawa_reader/cache/cache_cases.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using namespace test;

class MeshCacheSaveFailure : public test::mesh_cache_saving {};

TEST_F(MeshCacheSaveFailure, NeedsAMeshAPathAndVertices) {
    cache_mesh mesh = quad();
    ogawa_polymesh record = mesh.record();
    EXPECT_EQ(qel_mesh_save(nullptr, nullptr, path_.c_str()), -1);
    EXPECT_EQ(qel_mesh_save(&record, nullptr, nullptr), -1);
    record.vertex_count = 0;
    EXPECT_EQ(save(record), -1) << "before the indices are looked at";
    EXPECT_FALSE(test::file_exists(path_));
}

TEST_F(MeshCacheSaveFailure, RefusesAnIndexBeyondTheVerticesBeforeTheFileIsMade) {
    cache_mesh mesh = quad();
    mesh.face_indices[3] = 4;
    EXPECT_EQ(save(mesh.record()), -10);
    EXPECT_FALSE(test::file_exists(path_));
    const ogawa_polymesh record = mesh.record();
    EXPECT_EQ(qel_mesh_save(&record, nullptr, folder_.file("no/such/folder").c_str()), -10);
    test::write_file(path_, {1, 2, 3});
    EXPECT_EQ(save(record), -10);
    EXPECT_EQ(test::read_file(path_), (bytes{1, 2, 3}));
}

TEST_F(MeshCacheSaveFailure, ChecksTheCountedIndicesOnly) {
    cache_mesh mesh = quad();
    mesh.face_indices = {0, 1, 2, 3, 77};
    mesh.face_counts = {3};
    ogawa_polymesh record = mesh.record();
    record.face_index_count = 4;
    EXPECT_EQ(save(record), 0);
    record.face_indices = nullptr;
    EXPECT_EQ(save(record), 0);
}

TEST_F(MeshCacheSaveFailure, ReportsAFileThatCannotBeMade) {
    cache_mesh mesh = quad();
    const ogawa_polymesh record = mesh.record();
    EXPECT_EQ(qel_mesh_save(&record, nullptr, folder_.file("no/such/folder").c_str()), -2);
    EXPECT_EQ(qel_mesh_save(&record, nullptr, folder_.path().string().c_str()), -2);
    EXPECT_EQ(qel_mesh_save(&record, nullptr, ""), -2);
}

TEST_F(MeshCacheSaveFailure, WriteErrorsAreNotReported) {
    std::mt19937 random(9);
    const test::plain_mesh torus = test::make_torus(80, 80, 4.0f, 1.0f);
    cache_mesh mesh;
    mesh.positions = torus.positions;
    mesh.face_counts = torus.face_counts;
    mesh.face_indices = torus.face_indices;
    mesh.normals = torus.corner_normals;
    cache_skin skin = test::noise_skin(random, 3, 100);
    const ogawa_polymesh record = mesh.record();
    qel_skin skin_record = skin.record();
    EXPECT_EQ(qel_mesh_save(&record, &skin_record, "/dev/full"), 0);
    skin_record.joints = nullptr;
    skin_record.joint_count = 0xFFFFFFFF; // a terabyte of zeros ends with the first that cannot be written
    EXPECT_EQ(qel_mesh_save(&record, &skin_record, "/dev/full"), 0);
}

/// A mesh of 5 vertices and 7 triangles: the three blocks of scratch memory have sizes of their own.
cache_mesh seven_triangles() {
    cache_mesh mesh;
    for (int i = 0; i < 15; ++i)
        mesh.positions.push_back(static_cast<float>(i));
    mesh.face_counts = {4, 5, 4};
    mesh.face_indices = {0, 1, 2, 3, 4, 3, 2, 1, 0, 1, 2, 3, 4};
    mesh.normals = {0, 0, 1, 0, 1, 0};
    mesh.normal_scope = OGAWA_SCOPE_FACE_VARYING;
    return mesh;
}

TEST_F(MeshCacheSaveFailure, WithoutMemoryForSumsTheNormalsAreLeftOut) {
    cache_mesh mesh = seven_triangles();
    const bytes whole = saved(mesh.record());
    bytes expected = whole;
    expected.erase(expected.begin() + 64 + 60, expected.begin() + 64 + 120);
    for (const std::size_t size : {60u, 20u}) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::of_size(size);
        EXPECT_EQ(saved(mesh.record()), expected) << "the header still announces them";
        EXPECT_EQ(heap.failures(), 1u) << size;
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST_F(MeshCacheSaveFailure, WithoutMemoryForTrianglesTheyAreLeftOut) {
    cache_mesh mesh = seven_triangles();
    const bytes whole = saved(mesh.record());
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(7 * 12);
    EXPECT_EQ(saved(mesh.record()), bytes(whole.begin(), whole.begin() + 64 + 120));
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheSaveFailure, AllocatesTheTriangleBufferIfTheIndexCountIsZero) {
    cache_mesh mesh = quad();
    for (const std::uint32_t corners : {16'777'217u, 0xFFFFFFFFu}) { // with the quad's two, 2^32 - 1 triangles at most
        mesh.face_counts = {4, corners};
        ogawa_polymesh record = mesh.record();
        record.face_index_count = 0;
        const failing_heap heap = failing_heap::nth(1);
        EXPECT_EQ(saved(record).size(), 64u + 48u);
        const bool fits = sizeof(std::size_t) > 4 || corners < 0xFFFFFFFF; // into the addresses
        EXPECT_EQ(heap.count(), fits ? 1u : 0u) << corners;
    }
}

TEST_F(MeshCacheSaveFailure, WithoutMemoryOnlyPositionsAndSkinAreWritten) {
    std::mt19937 random(10);
    cache_mesh mesh = seven_triangles();
    cache_skin skin = test::noise_skin(random, 1, 5);
    const qel_skin skin_record = skin.record();
    const bytes whole = saved(mesh.record(), &skin_record);
    bytes expected = whole;
    expected.erase(expected.begin() + 64 + 60, expected.begin() + 64 + 120 + 84);
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::from(1);
    EXPECT_EQ(saved(mesh.record(), &skin_record), expected);
    EXPECT_EQ(heap.count(), 3u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheSaveFailure, AllocatesInAFixedOrder) {
    cache_mesh mesh = seven_triangles();
    const std::size_t without_normals = 64 + 60 + 84, without_triangles = 64 + 120;
    for (std::uint64_t n = 1; n <= 3; ++n) {
        const failing_heap heap = failing_heap::nth(n);
        EXPECT_EQ(saved(mesh.record()).size(), n == 3 ? without_triangles : without_normals) << n;
        EXPECT_EQ(heap.count(), 3u);
    }
}

TEST_F(MeshCacheSaveFailure, VertexNormalsNeedNoMemory) {
    cache_mesh mesh = seven_triangles();
    mesh.normals = mesh.positions;
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    mesh.face_counts.clear();
    const failing_heap watch = failing_heap::nth(0);
    EXPECT_EQ(saved(mesh.record()).size(), 64u + 120u + 48u);
    EXPECT_EQ(watch.count(), 0u);
}

} // namespace
} // namespace qel
