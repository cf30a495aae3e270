// SPDX-License-Identifier: MIT
// The nearest query of a scene.
#include "model/scene_model.h"
#include "support/failing_heap.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

#include <limits>

namespace qel {
namespace {

using namespace test;

constexpr std::uint64_t last_key = std::numeric_limits<std::uint64_t>::max();

class QueryNearest : public testing::Test {
  protected:
    /// The vertices found, as numbers of a scene of one mesh.
    std::vector<std::uint32_t> query(std::uint64_t morton, std::int32_t k) {
        hits.assign(20, {});
        const std::uint32_t count = qel_alembic_query_nearest(&owned.scene, morton, k, hits.data());
        std::vector<std::uint32_t> vertices;
        for (std::uint32_t i = 0; i < count; ++i)
            vertices.push_back(hits[i].vertex_index);
        return vertices;
    }

    /// The distance from a key to the only vertex of a scene.
    static float distance_between(std::uint64_t key, std::uint64_t vertex) {
        owned_scene single;
        single.add_keys({vertex});
        qel_alembic_hit hit = {};
        EXPECT_EQ(qel_alembic_query_nearest(&single.scene, key, 1, &hit), 1u);
        return hit.distance;
    }

    owned_scene owned;
    std::vector<qel_alembic_hit> hits;
};

using numbers = std::vector<std::uint32_t>;

TEST_F(QueryNearest, FindsTheNearestFirst) {
    owned.add_keys({900, 100, 104, 50});
    EXPECT_EQ(query(100, 3), (numbers{1, 2, 3}));
    EXPECT_EQ(hits[0].distance, 0.0f);
    EXPECT_EQ(hits[1].distance, 2.0f);
    EXPECT_EQ(hits[2].distance, 7.0f); // the floor of the root of 50
    EXPECT_EQ(hits[2].frame_index, 0u);
    EXPECT_EQ(hits[2].vertex, &owned.scene.meshes[0].vertices[3]);
    EXPECT_EQ(hits[2].token, &owned.scene.meshes[0].tokens[3]);
}

TEST_F(QueryNearest, WithKBeyondTheVerticesReturnsThemAllNearestFirst) {
    owned.add_keys({900, 100, 104, 50});
    EXPECT_EQ(query(100, 20), (numbers{1, 2, 3, 0}));
    EXPECT_EQ(hits[0].distance, 0.0f); // an exact match
    EXPECT_EQ(hits[4].vertex, nullptr);
}

TEST_F(QueryNearest, AcceptsTheLargestKForASmallScene) {
    owned.add_keys({9, 1, 5});
    EXPECT_EQ(query(0, std::numeric_limits<std::int32_t>::max()), (numbers{1, 2, 0}));
}

TEST_F(QueryNearest, KeepsTheEarlierOfEqualDistancesFirst) {
    owned.add_keys({103, 97, 100, 98, 102, 101, 99}); // distances 1, 1, 0, 1, 1, 1, 1
    EXPECT_EQ(query(100, 7), (numbers{2, 0, 1, 3, 4, 5, 6}));
    EXPECT_EQ(query(100, 4), (numbers{2, 0, 1, 3}));
}

TEST_F(QueryNearest, RefusesADistanceEqualToTheLastEntrys) {
    owned.add_keys({116, 119, 124, 115}); // distances 4, 4, 4, 3
    EXPECT_EQ(query(100, 2), (numbers{3, 0}));
    EXPECT_EQ(query(100, 1), (numbers{3}));
}

TEST_F(QueryNearest, NumbersVerticesByTheirMesh) {
    owned.add_keys({500});
    owned.add_keys({});
    owned.add_keys({400, 100});
    EXPECT_EQ(query(100, 2), (numbers{1, 0}));
    EXPECT_EQ(hits[0].mesh_index, 2u);
    EXPECT_EQ(hits[1].mesh_index, 2u);
}

TEST_F(QueryNearest, StopsEarlyWithoutChangingTheAnswerWhenAllAreExact) {
    owned.add_keys({3, 100, 100});
    owned.add_keys({100, 99});
    EXPECT_EQ(query(100, 2), (numbers{1, 2}));
    EXPECT_EQ(query(100, 3), (numbers{1, 2, 0}));
    EXPECT_EQ(query(99, 1), (numbers{1}));
    EXPECT_EQ(hits[0].mesh_index, 1u); // not the first mesh's vertex, whose distance is 1
}

TEST_F(QueryNearest, SkipsUnprocessedMeshes) {
    owned.add_empty_mesh().vertex_count = 5;
    owned.add_keys({7});
    EXPECT_EQ(query(0, 3), (numbers{0}));
    EXPECT_EQ(hits[0].mesh_index, 1u);
    std::free(owned.scene.meshes[1].tokens);
    owned.scene.meshes[1].tokens = nullptr;
    EXPECT_EQ(query(0, 3), (numbers{0}));
    EXPECT_EQ(hits[0].token, nullptr);
}

TEST_F(QueryNearest, ReturnsZeroOnBadArgumentsAndEmptyScenes) {
    EXPECT_EQ(query(0, 5), numbers{});
    owned.scene.mesh_count = 9; // a count without an array
    EXPECT_EQ(query(0, 5), numbers{});
    owned.scene.mesh_count = 0;
    owned.add_keys({1});
    EXPECT_EQ(query(0, 0), numbers{});
    EXPECT_EQ(query(0, -1), numbers{});
    EXPECT_EQ(qel_alembic_query_nearest(nullptr, 0, 1, hits.data()), 0u);
    EXPECT_EQ(qel_alembic_query_nearest(&owned.scene, 0, 1, nullptr), 0u);
}

TEST_F(QueryNearest, ReturnsZeroWithoutMemoryForAListOfKEntriesEvenForFewerVertices) {
    owned.add_keys({1, 2, 3});
    for (const std::int32_t k : {2, 5, 65'536}) {
        const failing_heap heap = failing_heap::of_size(static_cast<std::size_t>(k) * 16);
        EXPECT_EQ(query(0, k), numbers{});
        EXPECT_EQ(heap.failures(), 1u) << k;
    }
}

TEST_F(QueryNearest, ListsNoMoreThanItsVerticesWhereItWouldListMore) {
    owned.add_keys({1, 2, 3});
    owned.add_keys({4});
    owned.scene.mesh_count = 1;
    const failing_heap heap = failing_heap::of_size(3 * 16);
    EXPECT_EQ(query(0, 65'537), numbers{});
    EXPECT_EQ(heap.failures(), 1u);
    owned.scene.mesh_count = 2;
}

TEST_F(QueryNearest, FreesItsList) {
    owned.add_keys({1, 2, 3});
    const heap_ledger ledger;
    EXPECT_EQ(query(0, 2), (numbers{0, 1}));
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(QueryNearest, MeasuresTheWholeRangeOfDifferences) {
    EXPECT_EQ(distance_between(0, last_key), 4294967296.0f); // 2^32 - 1 as a float
    EXPECT_EQ(distance_between(last_key, 0), 4294967296.0f);
    EXPECT_EQ(distance_between(0, 1), 1.0f);
    EXPECT_EQ(distance_between(0, 3), 1.0f);
    EXPECT_EQ(distance_between(4, 0), 2.0f);
    EXPECT_EQ(distance_between(0, std::uint64_t{1} << 63), 3037000499.0f);
}

TEST_F(QueryNearest, MeasuresExactlyAtEverySquare) {
    std::mt19937_64 random(91);
    for (int i = 0; i < 2'000; ++i) {
        const std::uint64_t root = (random() & 0xFFFFFFFF) >> (i % 32);
        for (const std::uint64_t square : {root * root, root * root - 1, root * root + 2 * root}) {
            const float expected = static_cast<float>(model::newton_root(square));
            ASSERT_EQ(distance_between(0, square), expected) << square;
            ASSERT_EQ(distance_between(square, 0), expected) << square;
        }
    }
}

TEST_F(QueryNearest, MeasuresExactlyJustBelowALargeSquare) {
    const std::uint64_t root = (1 << 27) + 9; // the first that single precision rounds up; the one below, down
    EXPECT_EQ(distance_between(0, root * root), 134217744.0f);
    EXPECT_EQ(distance_between(0, root * root - 1), 134217728.0f);
}

TEST_F(QueryNearest, CountsOnlyVertexRecordsWhereItsListWouldBeLarge) {
    owned.add_empty_mesh().vertex_count = 70'000; // unprocessed
    owned.add_keys(std::vector<std::uint64_t>(40'000, 4));
    owned.add_keys(std::vector<std::uint64_t>(30'000, 9));
    hits.assign(80'000, {});
    const heap_ledger ledger;
    EXPECT_EQ(qel_alembic_query_nearest(&owned.scene, 0, 80'000, hits.data()), 70'000u);
    EXPECT_EQ(hits[0].mesh_index, 1u);
    EXPECT_EQ(hits[69'999].mesh_index, 2u);
    EXPECT_EQ(hits[69'999].vertex_index, 29'999u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(QueryNearest, PutsTheFarthestVertexLastAndLetsNearerOnesReplaceIt) {
    owned.add_keys({last_key, last_key - 1, std::uint64_t{1} << 62, 0});
    EXPECT_EQ(query(0, 1), (numbers{3}));
    EXPECT_EQ(query(0, 3), (numbers{3, 2, 0}));
    EXPECT_EQ(query(0, 4), (numbers{3, 2, 0, 1})); // the two farthest are at the same distance
}

TEST_F(QueryNearest, EqualsAPlainInsertionList) {
    std::mt19937_64 random(92);
    for (int round = 0; round < 300; ++round) {
        owned_scene scene;
        const int shift = round % 4 * 15; // from crowded keys to keys of the whole range
        std::size_t vertices = 0;
        for (int m = 0; m < 3; ++m) {
            std::vector<std::uint64_t> keys(random() % 60);
            for (std::uint64_t &key : keys)
                key = shift == 0 ? random() % 300 : random() >> shift;
            vertices += keys.size();
            scene.add_keys(keys);
        }
        const std::uint64_t key = shift == 0 ? random() % 300 : random() >> shift;
        const std::size_t k = 1 + random() % (vertices + 5);
        const std::vector<qel_alembic_hit> expected = model::nearest(scene.scene, key, k);
        std::vector<qel_alembic_hit> found(k);
        const std::uint32_t count =
            qel_alembic_query_nearest(&scene.scene, key, static_cast<std::int32_t>(k), found.data());
        ASSERT_EQ(count, expected.size());
        for (std::uint32_t i = 0; i < count; ++i) {
            ASSERT_EQ(found[i].mesh_index, expected[i].mesh_index) << "round " << round;
            ASSERT_EQ(found[i].vertex_index, expected[i].vertex_index) << "round " << round;
            ASSERT_EQ(found[i].vertex, expected[i].vertex);
            ASSERT_EQ(found[i].token, expected[i].token);
            ASSERT_EQ(found[i].distance, expected[i].distance);
        }
    }
}

TEST_F(QueryNearest, ReturnsAQueryForEveryVertexOfALargeSceneQuickly) {
    constexpr std::int32_t count = 200'000;
    std::vector<std::uint64_t> keys(count);
    for (std::uint64_t i = 0; i < keys.size(); ++i)
        keys[i] = (keys.size() - i) * (keys.size() - i); // each nearer than all before it
    owned.add_keys(keys);
    hits.assign(keys.size(), {});
    ASSERT_EQ(qel_alembic_query_nearest(&owned.scene, 0, count, hits.data()), keys.size());
    for (std::uint32_t i = 0; i < keys.size(); ++i)
        ASSERT_EQ(hits[i].vertex_index, keys.size() - 1 - i);
}

} // namespace
} // namespace qel
