// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "model/block_scan_model.h"
#include "ogawa_reader/container/archive_in_memory.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace qel {
namespace {

using namespace test;
using floats = std::vector<float>;

/// A block with all its values equal, and filler that keeps it apart from the next.
void append_equal(bytes &out, std::uint64_t size, float value) {
    append_block(out, size, floats(size / 4, value));
    append_filler(out, 16);
}

/// An archive with a block of each size, block i holding (i + 1) / 100 throughout.
bytes archive_of(const std::vector<std::uint64_t> &sizes) {
    bytes content = archive_header();
    for (std::size_t i = 0; i < sizes.size(); ++i)
        append_equal(content, sizes[i], static_cast<float>(i + 1) / 100.0f);
    append_filler(content, 64);
    return content;
}

/// What ogawa_read_tangent_frame leaves in a record with arbitrary contents.
struct read_frame {
    std::int32_t status;
    ogawa_tangent_frame frame;

    explicit read_frame(const bytes &content) {
        const archive_in_memory archive(content);
        std::memset(static_cast<void *>(&frame), 0xAB, sizeof frame);
        status = ogawa_read_tangent_frame(&archive.record, nullptr, 0, &frame);
    }
    ~read_frame() { ogawa_free_tangent_frame(&frame); }
    read_frame(const read_frame &) = delete;
    read_frame &operator=(const read_frame &) = delete;

    floats tangents() const { return floats(frame.tangents, frame.tangents + frame.count * 3); }
    floats bitangents() const { return floats(frame.bitangents, frame.bitangents + frame.count * 3); }
    bool empty() const {
        return frame.tangents == nullptr && frame.bitangents == nullptr && frame.count == 0 && frame.components == 0;
    }
};

TEST(ReadTangentFrame, PairsTheFirstBlockWithTheNextOneOfItsSize) {
    const struct {
        std::vector<std::uint64_t> sizes;
        float tangent, bitangent; // by the blocks' numbers, from 1 on
    } cases[] = {{{48, 60, 48}, 0.01f, 0.03f}, {{48, 60, 60, 48}, 0.01f, 0.04f}, {{36, 48, 60, 48, 48}, 0.02f, 0.04f}};
    for (const auto &one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.sizes));
        const read_frame read(archive_of(one.sizes));
        ASSERT_EQ(read.status, 0);
        EXPECT_EQ(read.frame.count, 4u);
        EXPECT_EQ(read.frame.components, 3u);
        EXPECT_EQ(read.tangents(), floats(12, one.tangent));
        EXPECT_EQ(read.bitangents(), floats(12, one.bitangent));
    }
}

TEST(ReadTangentFrame, TestsTheFirst32BlocksOnly) {
    std::vector<std::uint64_t> sizes;
    for (std::uint64_t i = 0; i < 31; ++i)
        sizes.push_back(36 + 12 * i);
    sizes.push_back(36);
    EXPECT_EQ(read_frame(archive_of(sizes)).status, 0) << "the 32nd is seen";
    sizes.back() = 1200;
    sizes.push_back(36);
    const read_frame read(archive_of(sizes));
    EXPECT_EQ(read.status, -1) << "the 33rd is not";
    EXPECT_TRUE(read.empty());
}

TEST(ReadTangentFrame, RefusesNullAndClosedArguments) {
    ogawa_tangent_frame frame{nullptr, nullptr, 7, 8};
    EXPECT_EQ(ogawa_read_tangent_frame(nullptr, nullptr, 0, &frame), -1);
    const ogawa_archive closed{};
    EXPECT_EQ(ogawa_read_tangent_frame(&closed, nullptr, 0, &frame), -1);
    EXPECT_EQ(frame.count, 7u);
    EXPECT_EQ(frame.components, 8u);
    const archive_in_memory archive(archive_of({48, 48}));
    EXPECT_EQ(ogawa_read_tangent_frame(&archive.record, nullptr, 0, nullptr), -1);
}

TEST(ReadTangentFrame, EmptiesTheRecordWhenTheFileIsShortOrHasNoPair) {
    for (std::size_t size = 0; size <= 41; ++size) {
        const read_frame read(bytes(size, 0));
        EXPECT_EQ(read.status, -1) << size;
        EXPECT_TRUE(read.empty()) << size;
    }
    for (const auto &sizes : {std::vector<std::uint64_t>{}, {48}, {48, 60}, {36, 48, 60, 72}}) {
        const read_frame read(archive_of(sizes));
        EXPECT_EQ(read.status, -1);
        EXPECT_TRUE(read.empty());
    }
}

TEST(ReadTangentFrame, PadsATruncatedBlockWithZeros) {
    bytes content = archive_header();
    append_equal(content, 480, 0.5f);
    append_block(content, 480, floats(7, 0.25f));
    content.insert(content.end(), 2, 0); // half a float
    const read_frame read(content);
    ASSERT_EQ(read.status, 0);
    EXPECT_EQ(read.frame.count, 40u);
    EXPECT_EQ(read.tangents(), floats(120, 0.5f));
    floats expected(120, 0.0f);
    std::fill_n(expected.begin(), 7, 0.25f);
    EXPECT_EQ(read.bitangents(), expected);
}

TEST(ReadTangentFrame, WithoutMemoryForBothArraysLeavesBothNull) {
    const archive_in_memory archive(archive_of({48, 48}));
    ogawa_tangent_frame frame{};
    const failing_heap heap = failing_heap::of_size(48);
    EXPECT_EQ(ogawa_read_tangent_frame(&archive.record, nullptr, 0, &frame), -2);
    EXPECT_EQ(heap.failures(), 2u);
    EXPECT_EQ(frame.count, 4u);
    EXPECT_EQ(frame.tangents, nullptr);
    EXPECT_EQ(frame.bitangents, nullptr);
}

void expect_equal_to_model(const bytes &content) {
    const archive_in_memory archive(content);
    const model::tangents_read plain = model::read_tangents_plainly(archive.file());
    const read_frame read(content);
    ASSERT_EQ(read.status, plain.status);
    ASSERT_EQ(read.frame.count, plain.count);
    ASSERT_EQ(read.frame.components, plain.components);
    ASSERT_EQ(read.frame.tangents == nullptr, plain.status != 0);
    const std::size_t size = plain.tangents.size() * sizeof(float);
    if (size == 0) return;
    ASSERT_EQ(std::memcmp(read.frame.tangents, plain.tangents.data(), size), 0);
    ASSERT_EQ(std::memcmp(read.frame.bitangents, plain.bitangents.data(), size), 0);
}

TEST(ReadTangentFrame, EqualsSmallReadsOnRandomArchives) {
    std::mt19937 random(71);
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        const bytes content = test::random_archive(random, random() % 400);
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "archive " << i;
        found += read_frame(content).status == 0;
    }
    EXPECT_GT(found, 100);
    EXPECT_LT(found, 900);
}

TEST(ReadTangentFrame, EqualsSmallReadsOnEveryTruncation) {
    for (bytes content = archive_of({48, 60, 36, 60, 48}); !content.empty(); content.pop_back()) {
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "cut to " << content.size();
    }
}

TEST(FreeTangentFrame, AcceptsNull) {
    ogawa_free_tangent_frame(nullptr);
}

TEST(FreeTangentFrame, ReleasesTheArraysAndKeepsTheComponents) {
    ogawa_tangent_frame frame{};
    frame.tangents = static_cast<float *>(std::malloc(12));
    frame.bitangents = static_cast<float *>(std::malloc(12));
    frame.count = 1;
    frame.components = 3;
    ogawa_free_tangent_frame(&frame);
    EXPECT_EQ(frame.tangents, nullptr);
    EXPECT_EQ(frame.bitangents, nullptr);
    EXPECT_EQ(frame.count, 0u);
    EXPECT_EQ(frame.components, 3u);
    ogawa_free_tangent_frame(&frame);
}

} // namespace
} // namespace qel
