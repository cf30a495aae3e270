// SPDX-License-Identifier: MIT
#include "qel_archive/header_source.h"

#include "support/archive_writer.h"

#include <gtest/gtest.h>

namespace qel::archives {
namespace {

using namespace test;

constexpr std::uint64_t any_count = 1000;

/// A file of a group of three references, an empty group, and data of 20 bytes and of one.
class ArchiveHeaderSource : public testing::Test {
  protected:
    void SetUp() override {
        group = out.group({16, 24, archive_writer::empty_data});
        empty = out.group({});
        data = out.data(bytes(20, 7));
        byte = out.data({9});
        const std::string path = folder.file("archive");
        out.save(path);
        ASSERT_EQ(file.open(path.c_str()), open_outcome::opened);
    }

    archive_writer out;
    std::uint64_t group = 0, empty = 0, data = 0, byte = 0;
    temp_folder folder;
    random_access_file file;
    arena memory;
};

TEST_F(ArchiveHeaderSource, ReadsTheReferencesOfAGroup) {
    header_source source(file, file.size());
    reference_array read = {};
    ASSERT_EQ(source.read_group(group, 3, memory, read), QEL_ARCHIVE_OK);
    ASSERT_EQ(read.count, 3u);
    EXPECT_EQ(read.references[0], 16u);
    EXPECT_EQ(read.references[2], archive_writer::empty_data);
    for (const std::uint64_t nothing : {std::uint64_t{0}, empty}) {
        ASSERT_EQ(source.read_group(nothing, 0, memory, read), QEL_ARCHIVE_OK);
        EXPECT_EQ(read.count, 0u);
        EXPECT_EQ(read.references, nullptr);
    }
}

TEST_F(ArchiveHeaderSource, RefusesReferencesAboveItsLimit) {
    header_source source(file, file.size());
    reference_array read = {};
    EXPECT_EQ(source.read_group(group, 2, memory, read), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(read.references, nullptr);
    EXPECT_FALSE(source.exceeded()) << "the group is at fault, not how often it was read";
}

TEST_F(ArchiveHeaderSource, AllocatesOneByteMoreThanTheData) {
    header_source source(file, file.size());
    header_bytes read = {};
    ASSERT_EQ(source.read_data(data, memory, read), QEL_ARCHIVE_OK);
    ASSERT_EQ(read.size, 20u);
    EXPECT_EQ(bytes(read.bytes, read.bytes + 20), bytes(20, 7));
    read.bytes[20] = 0;
    ASSERT_EQ(source.read_data(byte, memory, read), QEL_ARCHIVE_OK);
    EXPECT_EQ(bytes(read.bytes, read.bytes + read.size), bytes({9}));
    ASSERT_EQ(source.read_data(archive_writer::empty_data, memory, read), QEL_ARCHIVE_OK);
    EXPECT_EQ(read.size, 0u);
    read.bytes[0] = 0;
}

TEST_F(ArchiveHeaderSource, StopsAtItsByteLimit) {
    header_source source(file,
                         8 + 3 * 8 + 20); // the count and references of the group, the bytes of the data
    reference_array references = {};
    header_bytes read = {};
    ASSERT_EQ(source.read_group(group, any_count, memory, references), QEL_ARCHIVE_OK);
    ASSERT_EQ(source.read_data(data, memory, read), QEL_ARCHIVE_OK);
    EXPECT_FALSE(source.exceeded());
    EXPECT_EQ(source.read_group(0, any_count, memory, references), QEL_ARCHIVE_OK) << "position 0 takes no bytes";
    EXPECT_FALSE(source.exceeded());
    EXPECT_EQ(source.read_group(empty, any_count, memory, references), QEL_ARCHIVE_DAMAGED);
    EXPECT_TRUE(source.exceeded());
    EXPECT_EQ(source.read_data(data, memory, read), QEL_ARCHIVE_DAMAGED) << "and stays so";
    EXPECT_EQ(read.bytes, nullptr);
}

TEST(ArchiveHeaderAllowance, IsFourTimesTheFileWhereGroupsAreShared) {
    EXPECT_EQ(allowed_where_shared(0), 0u);
    EXPECT_EQ(allowed_where_shared(1000), 4000u);
    EXPECT_EQ(allowed_where_shared(0x3FFFFFFFFFFFFFFF), 0xFFFFFFFFFFFFFFFC);
    EXPECT_EQ(allowed_where_shared(0x4000000000000000), 0xFFFFFFFFFFFFFFFC) << "not 0 in 64 bits";
}

} // namespace
} // namespace qel::archives
