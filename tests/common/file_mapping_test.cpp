// SPDX-License-Identifier: MIT
#include "common/file_mapping.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#if !defined(_WIN32)
#include "support/closed_input.h"
#include "support/open_descriptors.h"

#include <sys/stat.h>
#endif

namespace qel {
namespace {

using namespace test;

TEST(FileMapping, ShowsAllBytesOfAFile) {
    const temp_folder folder;
    bytes content(100'000);
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<std::uint8_t>(i * 7);
    test::write_file(folder.file("f"), content);

    file_mapping mapping;
    ASSERT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::mapped);
    ASSERT_EQ(mapping.size, content.size());
    EXPECT_EQ(std::memcmp(mapping.view, content.data(), content.size()), 0);
    unmap_file(mapping);
}

TEST(FileMapping, OneByteIsEnough) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {42});
    file_mapping mapping;
    ASSERT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::mapped);
    EXPECT_EQ(mapping.size, 1u);
    EXPECT_EQ(*static_cast<const std::uint8_t *>(mapping.view), 42);
    unmap_file(mapping);
}

#if !defined(_WIN32) // which has no such files, and keeps the name of one that is in use
TEST(FileMapping, RefusesAFileThatTheSystemCannotMap) {
    const char *const path = "/sys/kernel/notes"; // regular, not empty, and no device to map
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "the kernel shows no " << path;
    file_mapping mapping;
    EXPECT_EQ(map_file(path, mapping), mapping_outcome::no_mapping);
}

TEST(FileMapping, OutlivesTheFilesName) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {1, 2, 3});
    file_mapping mapping;
    ASSERT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::mapped);
    std::filesystem::remove(folder.file("f"));
    EXPECT_EQ(static_cast<const std::uint8_t *>(mapping.view)[2], 3);
    unmap_file(mapping);
}
#else
TEST(FileMapping, SharesAFileWithReadersButNotWithWriters) {
    const temp_folder folder;
    const std::string path = folder.file("f");
    test::write_file(path, {1, 2, 3});
    file_mapping mapping;
    for (const char *mode : {"rb", "r+b"}) {
        std::FILE *const other = std::fopen(path.c_str(), mode);
        ASSERT_NE(other, nullptr);
        const mapping_outcome outcome = map_file(path.c_str(), mapping);
        std::fclose(other);
        if (mode[1] == '+') {
            EXPECT_EQ(outcome, mapping_outcome::cannot_open);
            continue;
        }
        ASSERT_EQ(outcome, mapping_outcome::mapped);
        unmap_file(mapping);
    }
}
#endif

TEST(FileMapping, ReportsAMissingFile) {
    const temp_folder folder;
    file_mapping mapping;
    EXPECT_EQ(map_file(folder.file("none").c_str(), mapping), mapping_outcome::cannot_open);
    EXPECT_EQ(map_file("", mapping), mapping_outcome::cannot_open);
    EXPECT_EQ(mapping.view, nullptr);
    EXPECT_EQ(mapping.size, 0u);
}

TEST(FileMapping, AnEmptyFileHasNoMapping) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {});
    file_mapping mapping;
    EXPECT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::no_mapping);
    EXPECT_EQ(mapping.view, nullptr);
}

TEST(FileMapping, AFolderHasNoMapping) {
    const temp_folder folder;
    file_mapping mapping;
#if defined(_WIN32)
    constexpr mapping_outcome expected = mapping_outcome::cannot_open;
#else
    constexpr mapping_outcome expected = mapping_outcome::no_mapping;
#endif
    EXPECT_EQ(map_file(folder.path().string().c_str(), mapping), expected);
}

#if !defined(_WIN32) // which has no devices and no pipes with names in folders, and lists no open files
TEST(FileMapping, ADeviceHasNoMapping) {
    file_mapping mapping;
    EXPECT_EQ(map_file("/dev/zero", mapping), mapping_outcome::no_mapping);
    EXPECT_EQ(map_file("/dev/null", mapping), mapping_outcome::no_mapping);
}

TEST(FileMapping, DoesNotWaitForTheWriterOfAPipe) {
    const temp_folder folder;
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    file_mapping mapping;
    EXPECT_EQ(map_file(folder.file("pipe").c_str(), mapping), mapping_outcome::no_mapping);
}

TEST(FileMapping, LeavesNoDescriptorOpen) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {1});
    test::write_file(folder.file("empty"), {});
    const std::size_t before = test::open_descriptors();
    file_mapping mapping;
    ASSERT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::mapped);
    EXPECT_EQ(test::open_descriptors(), before) << "the view alone holds the file";
    unmap_file(mapping);
    EXPECT_EQ(map_file(folder.file("empty").c_str(), mapping), mapping_outcome::no_mapping);
    EXPECT_EQ(map_file(folder.file("none").c_str(), mapping), mapping_outcome::cannot_open);
    EXPECT_EQ(test::open_descriptors(), before);
}

TEST(FileMapping, ShowsAFileWhoseDescriptorIsZero) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {1});
    const closed_input closed;
    const std::size_t before = test::open_descriptors();
    file_mapping mapping;
    ASSERT_EQ(map_file(folder.file("f").c_str(), mapping), mapping_outcome::mapped);
    EXPECT_EQ(test::open_descriptors(), before);
    unmap_file(mapping);
}
#endif

TEST(FileMapping, MapsMoreThanFourGibibytes) {
    const temp_folder folder;
    const std::uint64_t size = (std::uint64_t{5} << 30) + 3;
    test::write_file(folder.file("f"), {9});
    std::error_code refused;
    std::filesystem::resize_file(folder.file("f"), size, refused);
    if (refused) GTEST_SKIP() << "the file system has no sparse files";

    file_mapping mapping;
    const mapping_outcome outcome = map_file(folder.file("f").c_str(), mapping);
    if (sizeof(void *) < 8) {
        EXPECT_EQ(outcome, mapping_outcome::no_memory) << "no address space has room for it";
        return;
    }
    ASSERT_EQ(outcome, mapping_outcome::mapped);
    EXPECT_EQ(mapping.size, size);
    const auto *content = static_cast<const std::uint8_t *>(mapping.view);
    EXPECT_EQ(content[0], 9);
    EXPECT_EQ(content[size - 1], 0);
    unmap_file(mapping);
}

TEST(FileMapping, ReportsAFullAddressSpace) {
    const temp_folder folder;
    test::write_file(folder.file("f"), {9});
    std::error_code refused;
    std::filesystem::resize_file(folder.file("f"), std::uint64_t{8} << 40, refused);
    if (refused) GTEST_SKIP() << "the file system has no files of 8 TiB";

    std::vector<file_mapping> mappings; // 128 TiB are all that a process can address
    mapping_outcome outcome = mapping_outcome::mapped;
    while (outcome == mapping_outcome::mapped && mappings.size() < 64) {
        file_mapping mapping;
        outcome = map_file(folder.file("f").c_str(), mapping);
        if (outcome == mapping_outcome::mapped) mappings.push_back(mapping);
    }
    EXPECT_EQ(outcome, mapping_outcome::no_memory);
    for (const file_mapping &mapping : mappings)
        unmap_file(mapping);
}

} // namespace
} // namespace qel
