// SPDX-License-Identifier: MIT
#include "model/scene_model.h"
#include "qel_alembic/scene_index.h"
#include "support/failing_heap.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace qel {
namespace {

using namespace test;

/// A hit of which no field has a value that a call writes.
qel_alembic_hit noise() {
    return {91, 92, 93, nullptr, nullptr, 94.0f};
}

void expect_untouched(const qel_alembic_hit &hit) {
    EXPECT_EQ(hit.mesh_index, 91u);
    EXPECT_EQ(hit.vertex_index, 92u);
    EXPECT_EQ(hit.frame_index, 93u);
    EXPECT_EQ(hit.distance, 94.0f);
}

void expect_hit(const qel_alembic_hit &hit, const qel_alembic_file &scene, std::uint32_t mesh, std::uint32_t vertex) {
    EXPECT_EQ(hit.mesh_index, mesh);
    EXPECT_EQ(hit.vertex_index, vertex);
    EXPECT_EQ(hit.frame_index, 0u);
    EXPECT_EQ(hit.vertex, &scene.meshes[mesh].vertices[vertex]);
    EXPECT_EQ(hit.token, &scene.meshes[mesh].tokens[vertex]);
    EXPECT_EQ(hit.distance, 0.0f);
}

class LookupMorton : public testing::Test {
  protected:
    void build() { ASSERT_EQ(qel_alembic_build_hash_table(&owned.scene), 0); }
    std::int32_t lookup(std::uint64_t morton) { return qel_alembic_lookup_morton(&owned.scene, morton, &hit); }

    owned_scene owned;
    qel_alembic_hit hit = noise();
};

TEST_F(LookupMorton, FindsTheMeshAndVertexOfAKey) {
    owned.add_keys({10, 20, 30});
    owned.add_keys({});
    owned.add_keys({40, 50});
    build();
    EXPECT_EQ(lookup(30), 0);
    expect_hit(hit, owned.scene, 0, 2);
    EXPECT_EQ(lookup(50), 0);
    expect_hit(hit, owned.scene, 2, 1);
}

TEST_F(LookupMorton, FindsTheFirstOfEqualKeys) {
    owned.add_keys({7, 8, 9});
    owned.add_keys({8, 8});
    build();
    EXPECT_EQ(lookup(8), 0);
    expect_hit(hit, owned.scene, 0, 1);
}

TEST_F(LookupMorton, DistinguishesKeysOfOneSlot) {
    owned.add_keys({5, 5 + 0x800000u, 0x500000000u ^ 0, 5 + 0x7000'0000'0000'0000u});
    build();
    EXPECT_EQ(lookup(5 + 0x800000u), 0);
    EXPECT_EQ(hit.vertex_index, 1u);
    EXPECT_EQ(lookup(0x500000000u), 0);
    EXPECT_EQ(hit.vertex_index, 2u);
    EXPECT_EQ(lookup(5 + 0x1000000u), -1);
}

TEST_F(LookupMorton, FindsTheFirstVertexAfterOthersInItsTable) {
    owned.add_keys({5});
    owned.add_keys({5 + 0x800000u});
    build();
    std::swap(owned.scene.hash[5], owned.scene.hash[6]);
    EXPECT_EQ(lookup(5), 0);
    EXPECT_EQ(hit.mesh_index, 0u);
    EXPECT_EQ(hit.vertex_index, 0u);
}

TEST_F(LookupMorton, WrapsRoundTheTableEnd) {
    owned.add_keys({0x7FFFFF, 0xFFFFFF, 0x17FFFFF});
    build();
    EXPECT_EQ(owned.scene.hash[1], 2u);
    EXPECT_EQ(lookup(0x17FFFFF), 0);
    EXPECT_EQ(hit.vertex_index, 2u);
}

TEST_F(LookupMorton, ReturnsMinusOneForAMissAndWritesNothing) {
    owned.add_keys({1, 2});
    build();
    EXPECT_EQ(lookup(3), -1);
    EXPECT_EQ(lookup(1 + 0x800000u), -1);
    expect_untouched(hit);
}

TEST_F(LookupMorton, RefusesNoSceneNoOutputAndNoTable) {
    owned.add_keys({1});
    EXPECT_EQ(lookup(1), -1);
    build();
    EXPECT_EQ(qel_alembic_lookup_morton(nullptr, 1, &hit), -1);
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 1, nullptr), -1);
    expect_untouched(hit);
}

TEST_F(LookupMorton, SkipsNumbersBeyondAllMeshes) {
    owned.add_keys({6, 6, 6});
    owned.add_keys({6 + 0x800000u});
    build();
    std::swap(owned.scene.hash[6], owned.scene.hash[9]);
    owned.scene.hash[7] = 4000;
    EXPECT_EQ(lookup(6), 0);
    expect_hit(hit, owned.scene, 0, 2);
}

TEST_F(LookupMorton, EndsAtItsStartWhenNoSlotIsEmpty) {
    owned.add_keys({1});
    build();
    std::memset(owned.scene.hash, 0, index_slots * sizeof(std::uint32_t));
    EXPECT_EQ(lookup(2), -1);
    EXPECT_EQ(lookup(1), 0);
}

TEST_F(LookupMorton, SkipsUnprocessedMeshesAndScenesWithoutAny) {
    owned.add_keys({6});
    owned.add_keys({6 + 0x800000u});
    build();
    qel_alembic_vertex *vertices = nullptr;
    std::swap(vertices, owned.scene.meshes[0].vertices);
    EXPECT_EQ(lookup(6 + 0x800000u), 0);
    EXPECT_EQ(hit.mesh_index, 1u);
    EXPECT_EQ(lookup(6), -1);
    std::swap(vertices, owned.scene.meshes[0].vertices);
    qel_alembic_mesh *meshes = nullptr;
    std::swap(meshes, owned.scene.meshes);
    EXPECT_EQ(lookup(6), -1);
    std::swap(meshes, owned.scene.meshes);
}

TEST_F(LookupMorton, EqualsAPlainSearchInScenesOfManyMeshes) {
    std::mt19937 random(81);
    for (const std::uint32_t mesh_count : {1u, 3u, 255u, 256u, 257u, 1500u}) {
        owned_scene many;
        std::uint32_t vertices = 0;
        for (std::uint32_t m = 0; m < mesh_count; ++m) {
            std::vector<std::uint64_t> keys(random() % (mesh_count < 10 ? 500 : 8));
            for (std::uint64_t &key : keys)
                key = random() % 4000 + (random() % 4) * 0x800000u;
            vertices += static_cast<std::uint32_t>(keys.size());
            many.add_keys(keys);
        }
        ASSERT_EQ(qel_alembic_build_hash_table(&many.scene), 0);
        const std::vector<std::uint32_t> table(many.scene.hash, many.scene.hash + index_slots);
        int found = 0;
        for (int i = 0; i < 600; ++i) {
            const std::uint64_t key = random() % 4000 + (random() % 4) * 0x800000u;
            qel_alembic_hit expected = noise();
            hit = noise();
            const std::int32_t status = model::lookup(many.scene, table, key, expected);
            const failing_heap heap =
                i % 2 == 0 ? failing_heap::from(1)
                           : failing_heap::nth(0); // with and without memory for the starts of all meshes
            ASSERT_EQ(qel_alembic_lookup_morton(&many.scene, key, &hit), status);
            ASSERT_EQ(hit.mesh_index, expected.mesh_index);
            ASSERT_EQ(hit.vertex_index, expected.vertex_index);
            ASSERT_EQ(hit.vertex, expected.vertex);
            found += status == 0;
        }
        EXPECT_GT(found, 5) << vertices;
    }
}

TEST_F(LookupMorton, AmongManyMeshesEndsQuickly) {
    // Each of the 300,000 steps leads to another mesh, in no order.
    constexpr std::uint32_t count = 300'000;
    std::vector<std::uint32_t> keys(count);
    std::iota(keys.begin(), keys.end(), 0);
    std::mt19937 random(83);
    std::shuffle(keys.begin(), keys.end(), random);
    owned_scene many;
    for (const std::uint32_t key : keys)
        many.add_keys({key});
    ASSERT_EQ(qel_alembic_build_hash_table(&many.scene), 0);
    EXPECT_EQ(qel_alembic_lookup_morton(&many.scene, std::uint64_t{1} << 63, &hit), -1);
    const std::uint64_t last = std::uint64_t{1} << 62 | 7;
    many.scene.meshes[many.scene.hash[count - 1]].vertices->morton = last;
    ASSERT_EQ(qel_alembic_lookup_morton(&many.scene, last, &hit), 0);
    EXPECT_EQ(hit.mesh_index, many.scene.hash[count - 1]);
}

class LookupFrameVertex : public testing::Test {
  protected:
    void SetUp() override {
        owned.add_keys({1, 2, 3});
        owned.add_keys({4});
        owned.add_frame(0, 0.0f, {std::vector<float>(30)});
        owned.add_frame(5, 0.5f, {std::vector<float>(6), std::vector<float>(12)});
        owned.add_frame(5, 1.0f, {std::vector<float>(60)});
        owned.add_frame(-2, 2.0f, {});
    }
    std::int32_t lookup(std::int32_t frame, std::uint32_t mesh, std::uint32_t vertex) {
        return qel_alembic_lookup_frame_vertex(&owned.scene, frame, mesh, vertex, &hit);
    }

    owned_scene owned;
    qel_alembic_hit hit = noise();
};

TEST_F(LookupFrameVertex, AddressesTheFirstFrameOfANumber) {
    EXPECT_EQ(lookup(5, 1, 3), 0);
    EXPECT_EQ(hit.mesh_index, 1u);
    EXPECT_EQ(hit.vertex_index, 3u);
    EXPECT_EQ(hit.frame_index, 1u); // the position of the record, not the number
    EXPECT_EQ(hit.vertex, nullptr);
    EXPECT_EQ(hit.token, nullptr);
    EXPECT_EQ(hit.distance, 0.0f);
}

TEST_F(LookupFrameVertex, AddressesAllFramesThatAreCountedAndNoOther) {
    owned_scene few;
    few.add_frame(7, 0.0f, {std::vector<float>(3)});
    few.add_frame(8, 1.0f, {std::vector<float>(3)});
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&few.scene, 8, 0, 0, &hit), 0);
    few.scene.frame_count = 1;
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&few.scene, 8, 0, 0, &hit), -1);
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&few.scene, 7, 0, 0, &hit), 0);
    few.scene.frame_count = 2;
}

TEST_F(LookupFrameVertex, ReturnsMinusOneForNoSuchFrameMeshOrVertex) {
    EXPECT_EQ(lookup(6, 0, 0), -1);
    EXPECT_EQ(lookup(5, 2, 0), -1);
    EXPECT_EQ(lookup(5, 1, 4), -1);
    EXPECT_EQ(lookup(5, 0, 19), -1); // the second frame of that number is not examined
    EXPECT_EQ(lookup(-2, 0, 0), -1);
    expect_untouched(hit);
}

TEST_F(LookupFrameVertex, WithFrameZeroDoesNotReadTheFrameArray) {
    EXPECT_EQ(lookup(0, 0, 2), 0);
    expect_hit(hit, owned.scene, 0, 2);
    EXPECT_EQ(lookup(0, 0, 9), -1); // frame number 0 has ten vertices, the mesh three
}

TEST_F(LookupFrameVertex, WithoutFramesAddressesTheBaseMeshesForAnyNumber) {
    owned_scene plain;
    plain.add_keys({1, 2});
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&plain.scene, 77, 0, 1, &hit), 0);
    expect_hit(hit, plain.scene, 0, 1);
    plain.scene.frame_count = 3; // a count without an array
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&plain.scene, 77, 0, 1, &hit), 0);
    plain.scene.frame_count = 0;
}

TEST_F(LookupFrameVertex, ReturnsMinusOneForNoSuchBaseMeshOrVertex) {
    EXPECT_EQ(lookup(0, 2, 0), -1);
    EXPECT_EQ(lookup(0, 1, 1), -1);
    expect_untouched(hit);
}

TEST_F(LookupFrameVertex, GivesNullPointersForAnUnprocessedMesh) {
    owned.add_empty_mesh().vertex_count = 2;
    EXPECT_EQ(lookup(0, 2, 1), 0);
    EXPECT_EQ(hit.vertex, nullptr);
    EXPECT_EQ(hit.token, nullptr);
}

TEST_F(LookupFrameVertex, ReturnsMinusOneForCountsWithoutArrays) {
    qel_alembic_file counts = {};
    counts.mesh_count = 5;
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&counts, 0, 0, 0, &hit), -1);
    qel_alembic_mesh *meshes = nullptr;
    std::swap(meshes, owned.scene.frames[1].meshes);
    EXPECT_EQ(lookup(5, 0, 0), -1);
    std::swap(meshes, owned.scene.frames[1].meshes);
}

TEST_F(LookupFrameVertex, RefusesNoSceneAndNoOutput) {
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(nullptr, 0, 0, 0, &hit), -1);
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&owned.scene, 0, 0, 0, nullptr), -1);
    expect_untouched(hit);
}

class QueryLayer : public testing::Test {
  protected:
    std::uint32_t query(std::uint8_t layer, std::int32_t max) {
        results.assign(10, noise());
        return qel_alembic_query_layer(&owned.scene, layer, results.data(), max);
    }

    owned_scene owned;
    std::vector<qel_alembic_hit> results;
};

TEST_F(QueryLayer, ListsTheTokensOfALayerInOrder) {
    owned.add_keys({1, 2, 3}, 4);
    owned.add_keys({4, 5}, 7);
    owned.add_keys({6}, 4);
    owned.scene.meshes[0].tokens[1].layer = 7; // the layer of the token decides, not that of the mesh
    EXPECT_EQ(query(4, 10), 3u);
    expect_hit(results[0], owned.scene, 0, 0);
    expect_hit(results[1], owned.scene, 0, 2);
    expect_hit(results[2], owned.scene, 2, 0);
    expect_untouched(results[3]);
    EXPECT_EQ(query(7, 10), 3u);
    EXPECT_EQ(query(5, 10), 0u);
}

TEST_F(QueryLayer, StopsAtTheMaximumAndAtTheCountOfVertices) {
    owned.add_keys({1, 2, 3}, 255);
    EXPECT_EQ(query(255, 1), 1u);
    EXPECT_EQ(query(255, 2), 2u);
    expect_untouched(results[2]);
    EXPECT_EQ(query(255, 3), 3u);
    owned.scene.meshes[0].vertex_count = 2;
    EXPECT_EQ(query(255, 3), 2u);
}

TEST_F(QueryLayer, ReturnsZeroOnBadArgumentsAndEmptyScenes) {
    EXPECT_EQ(query(1, 10), 0u); // no meshes
    owned.add_keys({1}, 1);
    EXPECT_EQ(query(1, 0), 0u);
    EXPECT_EQ(query(1, -1), 0u);
    EXPECT_EQ(qel_alembic_query_layer(nullptr, 1, results.data(), 1), 0u);
    EXPECT_EQ(qel_alembic_query_layer(&owned.scene, 1, nullptr, 1), 0u);
    expect_untouched(results[0]);
}

TEST_F(QueryLayer, SkipsMeshesWithoutTokensAndCountsWithoutArrays) {
    owned.add_empty_mesh().vertex_count = 9;
    owned.add_keys({1}, 1);
    EXPECT_EQ(query(1, 10), 1u);
    expect_hit(results[0], owned.scene, 1, 0);
    qel_alembic_file counts = {};
    counts.mesh_count = 5;
    EXPECT_EQ(qel_alembic_query_layer(&counts, 1, results.data(), 10), 0u);
}

} // namespace
} // namespace qel
