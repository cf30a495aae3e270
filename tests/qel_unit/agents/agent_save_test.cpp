// SPDX-License-Identifier: MIT
#include "qel_unit/agents/agent_fixture.h"

#include <csignal>
#include <ctime>

#if !defined(_WIN32)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace qel {
namespace {

namespace fs = std::filesystem;
using namespace test;

using AgentSave = agent_test;

#if !defined(_WIN32) // Windows has no such limits
/// During its lifetime no file grows beyond a limit: writing more fails as on a full disk.
class full_disk {
  public:
    explicit full_disk(rlim_t limit) : old_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit lowered = {limit, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lowered);
    }
    ~full_disk() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, old_handler_);
    }
    full_disk(const full_disk &) = delete;
    full_disk &operator=(const full_disk &) = delete;

  private:
    rlimit old_{};
    void (*old_handler_)(int);
};
#endif

std::size_t files_in(const fs::path &folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

/// A path of exactly `length` characters to a file of the folder.
std::string padded(const temp_folder &folder, const std::string &name, std::size_t length) {
    const std::string start = folder.path().string();
    return start + std::string(length - start.size() - name.size(), '/') + name;
}

TEST_F(AgentSave, WritesTheHeaderAndTheAgentsInSlotOrder) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    spawn(0, 1);
    const std::string id = spawn(1, 2, "2A9E0100", 7);
    spawn(5);
    ASSERT_EQ(qel_agent_terminate(id.c_str()), 0);
    const std::int64_t before = std::time(nullptr);
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
    const std::int64_t after = std::time(nullptr);
    const bytes file = read_file(path);
    const std::vector<qel_agent> agents(g_agent_dir->agents, g_agent_dir->agents + 3);
    EXPECT_EQ(file, directory_file(agents, 3, 2, g_agent_dir->saved_at));
    EXPECT_GE(g_agent_dir->saved_at, before);
    EXPECT_LE(g_agent_dir->saved_at, after);
    const std::string record(file.begin() + 64, file.begin() + 104);
    EXPECT_EQ(record, std::string("2A9E0200"
                                  "2A9E0100"
                                  "\x02\x06\x00\x01\x00\x00\x07\x01",
                                  24) +
                          std::string(16, '\0'));
}

TEST_F(AgentSave, CleansTheDirectory) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    spawn();
    ASSERT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
}

TEST_F(AgentSave, WritesAnEmptyDirectoryToo) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
    EXPECT_EQ(read_file(path).size(), 24u);
}

TEST_F(AgentSave, LeavesOnlyTheTarget) {
    write_file(path, bytes(100, 'o'));
    write_file(path + ".tmp", bytes(100, 't'));
    spawn();
    EXPECT_EQ(qel_agent_dir_save(path.c_str()), 0);
    EXPECT_EQ(read_file(path).size(), 64u);
    EXPECT_EQ(files_in(folder.path()), 1u);
}

TEST_F(AgentSave, FailsWithoutADirectoryOrAPath) {
    EXPECT_EQ(qel_agent_dir_save(path.c_str()), -1);
    EXPECT_EQ(g_agent_dir, nullptr);
    ASSERT_EQ(qel_agent_dir_init(nullptr), 0);
    spawn();
    EXPECT_EQ(qel_agent_dir_save(nullptr), -2);
    EXPECT_EQ(qel_agent_dir_save(""), -2);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(files_in(folder.path()), 0u);
}

TEST_F(AgentSave, FailsWithMinusThreeWhereTheTemporaryFileCannotBeCreated) {
    spawn();
    EXPECT_EQ(qel_agent_dir_save(folder.file("missing/dir.bin").c_str()), -3);
    fs::create_directory(path + ".tmp");
    EXPECT_EQ(qel_agent_dir_save(path.c_str()), -3);
    EXPECT_EQ(g_agent_dir->dirty, 1u);
    EXPECT_EQ(g_agent_dir->saved_at, 0);
    EXPECT_FALSE(file_exists(path));
}

TEST_F(AgentSave, DoesNotChangeThePathWhenSavingElsewhere) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    spawn();
    EXPECT_EQ(qel_agent_dir_save(folder.file("other").c_str()), 0);
    EXPECT_EQ(g_agent_dir->path, path);
    EXPECT_EQ(g_agent_dir->dirty, 0u) << "clean nevertheless";
    EXPECT_FALSE(file_exists(path));
}

TEST_F(AgentSave, RoundTripsEveryByte) {
    for (int i = 0; i < 40; ++i)
        spawn(static_cast<std::uint8_t>(i % 5), static_cast<std::uint8_t>(i), "ABCDEFGH", 200);
    ASSERT_EQ(qel_agent_delegate("2A9E0100", "2A9E0101", ~std::uint64_t{0}), 0);
    ASSERT_EQ(qel_agent_dir_save(path.c_str()), 0);
    const std::vector<qel_agent> agents(g_agent_dir->agents, g_agent_dir->agents + 40);
    const std::int64_t saved_at = g_agent_dir->saved_at;
    discard_directory();
    ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
    EXPECT_EQ(std::memcmp(g_agent_dir->agents, agents.data(), 40 * 40), 0);
    EXPECT_EQ(g_agent_dir->saved_at, saved_at);
    EXPECT_EQ(g_agent_dir->active_count, 40u);
}

TEST_F(AgentSave, WritesTheRecordsThatExistWhereALoadedFileClaimsMore) {
    load(directory_file({make_agent("2A9E0100")}, 0xFFFFFFFF, 3, 0, 5));
    ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
    std::vector<qel_agent> agents(65536);
    agents[0] = make_agent("2A9E0100");
    EXPECT_EQ(read_file(path), directory_file(agents, 0xFFFFFFFF, 3, g_agent_dir->saved_at, 5));
}

#if !defined(_WIN32)
TEST_F(AgentSave, KeepsTheOldFileAndTheDirtyMarkOnAFullDisk) {
    // 6 agents fail when the buffer is flushed by the close, 60,000 in the write itself.
    for (const std::uint32_t count : {6u, 60000u}) {
        discard_directory();
        ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
        ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
        g_agent_dir->saved_at = 1234;
        const bytes old = read_file(path);
        for (std::uint32_t i = 0; i < count; ++i)
            spawn(9);
        for (const rlim_t limit : {rlim_t{0}, rlim_t{10}, rlim_t{24}, rlim_t{263}}) {
            {
                const full_disk disk(limit);
                EXPECT_EQ(qel_agent_dir_save(nullptr), 0) << "the code does not say so";
            }
            EXPECT_EQ(read_file(path), old) << count << " " << limit;
            EXPECT_EQ(files_in(folder.path()), 1u) << "the temporary file is removed";
            EXPECT_EQ(g_agent_dir->dirty, 1u);
            EXPECT_EQ(g_agent_dir->saved_at, 1234);
        }
        EXPECT_EQ(qel_agent_dir_sync(), 0) << "the next save tries again";
        EXPECT_EQ(read_file(path).size(), 24 + std::size_t{40} * count);
        EXPECT_EQ(g_agent_dir->dirty, 0u);
    }
}
#else
TEST_F(AgentSave, KeepsTheWholeFileBesideOneThatAnotherProgramHolds) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
    const bytes old = read_file(path);
    spawn();
    std::FILE *const other = std::fopen(path.c_str(), "rb");
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0) << "the code does not say so";
    std::fclose(other);
    EXPECT_EQ(read_file(path), old);
    EXPECT_EQ(read_file(path + ".tmp").size(), 64u);
    EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
    EXPECT_EQ(read_file(path).size(), 64u);
}
#endif

TEST_F(AgentSave, KeepsTheWholeFileBesideAFolderInTheTargetsPlace) {
    fs::create_directory(path);
    write_file(path + "/inside", bytes(3, 'i'));
    spawn();
    EXPECT_EQ(qel_agent_dir_save(path.c_str()), 0);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
    EXPECT_NE(g_agent_dir->saved_at, 0);
    EXPECT_EQ(read_file(path + "/inside"), bytes(3, 'i'));
    EXPECT_EQ(read_file(path + ".tmp").size(), 64u);
}

TEST_F(AgentSave, TakesThePlaceOfAnEmptyFolder) {
    fs::create_directory(path);
    spawn();
    EXPECT_EQ(qel_agent_dir_save(path.c_str()), 0);
    EXPECT_EQ(read_file(path).size(), 64u);
    EXPECT_EQ(files_in(folder.path()), 1u);
}

#if !defined(_WIN32)
TEST_F(AgentSave, KeepsTheOldFileIfTheTemporaryNameIsALinkToIt) {
    const std::string temporary = path + ".tmp";
    for (const bool symbolic : {true, false}) {
        discard_directory();
        fs::remove(path);
        ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
        ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
        const bytes old = read_file(path);
        const auto link = [&] {
            symbolic ? fs::create_symlink(path, temporary) : fs::create_hard_link(path, temporary);
        };
        spawn();
        link();
        {
            const full_disk disk(10);
            EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
        }
        EXPECT_EQ(read_file(path), old);
        EXPECT_EQ(g_agent_dir->dirty, 1u);
        link();
        EXPECT_EQ(qel_agent_dir_save(nullptr), 0);
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path)));
        EXPECT_EQ(read_file(path).size(), 64u);
        EXPECT_EQ(files_in(folder.path()), 1u);
    }
}
#endif

TEST_F(AgentSave, CutsTheTemporaryNameTo259Characters) {
    spawn();
    for (std::size_t length = 250; length < 259; ++length) {
        const std::string target = padded(folder, "dir.bin", length);
        fs::create_directory((target + ".tmp").substr(0, 259)); // instead of the temporary file
        EXPECT_EQ(qel_agent_dir_save(target.c_str()), -3) << length;
        fs::remove((target + ".tmp").substr(0, 259));
        EXPECT_EQ(qel_agent_dir_save(target.c_str()), 0) << length;
        EXPECT_EQ(read_file(path).size(), 64u);
        EXPECT_EQ(files_in(folder.path()), 1u);
        fs::remove(path);
    }
}

TEST_F(AgentSave, WritesInPlaceIfTheSuffixDoesNotFit) {
    const std::string target = padded(folder, "dir.bin", 259);
    spawn();
    EXPECT_EQ(qel_agent_dir_save(target.c_str()), 0);
    EXPECT_EQ(read_file(path).size(), 64u);
    EXPECT_EQ(g_agent_dir->dirty, 0u);
    spawn();
#if !defined(_WIN32) && !defined(__EMSCRIPTEN__)
    {
        const full_disk disk(64);
        EXPECT_EQ(qel_agent_dir_save(target.c_str()), 0);
    }
    EXPECT_EQ(read_file(path).size(), 64u) << "the bytes that were written stay";
    EXPECT_EQ(g_agent_dir->dirty, 1u);
#endif
    EXPECT_EQ(qel_agent_dir_save(target.c_str()), 0);
    EXPECT_EQ(read_file(path).size(), 104u);
    EXPECT_EQ(files_in(folder.path()), 1u);
}

TEST_F(AgentSave, UsesATruncatedTemporaryName) {
    const std::string target = padded(folder, "directory.bin", 263); // cut: "directory"
    spawn();
    EXPECT_EQ(qel_agent_dir_save(target.c_str()), 0);
    EXPECT_EQ(read_file(folder.file("directory.bin")).size(), 64u);
    EXPECT_EQ(files_in(folder.path()), 1u);
    fs::create_directory(folder.file("directory"));
    EXPECT_EQ(qel_agent_dir_save(target.c_str()), -3);
}

#if !defined(_WIN32) // Windows has no fork
/// A process that saves the directory repeatedly, each time with another task for all agents, and signals when it has
/// begun.
pid_t start_saving() {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        if (write(ends[1], "!", 1) != 1) _exit(1);
        for (std::uint64_t task = 1;; ++task) {
            for (std::uint32_t i = 0; i < g_agent_dir->agent_count; ++i)
                g_agent_dir->agents[i].task = task;
            g_agent_dir->dirty = 1;
            qel_agent_dir_sync();
        }
    }
    close(ends[1]);
    char signal = 0;
    const bool begun = child > 0 && read(ends[0], &signal, 1) == 1;
    close(ends[0]);
    return begun ? child : -1;
}

constexpr std::uint32_t many = 1000;
constexpr std::size_t size_of_many = 24 + std::size_t{40} * many;

void save_many(const std::string &path) {
    ASSERT_EQ(qel_agent_dir_init(path.c_str()), 0);
    for (std::uint32_t i = 0; i < many; ++i)
        spawn(static_cast<std::uint8_t>(i % 4));
    ASSERT_EQ(qel_agent_dir_save(nullptr), 0);
}

TEST_F(AgentSave, ReplacesTheFileAtomically) {
    save_many(path);
    const pid_t child = start_saving();
    ASSERT_GT(child, 0);
    std::size_t whole = 0;
    constexpr std::size_t reads = 2000;
    for (std::size_t i = 0; i < reads; ++i)
        whole += file_exists(path) && read_file(path).size() == size_of_many ? 1 : 0;
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(whole, reads);
}

TEST_F(AgentSave, LeavesAWholeFileWheneverTheProcessIsKilled) {
    save_many(path);
    int interrupted = 0;
    for (unsigned round = 0; round < 500; ++round) {
        const pid_t child = start_saving();
        ASSERT_GT(child, 0);
        usleep(round * 97 % 1000);
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        interrupted += file_exists(path + ".tmp") ? 1 : 0;
        ASSERT_EQ(read_file(path).size(), size_of_many);
        ASSERT_EQ(qel_agent_dir_load(path.c_str()), 0);
        ASSERT_EQ(stats()[0], many);
        for (std::uint32_t i = 1; i < many; ++i)
            ASSERT_EQ(g_agent_dir->agents[i].task, g_agent_dir->agents[0].task) << "of two saves";
    }
    EXPECT_GT(interrupted, 0) << "no kill interrupted a save";
}
#endif

} // namespace
} // namespace qel
