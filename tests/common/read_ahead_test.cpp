// SPDX-License-Identifier: MIT
#include "common/read_ahead.h"

#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace qel::test {
namespace {

bytes noise(std::size_t size) {
    std::mt19937 random(7);
    bytes content(size);
    for (std::uint8_t &value : content)
        value = static_cast<std::uint8_t>(random());
    return content;
}

struct ReadAhead : testing::Test {
    temp_folder folder;
    const bytes content = noise(300'001);
    random_access_file file;

    void SetUp() override {
        const std::string path = folder.file("noise");
        write_file(path, content);
        ASSERT_EQ(file.open(path.c_str()), open_outcome::opened);
    }

    void expect_bytes(read_ahead &ahead, std::uint64_t at, std::size_t size) {
        bytes read(size);
        ASSERT_EQ(ahead.read(at, read.data(), size), read_outcome::read) << at << ' ' << size;
        ASSERT_TRUE(std::equal(read.begin(), read.end(), content.begin() + static_cast<std::ptrdiff_t>(at)))
            << at << ' ' << size;
    }
};

TEST_F(ReadAhead, GivesTheFilesBytesInEitherDirection) {
    read_ahead ahead(file);
    ASSERT_TRUE(ahead.ready());
    std::mt19937 random(1);
    std::uint64_t at = 0;
    for (int i = 0; i < 60'000; ++i) {
        const std::size_t size = 1 + random() % (random() % 50 == 0 ? 9000 : 60);
        switch (random() % 8) {
        case 0:
            at = random() % content.size();
            break;
        case 1:
        case 2:
            at -= std::min<std::uint64_t>(at, random() % 300);
            break;
        default:
            at += random() % 300;
            break;
        }
        at = std::min<std::uint64_t>(at, content.size() - size);
        ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, at, size));
    }
}

TEST_F(ReadAhead, ReadsBytesThatBeginBeforeABlock) {
    read_ahead ahead(file);
    ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, 5000, 10)); // holds the bytes from 1928 to 6024
    expect_bytes(ahead, 100, 3000);
}

TEST_F(ReadAhead, ReadsTheLastByteAndNothingAfterIt) {
    read_ahead ahead(file);
    std::uint8_t read[2] = {};
    ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, content.size() - 1, 1));
    EXPECT_EQ(ahead.read(content.size() - 1, read, 2), read_outcome::cut);
    EXPECT_EQ(ahead.read(content.size(), read, 1), read_outcome::cut);
    EXPECT_EQ(ahead.read(~std::uint64_t{0}, read, 2), read_outcome::cut);
    EXPECT_EQ(ahead.read(content.size(), read, 0), read_outcome::read) << "zero bytes can be read at the end";
}

TEST_F(ReadAhead, ReportsATruncatedFile) {
    std::filesystem::resize_file(folder.path() / "noise", 1000);
    read_ahead ahead(file);
    std::uint8_t read[2] = {};
    EXPECT_EQ(ahead.read(200'000, read, 2), read_outcome::cut);
}

TEST_F(ReadAhead, DiscardsTheBlockThatAFailedReadOverwrote) {
    read_ahead ahead(file);
    for (std::uint64_t at = 10'000; at < 8 * 33'000; at += 33'000) // as many as there are pieces
        ASSERT_NO_FATAL_FAILURE(expect_bytes(ahead, at, 10));
    std::filesystem::resize_file(folder.path() / "noise", 250'000);
    std::uint8_t read[10] = {};
    EXPECT_EQ(ahead.read(250'500, read, 10),
              read_outcome::cut); // in place of the oldest piece, from 247428 on
    expect_bytes(ahead, 7'000, 10);
}

TEST_F(ReadAhead, IsNotReadyWithoutMemory) {
    const auto plan = failing_heap::nth(1);
    EXPECT_FALSE(read_ahead(file).ready());
}

} // namespace
} // namespace qel::test
