// SPDX-License-Identifier: MIT
// A file that cannot be read, or is no longer as long as it was, gives a status, whichever read it is.
#include "qel_archive/rich_scene.h"
#include "support/failing_heap.h"

#if !defined(_WIN32)

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <utility>

namespace {

// The next `whole_reads` reads succeed; the one after them is interrupted or fails, or it and all later ones are cut.
enum class failure : std::uint8_t { none, interrupted, at_the_end, io_error, one_byte };
failure read_failure = failure::none;
std::uint64_t whole_reads = 0, reads = 0;

// The number of calls of `open` that are interrupted, and whether `fstat` fails.
int interruptions_of_open = 0;
bool fstat_fails = false;

/// Reads by the plan above, with a function that reads a number of bytes.
template <class Read>
ssize_t read_as_planned(std::size_t size, Read read) {
    if (read_failure == failure::none || ++reads <= whole_reads) return read(size);
    switch (read_failure) {
    case failure::interrupted: // once, then the next one reads
        whole_reads = reads + 1;
        errno = EINTR;
        return -1;
    case failure::at_the_end:
        return 0;
    case failure::one_byte:
        return read(1);
    default:
        if (reads > whole_reads + 1) return read(size);
        errno = EIO;
        return -1;
    }
}

} // namespace

// They replace the C library's.
#if defined(__EMSCRIPTEN__) // where lseek and read do what pread does elsewhere
extern "C" ssize_t read(int descriptor, void *bytes, std::size_t size) {
    return read_as_planned(size, [=](std::size_t count) {
        const iovec piece = {bytes, count};
        return readv(descriptor, &piece, 1);
    });
}
#else
extern "C" ssize_t pread(int descriptor, void *bytes, std::size_t size, off_t position) {
    using pread_function = ssize_t(int, void *, std::size_t, off_t);
    static auto *const next = reinterpret_cast<pread_function *>(dlsym(RTLD_NEXT, "pread"));
    return read_as_planned(size, [=](std::size_t count) { return next(descriptor, bytes, count, position); });
}
#endif

extern "C" int open(const char *path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list more;
        va_start(more, flags);
        mode = va_arg(more, mode_t);
        va_end(more);
    }
    if (interruptions_of_open == 0) return openat(AT_FDCWD, path, flags, mode);
    --interruptions_of_open;
    errno = EINTR;
    return -1;
}

extern "C" int fstat(int descriptor, struct stat *status) noexcept(noexcept(fstat(0, std::declval<struct stat *>()))) {
    if (!fstat_fails) return fstatat(descriptor, "", status, AT_EMPTY_PATH);
    errno = EIO;
    return -1;
}

namespace qel {
namespace {

using namespace test;

/// During its lifetime, reads fail in this way.
class failing_reads {
  public:
    failing_reads(failure how, std::uint64_t whole) {
        read_failure = how;
        whole_reads = whole;
        reads = 0;
    }
    ~failing_reads() { read_failure = failure::none; }
    failing_reads(const failing_reads &) = delete;
    failing_reads &operator=(const failing_reads &) = delete;
};

using reading_call = std::function<std::int32_t()>;

/// Lets the first read of a call fail, then the second, until it needs no more; returns how many it needs.
std::uint64_t fail_reads_of(const reading_call &call, failure how, std::int32_t expected) {
    for (std::uint64_t whole = 0;; ++whole) {
        std::int32_t status = 0;
        {
            const heap_ledger ledger;
            const failing_reads failing(how, whole);
            status = call();
            if (reads <= whole) {
                EXPECT_EQ(status, QEL_ARCHIVE_OK);
                return whole;
            }
            EXPECT_EQ(ledger.live(), 0u) << whole;
        }
        EXPECT_EQ(status, expected) << "read " << whole;
        if (testing::Test::HasFailure()) return whole;
    }
}

/// Opens and closes.
reading_call opening(const std::string &path) {
    return [path] {
        qel_archive *archive = nullptr;
        const std::int32_t status = qel_archive_open(path.c_str(), &archive);
        EXPECT_EQ(archive == nullptr, status != QEL_ARCHIVE_OK);
        qel_archive_close(archive);
        return status;
    };
}

archive_builder large_scene() {
    archive_builder builder = rich_scene(); // more than is read ahead, and an instance's source at the end
    for (int i = 0; i < 3000; ++i)
        builder.top.add("object" + std::to_string(i), "k=" + std::to_string(i)).properties.compound("c");
    return builder;
}

TEST(ArchiveFileFailures, OpenReturnsAStatusOnEveryReadError) {
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    large_scene().save(path);
    EXPECT_GT(fail_reads_of(opening(path), failure::io_error, QEL_ARCHIVE_CANNOT_OPEN), 10u);
    EXPECT_GT(fail_reads_of(opening(path), failure::at_the_end, QEL_ARCHIVE_DAMAGED), 10u);
}

TEST(ArchiveFileFailures, OpenIsRetriedAfterEintr) {
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    rich_scene().save(path);
    interruptions_of_open = 3;
    EXPECT_EQ(opening(path)(), QEL_ARCHIVE_OK);
    EXPECT_EQ(interruptions_of_open, 0) << "it was called again until it was not interrupted";
}

TEST(ArchiveFileFailures, OpenReturnsCannotOpenIfFstatFails) {
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    rich_scene().save(path);
    const heap_ledger ledger;
    fstat_fails = true;
    EXPECT_EQ(opening(path)(), QEL_ARCHIVE_CANNOT_OPEN);
    fstat_fails = false;
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_EQ(opening(path)(), QEL_ARCHIVE_OK);
}

/// The functions that read the file of an open archive.
std::vector<reading_call> reading_calls(const qel_archive *archive) {
    const std::uint32_t hand = qel_archive_find(archive, "/arm/hand");
    const std::uint32_t arm = qel_archive_find(archive, "/arm");
    const std::uint32_t name = qel_archive_find_property(archive, arm, "name");
    const std::uint32_t grid = qel_archive_find_property(archive, arm, "grid");
    const auto read = [=](std::uint32_t property) {
        bytes values(1000);
        std::uint64_t size = 0;
        return qel_archive_read_property(archive, arm, property, 0, values.data(), values.size(), &size);
    };
    return {[=] { return read(name); },
            [=] { return read(grid); },
            [=] {
                qel_archive_mesh_info info;
                return qel_archive_get_mesh_info(archive, hand, &info);
            },
            [=] {
                ogawa_polymesh mesh;
                const std::int32_t status = qel_archive_read_mesh(archive, hand, 1, &mesh);
                ogawa_free_polymesh(&mesh);
                return status;
            },
            [=] {
                double matrix[16];
                return qel_archive_local_transform(archive, arm, 0, matrix);
            },
            [=] {
                double matrix[16];
                return qel_archive_world_transform(archive, hand, 0, matrix);
            },
            [=] {
                std::int32_t visible = 0;
                return qel_archive_is_visible(archive, hand, 0, &visible);
            }};
}

archive_builder scene_of_all_reads() {
    archive_builder builder = rich_scene();
    object_node &arm = builder.top.children.front();
    arm.properties.text("name", "arm");
    arm.properties.texts("grid", {"a", "b", "c", "d"}).samples[0].dimensions = {2, 2};
    set_visible(arm, {1});
    return builder;
}

TEST(ArchiveFileFailures, EveryReadingFunctionReturnsCannotOpenOnAReadError) {
    const opened_archive opened(scene_of_all_reads());
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    for (const reading_call &call : reading_calls(opened.get())) {
        EXPECT_EQ(call(), QEL_ARCHIVE_OK);
        EXPECT_GT(fail_reads_of(call, failure::io_error, QEL_ARCHIVE_CANNOT_OPEN), 3u);
    }
}

TEST(ArchiveFileFailures, InterruptedAndPartialReadsSucceed) {
    const opened_archive opened(scene_of_all_reads());
    for (const reading_call &call : reading_calls(opened.get()))
        for (std::uint64_t whole = 0; whole < 40; ++whole) {
            {
                const failing_reads failing(failure::interrupted, whole);
                EXPECT_EQ(call(), QEL_ARCHIVE_OK) << "a signal came";
            }
            const failing_reads failing(failure::one_byte, whole);
            EXPECT_EQ(call(), QEL_ARCHIVE_OK) << "the system gave a byte at a time";
        }
}

TEST(ArchiveFileFailures, ReadsOfATruncatedFileReturnDamaged) {
    const bytes whole = scene_of_all_reads().build().content;
    const opened_archive opened(whole);
    const std::vector<reading_call> calls = reading_calls(opened.get());
    for (std::size_t length = whole.size(); length-- > 0;) {
        std::filesystem::resize_file(opened.path(), length);
        for (const reading_call &call : calls) {
            const std::int32_t status = call();
            // Normals and UVs that are cut are unsound, and left out.
            ASSERT_TRUE(status == QEL_ARCHIVE_OK || status == QEL_ARCHIVE_DAMAGED) << length << " " << status;
        }
    }
    for (const reading_call &call : calls)
        EXPECT_EQ(call(), QEL_ARCHIVE_DAMAGED) << "nothing is left";
    qel_archive_object object;
    EXPECT_EQ(qel_archive_get_object(opened.get(), 1, &object), QEL_ARCHIVE_OK) << "the structure is in memory";
    EXPECT_STREQ(object.path, "/arm");
}

} // namespace
} // namespace qel

#endif
