// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_index.h"

#include "common/heap.h"
#include "model/scene_model.h"
#include "support/failing_heap.h"
#include "support/scenes.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using namespace test;

constexpr std::size_t table_bytes = std::size_t{index_slots} * 4;

class SceneIndex : public testing::Test {
  protected:
    void build() { ASSERT_EQ(qel_alembic_build_hash_table(&owned.scene), 0); }

    /// Whether the table holds exactly these slots and is empty elsewhere.
    void expect_slots(const std::vector<std::pair<std::uint32_t, std::uint32_t>> &taken) {
        std::vector<std::uint32_t> expected(index_slots, empty_slot);
        ASSERT_NE(owned.scene.hash, nullptr);
        for (const auto &[slot, number] : taken) {
            expected[slot] = number;
            EXPECT_EQ(owned.scene.hash[slot], number) << "slot " << slot;
        }
        EXPECT_EQ(std::memcmp(owned.scene.hash, expected.data(), table_bytes), 0);
    }

    owned_scene owned;
};

void expect_plain_table(const qel_alembic_file &scene) {
    const std::vector<std::uint32_t> expected = model::index_table(scene);
    ASSERT_NE(scene.hash, nullptr);
    ASSERT_EQ(std::memcmp(scene.hash, expected.data(), table_bytes), 0);
}

TEST_F(SceneIndex, RefusesNoSceneAndNoMeshesAndWritesNothing) {
    qel_alembic_file scene = {};
    scene.total_vertices = 7;
    EXPECT_EQ(qel_alembic_build_hash_table(nullptr), -1);
    EXPECT_EQ(qel_alembic_build_hash_table(&scene), -1);
    scene.mesh_count = 5; // a count without an array
    EXPECT_EQ(qel_alembic_build_hash_table(&scene), -1);
    EXPECT_EQ(scene.total_vertices, 7u);
    EXPECT_EQ(scene.hash_size, 0u);
    EXPECT_EQ(scene.hash, nullptr);
}

TEST_F(SceneIndex, SetsTheTotalsOfVerticesAndTokensButNotOfFaces) {
    owned.add_keys({1, 2, 3});
    owned.add_keys({4, 5});
    owned.scene.total_vertices = owned.scene.total_tokens = owned.scene.total_faces = 99;
    build();
    EXPECT_EQ(owned.scene.total_vertices, 5u);
    EXPECT_EQ(owned.scene.total_tokens, 5u);
    EXPECT_EQ(owned.scene.total_faces, 99u);
    EXPECT_EQ(owned.scene.hash_size, 0x800000u);
}

TEST_F(SceneIndex, NumbersVerticesOverTheMeshesInOrderAndSkipsEmptyOnes) {
    owned.add_keys({100, 200});
    owned.add_keys({});
    owned.add_keys({50});
    build();
    expect_slots({{100, 0}, {200, 1}, {50, 2}});
}

TEST_F(SceneIndex, FoldsTheHighHalfOfAKeyIntoItsSlot) {
    owned.add_keys({0xF0000001'F0000010u, 0x00000000'FFFFFFFFu, 0xFFFFFFFF'00000000u});
    build();
    expect_slots({{0x11, 0}, {0x7FFFFF, 1}, {0, 2}});
}

TEST_F(SceneIndex, PutsEqualKeysIntoAdjacentSlots) {
    owned.add_keys({5, 5, 6, 5});
    build();
    expect_slots({{5, 0}, {6, 1}, {7, 2}, {8, 3}});
}

TEST_F(SceneIndex, WrapsFromTheLastSlotToTheFirst) {
    owned.add_keys({0x7FFFFF, 0x7FFFFF, 0x7FFFFE, 0x7FFFFE, 0});
    build();
    expect_slots({{0x7FFFFF, 0}, {0, 1}, {0x7FFFFE, 2}, {1, 3}, {2, 4}});
}

TEST_F(SceneIndex, WrapsAroundTheTableEndToTheFirstFreeSlotAfterFullBlocks) {
    std::vector<std::uint64_t> keys(64 * 256, 0);
    keys.resize(keys.size() + 257, 0x7FFF00); // the last block of 256, and one more
    owned.add_keys(keys);
    build();
    EXPECT_EQ(owned.scene.hash[0x7FFFFF], 64u * 256 + 255);
    EXPECT_EQ(owned.scene.hash[64 * 256], 64u * 256 + 256);
}

TEST_F(SceneIndex, LeavesUnprocessedMeshesOutButKeepsTheirNumbers) {
    owned.add_keys({10});
    owned.add_empty_mesh().vertex_count = 1000;
    owned.add_keys({20});
    build();
    expect_slots({{10, 0}, {20, 1001}});
    EXPECT_EQ(owned.scene.total_vertices, 1002u);
}

TEST_F(SceneIndex, OmitsNumbersThatDoNotFitASlot) {
    owned.add_empty_mesh().vertex_count = 0xFFFFFFFE;
    owned.add_keys({10}); // number 0xFFFFFFFE, the last that is not the mark of an empty slot
    owned.add_keys({20});
    owned.add_keys({30}); // number 2^32, which must not become 0
    build();
    expect_slots({{10, 0xFFFFFFFE}});
    EXPECT_EQ(owned.scene.total_vertices, 0x100000001u);
}

TEST_F(SceneIndex, WithoutMemoryHasNoTableButItsSizeAndTotals) {
    owned.add_keys({1, 2});
    const failing_heap heap = failing_heap::of_size(table_bytes);
    EXPECT_EQ(qel_alembic_build_hash_table(&owned.scene), -4);
    EXPECT_EQ(heap.count(), 1u) << "the first allocation";
    EXPECT_EQ(owned.scene.hash, nullptr);
    EXPECT_EQ(owned.scene.hash_size, 0x800000u);
    EXPECT_EQ(owned.scene.total_vertices, 2u);
    EXPECT_EQ(owned.scene.total_tokens, 2u);
}

TEST_F(SceneIndex, NeedsNothingButTheTable) {
    std::mt19937 random(71);
    std::vector<std::uint64_t> keys(20'000);
    for (std::uint64_t &key : keys)
        key = 0x7FF000 + random() % 8192;
    owned.add_keys(keys);
    {
        const failing_heap heap = failing_heap::from(2);
        ASSERT_EQ(qel_alembic_build_hash_table(&owned.scene), 0);
        EXPECT_EQ(heap.failures(), 1u);
    }
    expect_plain_table(owned.scene);
}

TEST_F(SceneIndex, ReleasesItsScratch) {
    owned.add_keys({1, 2});
    const heap_ledger ledger;
    build();
    EXPECT_EQ(ledger.live(), 1u); // the table
}

TEST_F(SceneIndex, FillsEverySlot) {
    qel_alembic_mesh &mesh = owned.add_empty_mesh();
    mesh.vertex_count = index_slots + 3;
    mesh.vertices = static_cast<qel_alembic_vertex *>(std::calloc(mesh.vertex_count, sizeof *mesh.vertices));
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i)
        mesh.vertices[i].morton = i ^ 0x155;       // not in order within a block
    for (const std::uint64_t failing : {0u, 2u}) { // 2: without scratch
        release(owned.scene.hash);
        const failing_heap heap = failing_heap::nth(failing);
        ASSERT_EQ(qel_alembic_build_hash_table(&owned.scene), 0);
        for (std::uint32_t slot = 0; slot < index_slots; ++slot)
            ASSERT_EQ(owned.scene.hash[slot], slot ^ 0x155);
    }
}

TEST_F(SceneIndex, EqualsPlainProbingForEveryPathThroughABlock) {
    // Home slots at the ends of blocks, full blocks after them, free slots before and after those.
    std::mt19937 random(75);
    for (const std::uint32_t first : {0u, 256u * 62, 256u * 4095, index_slots - 256u * 5}) {
        owned_scene made;
        std::vector<std::uint64_t> keys;
        for (int i = 0; i < 3'000; ++i) {
            const std::uint64_t block = random() % 6;
            const std::uint64_t place = random() % 3 == 0 ? random() % 256 : 250 + random() % 6;
            keys.push_back((first + block * 256 + place) % index_slots);
        }
        made.add_keys(keys);
        for (const std::uint64_t failing : {0u, 2u}) { // 2: without scratch
            release(made.scene.hash);
            {
                const failing_heap heap = failing_heap::nth(failing);
                ASSERT_EQ(qel_alembic_build_hash_table(&made.scene), 0);
            }
            expect_plain_table(made.scene);
        }
    }
}

TEST_F(SceneIndex, OverwritesAnExistingTableWithoutFreeingIt) {
    owned.add_keys({1});
    const heap_ledger ledger;
    build();
    std::uint32_t *const first = owned.scene.hash;
    build();
    EXPECT_EQ(ledger.live(), 2u);
    EXPECT_NE(owned.scene.hash, first);
    std::free(first);
    EXPECT_EQ(ledger.live(), 1u);
}

TEST_F(SceneIndex, EqualsPlainProbingForScatteredKeys) {
    std::mt19937_64 random(72);
    for (int round = 0; round < 4; ++round) {
        owned_scene made;
        for (int m = 0; m < 5; ++m) {
            std::vector<std::uint64_t> keys(random() % 20'000);
            for (std::uint64_t &key : keys)
                key = random();
            made.add_keys(keys);
        }
        ASSERT_EQ(qel_alembic_build_hash_table(&made.scene), 0);
        expect_plain_table(made.scene);
    }
}

TEST_F(SceneIndex, EqualsPlainProbingForRunsAnywhere) {
    std::mt19937_64 random(73);
    for (int round = 0; round < 8; ++round) {
        owned_scene made;
        const std::uint64_t base = random() % index_slots; // runs that begin inside, at and round the end
        const std::uint64_t start = round % 2 == 0 ? base : index_slots - 1 - base % 4096;
        for (int m = 0; m < 3; ++m) {
            std::vector<std::uint64_t> keys(4'000);
            for (std::uint64_t &key : keys)
                key = (start + random() % 9'000) % index_slots;
            made.add_keys(keys);
        }
        ASSERT_EQ(qel_alembic_build_hash_table(&made.scene), 0);
        expect_plain_table(made.scene);
    }
}

TEST_F(SceneIndex, EqualsPlainProbingForMeshesOnTheLattice) {
    std::mt19937 random(74);
    for (int m = 0; m < 4; ++m)
        owned.add_mesh(test::random_positions(random, 25'000), {});
    build();
    expect_plain_table(owned.scene);
}

TEST_F(SceneIndex, FillsALongRunOfOneKeyWithoutWalkingIt) {
    constexpr std::uint32_t count = 1'000'000; // half a million million steps if it walked
    owned.add_keys(std::vector<std::uint64_t>(count, 0));
    build();
    for (std::uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(owned.scene.hash[i], i);
    EXPECT_EQ(owned.scene.hash[count], empty_slot);
}

TEST_F(SceneIndex, LeavesOutVerticesWithoutAFreeSlotAndStillFindsTheOthers) {
    qel_alembic_mesh &mesh = owned.add_empty_mesh();
    mesh.vertex_count = index_slots + 1000;
    mesh.vertices = static_cast<qel_alembic_vertex *>(std::calloc(mesh.vertex_count, sizeof *mesh.vertices));
    mesh.vertices[3].morton = 3;
    mesh.vertices[index_slots + 5].morton = 77;
    build();
    EXPECT_EQ(owned.scene.total_vertices, index_slots + 1000u);
    for (std::uint32_t slot = 0; slot < index_slots; ++slot)
        ASSERT_EQ(owned.scene.hash[slot], slot);
    qel_alembic_hit hit = {};
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 0, &hit), 0);
    EXPECT_EQ(hit.vertex_index, 0u);
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 3, &hit), 0);
    EXPECT_EQ(hit.vertex_index, 3u);
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 77, &hit), -1);  // left out
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 500, &hit), -1); // in no vertex
}

} // namespace
} // namespace qel
