// SPDX-License-Identifier: MIT
// Every saved scene loads: the bound on memory for records that a file does not hold never refuses records that it
// holds. The bound is zero here, so that a few records reach it instead of many millions.
#include "qel_alembic/scene_file_fixture.h"
#include "qel_alembic/scene_format.h"
#include "qel_alembic/scene_load.h"
#include "support/failing_heap.h"

namespace qel {
namespace {

using namespace test;

constexpr std::int32_t loaded = 0, refused = -4;

class SceneShapes : public testing::Test {
  protected:
    /// The status of a load with a bound.
    std::int32_t load(const bytes &file, std::uint64_t max_missing) {
        const heap_ledger ledger;
        write_file(path, file);
        qel_alembic_file scene = {};
        const std::int32_t status = load_scene(path.c_str(), &scene, max_missing);
        qel_alembic_free(&scene);
        EXPECT_EQ(ledger.live(), 0u);
        return status;
    }

    /// Saves a scene, loads it with a bound of zero, and saves it again.
    void expect_to_load(const qel_alembic_file &scene, const char *shape) {
        ASSERT_EQ(qel_alembic_save(path.c_str(), &scene), 0);
        const bytes file = read_file(path);
        qel_alembic_file again = {};
        EXPECT_EQ(load_scene(path.c_str(), &again, 0), loaded) << shape;
        EXPECT_EQ(again.mesh_count, scene.mesh_count) << shape;
        EXPECT_EQ(again.frame_count, scene.frame_count) << shape;
        qel_alembic_save(path.c_str(), &again);
        EXPECT_TRUE(read_file(path) == file) << shape;
        qel_alembic_free(&again);
    }

    /// Expects that a file of 300 records loads, and that more records are refused beyond the bound.
    void expect_room_for_300(bytes file, std::size_t count_at) {
        std::memcpy(file.data(), scene_magic, sizeof scene_magic);
        EXPECT_EQ(load(with_word(file, count_at, 300), 0), loaded);
        EXPECT_EQ(load(with_word(file, count_at, 301), 0), refused);
        EXPECT_EQ(load(with_word(file, count_at, 301), max_missing_bytes), loaded);
        EXPECT_EQ(load(with_word(file, count_at, 0xFFFFFFFF), max_missing_bytes), refused);
    }

    temp_folder folder;
    std::string path = folder.file("scene.bqel");
};

TEST_F(SceneShapes, ManyMeshesLoad) {
    for (const std::size_t vertices : {0u, 1u, 2u}) {
        owned_scene owned;
        for (int i = 0; i < 300; ++i)
            owned.add_keys(std::vector<std::uint64_t>(vertices, 7));
        owned.scene.total_vertices = 300 * vertices;
        expect_to_load(owned.scene, "meshes");
    }
}

TEST_F(SceneShapes, ManyMeshesOfOneFrameLoad) {
    for (const std::size_t vertices : {0u, 1u, 2u}) {
        owned_scene owned;
        owned.add_frame(1, 0.0f, std::vector<std::vector<float>>(300, std::vector<float>(vertices * 3)));
        expect_to_load(owned.scene, "meshes of a frame");
    }
}

TEST_F(SceneShapes, ManyFramesLoad) {
    for (const std::size_t meshes : {0u, 1u, 2u}) {
        owned_scene owned;
        for (int i = 0; i < 300; ++i)
            owned.add_frame(i, 0.0f, std::vector<std::vector<float>>(meshes));
        expect_to_load(owned.scene, "frames");
    }
}

TEST_F(SceneShapes, CountsThatWereSavedWithoutArraysLoad) {
    owned_scene owned;
    owned.scene.mesh_count = 300;
    owned.add_frame(1, 0.0f, {}).mesh_count = 300;
    std::free(owned.scene.frames[0].meshes);
    owned.scene.frames[0].meshes = nullptr;
    expect_to_load(owned.scene, "counts without arrays");
}

TEST_F(SceneShapes, RandomShapesLoad) {
    std::mt19937 random(1105);
    const auto below = [&](std::size_t end) { return random() % end; };
    for (int round = 0; round < 300; ++round) {
        owned_scene owned;
        for (std::size_t meshes = below(6); meshes > 0; --meshes) {
            owned.add_keys(std::vector<std::uint64_t>(below(4), 9));
            owned.scene.total_vertices += owned.scene.meshes[owned.scene.mesh_count - 1].vertex_count;
        }
        for (std::size_t frames = below(6); frames > 0; --frames) {
            std::vector<std::vector<float>> meshes(below(5));
            for (std::vector<float> &positions : meshes)
                positions = test::random_positions(random, below(4));
            owned.add_frame(static_cast<std::int32_t>(frames), 0.5f, meshes);
        }
        expect_to_load(owned.scene, "random");
    }
}

TEST_F(SceneShapes, MeshesThatTheFileCannotHoldAreRefused) {
    expect_room_for_300(bytes(header_bytes + 300 * sizeof(mesh_block)), mesh_count_at);
}

TEST_F(SceneShapes, FramesThatTheFileCannotHoldAreRefused) {
    expect_room_for_300(bytes(header_bytes + 300 * sizeof(frame_block)), frame_count_at);
}

TEST_F(SceneShapes, MeshesOfAFrameThatTheFileCannotHoldAreRefused) {
    const bytes file(header_bytes + sizeof(frame_block) + 300 * min_frame_mesh_bytes);
    expect_room_for_300(with_word(file, frame_count_at, 1), header_bytes + offsetof(frame_block, mesh_count));
}

} // namespace
} // namespace qel
