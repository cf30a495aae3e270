// SPDX-License-Identifier: MIT
#include "qel_alembic/scene_format.h"

#include "model/scene_model.h"
#include "qel_alembic/scene_maker.h"
#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <thread>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace qel {
namespace {

using test::append;
using test::bytes;
using test::heap_ledger;
using test::owned_scene;
using test::read_file;
using test::temp_folder;
using test::write_file;

class SceneFile : public testing::Test {
  protected:
    /// Three meshes, one of them without faces and one empty, and three frames.
    void fill(owned_scene &owned) {
        owned.add_mesh(test::random_positions(random, 40), test::random_triangles(random, 40, 70), "first");
        owned.add_mesh(test::random_positions(random, 7), {}, "second");
        owned.add_empty_mesh();
        owned.add_frame(3, 0.25f, {test::random_positions(random, 40), test::random_positions(random, 2)});
        owned.add_frame(-4, 0.5f, {});
        owned.add_frame(5, 0.75f, {{}, test::random_positions(random, 1)});
        owned.scene.total_vertices = 47;
        owned.scene.total_faces = 123456789012;
        owned.scene.flags = 0xA5A5A5A5;
        owned.scene.fps = 23.976f;
        owned.scene.time_start = -1.5f;
        owned.scene.time_end = 2.5f;
    }

    /// A header; what follows is up to the test.
    static bytes header(std::uint32_t version, std::uint32_t meshes, std::uint32_t frames) {
        bytes file = {'B', 'Q', 'E', 'L'};
        append(file, version);
        append(file, meshes);
        append(file, frames);
        append(file, std::uint64_t{1001});
        append(file, std::uint64_t{1002});
        append(file, 30.0f);
        append(file, 1.0f);
        append(file, 2.0f);
        append(file, std::uint32_t{77});
        file.resize(64);
        return file;
    }

    std::int32_t load(const bytes &file) {
        write_file(path, file);
        return qel_alembic_load(path.c_str(), &loaded.scene);
    }

    std::mt19937 random{101};
    temp_folder folder;
    std::string path = folder.file("scene.bqel");
    owned_scene loaded;
};

TEST_F(SceneFile, IsWrittenHeaderMeshesFrames) {
    owned_scene owned;
    fill(owned);
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    EXPECT_EQ(read_file(path), model::scene_file(owned.scene));
}

TEST_F(SceneFile, IsWrittenWithTheseBytes) {
    owned_scene owned;
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

TEST_F(SceneFile, SavedAndLoadedReproducesEveryByte) {
    owned_scene owned;
    fill(owned);
    for (std::uint32_t m = 0; m < 2; ++m) { // padding, and values that processing would never write
        qel_alembic_mesh &mesh = owned.scene.meshes[m];
        mesh.reserved = 0x12345678;
        for (std::size_t i = 0; i < mesh.vertex_count * sizeof *mesh.vertices; ++i)
            reinterpret_cast<std::uint8_t *>(mesh.vertices)[i] = static_cast<std::uint8_t>(random());
        for (std::size_t i = 0; i < mesh.vertex_count * sizeof *mesh.tokens; ++i)
            reinterpret_cast<std::uint8_t *>(mesh.tokens)[i] = static_cast<std::uint8_t>(random());
    }
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    for (std::uint32_t m = 0; m < 2; ++m) {
        const qel_alembic_mesh &a = owned.scene.meshes[m], &b = loaded.scene.meshes[m];
        EXPECT_EQ(std::memcmp(a.vertices, b.vertices, a.vertex_count * 40), 0);
        EXPECT_EQ(std::memcmp(a.tokens, b.tokens, a.vertex_count * 32), 0);
    }
    ASSERT_EQ(qel_alembic_save(folder.file("again").c_str(), &loaded.scene), 0);
    EXPECT_EQ(read_file(folder.file("again")), read_file(path));
}

TEST_F(SceneFile, LoadedHasEveryFieldOfTheSavedOne) {
    owned_scene owned;
    fill(owned);
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    const qel_alembic_file &scene = loaded.scene;
    EXPECT_EQ(scene.version, 1u);
    EXPECT_EQ(scene.flags, 0xA5A5A5A5u);
    EXPECT_EQ(scene.source, path);
    EXPECT_EQ(scene.mesh_count, 3u);
    EXPECT_EQ(scene.frame_count, 3u);
    EXPECT_EQ(scene.fps, 23.976f);
    EXPECT_EQ(scene.time_start, -1.5f);
    EXPECT_EQ(scene.time_end, 2.5f);
    EXPECT_EQ(scene.total_faces, 123456789012u);
    EXPECT_STREQ(scene.meshes[1].name, "second");
    EXPECT_EQ(scene.meshes[0].face_count, 70u);
    EXPECT_EQ(scene.meshes[0].bounds[4], owned.scene.meshes[0].bounds[4]);
    EXPECT_EQ(scene.meshes[0].layer, 1);
    EXPECT_EQ(scene.frames[1].frame, -4);
    EXPECT_EQ(scene.frames[2].time, 0.75f);
    EXPECT_EQ(scene.frames[2].meshes[1].vertex_count, 1u);
    EXPECT_EQ(scene.frames[2].meshes[1].positions[2], owned.scene.frames[2].meshes[1].positions[2]);
    EXPECT_EQ(scene.frames[0].meshes[1].vertices, nullptr);
}

TEST_F(SceneFile, LoadedIsIndexedAndItsTotalsAreCounted) {
    owned_scene owned;
    fill(owned);
    owned.scene.total_vertices = 5000; // whatever the header says
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    EXPECT_EQ(loaded.scene.total_vertices, 47u);
    EXPECT_EQ(loaded.scene.total_tokens, 47u);
    EXPECT_EQ(loaded.scene.hash_size, 0x800000u);
    qel_alembic_hit hit = {};
    const std::uint64_t key = owned.scene.meshes[1].vertices[6].morton;
    EXPECT_EQ(qel_alembic_lookup_morton(&loaded.scene, key, &hit), 0);
    EXPECT_EQ(hit.vertex->morton, key);
}

TEST_F(SceneFile, OfVersionZeroLoads) {
    EXPECT_EQ(load(header(0, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.version, 0u);
    EXPECT_EQ(loaded.scene.flags, 77u);
}

TEST_F(SceneFile, OfVersionTwoIsRefusedAndLeavesItsVersion) {
    EXPECT_EQ(load(header(2, 1, 1)), -3);
    EXPECT_EQ(loaded.scene.version, 2u);
    EXPECT_EQ(loaded.scene.mesh_count, 0u);
    EXPECT_EQ(loaded.scene.flags, 0u);
    EXPECT_EQ(load(header(0xFFFFFFFF, 1, 1)), -3);
}

TEST_F(SceneFile, WithoutFramesLeavesTheFrameArrayAlone) {
    qel_alembic_frame frame = {};
    loaded.scene.frames = &frame;
    EXPECT_EQ(load(header(1, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.frames, &frame);
    loaded.scene.frames = nullptr;
}

TEST_F(SceneFile, WithoutMeshesHasNoIndexAndKeepsTheHeadersTotal) {
    EXPECT_EQ(load(header(1, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.hash, nullptr);
    EXPECT_EQ(loaded.scene.total_vertices, 1001u);
    EXPECT_EQ(loaded.scene.total_tokens, 0u);
    EXPECT_EQ(loaded.scene.total_faces, 1002u);
    EXPECT_NE(loaded.scene.meshes, nullptr);
}

TEST_F(SceneFile, WithWrongMagicOrShortHeaderIsRefusedAndTouchesNothing) {
    bytes file = header(1, 1, 1);
    file.resize(63);
    EXPECT_EQ(load(file), -2);
    EXPECT_EQ(load({}), -2);
    for (int i = 0; i < 4; ++i) {
        file = header(1, 1, 1);
        file[static_cast<std::size_t>(i)] ^= 0x20;
        EXPECT_EQ(load(file), -2) << i;
    }
    EXPECT_EQ(loaded.scene.version, 0u);
    EXPECT_EQ(loaded.scene.mesh_count, 0u);
}

TEST_F(SceneFile, CannotBeLoadedFromNowhere) {
    EXPECT_EQ(qel_alembic_load(folder.file("missing").c_str(), &loaded.scene), -1);
    EXPECT_EQ(qel_alembic_load(nullptr, &loaded.scene), -1);
    write_file(path, header(1, 0, 0));
    EXPECT_EQ(qel_alembic_load(path.c_str(), nullptr), -1);
#if defined(_WIN32)
    constexpr std::int32_t of_a_folder = -1; // it does not open
#else
    constexpr std::int32_t of_a_folder = -2; // it opens, but holds no bytes
#endif
    EXPECT_EQ(qel_alembic_load(folder.path().string().c_str(), &loaded.scene), of_a_folder);
    EXPECT_EQ(loaded.scene.version, 0u);
}

TEST_F(SceneFile, CannotBeSavedToNowhere) {
    owned_scene owned;
    fill(owned);
    EXPECT_EQ(qel_alembic_save(nullptr, &owned.scene), -1);
    EXPECT_EQ(qel_alembic_save(path.c_str(), nullptr), -1);
    EXPECT_EQ(qel_alembic_save(folder.file("missing/scene").c_str(), &owned.scene), -1);
    EXPECT_FALSE(test::file_exists(path));
}

TEST_F(SceneFile, IsSavedWithoutReportingWriteErrors) {
    owned_scene owned;
    fill(owned);
    owned.add_empty_mesh().vertex_count = 0xFFFFFFFF; // would be 336 GiB of zeros, were they not given up
    EXPECT_EQ(qel_alembic_save("/dev/full", &owned.scene), 0);
}

TEST_F(SceneFile, TakesAsManyZeroBytesForNullArraysAsTheirCountsSay) {
    owned_scene owned;
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

TEST_F(SceneFile, HoldsEmptyMeshesAndFramesForCountsWithoutArrays) {
    qel_alembic_file scene = {};
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

TEST_F(SceneFile, KeepsANameWithoutTerminator) {
    owned_scene owned;
    std::memset(owned.add_keys({1}).name, 'n', 64);
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    EXPECT_EQ(std::string(loaded.scene.meshes[0].name, 64), std::string(64, 'n'));
}

TEST_F(SceneFile, CutsItsPathTo255Characters) {
    std::string deep = folder.path().string();
    while (deep.size() < 300)
        deep += "/./.";
    deep += "/scene.bqel";
    write_file(path, header(1, 0, 0));
    ASSERT_EQ(qel_alembic_load(deep.c_str(), &loaded.scene), 0);
    EXPECT_EQ(loaded.scene.source, deep.substr(0, 255));
}

#if !defined(_WIN32) // which has no pipes with names in folders
TEST_F(SceneFile, LoadsThroughAPipe) {
    owned_scene owned;
    fill(owned);
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { write_file(pipe, read_file(path)); });
    EXPECT_EQ(qel_alembic_load(pipe.c_str(), &loaded.scene), 0);
    writer.join();
    ASSERT_EQ(qel_alembic_save(folder.file("again").c_str(), &loaded.scene), 0);
    EXPECT_EQ(read_file(folder.file("again")), read_file(path));
}
#endif

TEST_F(SceneFile, MayHoldMoreThanItsCountsSay) {
    bytes file = header(1, 0, 0);
    file.resize(5000, 0xEE);
    EXPECT_EQ(load(file), 0);
    EXPECT_EQ(loaded.scene.mesh_count, 0u);
}

TEST_F(SceneFile, EqualsItsPlainFormForScenesOfAnyShape) {
    for (int round = 0; round < 25; ++round) {
        owned_scene owned;
        for (std::size_t m = random() % 4; m > 0; --m) {
            const auto vertices = static_cast<std::uint32_t>(1 + random() % 3000);
            owned.add_mesh(test::random_positions(random, vertices),
                           test::random_triangles(random, vertices, random() % 2000));
        }
        for (std::size_t f = random() % 5; f > 0; --f) {
            std::vector<std::vector<float>> meshes(random() % 4);
            for (auto &positions : meshes)
                positions = test::random_positions(random, random() % 2000);
            owned.add_frame(static_cast<std::int32_t>(random()), static_cast<float>(f), meshes);
        }
        ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
        const bytes expected = model::scene_file(owned.scene);
        ASSERT_EQ(read_file(path), expected) << round;
        owned_scene again;
        ASSERT_EQ(qel_alembic_load(path.c_str(), &again.scene), 0);
        again.scene.total_vertices = 0; // counted by the load, not by this test's scene
        ASSERT_EQ(model::scene_file(again.scene), expected) << round;
    }
}

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
    const std::vector<float> positions = test::random_positions(random, 3);
    const std::uint32_t face[3] = {0, 1, 2};
    ASSERT_EQ(qel_alembic_load_raw(positions.data(), 3, face, 1, "mesh", &mesh), 0);
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
