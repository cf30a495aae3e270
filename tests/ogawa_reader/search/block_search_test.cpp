// SPDX-License-Identifier: MIT
#include "ogawa_reader/search/block_search.h"

#include "model/block_scan_model.h"
#include "ogawa_reader/container/archive_in_memory.h"
#include "support/failing_heap.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel {
namespace {

using namespace test;

ogawa::extent longest_in(const bytes &content, const block_rule &rule) {
    const archive_in_memory archive(content);
    return find_longest_block(archive.file(), rule);
}

/// What the scan finds in an archive with one block of this size and these values, and filler after it.
ogawa::extent only_block(std::uint64_t size, const std::vector<float> &values, const block_rule &rule) {
    return longest_in(archive_of_blocks({{size, values}}), rule);
}

bool accepted(std::uint64_t size, const std::vector<float> &values, const block_rule &rule) {
    return only_block(size, values, rule).size == size;
}

const std::vector<float> six(6, 0.5f);

TEST(BlockScan, FindsABlockRightAfterTheHeader) {
    const ogawa::extent block = only_block(36, six, unit_vector_blocks);
    EXPECT_EQ(block.at, 24u);
    EXPECT_EQ(block.size, 36u);
}

TEST(BlockScan, TestsEveryFourthByteOnly) {
    for (std::size_t shift = 0; shift < 9; ++shift) {
        bytes content = archive_header();
        append_filler(content, shift);
        append_block(content, 36, six);
        append_filler(content, 64);
        const ogawa::extent block = longest_in(content, unit_vector_blocks);
        EXPECT_EQ(block.size, shift % 4 == 0 ? 36u : 0u) << shift;
        EXPECT_EQ(block.at, shift % 4 == 0 ? 24u + shift : 0u) << shift;
    }
}

TEST(BlockScan, ReturnsTheLongestAndOfEqualsTheFirst) {
    const ogawa::extent block =
        longest_in(archive_of_blocks({{36, six}, {60, six}, {48, six}, {60, six}}), unit_vector_blocks);
    EXPECT_EQ(block.at, 16u + 48 + 8);
    EXPECT_EQ(block.size, 60u);
}

TEST(BlockScan, BoundsTheSizeOfUnitVectors) {
    EXPECT_FALSE(accepted(24, six, unit_vector_blocks));
    EXPECT_TRUE(accepted(36, six, unit_vector_blocks));
    EXPECT_TRUE(accepted(4'999'992, six, unit_vector_blocks));
    EXPECT_FALSE(accepted(5'000'004, six, unit_vector_blocks)) << "beyond 5,000,000";
    EXPECT_FALSE(accepted((std::uint64_t{1} << 32) + 44, six, unit_vector_blocks)) << "of 64 bits";
    EXPECT_FALSE(accepted((std::uint64_t{1} << 63) + 40, six, unit_vector_blocks));
}

TEST(BlockScan, BoundsTheSizeOfUvs) {
    EXPECT_FALSE(accepted(8, six, uv_blocks));
    EXPECT_TRUE(accepted(16, six, uv_blocks));
    EXPECT_TRUE(accepted(5'000'000, six, uv_blocks));
    EXPECT_FALSE(accepted(5'000'008, six, uv_blocks));
}

TEST(BlockScan, AcceptsWholeRecordsOnly) {
    for (std::uint64_t size = 36; size < 100; ++size) {
        EXPECT_EQ(accepted(size, six, unit_vector_blocks), size % 12 == 0) << size;
        EXPECT_EQ(accepted(size, six, uv_blocks), size % 8 == 0) << size;
    }
}

TEST(BlockScan, TestsTheFirstSixFloatsOfUnitVectors) {
    const float beyond = std::nextafter(1.1f, 2.0f);
    for (std::size_t i = 0; i < 8; ++i) {
        std::vector<float> values(9, 0.5f);
        for (const float good : {1.1f, -1.1f, 0.0f, -0.0f, 1e-45f}) {
            values[i] = good;
            EXPECT_TRUE(accepted(36, values, unit_vector_blocks)) << good << " at " << i;
        }
        for (const float bad : {beyond, -beyond, 1.2f, infinity, -infinity, nan, -nan}) {
            values[i] = bad;
            EXPECT_EQ(accepted(36, values, unit_vector_blocks), i >= 6) << bad << " at " << i;
        }
    }
}

TEST(BlockScan, TestsTheFirstFourFloatsOfUvs) {
    const float beyond = std::nextafter(10.0f, 20.0f);
    for (std::size_t i = 0; i < 6; ++i) {
        std::vector<float> values(6, 0.5f);
        for (const float good : {10.0f, -10.0f, 1.2f}) {
            values[i] = good;
            EXPECT_TRUE(accepted(24, values, uv_blocks)) << good << " at " << i;
        }
        for (const float bad : {beyond, -beyond, infinity, -infinity, nan, -nan}) {
            values[i] = bad;
            EXPECT_EQ(accepted(24, values, uv_blocks), i >= 4) << bad << " at " << i;
        }
    }
}

TEST(BlockScan, StopsBeforeTheLast24Bytes) {
    for (const std::size_t before : {0u, 400u}) { // in 40 bytes no position is tested, in 41 one
        bytes content = archive_header();
        append_filler(content, before);
        append_block(content, 16, {0.1f, 0.2f, 0.3f, 0.4f});
        EXPECT_EQ(longest_in(content, uv_blocks).size, 0u) << before;
        append_filler(content, 1);
        EXPECT_EQ(longest_in(content, uv_blocks).at, 24 + before);
        EXPECT_EQ(longest_in(content, uv_blocks).size, 16u) << before;
    }
}

TEST(BlockScan, RejectsUnitVectorsOfFewerThanSixFloats) {
    bytes content = archive_header();
    append_filler(content, 400);
    append_block(content, 36, six);
    EXPECT_EQ(longest_in(content, unit_vector_blocks).size, 36u);
    for (int missing = 1; missing < 24; ++missing) {
        content.pop_back();
        EXPECT_EQ(longest_in(content, unit_vector_blocks).size, 0u) << missing;
    }
}

TEST(BlockScan, FindsNothingInTinyFiles) {
    bytes content;
    for (; content.size() <= 40; content.push_back(0)) {
        EXPECT_EQ(longest_in(content, unit_vector_blocks).size, 0u) << content.size();
        EXPECT_EQ(longest_in(content, uv_blocks).size, 0u) << content.size();
    }
}

TEST(BlockScan, ListsBlocksInOrderUntilTheListIsFull) {
    const archive_in_memory archive(archive_of_blocks({{36, six}, {48, six}, {36, six}, {48, six}, {36, six}}));
    ogawa::extent list[5];
    ASSERT_EQ(list_blocks(archive.file(), unit_vector_blocks, list, 5), 5u);
    for (std::uint64_t i = 0; i < 5; ++i) {
        EXPECT_EQ(list[i].at, 24 + i * 48);
        EXPECT_EQ(list[i].size, i % 2 == 0 ? 36u : 48u);
    }
    list[3] = {1, 2};
    EXPECT_EQ(list_blocks(archive.file(), unit_vector_blocks, list, 3), 3u);
    EXPECT_EQ(list[3].at, 1u) << "nothing is written beyond the capacity";
}

void expect_equal_to_model(const bytes &content) {
    const archive_in_memory archive(content);
    const auto unit = model::scan_for_longest_block(archive.file(), model::scanned_values::unit_vectors);
    const ogawa::extent found_unit = find_longest_block(archive.file(), unit_vector_blocks);
    ASSERT_EQ(found_unit.at, unit.at);
    ASSERT_EQ(found_unit.size, unit.size);
    const auto uv = model::scan_for_longest_block(archive.file(), model::scanned_values::uvs);
    const ogawa::extent found_uv = find_longest_block(archive.file(), uv_blocks);
    ASSERT_EQ(found_uv.at, uv.at);
    ASSERT_EQ(found_uv.size, uv.size);
    const auto listed = model::scan_for_blocks(archive.file(), model::scanned_values::unit_vectors, 7);
    ogawa::extent list[7];
    ASSERT_EQ(list_blocks(archive.file(), unit_vector_blocks, list, 7), listed.size());
    for (std::size_t i = 0; i < listed.size(); ++i) {
        ASSERT_EQ(list[i].at, listed[i].at);
        ASSERT_EQ(list[i].size, listed[i].size);
    }
}

TEST(BlockScan, EqualsSmallReadsOnRandomArchives) {
    std::mt19937 random(41);
    int found = 0;
    for (int i = 0; i < 1500; ++i) {
        const bytes content = test::random_archive(random, random() % 120);
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "archive " << i;
        found += longest_in(content, unit_vector_blocks).size != 0;
    }
    EXPECT_GT(found, 100);
    EXPECT_LT(found, 1400);
}

TEST(BlockScan, EqualsSmallReadsOnEveryTruncation) {
    std::mt19937 random(42);
    bytes content = test::random_archive(random, 60);
    append_block(content, 96, six);
    for (; !content.empty(); content.pop_back()) {
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "cut to " << content.size();
    }
}

/// An archive larger than the window, whose only blocks are around the positions where the window moves.
bytes large_archive() {
    bytes content = archive_header();
    std::uint64_t size = 36;
    for (std::size_t boundary = 4096; boundary <= (std::size_t{1} << 20); boundary += 32768 - 4096 % 32768) {
        for (std::size_t at = boundary - 64; at < boundary + 64; at += 44) {
            if (content.size() > at) continue;
            append_filler(content, at - content.size());
            append_block(content, size, six);
            size += 24;
        }
    }
    append_filler(content, 1000);
    return content;
}

TEST(BlockScan, EqualsSmallReadsWhereTheWindowMoves) {
    const bytes content = large_archive();
    expect_equal_to_model(content);
    EXPECT_GT(longest_in(content, unit_vector_blocks).at, std::size_t{900} << 10);
}

TEST(BlockScan, FindsABlockAtAnyPositionAmongValues) {
    for (std::size_t before = 0; before < 1200; before += 4) {
        bytes content = archive_header();
        append_filler(content, before);
        append_block(content, 36, six);
        append_filler(content, 600);
        ASSERT_EQ(longest_in(content, unit_vector_blocks).at, 24 + before);
    }
}

TEST(BlockScan, NeedsNoMemoryForItsWindow) {
    const bytes content = large_archive();
    const ogawa::extent usual = longest_in(content, unit_vector_blocks);
    const archive_in_memory archive(content);
    const failing_heap heap = failing_heap::from(1);
    const ogawa::extent block = find_longest_block(archive.file(), unit_vector_blocks);
    EXPECT_GT(heap.failures(), 0u);
    EXPECT_EQ(block.at, usual.at);
    EXPECT_EQ(block.size, usual.size);
}

} // namespace
} // namespace qel
