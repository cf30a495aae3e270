// SPDX-License-Identifier: MIT
#include "common/byte_window.h"

#include "common/file.h"
#include "support/failing_heap.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

namespace qel {
namespace {

using namespace test;

class ByteWindow : public testing::TestWithParam<bool> {
  protected:
    /// A file of `size` noisy bytes, and a window over it: a large one, or a small one without memory.
    void open(std::size_t size) {
        std::mt19937 random(static_cast<unsigned>(size));
        content.resize(size);
        for (auto &byte : content)
            byte = static_cast<std::uint8_t>(random());
        test::write_file(folder.file("bytes"), content);
        stream.reset(std::fopen(folder.file("bytes").c_str(), "rb"));
        ASSERT_NE(stream, nullptr);
        const failing_heap heap = GetParam() ? failing_heap::from(1) : failing_heap::nth(0);
        window = std::make_unique<byte_window>(stream.get());
        ASSERT_EQ(heap.failures() > 0, GetParam());
    }

    /// Requests a position and compares the view with the file's bytes there.
    void expect_bytes_at(std::uint64_t offset, std::size_t wanted) {
        const byte_view view = window->at(offset, wanted);
        const std::size_t there = offset < content.size() ? content.size() - offset : 0;
        ASSERT_GE(view.size, std::min(wanted, there)) << "at " << offset;
        ASSERT_LE(view.size, there) << "at " << offset;
        ASSERT_TRUE(std::equal(view.data, view.data + view.size, content.data() + offset)) << "at " << offset;
    }

    temp_folder folder;
    bytes content;
    file_stream stream;
    std::unique_ptr<byte_window> window;
};

TEST_P(ByteWindow, ShowsEveryPlaceOfAForwardScan) {
    open(1'000'003);
    EXPECT_EQ(window->length(), 1'000'003u);
    for (std::uint64_t offset = 16; offset < content.size(); offset += 97)
        expect_bytes_at(offset, 80);
}

TEST_P(ByteWindow, ShowsAnyPlaceInAnyOrder) {
    open(300'000);
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i)
        expect_bytes_at(random() % 300'100, 1 + random() % byte_window::max_wanted);
}

TEST_P(ByteWindow, EndsWhereTheStreamEnds) {
    open(100);
    EXPECT_EQ(window->at(92, 8).size, 8u);
    EXPECT_EQ(window->at(93, 8).size, 7u);
    EXPECT_EQ(window->at(100, 8).size, 0u);
    EXPECT_EQ(window->at(~std::uint64_t{0} - 3, 8).size, 0u);
    std::uint64_t word = 0;
    EXPECT_TRUE(window->read(92, word));
    EXPECT_EQ(word, load<std::uint64_t>(content.data() + 92));
    EXPECT_FALSE(window->read(93, word));
}

TEST_P(ByteWindow, MovesIfOnlyTheLastByteIsMissing) {
    for (std::size_t missing = 0; missing < 3; ++missing) {
        open(100'000);
        const std::size_t held = window->at(0, 80).size;
        ASSERT_GE(held, 80u);
        ASSERT_LT(held, content.size());
        expect_bytes_at(held - 80 + missing, 80);
    }
}

TEST_P(ByteWindow, ReturnsAPartOfALargeRequest) {
    open(100'000);
    for (const std::uint64_t offset : {0u, 50'000u, 60'000u, 99'000u}) {
        const byte_view view = window->at(offset, 1'000'000);
        const std::uint64_t there = content.size() - offset;
        EXPECT_GE(view.size, std::min<std::uint64_t>(byte_window::max_wanted, there)) << "at " << offset;
        EXPECT_TRUE(std::equal(view.data, view.data + view.size, content.data() + offset)) << "at " << offset;
    }
}

TEST_P(ByteWindow, IsEmptyIfTheStreamCannotSeek) {
    for (const std::uint64_t offset : {std::uint64_t{1} << 62, ~std::uint64_t{0} - 3}) {
        for (const std::uint64_t before : {0u, 80u}) {
            open(100'000);
            window->at(before, 80); // leaves the stream in the midst of the file
            EXPECT_EQ(window->at(offset, 8).size, 0u) << "after " << before;
        }
    }
}

TEST_P(ByteWindow, NoticesThatTheFileWasTruncated) {
    open(100'000);
    content.resize(50'000);
    std::filesystem::resize_file(folder.file("bytes"), content.size());
    EXPECT_EQ(window->length(), 100'000u);
    expect_bytes_at(40'000, 4'096);
    EXPECT_EQ(window->length(), 100'000u) << "nothing has been missing";
    expect_bytes_at(49'000, 4'096);
    EXPECT_EQ(window->length(), 50'000u);
    EXPECT_EQ(window->at(90'000, 8).size, 0u);
    EXPECT_EQ(window->length(), 50'000u);
}

TEST_P(ByteWindow, WalksAScanByWholeViews) {
    open(700'001);
    std::uint64_t offset = 0;
    while (offset < content.size()) {
        const byte_view view = window->at(offset, 32);
        ASSERT_GT(view.size, 0u);
        ASSERT_TRUE(std::equal(view.data, view.data + view.size, content.data() + offset));
        offset += view.size;
    }
    EXPECT_EQ(offset, content.size());
}

INSTANTIATE_TEST_SUITE_P(Memory, ByteWindow, testing::Values(false, true),
                         [](const auto &memory) { return memory.param ? "scarce" : "ample"; });

} // namespace
} // namespace qel
