// SPDX-License-Identifier: MIT
#include "ogawa_reader/cache/cache_loading.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace qel {
namespace {

using namespace test;

TEST_F(MeshCacheLoad, PointsIntoTheFile) {
    const bytes file = whole_cache_file(some_skin());
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(std::memcmp(&mesh_.header, file.data(), 64), 0);
    EXPECT_EQ(mesh_.file_size, file.size());
    EXPECT_EQ(offset_of(mesh_.positions), 64);
    EXPECT_EQ(offset_of(mesh_.normals), 64 + 48);
    EXPECT_EQ(offset_of(mesh_.indices), 64 + 96);
    EXPECT_EQ(std::memcmp(mesh_.view, file.data(), file.size()), 0);
    EXPECT_EQ(mesh_.positions[3], 1.0f);
    EXPECT_EQ(mesh_.normals[2], 1.0f);
    EXPECT_EQ(mesh_.indices[5], 3u);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, CopiesTheSkin) {
    const cache_skin skin = some_skin();
    ASSERT_EQ(load(whole_cache_file(skin)), 0);
    ASSERT_NE(mesh_.skin, nullptr);
    ASSERT_EQ(mesh_.skin->joint_count, 2u);
    ASSERT_EQ(mesh_.skin->weight_count, 4u);
    EXPECT_EQ(std::memcmp(mesh_.skin->joints, skin.joints.data(), 2 * 328), 0);
    EXPECT_EQ(std::memcmp(mesh_.skin->weights, skin.weights.data(), 4 * 20), 0);
    EXPECT_EQ(std::memcmp(mesh_.skin->bind_extra, skin.bind_extra, 128), 0);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, ReadsBackWhatSaveWrote) {
    cache_mesh mesh = test::quad();
    const ogawa_polymesh record = mesh.record();
    ASSERT_EQ(qel_mesh_save(&record, nullptr, path_.c_str()), 0);
    ASSERT_EQ(qel_mesh_load(path_.c_str(), &mesh_), 0);
    EXPECT_EQ(mesh_.header.vertex_count, 4u);
    EXPECT_EQ(mesh_.header.triangle_count, 2u);
    EXPECT_EQ(mesh_.normals, nullptr);
    EXPECT_EQ(mesh_.skin, nullptr);
    EXPECT_EQ(std::memcmp(mesh_.positions, mesh.positions.data(), 48), 0);
    const std::uint32_t triangles[6] = {0, 1, 2, 0, 2, 3};
    EXPECT_EQ(std::memcmp(mesh_.indices, triangles, 24), 0);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, NeedsARecord) {
    EXPECT_EQ(qel_mesh_load(path_.c_str(), nullptr), -1);
}

TEST_F(MeshCacheLoad, ReportsWhatCannotBeMapped) {
    EXPECT_EQ(load({}), -3);
    EXPECT_TRUE(is_zero(mesh_));
    mesh_.file_size = 1;
#if defined(_WIN32)
    EXPECT_EQ(qel_mesh_load(folder_.path().string().c_str(), &mesh_), -2) << "a folder does not open";
    EXPECT_TRUE(is_zero(mesh_));
#else
    EXPECT_EQ(qel_mesh_load(folder_.path().string().c_str(), &mesh_), -3);
    EXPECT_TRUE(is_zero(mesh_));
    ASSERT_EQ(mkfifo(folder_.file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(qel_mesh_load(folder_.file("pipe").c_str(), &mesh_), -3);
#endif
}

TEST_F(MeshCacheLoad, RefusesAnotherMagic) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes file = whole_cache_file(some_skin());
        file[i] ^= 0x20;
        std::memset(&mesh_, 0xEE, sizeof mesh_);
        EXPECT_EQ(load(file), -5);
        EXPECT_TRUE(is_zero(mesh_));
        EXPECT_FALSE(is_mapped(path_));
    }
    EXPECT_EQ(load({'Q', 'E', 'L'}), -5) << "not whole";
}

TEST_F(MeshCacheLoad, IgnoresTheVersion) {
    for (const unsigned version : {0u, 1u, 3u, 255u}) {
        bytes file = whole_cache_file(some_skin());
        file[4] = static_cast<std::uint8_t>(version);
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.header.version, version);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, FlagsDecideOnNormalsAndSkin) {
    for (std::uint8_t flags = 0; flags < 8; ++flags) {
        bytes file = whole_cache_file(some_skin());
        file[6] = flags;
        file[7] = 0xFF; // bits without meaning
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.normals != nullptr, (flags & 1) != 0);
        EXPECT_EQ(mesh_.skin != nullptr, (flags & 4) != 0);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, CompletesAShortHeaderWithZeros) {
    const bytes whole = whole_cache_file(some_skin());
    for (std::size_t size = 4; size < 64; ++size) {
        ASSERT_EQ(load(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), 0);
        bytes header(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        header.resize(64);
        EXPECT_EQ(std::memcmp(&mesh_.header, header.data(), 64), 0) << size;
        EXPECT_EQ(mesh_.skin, nullptr);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, ReturnsOffsetsUnchecked) {
    bytes file = whole_cache_file(some_skin());
    const std::uint32_t beyond = 0xFFFFFFFF, unaligned = 3;
    std::memcpy(&file[48], &beyond, 4);
    std::memcpy(&file[56], &unaligned, 4);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(offset_of(mesh_.positions), 0xFFFFFFFF);
    EXPECT_EQ(offset_of(mesh_.indices), 3);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, ReadsASkinAtAnyOffset) {
    const cache_skin skin = some_skin();
    bytes file = whole_cache_file(skin);
    file.insert(file.begin() + skin_at, 0xAA);
    const std::uint32_t offset = skin_at + 1;
    std::memcpy(&file[60], &offset, 4);
    ASSERT_EQ(load(file), 0);
    ASSERT_NE(mesh_.skin, nullptr);
    EXPECT_EQ(std::memcmp(mesh_.skin->joints, skin.joints.data(), 2 * 328), 0);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, ASkinNeedNotHaveJointsOrWeights) {
    bytes file = whole_cache_file(some_skin());
    file.resize(skin_at);
    file.resize(skin_at + 8 + 128, 0);
    file.back() = 5;
    ASSERT_EQ(load(file), 0);
    ASSERT_NE(mesh_.skin, nullptr);
    EXPECT_EQ(mesh_.skin->joint_count, 0u);
    EXPECT_EQ(mesh_.skin->weight_count, 0u);
    EXPECT_EQ(mesh_.skin->bind_extra[127], 5);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, IgnoresATruncatedSkin) {
    const bytes whole = whole_cache_file(some_skin());
    for (std::size_t size = skin_at; size <= whole.size(); ++size) {
        ASSERT_EQ(load(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), 0);
        ASSERT_EQ(mesh_.skin != nullptr, size == whole.size()) << size;
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, IgnoresASkinWhoseCountsExceedTheFile) {
    const std::size_t weights_at = skin_at + 4 + 2 * 328;
    for (const std::size_t at : {skin_at, weights_at})
        for (const std::uint32_t count : {11u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0x00C7CE0Du}) {
            bytes file = whole_cache_file(some_skin());
            std::memcpy(&file[at], &count, 4);
            const failing_heap watch = failing_heap::nth(0);
            ASSERT_EQ(load(file), 0);
            EXPECT_EQ(mesh_.skin, nullptr) << at << ' ' << count;
            EXPECT_LE(watch.count(), 2u) << "never room for what is not there";
            qel_mesh_free(&mesh_);
        }
}

TEST_F(MeshCacheLoad, IgnoresASkinOffsetPastTheEnd) {
    const bytes whole = whole_cache_file(some_skin());
    for (const std::size_t offset : {whole.size() - 3, whole.size(), whole.size() + 1, std::size_t{0xFFFFFFFF}}) {
        bytes file = whole;
        const auto word = static_cast<std::uint32_t>(offset);
        std::memcpy(&file[60], &word, 4);
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.skin, nullptr);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, WithoutMemoryForJointsTheWeightsAreReadFromTheirPlace) {
    cache_skin skin = some_skin();
    const std::uint32_t words[2] = {3, 0x11223344};
    std::memcpy(skin.joints[0].descriptor, words, 8);
    const bytes file = whole_cache_file(skin);
    const std::uint8_t *const joints = &file[skin_at + 4];
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(2 * 328);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(heap.failures(), 1u);
    ASSERT_NE(mesh_.skin, nullptr);
    EXPECT_EQ(mesh_.skin->joints, nullptr);
    EXPECT_EQ(mesh_.skin->joint_count, 2u) << "as the file says";
    EXPECT_EQ(mesh_.skin->weight_count, 3u) << "the first word of the first joint";
    EXPECT_EQ(std::memcmp(mesh_.skin->weights, joints + 4, 3 * 20), 0);
    EXPECT_EQ(std::memcmp(mesh_.skin->bind_extra, joints + 4 + 3 * 20, 128), 0);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheLoad, WithoutMemoryForJointsACountThatExceedsTheFileIsIgnored) {
    cache_skin skin = some_skin();
    const std::uint32_t count = 1000;
    std::memcpy(skin.joints[0].descriptor, &count, 4);
    const bytes file = whole_cache_file(skin);
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(2 * 328);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(mesh_.skin, nullptr);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheLoad, WithoutMemoryForWeightsTheRestIsRead) {
    const cache_skin skin = some_skin();
    const bytes file = whole_cache_file(skin);
    const failing_heap heap = failing_heap::of_size(4 * 20);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(heap.failures(), 1u);
    ASSERT_NE(mesh_.skin, nullptr);
    EXPECT_NE(mesh_.skin->joints, nullptr);
    EXPECT_EQ(mesh_.skin->weights, nullptr);
    EXPECT_EQ(mesh_.skin->weight_count, 4u);
    EXPECT_EQ(std::memcmp(mesh_.skin->bind_extra, skin.bind_extra, 128), 0);
    const double pose[32] = {};
    const float in[12] = {};
    float out[12] = {99};
    qel_skin_apply(mesh_.skin, pose, in, out);
    EXPECT_EQ(out[0], 99.0f) << "a skin without weights moves nothing";
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, LoadsOfOneFileAreIndependent) {
    ASSERT_EQ(load(whole_cache_file(some_skin())), 0);
    qel_mesh second;
    ASSERT_EQ(qel_mesh_load(path_.c_str(), &second), 0);
    EXPECT_NE(second.view, mesh_.view);
    EXPECT_NE(second.skin, mesh_.skin);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(second.positions[3], 1.0f);
    qel_mesh_free(&second);
}

} // namespace
} // namespace qel
