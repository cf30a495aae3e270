// SPDX-License-Identifier: MIT
// The positions scan; the mesh-data search has mesh_search_test.cpp.
#include "ogawa_reader/search/position_search.h"

#include "model/mesh_scan_model.h"
#include "ogawa_reader/container/stored_archive.h"
#include "support/failing_heap.h"
#include "support/float_bits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <utility>

namespace qel {
namespace {

using namespace test;

/// Floats from `first` up, in steps of one.
std::vector<float> ramp(std::size_t count, float first = 1.0f) {
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = first + static_cast<float>(i % 4096);
    return values;
}

/// What a scan returned and wrote.
struct scanned {
    int status;
    bool buffer; // whether the outputs hold an array
    std::vector<float> positions;
    std::uint32_t count;

    std::tuple<int, bool, std::uint32_t> left() const { return {status, buffer, count}; }
};

constexpr std::uint32_t untouched = 0xABCDEF01u;

template <class Scan>
scanned run(const Scan &scan) {
    float sentinel = 0.0f;
    float *positions = &sentinel;
    std::uint32_t count = untouched;
    const int status = scan(&positions, &count);
    scanned result = {status, positions != &sentinel && positions != nullptr, {}, count};
    if (result.buffer) {
        result.positions.assign(positions, positions + std::size_t{count} * 3);
        std::free(positions);
    }
    return result;
}

scanned scan(const ogawa_archive &archive, const ogawa_object *object = nullptr, std::uint64_t sample = 0) {
    return run([&](float **positions, std::uint32_t *count) {
        return ogawa_read_positions(&archive, object, sample, positions, count);
    });
}

scanned scan(const bytes &content) {
    return scan(stored_archive(content).record);
}

/// Zero bytes with one block.
bytes block_at(std::uint64_t offset, std::uint64_t size, const std::vector<float> &payload) {
    bytes content;
    put_block(content, offset, size, payload);
    return content;
}

TEST(PositionsScan, ReadsAPlainArray) {
    const std::vector<float> values = ramp(3003);
    const scanned result = scan(block_at(100, 12012, values));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.count, 1001u);
    EXPECT_EQ(result.positions, values);
}

TEST(PositionsScan, SkipsADigest) {
    std::vector<float> payload = {nan, -infinity, 1e20f, 5.0f}; // one plausible word is allowed
    const std::vector<float> values = ramp(3003);
    payload.insert(payload.end(), values.begin(), values.end());
    const scanned result = scan(block_at(100, 12028, payload));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.positions, values);
}

TEST(PositionsScan, TreatsTwoPlausibleWordsAsCoordinates) {
    std::vector<float> payload = ramp(3007);
    payload[0] = 0.0f; // in range, but zero is not plausible
    payload[1] = 0.0f;
    EXPECT_EQ(scan(block_at(100, 12028, payload)).positions,
              std::vector<float>(payload.begin(), payload.begin() + 3006));
    payload[2] = 0.0f; // now a digest
    EXPECT_EQ(scan(block_at(100, 12028, payload)).positions, std::vector<float>(payload.begin() + 4, payload.end()));
    payload[2] = 0.0001f;
    EXPECT_EQ(scan(block_at(100, 12028, payload)).count, 1002u);
    payload[2] = below(0.0001f);
    EXPECT_EQ(scan(block_at(100, 12028, payload)).count, 1001u);
}

TEST(PositionsScan, RequiresTwoTriplesAwayFromTheOriginAfterADigest) {
    std::vector<float> payload(3007, 0.0f);
    for (std::size_t i = 4; i < payload.size(); ++i)
        payload[i] = 0.5f;
    EXPECT_EQ(scan(block_at(100, 12028, payload)).count, 1001u);
    for (const std::size_t triple : {4u, 7u}) {
        std::vector<float> flat = payload;
        flat[triple] = 0.0f; // 0 + 0.5 + 0.5 is not above 1
        EXPECT_EQ(scan(block_at(100, 12028, flat)).count, 1002u) << "taken as plain";
        flat[triple] = above(0.0f);
        EXPECT_EQ(scan(block_at(100, 12028, flat)).count, 1002u) << "the sum is rounded to single precision";
        flat[triple] = -0.001f;
        EXPECT_EQ(scan(block_at(100, 12028, flat)).count, 1001u) << "magnitudes are summed";
    }
    payload[9] = 10001.0f;
    EXPECT_EQ(scan(block_at(100, 12028, payload)).status, -1) << "neither a digest nor plain";
}

TEST(PositionsScan, SumsMagnitudesAfterADigestFromLeftToRightInSinglePrecision) {
    constexpr float tiny = 0x1p-24f; // 1 + tiny is 1 again, 1 + (tiny + tiny) is more
    for (const std::size_t triple : {4u, 7u}) {
        std::vector<float> payload(3007, 0.5f);
        std::fill_n(payload.begin(), 4, 0.0f);
        payload[triple] = 1.0f;
        payload[triple + 1] = payload[triple + 2] = tiny;
        EXPECT_EQ(scan(block_at(100, 12028, payload)).count, 1002u) << "taken as plain";
        std::swap(payload[triple], payload[triple + 2]);
        EXPECT_EQ(scan(block_at(100, 12028, payload)).count, 1001u) << "a digest";
    }
}

TEST(PositionsScan, SkipsOneTripleThatIsOutOfRange) {
    for (const std::size_t bad : {0u, 1u, 2u}) {
        std::vector<float> payload = ramp(3006);
        payload[bad] = 10000.5f;
        const scanned result = scan(block_at(100, 12024, payload));
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.positions, std::vector<float>(payload.begin() + 3, payload.end()));
    }
    std::vector<float> payload = ramp(3006);
    payload[2] = 10000.5f;
    payload[3] = 10000.5f;
    EXPECT_EQ(scan(block_at(100, 12024, payload)).status, -1) << "two are too many";
}

TEST(PositionsScan, TestsTheFloatsUpToTheSixteenthForRange) {
    for (std::size_t bad = 3; bad < 18; ++bad) {
        for (const float value : {nan, infinity, -infinity, above(10000.0f), -above(10000.0f)}) {
            std::vector<float> payload = ramp(3003);
            payload[bad] = value;
            EXPECT_EQ(scan(block_at(100, 12012, payload)).status, bad < 16 ? -1 : 0) << bad << ' ' << value;
        }
    }
    std::vector<float> payload = ramp(3003);
    payload[7] = 10000.0f;
    payload[8] = -10000.0f;
    EXPECT_EQ(scan(block_at(100, 12012, payload)).count, 1001u) << "the bound itself is in range";
}

TEST(PositionsScan, RequiresOneFloatAboveAHundredth) {
    for (const std::size_t i : {0u, 15u}) {
        std::vector<float> payload(3003, 0.01f);
        EXPECT_EQ(scan(block_at(100, 12012, payload)).status, -1);
        payload[i] = -above(0.01f);
        EXPECT_EQ(scan(block_at(100, 12012, payload)).status, 0);
    }
    std::vector<float> payload(3003, 0.0f);
    payload[16] = payload[17] = 5.0f;
    EXPECT_EQ(scan(block_at(100, 12012, payload)).status, -1) << "the last two are not tested";
}

TEST(PositionsScan, AcceptsSizesFrom12012To9999999) {
    const std::vector<float> values = ramp(3003);
    EXPECT_EQ(scan(block_at(100, 12011, values)).status, -1);
    EXPECT_EQ(scan(block_at(100, 12012, values)).status, 0);
    EXPECT_EQ(scan(block_at(100, 9999999, values)).status, 0);
    EXPECT_EQ(scan(block_at(100, 10000000, values)).status, -1);
    EXPECT_EQ(scan(block_at(100, 12012 + (std::uint64_t{1} << 32), values)).status, -1);
}

TEST(PositionsScan, ReadsAnArrayShorterThanItsSizeWord) {
    const scanned result = scan(block_at(100, 12012, ramp(100 * 3)));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.positions, ramp(100 * 3)) << "the size word promised more than the file holds";
}

TEST(PositionsScan, TestsEveryOffsetFrom16To2047) {
    for (const std::uint64_t offset : {16u, 17u, 18u, 19u, 1000u, 2046u, 2047u})
        EXPECT_EQ(scan(block_at(offset, 12012, ramp(3003))).status, 0) << offset;
    bytes early = block_at(12, 12012, ramp(3003));
    EXPECT_EQ(scan(early).status, -1) << "the header is not tested";
}

TEST(PositionsScan, IgnoresOffsetsOf2048OrMore) {
    EXPECT_EQ(scan(block_at(2048, 12012, ramp(3003))).status, -1);
    EXPECT_EQ(scan(block_at(2049, 12012, ramp(3003))).status, -1);
}

TEST(PositionsScan, RequiresEighteenFloatsAfterTheSizeWord) {
    EXPECT_EQ(scan(block_at(16, 12012, ramp(18))).count, 6u);
    bytes cut = block_at(16, 12012, ramp(18));
    cut.pop_back();
    EXPECT_EQ(scan(cut).left(), std::tuple(-1, false, untouched));
}

TEST(PositionsScan, FindsNothingInShortFiles) {
    bytes content;
    for (int size = 0; size < 100; ++size) {
        EXPECT_EQ(scan(content).status, -1) << size;
        content.push_back(0);
    }
}

TEST(PositionsScan, ReturnsTheLargestArrayAndOfEqualOnesTheFirst) {
    bytes content;
    put_block(content, 100, 12012, ramp(18, 100.0f));
    put_block(content, 300, 12024, ramp(18, 300.0f));
    put_block(content, 500, 12024, ramp(18, 500.0f));
    put_block(content, 700, 12016, ramp(18, 700.0f));
    const scanned result = scan(content);
    EXPECT_EQ(result.status, 0);
    ASSERT_FALSE(result.positions.empty());
    EXPECT_EQ(result.positions[0], 300.0f);
}

TEST(PositionsScan, DropsTriplesOutOfRange) {
    std::vector<float> values = ramp(3003);
    std::vector<float> expected;
    const float bad[5] = {nan, infinity, -infinity, above(10000.0f), -10001.0f};
    for (std::size_t i = 0; i < 1001; ++i) {
        const bool spoil = i >= 10 && i % 7 == 0;
        if (spoil) values[i * 3 + i % 3] = bad[i % 5];
        if (!spoil) expected.insert(expected.end(), &values[i * 3], &values[i * 3] + 3);
    }
    const scanned result = scan(block_at(64, 12012, values));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.count, expected.size() / 3);
    EXPECT_EQ(result.positions, expected);
}

TEST(PositionsScan, KeepsTriplesAtTheBounds) {
    std::vector<float> values = ramp(3003);
    values[30] = 10000.0f;
    values[31] = -10000.0f;
    values[32] = -0.0f;
    const scanned result = scan(block_at(64, 12012, values));
    ASSERT_EQ(result.count, 1001u);
    EXPECT_EQ(result.positions[30], 10000.0f);
    EXPECT_TRUE(std::signbit(result.positions[32]));
}

TEST(PositionsScan, ReadsWholeTriplesOfATruncatedArray) {
    const scanned result = scan(block_at(64, 12012, ramp(601)));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.positions, ramp(600));
}

#if defined(__GLIBC__)
/// A file whose content changes between two reads, as if another process wrote to it: only so can an array be found
/// that then cannot be read, or that has no triple in range.
struct changing_file {
    bytes content, later;
    off64_t position = 0;
    bool read_from = false;

    static ssize_t read(void *cookie, char *buffer, std::size_t size) {
        auto &file = *static_cast<changing_file *>(cookie);
        const std::size_t position = static_cast<std::size_t>(file.position);
        size = std::min(size, file.content.size() - std::min(file.content.size(), position));
        std::copy_n(file.content.data() + position, size, buffer);
        file.position += static_cast<off64_t>(size);
        file.read_from = true;
        return static_cast<ssize_t>(size);
    }

    static int seek(void *cookie, off64_t *offset, int origin) {
        auto &file = *static_cast<changing_file *>(cookie);
        if (origin == SEEK_CUR) *offset += file.position;
        if (origin == SEEK_END) *offset += static_cast<off64_t>(file.content.size());
        if (file.read_from && *offset != file.position) file.content = file.later;
        file.position = *offset;
        return 0;
    }
};

scanned scan_changing(const bytes &before, const bytes &after) {
    changing_file file = {before, after, 0, false};
    ogawa_archive archive = {};
    archive.file = fopencookie(&file, "rb", {changing_file::read, nullptr, changing_file::seek, nullptr});
    std::setvbuf(archive.file, nullptr, _IONBF, 0);
    const scanned result = scan(archive);
    std::fclose(archive.file);
    return result;
}

TEST(PositionsScan, LeavesTheBufferToTheCallerWhenNothingCanBeRead) {
    const bytes whole = block_at(64, 12012, ramp(3003));
    EXPECT_EQ(scan_changing(whole, bytes(75)).left(), std::tuple(-1, true, 0u)); // not one triple
}

TEST(PositionsScan, LeavesTheBufferToTheCallerWhenNoTripleIsKept) {
    const bytes whole = block_at(64, 12012, ramp(3003));
    const bytes no_numbers = block_at(64, 12012, std::vector<float>(3003, nan));
    EXPECT_EQ(scan_changing(whole, no_numbers).left(), std::tuple(-1, true, 0u));
}
#endif

TEST(PositionsScan, AllocatesNothingButTheArray) {
    const stored_archive archive(block_at(64, 12012, ramp(3003)));
    const heap_ledger ledger;
    const failing_heap heap = failing_heap::nth(0);
    EXPECT_EQ(scan(archive.record).status, 0);
    EXPECT_EQ(heap.count(), 1u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(ReadPositions, RefusesNullArguments) {
    const stored_archive archive(block_at(64, 12012, ramp(3003)));
    const ogawa_archive closed = {};
    float value = 0.0f;
    float *positions = &value;
    std::uint32_t count = untouched;
    EXPECT_EQ(ogawa_read_positions(nullptr, nullptr, 0, &positions, &count), -1);
    EXPECT_EQ(ogawa_read_positions(&closed, nullptr, 0, &positions, &count), -1);
    EXPECT_EQ(ogawa_read_positions(&archive.record, nullptr, 0, nullptr, &count), -1);
    EXPECT_EQ(ogawa_read_positions(&archive.record, nullptr, 0, &positions, nullptr), -1);
    EXPECT_EQ(positions, &value);
    EXPECT_EQ(count, untouched);
}

TEST(ReadPositions, IgnoresObjectAndSample) {
    const stored_archive archive(block_at(64, 12012, ramp(3003)));
    const ogawa_object object = {};
    EXPECT_EQ(scan(archive.record, &object, UINT64_MAX).positions, ramp(3003));
}

TEST(PositionsScan, AgreesWithItsPlainFormOnAdversarialFiles) {
    std::mt19937 generator(11);
    const auto random = [&] { return static_cast<std::uint32_t>(generator()); };
    const auto pick = [&](const auto &values) { return values[random() % std::size(values)]; };
    const float plain[] = {0.0f, -0.0f, 0.005f, 0.01f, above(0.01f), 0.25f, 0.5f, 1.0f, -3.0f, 9999.0f, 10000.0f};
    const float edge[] = {below(0.0001f), 0.0001f, -0.0001f, 1.0f / 3, above(10000.0f),
                          -10000.5f,      1e30f,   nan,      infinity};
    const std::uint64_t sizes[] = {12011, 12012, 12016, 12023, 12024, 12028, 12040, 13000, 9999999, 10000000};
    stored_archive archive;
    int found = 0, dropped = 0;
    for (int round = 0; round < 3000; ++round) {
        bytes content(16 + random() % 3000);
        const std::uint32_t rarity = 2 + random() % 60;
        for (std::uint64_t at = random() % 4; at + 4 <= content.size(); at += 4)
            put(content, at, random() % rarity == 0 ? pick(edge) : pick(plain));
        for (std::uint32_t i = random() % 12; i > 0; --i)
            put(content, random() % (content.size() + 20), pick(sizes));
        archive.store(content);
        const scanned result = scan(archive.record);
        const scanned expected = run([&](float **positions, std::uint32_t *count) {
            return model::scan_positions(archive.stream(), positions, count);
        });
        ASSERT_EQ(result.left(), expected.left()) << "round " << round;
        ASSERT_EQ(test::bytes_of(result.positions), test::bytes_of(expected.positions)) << "round " << round;
        found += result.status == 0;
        dropped += result.status == 0 && result.count < 100;
    }
    EXPECT_GT(found, 500);
    EXPECT_GT(dropped, 20);
}

} // namespace
} // namespace qel
