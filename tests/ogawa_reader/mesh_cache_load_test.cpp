// SPDX-License-Identifier: MIT
#include "model/mesh_cache_model.h"
#include "ogawa_reader/mesh_cache_cases.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#if defined(_WIN32)
#include <windows.h>

#include <psapi.h>
#else
#include <sys/stat.h>
#endif
#include <system_error>

namespace qel {
namespace {

using test::bytes;
using test::cache_mesh;
using test::cache_skin;
using test::failing_heap;
using test::header_of;
using test::heap_ledger;
using test::temp_folder;

/// A quad with vertex normals and a skin of 2 joints and 4 weights, as a file.
bytes whole_file(const cache_skin &given) {
    cache_mesh mesh = test::quad();
    mesh.normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    cache_skin skin = given;
    const qel_skin skin_record = skin.record();
    return model::save_mesh(mesh.record(), &skin_record).content;
}

cache_skin some_skin() {
    std::mt19937 random(70);
    return test::noise_skin(random, 2, 4);
}

constexpr std::size_t skin_at = 64 + 48 + 48 + 24; // in whole_file

bool is_zero(const qel_mesh &mesh) {
    const bytes zeros(sizeof mesh, 0);
    return std::memcmp(&mesh, zeros.data(), sizeof mesh) == 0;
}

#if defined(_WIN32)
bool is_mapped(const std::string &path) {
    const std::filesystem::path whole(path);
    const std::string name = (whole.parent_path().filename() / whole.filename()).make_preferred().string();
    MEMORY_BASIC_INFORMATION region;
    const char *at = nullptr;
    for (; VirtualQuery(at, &region, sizeof region) != 0; at += region.RegionSize) {
        char file[1024];
        if (region.State != MEM_COMMIT || region.Type != MEM_MAPPED) continue;
        const DWORD size = K32GetMappedFileNameA(GetCurrentProcess(), region.BaseAddress, file, sizeof file);
        if (std::string(file, size).find(name) != std::string::npos) return true;
    }
    return false;
}
#else
bool is_mapped(const std::string &path) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(path) != std::string::npos) return true;
    return false;
}
#endif

class MeshCacheLoad : public testing::Test {
  protected:
    MeshCacheLoad() { std::memset(&mesh_, 0xEE, sizeof mesh_); }

    std::int32_t load(const bytes &file) {
        std::remove(path_.c_str()); // some file systems flush a file that is overwritten, and make this slow
        test::write_file(path_, file);
        return qel_mesh_load(path_.c_str(), &mesh_);
    }
    std::ptrdiff_t offset_of(const void *pointer) const {
        return static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(pointer) -
                                           reinterpret_cast<std::uintptr_t>(mesh_.view));
    }
    /// Loads a file and compares everything with what the plain reader finds; then frees it.
    void expect_as_modelled(const bytes &file) {
        const heap_ledger ledger;
        const model::loaded_mesh expected = model::load_mesh(file);
        ASSERT_EQ(load(file), expected.status);
        if (expected.status != 0) {
            ASSERT_TRUE(is_zero(mesh_));
            return;
        }
        ASSERT_EQ(std::memcmp(&mesh_.header, &expected.header, 64), 0);
        ASSERT_EQ(mesh_.file_size, file.size());
        ASSERT_EQ(offset_of(mesh_.positions), expected.header.positions_offset);
        ASSERT_EQ(offset_of(mesh_.indices), expected.header.indices_offset);
        ASSERT_EQ(mesh_.normals != nullptr, (expected.header.flags & 1) != 0);
        if (mesh_.normals != nullptr) {
            ASSERT_EQ(offset_of(mesh_.normals), expected.header.normals_offset);
        }
        ASSERT_EQ(mesh_.skin != nullptr, expected.has_skin);
        if (expected.has_skin) expect_skin(*mesh_.skin, expected);
        qel_mesh_free(&mesh_);
        ASSERT_EQ(ledger.live(), 0u);
    }
    static void expect_skin(const qel_skin &skin, const model::loaded_mesh &expected) {
        ASSERT_EQ(skin.joint_count, expected.joints.size());
        ASSERT_EQ(skin.weight_count, expected.weights.size());
        if (skin.joint_count > 0) {
            ASSERT_EQ(std::memcmp(skin.joints, expected.joints.data(), skin.joint_count * 328), 0);
        }
        if (skin.weight_count > 0) {
            ASSERT_EQ(std::memcmp(skin.weights, expected.weights.data(), skin.weight_count * 20), 0);
        }
        ASSERT_EQ(std::memcmp(skin.bind_extra, expected.bind_extra.data(), 128), 0);
    }

    temp_folder folder_;
    std::string path_ = folder_.file("mesh.qelm");
    qel_mesh mesh_;
};

TEST_F(MeshCacheLoad, PointsIntoTheFile) {
    const bytes file = whole_file(some_skin());
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
    ASSERT_EQ(load(whole_file(skin)), 0);
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

TEST_F(MeshCacheLoad, NeedsAPathAndARecord) {
    EXPECT_EQ(qel_mesh_load(nullptr, &mesh_), -1);
    EXPECT_EQ(mesh_.file_size, 0xEEEEEEEEEEEEEEEEu) << "untouched";
    EXPECT_EQ(qel_mesh_load(path_.c_str(), nullptr), -1);
}

TEST_F(MeshCacheLoad, ReportsAFileThatCannotBeOpened) {
    EXPECT_EQ(qel_mesh_load(folder_.file("none").c_str(), &mesh_), -2);
    EXPECT_TRUE(is_zero(mesh_));
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

TEST_F(MeshCacheLoad, ReportsAnAddressSpaceWithoutRoom) {
    test::write_file(path_, {'Q', 'E', 'L', 'M'});
    std::error_code refused;
    std::filesystem::resize_file(path_, std::uint64_t{8} << 40, refused);
    if (refused) GTEST_SKIP() << "the file system has no files of 8 TiB";
    std::vector<qel_mesh> meshes(64);
    std::size_t count = 0;
    std::int32_t status = 0;
    while (count < meshes.size() && (status = qel_mesh_load(path_.c_str(), &meshes[count])) == 0)
        ++count;
    EXPECT_EQ(status, -4);
    EXPECT_TRUE(is_zero(meshes[count]));
    for (std::size_t i = 0; i < count; ++i)
        qel_mesh_free(&meshes[i]);
}

TEST_F(MeshCacheLoad, RefusesAnotherMagic) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes file = whole_file(some_skin());
        file[i] ^= 0x20;
        std::memset(&mesh_, 0xEE, sizeof mesh_);
        EXPECT_EQ(load(file), -5);
        EXPECT_TRUE(is_zero(mesh_));
        EXPECT_FALSE(is_mapped(path_));
    }
    EXPECT_EQ(load({'Q', 'E', 'L'}), -5) << "not whole";
}

TEST_F(MeshCacheLoad, DoesNotLookAtTheVersion) {
    for (const unsigned version : {0u, 1u, 3u, 255u}) {
        bytes file = whole_file(some_skin());
        file[4] = static_cast<std::uint8_t>(version);
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.header.version, version);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, FlagsDecideOnNormalsAndSkin) {
    for (std::uint8_t flags = 0; flags < 8; ++flags) {
        bytes file = whole_file(some_skin());
        file[6] = flags;
        file[7] = 0xFF; // bits without meaning
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.normals != nullptr, (flags & 1) != 0);
        EXPECT_EQ(mesh_.skin != nullptr, (flags & 4) != 0);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, CompletesAShortHeaderWithZeros) {
    const bytes whole = whole_file(some_skin());
    for (std::size_t size = 4; size < 64; ++size) {
        ASSERT_EQ(load(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), 0);
        bytes header(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        header.resize(64);
        EXPECT_EQ(std::memcmp(&mesh_.header, header.data(), 64), 0) << size;
        EXPECT_EQ(mesh_.skin, nullptr);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, HandsOutOffsetsUnchecked) {
    bytes file = whole_file(some_skin());
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
    bytes file = whole_file(skin);
    file.insert(file.begin() + skin_at, 0xAA);
    const std::uint32_t offset = skin_at + 1;
    std::memcpy(&file[60], &offset, 4);
    ASSERT_EQ(load(file), 0);
    ASSERT_NE(mesh_.skin, nullptr);
    EXPECT_EQ(std::memcmp(mesh_.skin->joints, skin.joints.data(), 2 * 328), 0);
    qel_mesh_free(&mesh_);
}

TEST_F(MeshCacheLoad, ASkinNeedNotHaveJointsOrWeights) {
    bytes file = whole_file(some_skin());
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

TEST_F(MeshCacheLoad, ASkinCutShortIsNoSkin) {
    const bytes whole = whole_file(some_skin());
    for (std::size_t size = skin_at; size <= whole.size(); ++size) {
        ASSERT_EQ(load(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))), 0);
        ASSERT_EQ(mesh_.skin != nullptr, size == whole.size()) << size;
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, CountsOfASkinAreNotBelievedBeyondTheFile) {
    const std::size_t weights_at = skin_at + 4 + 2 * 328;
    for (const std::size_t at : {skin_at, weights_at})
        for (const std::uint32_t count : {11u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0x00C7CE0Du}) {
            bytes file = whole_file(some_skin());
            std::memcpy(&file[at], &count, 4);
            const failing_heap watch = failing_heap::nth(0);
            ASSERT_EQ(load(file), 0);
            EXPECT_EQ(mesh_.skin, nullptr) << at << ' ' << count;
            EXPECT_LE(watch.count(), 2u) << "never room for what is not there";
            qel_mesh_free(&mesh_);
        }
}

TEST_F(MeshCacheLoad, ASkinBehindTheFileIsNoSkin) {
    const bytes whole = whole_file(some_skin());
    for (const std::size_t offset :
         {whole.size() - 3, whole.size(), whole.size() + 1, std::size_t{0xFFFFFFFF}}) {
        bytes file = whole;
        const auto word = static_cast<std::uint32_t>(offset);
        std::memcpy(&file[60], &word, 4);
        ASSERT_EQ(load(file), 0);
        EXPECT_EQ(mesh_.skin, nullptr);
        qel_mesh_free(&mesh_);
    }
}

TEST_F(MeshCacheLoad, WithoutMemoryThereIsNoSkin) {
    const bytes file = whole_file(some_skin());
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(sizeof(qel_skin));
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(heap.failures(), 1u);
    EXPECT_EQ(mesh_.skin, nullptr);
    EXPECT_NE(mesh_.positions, nullptr);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheLoad, WithoutMemoryForJointsTheWeightsAreReadFromTheirPlace) {
    cache_skin skin = some_skin();
    const std::uint32_t words[2] = {3, 0x11223344};
    std::memcpy(skin.joints[0].descriptor, words, 8);
    const bytes file = whole_file(skin);
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

TEST_F(MeshCacheLoad, WithoutMemoryForJointsTheirFirstWordIsNotBelievedBeyondTheFile) {
    cache_skin skin = some_skin();
    const std::uint32_t count = 1000;
    std::memcpy(skin.joints[0].descriptor, &count, 4);
    const bytes file = whole_file(skin);
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::of_size(2 * 328);
    ASSERT_EQ(load(file), 0);
    EXPECT_EQ(mesh_.skin, nullptr);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST_F(MeshCacheLoad, WithoutMemoryForWeightsTheRestIsRead) {
    const cache_skin skin = some_skin();
    const bytes file = whole_file(skin);
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

TEST_F(MeshCacheLoad, NothingLeaksWhicheverAllocationFails) {
    const bytes file = whole_file(some_skin());
    for (std::uint64_t n = 1; n <= 4; ++n)
        for (const bool all_later : {false, true}) {
            const heap_ledger ledger;
            const failing_heap heap = all_later ? failing_heap::from(n) : failing_heap::nth(n);
            ASSERT_EQ(load(file), 0);
            qel_mesh_free(&mesh_);
            EXPECT_EQ(ledger.live(), 0u) << n;
            EXPECT_TRUE(is_zero(mesh_));
        }
}

TEST_F(MeshCacheLoad, LoadsOfOneFileAreIndependent) {
    ASSERT_EQ(load(whole_file(some_skin())), 0);
    qel_mesh second;
    ASSERT_EQ(qel_mesh_load(path_.c_str(), &second), 0);
    EXPECT_NE(second.view, mesh_.view);
    EXPECT_NE(second.skin, mesh_.skin);
    qel_mesh_free(&mesh_);
    EXPECT_EQ(second.positions[3], 1.0f);
    qel_mesh_free(&second);
}

TEST_F(MeshCacheLoad, SurvivesEveryTruncation) {
    const bytes whole = whole_file(some_skin());
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        expect_as_modelled(bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_FALSE(HasFatalFailure()) << size;
    }
}

TEST_F(MeshCacheLoad, SurvivesExtremesInEveryWord) {
    const bytes whole = whole_file(some_skin());
    const auto size = static_cast<std::uint32_t>(whole.size());
    std::vector<std::size_t> places = {skin_at, skin_at + 4 + 2 * 328};
    for (std::size_t at = 0; at < 64; at += 2)
        places.push_back(at);
    for (const std::size_t at : places)
        for (const std::uint32_t word : {0u, 1u, 3u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, size - 133,
                                         size - 132, size - 128, size - 4, size - 1, size, size + 1}) {
            bytes file = whole;
            std::memcpy(&file[at], &word, 4);
            expect_as_modelled(file);
            ASSERT_FALSE(HasFatalFailure()) << at << ' ' << word;
        }
}

TEST_F(MeshCacheLoad, SurvivesRandomBytes) {
    std::mt19937 random(74);
    int with_skin = 0;
    for (int round = 0; round < 1500; ++round) {
        bytes file(random() % 700 + 1);
        for (std::uint8_t &byte : file)
            byte = random() % 3 == 0 ? static_cast<std::uint8_t>(random()) : 0;
        if (round % 20 != 0) std::memcpy(file.data(), "QELM", file.size() < 4 ? file.size() : 4);
        if (file.size() >= 64 && round % 3 != 0) {
            const auto offset = static_cast<std::uint32_t>(random() % (file.size() + 4));
            file[6] |= 4;
            std::memcpy(&file[60], &offset, 4);
            const std::uint32_t joints = random() % 2;
            if (offset + 4 <= file.size()) std::memcpy(&file[offset], &joints, 4);
        }
        if (model::load_mesh(file).has_skin) ++with_skin;
        expect_as_modelled(file);
        ASSERT_FALSE(HasFatalFailure()) << "round " << round;
    }
    EXPECT_GT(with_skin, 50);
}

TEST(MeshCacheFree, UnmapsAMeshWithoutASkinToo) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    cache_mesh quad = test::quad();
    test::write_file(path, model::save_mesh(quad.record(), nullptr).content);
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    EXPECT_EQ(mesh.skin, nullptr);
    EXPECT_TRUE(is_mapped(path));
    qel_mesh_free(&mesh);
    EXPECT_FALSE(is_mapped(path));
}

TEST(MeshCacheFree, UnmapsReleasesAndClears) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    test::write_file(path, whole_file(some_skin()));
    const heap_ledger ledger;
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    EXPECT_TRUE(is_mapped(path));
    EXPECT_EQ(ledger.live(), 3u) << "skin, joints and weights";
    qel_mesh_free(&mesh);
    EXPECT_FALSE(is_mapped(path));
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_TRUE(is_zero(mesh));
    qel_mesh_free(&mesh);
    qel_mesh_free(nullptr);
}

TEST(MeshCacheFree, ReleasesASkinWithoutAMapping) {
    qel_mesh mesh = {};
    mesh.header.vertex_count = 9;
    mesh.skin = static_cast<qel_skin *>(std::calloc(1, sizeof(qel_skin)));
    mesh.skin->weights = static_cast<qel_skin_weight *>(std::malloc(20));
    qel_mesh_free(&mesh);
    EXPECT_TRUE(is_zero(mesh));
}

TEST(MeshCacheGpuData, HandsOutPointersAndCounts) {
    const temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    test::write_file(path, whole_file(some_skin()));
    qel_mesh mesh;
    ASSERT_EQ(qel_mesh_load(path.c_str(), &mesh), 0);
    const float *positions = nullptr, *normals = nullptr;
    const std::uint32_t *indices = nullptr;
    std::uint32_t vertices = 0, triangles = 0;
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, &positions, &normals, &indices, &vertices, &triangles), 0);
    EXPECT_EQ(positions, mesh.positions);
    EXPECT_EQ(normals, mesh.normals);
    EXPECT_EQ(indices, mesh.indices);
    EXPECT_EQ(vertices, 4u);
    EXPECT_EQ(triangles, 2u);
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    mesh.normals = nullptr;
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, nullptr, &normals, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(normals, nullptr);
    qel_mesh_free(&mesh);
}

TEST(MeshCacheGpuData, NeedsAMapping) {
    const float marker = 0;
    const float *positions = &marker;
    std::uint32_t vertices = 77;
    EXPECT_EQ(qel_mesh_get_gpu_data(nullptr, &positions, nullptr, nullptr, &vertices, nullptr), -1);
    qel_mesh mesh = {};
    mesh.header.vertex_count = 3;
    qel_mesh_free(&mesh);
    EXPECT_EQ(qel_mesh_get_gpu_data(&mesh, &positions, nullptr, nullptr, &vertices, nullptr), -1);
    EXPECT_EQ(positions, &marker);
    EXPECT_EQ(vertices, 77u);
}

} // namespace
} // namespace qel
