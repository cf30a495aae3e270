// SPDX-License-Identifier: MIT
#include "common/random_access_file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

TEST(RandomAccessFile, RefusesWhatIsNoRegularFile) {
    const temp_folder folder;
    random_access_file missing, directory;
    EXPECT_EQ(missing.open(folder.file("missing").c_str()), open_outcome::cannot_open);
    EXPECT_EQ(directory.open(folder.path().string().c_str()), open_outcome::cannot_open);
}

TEST(RandomAccessFile, ReadsExactlyTheBytesAtAPositionOrSaysThatTheFileIsCut) {
    const temp_folder folder;
    const std::string path = folder.file("digits");
    write_file(path, {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'});
    random_access_file file;
    ASSERT_EQ(file.open(path.c_str()), open_outcome::opened);
    EXPECT_EQ(file.size(), 10u);
    char read[4] = {};
    EXPECT_EQ(file.read(6, read, 4), read_outcome::read);
    EXPECT_EQ(std::string(read, 4), "6789");
    EXPECT_EQ(file.read(0, read, 2), read_outcome::read);
    EXPECT_EQ(std::string(read, 4), "0189") << "bytes behind those asked for stay";
    EXPECT_EQ(file.read(7, read, 4), read_outcome::cut);
    EXPECT_EQ(file.read(10, read, 1), read_outcome::cut);
    EXPECT_EQ(file.read(10, read, 0), read_outcome::read) << "no bytes are everywhere";
}

} // namespace
} // namespace qel::test
