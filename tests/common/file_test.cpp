// SPDX-License-Identifier: MIT
#include "common/file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>

namespace qel::test {
namespace {

const bytes digits = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};

struct File : testing::Test {
    temp_folder folder;
    const std::string path = folder.file("digits");

    void SetUp() override { write_file(path, digits); }
};

TEST_F(File, HasItsLengthAndIsLeftAtItsEnd) {
    const file_stream stream(std::fopen(path.c_str(), "rb"));
    EXPECT_EQ(stream_length(stream.get()), 10u);
    EXPECT_EQ(std::fgetc(stream.get()), EOF);
}

TEST_F(File, IsReadAtAnyPositionAsFarAsItGoes) {
    const file_stream stream(std::fopen(path.c_str(), "rb"));
    char read[4] = {};
    EXPECT_EQ(read_at(stream.get(), 6, read, 4), 4u);
    EXPECT_EQ(std::string(read, 4), "6789");
    EXPECT_EQ(read_at(stream.get(), 8, read, 4), 2u);
    EXPECT_EQ(std::string(read, 4), "8989") << "bytes that are not read stay";
    EXPECT_EQ(read_at(stream.get(), 10, read, 4), 0u);
    EXPECT_EQ(read_at(stream.get(), std::numeric_limits<std::uint64_t>::max(), read, 4), 0u)
        << "no stream can go there";
}

TEST_F(File, IsBufferedForTheTimeOfAScope) {
    {
        const buffered_stream stream(path.c_str(), "wb");
        ASSERT_NE(stream.get(), nullptr);
        std::fputs("text", stream.get());
    }
    EXPECT_EQ(read_file(path), (bytes{'t', 'e', 'x', 't'}));
    EXPECT_EQ(buffered_stream(nullptr, "rb").get(), nullptr);
}

TEST_F(File, ReplacesAFileOrAnEmptyFolderAndNothingElse) {
    const std::string target = folder.file("target");
    write_file(target, {'o', 'l', 'd'});
    replace_file(path.c_str(), target.c_str());
    EXPECT_EQ(read_file(target), digits);
    EXPECT_FALSE(std::filesystem::exists(path));

    const std::string empty_folder = folder.file("empty");
    std::filesystem::create_directory(empty_folder);
    replace_file(target.c_str(), empty_folder.c_str());
    EXPECT_EQ(read_file(empty_folder), digits);

    const std::string full_folder = folder.file("full");
    std::filesystem::create_directory(full_folder);
    write_file(full_folder + "/file", {1});
    replace_file(empty_folder.c_str(), full_folder.c_str());
    EXPECT_EQ(read_file(empty_folder), digits);
    EXPECT_TRUE(std::filesystem::exists(full_folder + "/file"));
}

#if !defined(_WIN32)
TEST_F(File, RemovesALinkButNotTheOnlyName) {
    const std::string hard = folder.file("hard"), soft = folder.file("soft");
    std::filesystem::create_hard_link(path, hard);
    std::filesystem::create_symlink(path, soft);
    remove_link(soft.c_str());
    remove_link(hard.c_str());
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(soft)));
    EXPECT_FALSE(std::filesystem::exists(hard));
    remove_link(path.c_str());
    EXPECT_EQ(read_file(path), digits);
    remove_link(folder.file("missing").c_str());
}
#endif

} // namespace
} // namespace qel::test
