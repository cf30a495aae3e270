// SPDX-License-Identifier: MIT
#include "common/random_access_file.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <string>

#if !defined(_WIN32)
#include "support/closed_input.h"
#include "support/open_descriptors.h"

#include <cerrno>
#endif

namespace qel::test {
namespace {

TEST(RandomAccessFile, RefusesAMissingFileAndAFolder) {
    const temp_folder folder;
    random_access_file missing, directory;
    EXPECT_EQ(missing.open(folder.file("missing").c_str()), open_outcome::cannot_open);
    EXPECT_EQ(directory.open(folder.path().string().c_str()), open_outcome::cannot_open);
}

TEST(RandomAccessFile, ReadsExactlyTheBytesAtAPositionOrReportsTheEnd) {
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
    EXPECT_EQ(std::string(read, 4), "0189") << "bytes after the requested ones stay";
    EXPECT_EQ(file.read(7, read, 4), read_outcome::cut);
    EXPECT_EQ(file.read(10, read, 1), read_outcome::cut);
    EXPECT_EQ(file.read(10, read, 0), read_outcome::read) << "no bytes are everywhere";
}

#if !defined(_WIN32) // which has no descriptors
TEST(RandomAccessFile, MayHaveTheDescriptorZero) {
    const temp_folder folder;
    write_file(folder.file("digit"), {'7'});
    const closed_input closed;
    const std::size_t before = open_descriptors();
    {
        random_access_file file;
        errno = EINTR; // of a call before
        ASSERT_EQ(file.open(folder.file("digit").c_str()), open_outcome::opened);
        EXPECT_EQ(open_descriptors(), before + 1);
        char read = 0;
        EXPECT_EQ(file.read(0, &read, 1), read_outcome::read);
        EXPECT_EQ(read, '7');
        errno = EINTR;
        EXPECT_EQ(file.read(1, &read, 1), read_outcome::cut);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST(RandomAccessFile, ClosesNothingIfItWasNotOpened) {
    const std::size_t before = open_descriptors();
    { const random_access_file never_opened; }
    EXPECT_EQ(open_descriptors(), before);
}

#if !defined(__EMSCRIPTEN__) // which starts no programs
TEST(RandomAccessFile, IsNotHandedToProgramsThatAreStarted) {
    const temp_folder folder;
    write_file(folder.file("digit"), {'7'});
    const closed_input closed; // so that the file has the descriptor 0
    random_access_file file;
    ASSERT_EQ(file.open(folder.file("digit").c_str()), open_outcome::opened);
    EXPECT_EQ(fcntl(0, F_GETFD), FD_CLOEXEC);
}
#endif
#endif

} // namespace
} // namespace qel::test
