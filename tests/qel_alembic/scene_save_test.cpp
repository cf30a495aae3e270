// SPDX-License-Identifier: MIT
#include "model/scene_model.h"
#include "qel_alembic/scene_file_fixture.h"

namespace qel {
namespace {

using namespace test;

using SceneSave = scene_file_test;

TEST_F(SceneSave, WritesTheHeaderTheMeshesAndTheFrames) {
    fill();
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    EXPECT_EQ(read_file(path), model::scene_file(owned.scene));
}

TEST_F(SceneSave, WritesTheseBytes) {
    owned.scene.version = 9; // never written
    owned.scene.flags = 0x04030201;
    owned.scene.total_vertices = 0x1111;
    owned.scene.total_faces = 0x2222;
    owned.scene.fps = 1.0f;
    owned.scene.time_start = 2.0f;
    owned.scene.time_end = -2.0f;
    qel_alembic_mesh &mesh = owned.add_empty_mesh();
    std::memcpy(mesh.name, "ab", 3);
    mesh.reserved = 0x0D0C0B0A;
    mesh.layer = 0xEE;
    owned.add_frame(-1, 0.5f, {{}});
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    bytes expected = {'B',  'Q',  'E',  'L',  1, 0, 0, 0,    1,    0,    0, 0,    1, 0, 0, 0,
                      0x11, 0x11, 0,    0,    0, 0, 0, 0,    0x22, 0x22, 0, 0,    0, 0, 0, 0,
                      0,    0,    0x80, 0x3F, 0, 0, 0, 0x40, 0,    0,    0, 0xC0, 1, 2, 3, 4};
    expected.resize(64);
    expected.insert(expected.end(), {'a', 'b'});
    expected.resize(64 + 64 + 4 + 4 + 24); // name, counts, box
    expected.insert(expected.end(), {0x0A, 0x0B, 0x0C, 0x0D, 0xEE});
    expected.insert(expected.end(), {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x3F, 1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(read_file(path), expected);
}

TEST_F(SceneSave, FailsWithoutASceneAPathOrAFolder) {
    fill();
    EXPECT_EQ(qel_alembic_save(nullptr, &owned.scene), -1);
    EXPECT_EQ(qel_alembic_save(path.c_str(), nullptr), -1);
    EXPECT_EQ(qel_alembic_save(folder.file("missing/scene").c_str(), &owned.scene), -1);
    EXPECT_FALSE(file_exists(path));
}

TEST_F(SceneSave, ReportsNoWriteErrors) {
    fill();
    owned.add_empty_mesh().vertex_count = 0xFFFFFFFF; // 336 GiB of zero bytes, unless writing ends at the first error
    EXPECT_EQ(qel_alembic_save("/dev/full", &owned.scene), 0);
}

TEST_F(SceneSave, WritesZerosForNullArraysByTheirCounts) {
    qel_alembic_mesh &mesh = owned.add_empty_mesh();
    mesh.vertex_count = 300;
    mesh.face_count = 1000;
    owned.add_keys({5});
    owned.add_frame(1, 1.0f, {{1, 2, 3}});
    std::free(owned.scene.frames[0].meshes[0].positions);
    owned.scene.frames[0].meshes[0].positions = nullptr;
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    EXPECT_EQ(read_file(path).size(), 64u + 101 + 300 * 84 + 1000 * 12 + 101 + 84 + 12 + 4 + 12);
    EXPECT_EQ(read_file(path), model::scene_file(owned.scene));
}

TEST_F(SceneSave, WritesEmptyMeshesAndFramesForCountsWithoutArrays) {
    qel_alembic_file scene = {};
    scene.mesh_count = 365; // 9 x 4096 + 1 bytes
    ASSERT_EQ(qel_alembic_save(path.c_str(), &scene), 0);
    EXPECT_EQ(read_file(path).size(), 64u + 365 * 101);
    scene.mesh_count = 3;
    scene.frame_count = 2;
    ASSERT_EQ(qel_alembic_save(path.c_str(), &scene), 0);
    EXPECT_EQ(read_file(path).size(), 64u + 3 * 101 + 2 * 12);
    qel_alembic_frame frame = {};
    frame.mesh_count = 5;
    scene.frames = &frame;
    scene.frame_count = 1;
    ASSERT_EQ(qel_alembic_save(path.c_str(), &scene), 0);
    EXPECT_EQ(read_file(path).size(), 64u + 3 * 101 + 12 + 5 * 4);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    EXPECT_EQ(loaded.scene.frames[0].mesh_count, 5u);
}

TEST_F(SceneSave, WritesThePlainFormOfScenesOfAnyShapeWhichLoads) {
    for (int round = 0; round < 25; ++round) {
        owned_scene made;
        for (std::size_t m = random() % 4; m > 0; --m) {
            const auto vertices = static_cast<std::uint32_t>(1 + random() % 3000);
            made.add_mesh(random_positions(random, vertices), random_triangles(random, vertices, random() % 2000));
        }
        for (std::size_t f = random() % 5; f > 0; --f) {
            std::vector<std::vector<float>> meshes(random() % 4);
            for (auto &positions : meshes)
                positions = random_positions(random, random() % 2000);
            made.add_frame(static_cast<std::int32_t>(random()), static_cast<float>(f), meshes);
        }
        ASSERT_EQ(qel_alembic_save(path.c_str(), &made.scene), 0);
        const bytes expected = model::scene_file(made.scene);
        ASSERT_EQ(read_file(path), expected) << round;
        owned_scene again;
        ASSERT_EQ(qel_alembic_load(path.c_str(), &again.scene), 0);
        again.scene.total_vertices = 0; // counted by the load, not by this test's scene
        ASSERT_EQ(model::scene_file(again.scene), expected) << round;
    }
}

} // namespace
} // namespace qel
