// SPDX-License-Identifier: MIT
// The library at the limits of the system: a full address space, a full disk, a folder without permission to write.
#include "ogawa_reader/container/stored_archive.h"
#include "qel_unit/agents/agent_fixture.h"
#include "support/archive_writer.h"
#include "support/mesh_maker.h"
#include "support/scenes.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_TEST_ADDRESS_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QEL_TEST_ADDRESS_SANITIZED
#endif

namespace qel {
namespace {

using namespace test;

constexpr std::size_t mebibyte = std::size_t{1} << 20;

using resource_kind = decltype(RLIMIT_AS); // an enumeration in some C libraries, a number in others

/// During its lifetime a resource of the process is limited.
class lowered_limit {
  public:
    lowered_limit(resource_kind resource, rlim_t limit) : resource_(resource) {
        getrlimit(resource_, &old_);
        const rlimit lowered = {limit, old_.rlim_max};
        setrlimit(resource_, &lowered);
    }
    ~lowered_limit() { setrlimit(resource_, &old_); }
    lowered_limit(const lowered_limit &) = delete;
    lowered_limit &operator=(const lowered_limit &) = delete;

  private:
    resource_kind resource_;
    rlimit old_{};
};

// ---- Memory -----------------------------------------------------------------------------------------------------

/// Bytes of the process's address space in use.
std::size_t taken() {
    std::size_t pages = 0;
    std::FILE *const file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%zu", &pages) != 1) pages = 0;
    if (file != nullptr) std::fclose(file);
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// Bytes that are allocated, as the heap counts them. The address space does not show them: it keeps freed memory.
std::size_t allocated() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

class MemoryLimit : public testing::Test {
  protected:
    void SetUp() override {
#if defined(QEL_TEST_ADDRESS_SANITIZED)
        GTEST_SKIP() << "the sanitizer needs the address space for itself";
#endif
        if (taken() == 0) GTEST_SKIP() << "no /proc/self/statm";
        mallopt(M_MMAP_THRESHOLD, 128 << 10); // large blocks go back to the system when they are freed
    }

    /// Repeats a call with increasing memory until it succeeds. Returns its codes. Afterwards nothing may be left
    /// allocated.
    static std::set<int> answers(std::size_t step, const std::function<int()> &call,
                                 const std::function<void()> &release) {
        std::set<int> answers;
        const std::size_t before = allocated();
        for (std::size_t more = 0; more < 400 * mebibyte && answers.count(0) == 0; more += step) {
            int answer = 0;
            {
                const lowered_limit limit(RLIMIT_AS, taken() + more);
                answer = call();
            }
            answers.insert(answer);
            release();
        }
        EXPECT_LT(allocated(), before + mebibyte / 16) << "something leaks";
        return answers;
    }

    static constexpr std::uint32_t many = 200'000;
    temp_folder folder_;
};

/// Whether a call failed at first, with codes of a list, and then succeeded.
void expect_failures_and_success(const std::set<int> &answers, const std::set<int> &codes) {
    EXPECT_EQ(answers.count(0), 1u) << "never succeeds";
    EXPECT_GT(answers.size(), 1u) << "never fails";
    for (const int answer : answers)
        EXPECT_TRUE(answer == 0 || codes.count(answer) == 1) << answer;
}

std::vector<qel_token> numbered_tokens(std::uint32_t count) {
    std::vector<qel_token> tokens(count);
    for (std::uint32_t i = 0; i < count; ++i)
        tokens[i].morton = (i * 2654435761u) >> 8;
    return tokens;
}

TEST_F(MemoryLimit, EndsACreateInADocumentedCode) {
    const test::token_arrays arrays(numbered_tokens(many));
    test::owned_unit unit;
    const auto create = [&] { return arrays.create(unit); };
    expect_failures_and_success(answers(2 * mebibyte, create, [&] { unit.reset(); }), {-2, -3, -4});
}

TEST_F(MemoryLimit, EndsAUnitLoadInADocumentedCode) {
    const std::string path = folder_.file("unit");
    test::write_file(path, test::unit_file(numbered_tokens(many)));
    test::owned_unit unit;
    const auto load = [&] { return qel_unit_load(path.c_str(), &unit); };
    expect_failures_and_success(answers(2 * mebibyte, load, [&] { unit.reset(); }), {-1, -4, -5, -6});
}

TEST_F(MemoryLimit, EndsTheAgentDirectoryInADocumentedCode) {
    test::discard_directory();
    const auto init = [] { return qel_agent_dir_init(nullptr); };
    expect_failures_and_success(answers(2 * mebibyte, init, [] { test::discard_directory(); }), {-1, -2});
}

TEST_F(MemoryLimit, EndsASceneInADocumentedCode) {
    const std::string path = folder_.file("scene");
    std::mt19937 random(1);
    const std::vector<float> positions = test::random_positions(random, many);
    qel_alembic_mesh mesh = {};
    const auto load_raw = [&] { return qel_alembic_load_raw(positions.data(), many, nullptr, 0, "m", &mesh); };
    const auto release_mesh = [&] { qel_alembic_mesh_free(&mesh); };
    expect_failures_and_success(answers(mebibyte, load_raw, release_mesh), {-4});

    qel_alembic_file scene = {};
    {
        test::owned_scene owned;
        owned.add_mesh(positions, {});
        ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    }
    const auto load = [&] { return qel_alembic_load(path.c_str(), &scene); };
    expect_failures_and_success(answers(mebibyte, load, [&] { qel_alembic_free(&scene); }), {-1, -4});
}

TEST_F(MemoryLimit, ReadsAPolymeshWithoutTheArraysThatDoNotFit) {
    const std::string path = folder_.file("archive");
    const test::plain_mesh torus = test::make_torus(300, 300, 4.0f, 1.0f);
    test::production_archive(torus).save(path);
    ogawa_archive archive;
    ASSERT_EQ(ogawa_open(path.c_str(), &archive), 0);
    ogawa_polymesh mesh = {};
    const auto read = [&] {
        const int status = ogawa_read_polymesh(&archive, nullptr, 0, &mesh);
        if (status != 0) return status;
        return mesh.face_indices != nullptr && mesh.face_counts != nullptr && mesh.normals != nullptr ? 0 : 1;
    };
    expect_failures_and_success(answers(mebibyte / 2, read, [&] { ogawa_free_polymesh(&mesh); }), {-1, -2, 1});
    ogawa_close(&archive);
}

TEST_F(MemoryLimit, EndsAMeshCacheInADocumentedCodeOrWithoutABlock) {
    const std::string path = folder_.file("cache");
    test::plain_mesh torus = test::make_torus(300, 300, 4.0f, 1.0f);
    ogawa_polymesh mesh = test::record_of(torus);
    test::set_normals(mesh, torus.corner_normals, 0);
    const std::size_t block = std::size_t{12} * 90'000; // of positions, of normals; twice that of triangles
    const auto save = [&] {
        return qel_mesh_save(&mesh, nullptr, path.c_str()) == 0
                   ? static_cast<int>(std::filesystem::file_size(path) / block) - 4
                   : 1;
    };
    expect_failures_and_success(answers(mebibyte / 4, save, [] {}), {-3, -2, -1});

    qel_mesh cache;
    const auto load = [&] { return qel_mesh_load(path.c_str(), &cache); };
    expect_failures_and_success(answers(mebibyte, load, [&] { qel_mesh_free(&cache); }), {-4});
}

// ---- Disk -------------------------------------------------------------------------------------------------------

/// One object of each kind that can be saved, and the functions that save it.
class WriteFailure : public testing::Test {
  protected:
    struct saver {
        const char *name;
        std::function<int(const char *)> save;
        std::set<int> when_full; // other than 0
        int when_not_created;
    };

    WriteFailure() : old_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        std::mt19937 random(2);
        scene_.add_mesh(test::random_positions(random, 2000), test::random_triangles(random, 2000, 900));
        unit_.version = 1;
        unit_.count = static_cast<std::uint32_t>(tokens_.size());
        unit_.tokens = tokens_.data();
        test::set_normals(mesh_, torus_.corner_normals, 0);
        mesh_.normal_count = 1;
    }
    ~WriteFailure() override { std::signal(SIGXFSZ, old_handler_); }

    std::vector<saver> savers() {
        return {{"unit", [this](const char *path) { return qel_unit_save(path, &unit_); }, {-3, -4}, -2},
                {"scene", [this](const char *path) { return qel_alembic_save(path, &scene_.scene); }, {}, -1},
                {"export of a mesh",
                 [this](const char *path) { return qel_alembic_export_qel(scene_.scene.meshes, path); },
                 {},
                 -1},
                {"export of a scene",
                 [this](const char *path) { return qel_alembic_export_file_qel(&scene_.scene, path); },
                 {},
                 -1},
                {"mesh cache", [this](const char *path) { return qel_mesh_save(&mesh_, nullptr, path); }, {}, -2}};
    }

    void load_everything(const std::string &path) const {
        test::owned_unit unit;
        qel_unit_load(path.c_str(), &unit);
        test::owned_scene scene;
        qel_alembic_load(path.c_str(), &scene.scene);
        qel_mesh cache;
        qel_mesh_load(path.c_str(), &cache);
        qel_mesh_free(&cache);
    }

    void (*old_handler_)(int);
    std::vector<qel_token> tokens_ = numbered_tokens(3000);
    test::plain_mesh torus_ = test::make_torus(40, 30, 4.0f, 1.0f);
    test::owned_scene scene_;
    qel_unit unit_ = {};
    ogawa_polymesh mesh_ = test::record_of(torus_);
    temp_folder folder_;
};

/// The file but for its time of saving, which unit files hold at 16.
bytes without_time(bytes file) {
    for (std::size_t i = 16; i < std::min<std::size_t>(24, file.size()); ++i)
        file[i] = 0;
    return file;
}

TEST_F(WriteFailure, OnAFullDiskLeavesABeginningOfTheFile) {
    const std::string path = folder_.file("file");
    for (const saver &each : savers()) {
        ASSERT_EQ(each.save(path.c_str()), 0) << each.name;
        const bytes whole = without_time(test::read_file(path));
        for (const std::size_t room :
             {std::size_t{0}, std::size_t{10}, std::size_t{24}, std::size_t{64}, std::size_t{4096}, std::size_t{4099},
              whole.size() / 2, whole.size() - 1, whole.size()}) {
            int status = 0;
            {
                const lowered_limit limit(RLIMIT_FSIZE, room);
                status = each.save(path.c_str());
            }
            EXPECT_TRUE(status == 0 || each.when_full.count(status) == 1) << each.name << " " << room << " " << status;
            const bytes file = without_time(test::read_file(path));
            ASSERT_LE(file.size(), room) << each.name;
            EXPECT_TRUE(std::equal(file.begin(), file.end(), whole.begin())) << each.name << " " << room;
            if (room == whole.size()) {
                EXPECT_EQ(status, 0) << each.name;
                EXPECT_EQ(file.size(), whole.size()) << each.name;
            }
            load_everything(path);
        }
    }
}

TEST_F(WriteFailure, OfMoreThan4GibibytesOfZerosStopsAtTheLimit) {
    const std::string path = folder_.file("file");
    test::owned_scene owned;
    owned.add_keys({1}).face_count = 0x55555556; // three indices each: 16 GiB and 8 bytes of them
    {
        const lowered_limit limit(RLIMIT_FSIZE, mebibyte);
        EXPECT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);
    }
    EXPECT_EQ(test::read_file(path).size(), mebibyte);
}

TEST_F(WriteFailure, OfADeviceThatIsAlwaysFullEndsAtOnce) {
    if (!test::file_exists("/dev/full")) GTEST_SKIP() << "no such device";
    for (const saver &each : savers()) {
        const int status = each.save("/dev/full");
        EXPECT_TRUE(status == 0 || each.when_full.count(status) == 1) << each.name << " " << status;
    }
}

/// Runs in another process without the superuser's permission to write everywhere.
[[noreturn]] void save_as_nobody(const std::function<bool()> &works) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
    _exit(works() ? 0 : 1);
}

TEST_F(WriteFailure, InAFolderThatMayNotBeWrittenToIsACode) {
    const std::string closed = folder_.file("closed");
    std::filesystem::create_directory(closed);
    const std::string path = closed + "/file", directory = closed + "/agents";
    test::discard_directory();
    test::spawn();
    ASSERT_EQ(qel_agent_dir_save(directory.c_str()), 0);
    const bytes old = test::read_file(directory);
    test::spawn();
    std::filesystem::permissions(closed, std::filesystem::perms(0555));
    for (const saver &each : savers())
        EXPECT_EXIT(save_as_nobody([&] { return each.save(path.c_str()) == each.when_not_created; }),
                    testing::ExitedWithCode(0), "")
            << each.name;
    EXPECT_EXIT(save_as_nobody([&] {
                    return qel_agent_dir_save(directory.c_str()) == -3 && g_agent_dir->dirty == 1 &&
                           test::read_file(directory) == old;
                }),
                testing::ExitedWithCode(0), "");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(closed), {}), 1);
    std::filesystem::permissions(closed, std::filesystem::perms(0755));
    test::discard_directory();
}

} // namespace
} // namespace qel
