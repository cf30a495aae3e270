// SPDX-License-Identifier: MIT
#include "model/scene_model.h"
#include "qel_alembic/scene_file_fixture.h"
#include "support/failing_read.h"

namespace qel {
namespace {

using namespace test;

using SceneLoad = scene_file_test;

TEST_F(SceneLoad, RestoresEveryByteThatWasSaved) {
    fill();
    for (std::uint32_t m = 0; m < 2; ++m) { // padding, and values that processing does not write
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

TEST_F(SceneLoad, RestoresEveryFieldThatWasSaved) {
    fill();
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

TEST_F(SceneLoad, BuildsTheIndexAndCountsTheTotals) {
    fill();
    owned.scene.total_vertices = 5000; // a wrong number in the header
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

TEST_F(SceneLoad, ReadsVersionZero) {
    EXPECT_EQ(load(header(0, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.version, 0u);
    EXPECT_EQ(loaded.scene.flags, 77u);
}

TEST_F(SceneLoad, RefusesVersionTwoAndKeepsIt) {
    EXPECT_EQ(load(header(2, 1, 1)), -3);
    EXPECT_EQ(loaded.scene.version, 2u);
    EXPECT_EQ(loaded.scene.mesh_count, 0u);
    EXPECT_EQ(loaded.scene.flags, 0u);
    EXPECT_EQ(load(header(0xFFFFFFFF, 1, 1)), -3);
}

TEST_F(SceneLoad, LeavesTheFrameArrayWhereThereAreNoFrames) {
    qel_alembic_frame frame = {};
    loaded.scene.frames = &frame;
    EXPECT_EQ(load(header(1, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.frames, &frame);
    loaded.scene.frames = nullptr;
}

TEST_F(SceneLoad, BuildsNoIndexWithoutMeshesAndKeepsTheHeadersTotal) {
    EXPECT_EQ(load(header(1, 0, 0)), 0);
    EXPECT_EQ(loaded.scene.hash, nullptr);
    EXPECT_EQ(loaded.scene.total_vertices, 1001u);
    EXPECT_EQ(loaded.scene.total_tokens, 0u);
    EXPECT_EQ(loaded.scene.total_faces, 1002u);
    EXPECT_NE(loaded.scene.meshes, nullptr);
}

TEST_F(SceneLoad, RefusesAnotherMagicAndAShortHeaderAndChangesNothing) {
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

TEST_F(SceneLoad, FailsWithoutASceneAPathOrAFile) {
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

TEST_F(SceneLoad, KeepsANameWithoutAZeroByte) {
    std::memset(owned.add_keys({1}).name, 'n', 64);
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    ASSERT_EQ(qel_alembic_load(path.c_str(), &loaded.scene), 0);
    EXPECT_EQ(std::string(loaded.scene.meshes[0].name, 64), std::string(64, 'n'));
}

TEST_F(SceneLoad, CutsThePathTo255Characters) {
    std::string deep = folder.path().string();
    while (deep.size() < 300)
        deep += "/./.";
    deep += "/scene.bqel";
    write_file(path, header(1, 0, 0));
    ASSERT_EQ(qel_alembic_load(deep.c_str(), &loaded.scene), 0);
    EXPECT_EQ(loaded.scene.source, deep.substr(0, 255));
}

#if !defined(_WIN32) // Windows has no named pipes in folders
TEST_F(SceneLoad, ReadsFromAPipe) {
    fill();
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    EXPECT_EQ(load_through_pipe(folder, read_file(path), loaded.scene), 0);
    ASSERT_EQ(qel_alembic_save(folder.file("again").c_str(), &loaded.scene), 0);
    EXPECT_EQ(read_file(folder.file("again")), read_file(path));
}
#endif

/// Fills the heap's small blocks with other bytes than zero.
void soil_freed_memory() {
    void *blocks[64];
    for (std::size_t i = 0; i < 64; ++i)
        std::memset(blocks[i] = std::malloc(2 * i + 1), 0xEE, 2 * i + 1);
    for (void *const block : blocks)
        std::free(block);
}

TEST_F(SceneLoad, HoldsZerosForWhatAFailingReadLeavesOut) {
    owned.add_mesh({1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, 1, 2});
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    const bytes file = read_file(path);
    std::size_t at = header_bytes;
    int number = 2; // of the read; the first one is that of the header
    for (const std::size_t size : {101u, 3u * 12, 12u, 3u * 40, 3u * 32}) {
        owned_scene half;
        soil_freed_memory();
        failing_read = number++;
        EXPECT_EQ(qel_alembic_load(path.c_str(), &half.scene), 0);
        failing_read = 0;
        ASSERT_EQ(qel_alembic_save(folder.file("again").c_str(), &half.scene), 0);
        const bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(at + size / 2));
        EXPECT_EQ(read_file(folder.file("again")), model::completed_file(cut, 10'000)) << size;
        at += size;
    }
}

TEST_F(SceneLoad, IgnoresBytesBeyondTheCounts) {
    bytes file = header(1, 0, 0);
    file.resize(5000, 0xEE);
    EXPECT_EQ(load(file), 0);
    EXPECT_EQ(loaded.scene.mesh_count, 0u);
}

} // namespace
} // namespace qel
