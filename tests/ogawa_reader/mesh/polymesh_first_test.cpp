// SPDX-License-Identifier: MIT
// The first-mesh cache of polymesh.cpp and the release of a mesh.
#include "ogawa_reader/mesh/read_mesh.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace qel {
namespace {

using namespace test;

bytes torus_archive() {
    return test::production_archive(test::make_torus(40, 40, 3.0f, 1.0f)).content();
}

/// The first mesh of an archive, opened and closed as callers do.
class FirstPolymesh : public testing::Test {
  protected:
    void open(bytes content) {
        const bytes header = {'O', 'g', 'a', 'w', 'a', 0xFF, 0, 1};
        std::copy(header.begin(), header.end(), content.begin());
        stored.store(content);
        ASSERT_EQ(ogawa_open(stored.path().c_str(), &archive), 0);
    }
    ~FirstPolymesh() override { ogawa_close(&archive); }

    stored_archive stored;
    ogawa_archive archive = {};
};

TEST_F(FirstPolymesh, IsReadOnceAndCached) {
    open(torus_archive());
    ogawa_polymesh *mesh = ogawa_get_first_polymesh(&archive);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(archive.polymesh_count, 1u);
    ASSERT_NE(archive.polymeshes, nullptr);
    EXPECT_EQ(archive.polymeshes[0], mesh);
    EXPECT_STREQ(mesh->name, "mesh");
    EXPECT_STREQ(mesh->path, "/mesh");
    EXPECT_TRUE(model::same_polymesh(*mesh, read_mesh(stored).mesh));

    const failing_heap heap = failing_heap::nth(0);
    EXPECT_EQ(ogawa_get_first_polymesh(&archive), mesh);
    EXPECT_EQ(heap.count(), 0u);
}

TEST_F(FirstPolymesh, IsReadAgainIfTheCacheLacksItsArrayOrItsCount) {
    open(torus_archive());
    archive.polymesh_count = 1;
    ogawa_polymesh *const first = ogawa_get_first_polymesh(&archive);
    ASSERT_NE(first, nullptr);
    ogawa_polymesh **const first_cache = archive.polymeshes;
    ASSERT_NE(first_cache, nullptr);
    EXPECT_EQ(first_cache[0], first);

    archive.polymesh_count = 0;
    ogawa_polymesh *const second = ogawa_get_first_polymesh(&archive);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    EXPECT_EQ(archive.polymesh_count, 1u);
    EXPECT_EQ(archive.polymeshes[0], second);
    ogawa_free_polymesh(first);
    std::free(first);
    std::free(first_cache);
}

TEST_F(FirstPolymesh, IsCountedInTheDescription) {
    open(torus_archive());
    ogawa_get_first_polymesh(&archive);
    char text[2048];
    ogawa_get_info(&archive, text, sizeof text);
    EXPECT_NE(std::strstr(text, "\nObjects: 0\nPolyMeshes: 1\n"), nullptr);
}

TEST_F(FirstPolymesh, IsReleasedWithItsArchive) {
    open(torus_archive());
    const heap_ledger ledger;
    ogawa_get_first_polymesh(&archive);
    EXPECT_EQ(ledger.live(), 6u); // the record, the cache and four arrays
    ogawa_close(&archive);
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_EQ(ogawa_get_first_polymesh(&archive), nullptr) << "closed";
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(FirstPolymesh, OfNoArchiveIsNull) {
    EXPECT_EQ(ogawa_get_first_polymesh(nullptr), nullptr);
}

TEST_F(FirstPolymesh, IsNullWhenThereIsNone) {
    open(bytes(5000));
    const heap_ledger ledger;
    EXPECT_EQ(ogawa_get_first_polymesh(&archive), nullptr);
    EXPECT_EQ(archive.polymesh_count, 0u);
    EXPECT_EQ(archive.polymeshes, nullptr);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(FirstPolymesh, LosesTheArraysOfAFailedRead) {
    open(test::four_arrays(0).content());
    heap_ledger ledger;
    EXPECT_EQ(ogawa_get_first_polymesh(&archive), nullptr);
    EXPECT_EQ(archive.polymeshes, nullptr);
    EXPECT_EQ(ledger.free_all(), 3u) << "normals and face arrays, but not the record";
}

TEST_F(FirstPolymesh, IsNullWithoutMemoryForItsRecord) {
    open(torus_archive());
    const failing_heap heap = failing_heap::of_size(sizeof(ogawa_polymesh));
    EXPECT_EQ(ogawa_get_first_polymesh(&archive), nullptr);
    EXPECT_EQ(heap.count(), 1u);
    EXPECT_EQ(archive.polymesh_count, 0u);
}

TEST_F(FirstPolymesh, BelongsToTheCallerWithoutMemoryForTheCache) {
    open(torus_archive());
    heap_ledger ledger;
    ogawa_polymesh *mesh = nullptr;
    {
        // A group of one child takes as much as the cache; here it holds nothing.
        const failing_heap heap = failing_heap::of_size(sizeof(ogawa_polymesh *));
        mesh = ogawa_get_first_polymesh(&archive);
    }
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->vertex_count, 1600u);
    EXPECT_EQ(archive.polymesh_count, 0u);
    EXPECT_EQ(archive.polymeshes, nullptr);
    ogawa_close(&archive);
    EXPECT_EQ(mesh->positions[0], 4.0f) << "it outlives the archive";
    ogawa_free_polymesh(mesh);
    std::free(mesh);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(FreePolymesh, ReleasesEverythingAndClearsTheRecord) {
    const auto block = [](auto *&array) {
        array = static_cast<std::remove_reference_t<decltype(array)>>(std::malloc(16));
    };
    const heap_ledger ledger;
    ogawa_polymesh mesh;
    std::memset(&mesh, 0, sizeof mesh);
    block(mesh.positions);
    mesh.reserved_array = std::malloc(16);
    block(mesh.normals);
    block(mesh.normal_indices);
    block(mesh.face_counts);
    block(mesh.face_indices);
    mesh.uv_sets = static_cast<ogawa_uv_set *>(std::calloc(3, sizeof(ogawa_uv_set)));
    mesh.uv_set_count = 3;
    for (int i = 0; i < 3; i += 2) {
        block(mesh.uv_sets[i].values);
        block(mesh.uv_sets[i].indices);
    }
    block(mesh.tangent_frame.tangents);
    block(mesh.tangent_frame.bitangents);
    block(mesh.manifold.vertex_faces);
    block(mesh.manifold.vertex_face_offsets);
    mesh.manifold.face_vertices = mesh.face_indices; // borrowed
    block(mesh.manifold.face_offsets);
    mesh.manifold.aux_array_a = std::malloc(16);
    mesh.reserved_buffer = std::malloc(16);
    mesh.vertex_count = 1;
    mesh.bounds_max[2] = 3.0f;
    mesh.transform[5] = 1.0;
    EXPECT_EQ(ledger.live(), 18u);

    ogawa_free_polymesh(&mesh);
    EXPECT_EQ(ledger.live(), 0u);
    ogawa_polymesh cleared;
    std::memset(&cleared, 0, sizeof cleared);
    EXPECT_EQ(std::memcmp(&mesh, &cleared, sizeof mesh), 0);
    ogawa_free_polymesh(&mesh); // once more, cleared
}

TEST(FreePolymesh, AcceptsNullAndMissingUvSets) {
    ogawa_free_polymesh(nullptr);
    ogawa_polymesh mesh = {};
    mesh.uv_set_count = 7;
    ogawa_free_polymesh(&mesh);
    EXPECT_EQ(mesh.uv_set_count, 0u);
}

} // namespace
} // namespace qel
