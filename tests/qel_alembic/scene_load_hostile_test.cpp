// SPDX-License-Identifier: MIT
// Scene files that are cut short or have wrong counts, and loads that run out of memory.
#include "model/scene_model.h"
#include "qel_alembic/scene_file_fixture.h"
#include "support/failing_heap.h"

#include <fstream>
#include <string>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace qel {
namespace {

using namespace test;

constexpr std::size_t table_bytes = std::size_t{0x800000} * 4;
constexpr std::uint64_t resave_limit = 1 << 20;

// Offsets in the file of the fixture's scene.
constexpr std::size_t first_mesh_at = header_bytes;
constexpr std::size_t vertex_count_at = first_mesh_at + 64, face_count_at = first_mesh_at + 68;
constexpr std::size_t all_frames = (12 + 4 + 24) + (12 + 4 + 24 + 4 + 12); // bytes at the end

class HostileScene : public testing::Test {
  protected:
    HostileScene() {
        owned_scene owned;
        std::mt19937 random(111);
        owned.add_mesh(test::random_positions(random, 3), {0, 1, 2, 2, 1, 0}, "first");
        owned.add_mesh(test::random_positions(random, 2), {0, 1, 1}, "second");
        owned.add_frame(1, 0.0f, {test::random_positions(random, 2)});
        owned.add_frame(2, 1.0f, {test::random_positions(random, 2), test::random_positions(random, 1)});
        owned.scene.total_vertices = 5;
        qel_alembic_save(path.c_str(), &owned.scene);
        sound = read_file(path);
    }

    std::int32_t load(const bytes &file, qel_alembic_file &scene) {
        std::filesystem::remove(path); // to create a file is faster than to truncate one
        write_file(path, file);
        return qel_alembic_load(path.c_str(), &scene);
    }

    bytes sound_with(std::size_t at, std::uint32_t word) const { return with_word(sound, at, word); }

    std::size_t first_frame_at() const { return sound.size() - all_frames; }

    /// The file without its frames, which claims so many meshes.
    bytes meshes_only(std::uint32_t claimed) const {
        bytes file = with_word(sound_with(mesh_count_at, claimed), frame_count_at, 0);
        file.resize(first_frame_at());
        return file;
    }

    /// Calls every function that reads a scene.
    void read_everything(const qel_alembic_file &scene) {
        char text[2000];
        qel_alembic_hit hits[8];
        qel_alembic_mesh mesh = {};
        qel_alembic_validate(&scene);
        qel_alembic_file_info(&scene, text, sizeof text);
        if (scene.meshes != nullptr && scene.mesh_count > 0)
            qel_alembic_mesh_info(&scene.meshes[scene.mesh_count - 1], text, sizeof text);
        for (const std::uint64_t key : {std::uint64_t{0}, std::uint64_t{0x3FFFF}, ~std::uint64_t{0}})
            qel_alembic_lookup_morton(&scene, key, hits);
        for (const std::int32_t frame : {-1, 0, 1, 2}) {
            qel_alembic_lookup_frame_vertex(&scene, frame, 0, 1, hits);
            qel_alembic_lookup_frame_vertex(&scene, frame, 0xFFFFFFFF, 0xFFFFFFFF, hits);
            qel_alembic_sample_frame(&scene, frame, &mesh);
        }
        qel_alembic_query_nearest(&scene, 1000, 8, hits);
        qel_alembic_query_layer(&scene, 1, hits, 8);
        mesh.positions = nullptr;
        if (qel_alembic_interpolate_time(&scene, 0.5f, &mesh) == 0) std::free(mesh.positions);
        std::filesystem::remove(path);
        if (scene.total_tokens < 10'000) qel_alembic_export_file_qel(&scene, path.c_str());
    }

    /// Loads a file and, where it loads, compares what it saves with the plain reading of the file.
    std::int32_t load_and_compare(const bytes &file) {
        const heap_ledger ledger;
        qel_alembic_file scene = {};
        const std::int32_t status = load(file, scene);
        if (status == 0) {
            const bytes expected = model::completed_file(file, resave_limit);
            if (!expected.empty()) {
                std::filesystem::remove(path);
                EXPECT_EQ(qel_alembic_save(path.c_str(), &scene), 0);
                EXPECT_EQ(read_file(path), expected);
            }
            read_everything(scene);
        }
        qel_alembic_free(&scene);
        EXPECT_EQ(ledger.live(), 0u);
        return status;
    }

    temp_folder folder;
    std::string path = folder.file("scene.bqel");
    bytes sound;
};

TEST_F(HostileScene, CutAnywhereHoldsZerosForWhatIsMissing) {
    for (std::size_t length = 0; length < sound.size(); ++length) {
        const bytes file(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(length));
        // Without the index: 32 MiB for each length would be slow.
        const failing_heap heap = failing_heap::of_size(table_bytes);
        ASSERT_EQ(load_and_compare(file), length < 64 ? -2 : 0) << length;
        if (testing::Test::HasFailure()) FAIL() << "cut to " << length;
    }
}

TEST_F(HostileScene, CutBeforeItsFirstMeshHasEmptyMeshesWithArrays) {
    owned_scene owned;
    ASSERT_EQ(load(bytes(sound.begin(), sound.begin() + 64), owned.scene), 0);
    ASSERT_EQ(owned.scene.mesh_count, 2u);
    EXPECT_EQ(owned.scene.meshes[1].vertex_count, 0u);
    EXPECT_NE(owned.scene.meshes[1].positions, nullptr);
    EXPECT_NE(owned.scene.meshes[1].tokens, nullptr);
    EXPECT_EQ(owned.scene.frames[1].mesh_count, 0u);
    EXPECT_NE(owned.scene.frames[1].meshes, nullptr);
    EXPECT_EQ(owned.scene.total_vertices, 0u);
    EXPECT_EQ(qel_alembic_validate(&owned.scene), -4);
}

TEST_F(HostileScene, WithAnyByteAtAnExtremeLoadsOrIsRefused) {
    for (std::size_t at = 4; at < sound.size(); ++at) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            bytes file = sound;
            file[at] = static_cast<std::uint8_t>(value);
            const failing_heap heap = failing_heap::of_size(table_bytes);
            const std::int32_t status = load_and_compare(file);
            ASSERT_TRUE(status == 0 || status == -3 || status == -4) << status;
            ASSERT_EQ(status == -3, at < 8 && file[at] != sound[at] && !(at == 4 && value < 2));
            if (testing::Test::HasFailure()) FAIL() << "byte " << at << " set to " << value;
        }
    }
}

TEST_F(HostileScene, WithCountsLargerThanMemoryIsRefusedAtOnce) {
    for (const std::uint32_t count : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 0x40000000u, 0x20000000u})
        for (const std::size_t at : {mesh_count_at, frame_count_at, vertex_count_at, face_count_at,
                                     first_frame_at() + 8, first_frame_at() + 12})
            EXPECT_EQ(load_and_compare(sound_with(at, count)), -4) << count << " at " << at;
}

TEST_F(HostileScene, RefusedForItsCountsIsReleasedAndKeepsTheHeadersNumbers) {
    bytes file = sound_with(vertex_count_at, 0xFFFFFFFF);
    const float fps = 30.0f;
    std::memcpy(&file[32], &fps, sizeof fps);
    qel_alembic_file scene = {};
    EXPECT_EQ(load(file, scene), -4);
    EXPECT_EQ(scene.meshes, nullptr);
    EXPECT_EQ(scene.mesh_count, 0u);
    EXPECT_EQ(scene.frame_count, 0u);
    EXPECT_EQ(scene.total_vertices, 5u);
    EXPECT_EQ(scene.fps, 30.0f);
    EXPECT_EQ(scene.source[0], '\0');
    EXPECT_EQ(scene.hash, nullptr);
}

TEST_F(HostileScene, RefusedForItsMeshCountKeepsTheCounts) {
    qel_alembic_file scene = {};
    EXPECT_EQ(load(sound_with(mesh_count_at, 0xFFFFFFFF), scene), -4);
    EXPECT_EQ(scene.meshes, nullptr);
    EXPECT_EQ(scene.mesh_count, 0xFFFFFFFFu);
    EXPECT_EQ(scene.frame_count, 2u);
    read_everything(scene); // counts without arrays
    qel_alembic_hit hit;
    EXPECT_EQ(qel_alembic_validate(&scene), -2);
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&scene, 1, 0, 0, &hit), -1);
    EXPECT_EQ(qel_alembic_build_hash_table(&scene), -1);
    qel_alembic_free(&scene);
    EXPECT_EQ(scene.mesh_count, 0u);
}

TEST_F(HostileScene, WithFarTooManyMeshesOrFramesIsReadInTimeAndMemoryOfTheFile) {
    constexpr std::uint32_t claimed = 3'000'000;
    owned_scene meshes, frames;
    const heap_ledger ledger;
    ASSERT_EQ(load(meshes_only(claimed), meshes.scene), 0);
    EXPECT_EQ(meshes.scene.mesh_count, claimed);
    EXPECT_STREQ(meshes.scene.meshes[1].name, "second");
    EXPECT_NE(meshes.scene.meshes[1000].positions, nullptr); // of no entries
    EXPECT_EQ(meshes.scene.meshes[claimed - 1].positions, nullptr);
    EXPECT_EQ(meshes.scene.meshes[claimed - 1].vertex_count, 0u);
    EXPECT_LT(ledger.live(), 300'000u);
    ASSERT_EQ(load(sound_with(frame_count_at, claimed), frames.scene), 0);
    EXPECT_EQ(frames.scene.frame_count, claimed);
    EXPECT_EQ(frames.scene.frames[1].mesh_count, 2u);
    EXPECT_NE(frames.scene.frames[1000].meshes, nullptr);
    EXPECT_EQ(frames.scene.frames[claimed - 1].meshes, nullptr);
    qel_alembic_hit hit;
    EXPECT_EQ(qel_alembic_lookup_frame_vertex(&frames.scene, 12345, 0, 0, &hit), -1);
}

TEST_F(HostileScene, WithFarTooManyMeshesInAFrameMakes65536OfThemAtItsEnd) {
    bytes file = sound_with(first_frame_at() + 8, 3'000'000);
    file[frame_count_at] = 1;
    file.resize(first_frame_at() + 12 + 1); // a byte of the first one's count
    owned_scene owned;
    ASSERT_EQ(load(file, owned.scene), 0);
    const qel_alembic_frame &frame = owned.scene.frames[0];
    EXPECT_EQ(frame.mesh_count, 3'000'000u);
    EXPECT_NE(frame.meshes[65'536].positions, nullptr); // of no entries
    EXPECT_EQ(frame.meshes[65'537].positions, nullptr);
    EXPECT_EQ(frame.meshes[2'999'999].vertex_count, 0u);
}

TEST_F(HostileScene, WithMoreVerticesThanItHoldsHasZeroVertices) {
    owned_scene owned;
    ASSERT_EQ(load(sound_with(vertex_count_at, 1'000'000), owned.scene), 0);
    EXPECT_EQ(owned.scene.total_vertices, 1'000'000u);
    EXPECT_EQ(owned.scene.meshes[0].vertices[999'999].morton, 0u);
    EXPECT_EQ(owned.scene.meshes[1].vertex_count, 0u);
    qel_alembic_hit hit;
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 0, &hit), 0);
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 1, &hit), -1);
}

#if !defined(_WIN32) // Windows has no named pipes in folders
/// The peak of the process's memory since the last call of reset_peak(), where the system can reset it.
long peak_kilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void reset_peak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

TEST_F(HostileScene, ThroughAPipeAllocatesNothingForMissingVertices) {
    constexpr std::uint32_t claimed = 26'000'000; // 2.2 GB of arrays
    owned_scene owned;
    const failing_heap heap = failing_heap::of_size(table_bytes); // an index would read all vertices
    reset_peak();
    const long before = peak_kilobytes();
    ASSERT_EQ(load_through_pipe(folder, sound_with(vertex_count_at, claimed), owned.scene), 0);
    EXPECT_LT(peak_kilobytes() - before, 150'000);
    ASSERT_EQ(owned.scene.meshes[0].vertex_count, claimed);
    EXPECT_EQ(owned.scene.meshes[0].positions[3 * claimed - 1], 0.0f);
    EXPECT_EQ(owned.scene.meshes[0].tokens[claimed - 1].morton, 0u);
    EXPECT_EQ(owned.scene.meshes[1].vertex_count, 0u);
}

TEST_F(HostileScene, OfMillionsOfMissingFramesIsReleasedWithoutAllocating) {
    constexpr std::uint32_t claimed = 20'000'000; // 640 MB of records
    reset_peak();
    const long before = peak_kilobytes();
    {
        owned_scene owned;
        ASSERT_EQ(load(sound_with(frame_count_at, claimed), owned.scene), 0);
        ASSERT_EQ(owned.scene.frame_count, claimed);
    }
    EXPECT_LT(peak_kilobytes() - before, 150'000);
    const bytes huge_frame = sound_with(first_frame_at() + 12, 0xFFFFFFFF); // the vertices of its first mesh
    qel_alembic_file scene = {};
    ASSERT_EQ(load(with_word(huge_frame, frame_count_at, claimed), scene), -4);
    EXPECT_LT(peak_kilobytes() - before, 150'000);
}

TEST_F(HostileScene, ThroughAPipeLoadsTheMeshesItHolds) {
    owned_scene many;
    for (int i = 0; i < 70'000; ++i)
        many.add_empty_mesh();
    many.add_mesh(std::vector<float>(9), {0, 1, 2}, "last");
    ASSERT_EQ(qel_alembic_save(path.c_str(), &many.scene), 0);
    owned_scene owned;
    ASSERT_EQ(load_through_pipe(folder, read_file(path), owned.scene), 0);
    ASSERT_EQ(owned.scene.mesh_count, 70'001u);
    EXPECT_STREQ(owned.scene.meshes[70'000].name, "last");
    EXPECT_EQ(owned.scene.meshes[70'000].vertex_count, 3u);
}

TEST_F(HostileScene, ThroughAPipeWithFarTooManyMeshesLoads) {
    constexpr std::uint32_t claimed = 3'000'000;
    owned_scene owned;
    ASSERT_EQ(load_through_pipe(folder, meshes_only(claimed), owned.scene), 0);
    EXPECT_STREQ(owned.scene.meshes[1].name, "second");
    EXPECT_NE(owned.scene.meshes[1000].positions, nullptr); // of no entries
    EXPECT_EQ(owned.scene.meshes[claimed - 1].positions, nullptr);
}
#endif

TEST_F(HostileScene, MayLackAtMostOneGibibyteOfAnArray) {
    constexpr std::uint32_t gibibyte = 1 << 30;
    // No mesh; one frame with one mesh; 8 bytes of positions, so that 12 n - 8 can be a gibibyte. The same of a frame.
    const bytes no_mesh = with_word({sound.begin(), sound.begin() + header_bytes + 8}, mesh_count_at, 0);
    bytes one_frame = with_word(no_mesh, frame_count_at, 1);
    one_frame.resize(header_bytes + 12 + 4 + 8);
    one_frame[header_bytes + 8] = 1; // its meshes
    for (const std::uint32_t more : {0u, 1u}) {
        const std::uint32_t vertices = (gibibyte + 8) / 12 + more;
        const std::uint32_t frames = (gibibyte + 8) / sizeof(qel_alembic_frame) + more;
        for (const bytes &file :
             {with_word(one_frame, header_bytes + 12, vertices), with_word(no_mesh, frame_count_at, frames)}) {
            qel_alembic_file scene = {};
            EXPECT_EQ(load(file, scene), more == 0 ? 0 : -4);
            qel_alembic_free(&scene);
        }
    }
}

TEST_F(HostileScene, WithoutMemoryReleasesWhatItHasAtEveryAllocation) {
    // A buffer, which may be missing; meshes, four arrays each; frames, their meshes, their positions; the index.
    constexpr std::uint64_t first = 2, before_index = 1 + 1 + 2 * 4 + 1 + (1 + 1) + (1 + 2);
    for (std::uint64_t n = first; n <= before_index; ++n) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::nth(n);
        qel_alembic_file scene = {};
        EXPECT_EQ(load(sound, scene), -4) << n;
        EXPECT_EQ(heap.count(), n);
        EXPECT_EQ(ledger.live(), 0u) << n;
        EXPECT_EQ(scene.meshes, nullptr);
        EXPECT_EQ(scene.frames, nullptr);
        EXPECT_EQ(scene.mesh_count, n == first ? 2u : 0u); // the mesh array's own failure releases nothing
        EXPECT_EQ(scene.frame_count, n == first ? 2u : 0u);
        EXPECT_EQ(scene.total_vertices, 5u);
        EXPECT_EQ(scene.version, 1u);
        qel_alembic_free(&scene);
    }
    const failing_heap heap = failing_heap::nth(before_index + 1);
    owned_scene owned;
    EXPECT_EQ(load(sound, owned.scene), 0);
    EXPECT_EQ(owned.scene.hash, nullptr);
    EXPECT_EQ(owned.scene.total_tokens, 5u);
    qel_alembic_hit hit;
    EXPECT_EQ(qel_alembic_lookup_morton(&owned.scene, 0, &hit), -1);
}

TEST_F(HostileScene, CutShortAndWithoutMemoryIsRefusedToo) {
    const bytes file(sound.begin(), sound.begin() + first_mesh_at + 101 + 10); // within the first positions
    for (const std::size_t size : {3u * 12, 2u * 12, 3u * 40, 3u * 32}) {
        const heap_ledger ledger;
        const failing_heap heap = failing_heap::of_size(size);
        qel_alembic_file scene = {};
        EXPECT_EQ(load(file, scene), -4) << size;
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST_F(HostileScene, WithoutMemoryForAnArrayOfEachSizeIsRefused) {
    constexpr std::size_t mesh = sizeof(qel_alembic_mesh), frame = sizeof(qel_alembic_frame);
    const std::size_t sizes[] = {2 * mesh, 3 * 12, 3 * 40, 3 * 32, 2 * 12, 2 * 40, 2 * 32, 2 * frame, mesh};
    for (const std::size_t size : sizes) {
        const failing_heap heap = failing_heap::of_size(size);
        qel_alembic_file scene = {};
        EXPECT_EQ(load(sound, scene), -4) << size;
        EXPECT_EQ(heap.failures(), 1u) << size;
        qel_alembic_free(&scene);
    }
}

} // namespace
} // namespace qel
