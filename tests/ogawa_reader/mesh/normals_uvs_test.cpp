// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "model/block_scan_model.h"
#include "ogawa_reader/container/archive_in_memory.h"
#include "support/failing_heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

using namespace test;

std::uint32_t untouched_word = 0;
float untouched_float = 0;

/// The outputs of ogawa_read_normals, which begin with recognizable values.
struct normals_result {
    std::int32_t status = 99;
    float *normals = &untouched_float;
    std::uint32_t *indices = &untouched_word;
    std::uint32_t count = 77;
    std::uint32_t scope = 88;

    explicit normals_result(const ogawa_archive *archive) {
        status = ogawa_read_normals(archive, nullptr, 0, &normals, &indices, &count, &scope);
    }
    ~normals_result() {
        if (normals != &untouched_float) std::free(normals);
    }
    normals_result(const normals_result &) = delete;
    normals_result &operator=(const normals_result &) = delete;
    bool untouched() const {
        return normals == &untouched_float && indices == &untouched_word && count == 77 && scope == 88;
    }
};

bool holds_only(std::uint8_t byte, const ogawa_uv_set &set) {
    const auto *raw = reinterpret_cast<const std::uint8_t *>(&set);
    return std::all_of(raw, raw + sizeof set, [byte](std::uint8_t each) { return each == byte; });
}

bool is_zero(const ogawa_uv_set &set) {
    return holds_only(0, set);
}

/// What ogawa_read_uvs leaves in a record whose every byte was 0xAB.
struct uvs_result {
    std::int32_t status;
    ogawa_uv_set set;

    explicit uvs_result(const ogawa_archive *archive, const ogawa_object *object = nullptr, std::uint64_t sample = 0,
                        std::uint32_t number = 0) {
        std::memset(static_cast<void *>(&set), 0xAB, sizeof set);
        status = ogawa_read_uvs(archive, object, sample, number, &set);
    }
    ~uvs_result() {
        if (status == 0) ogawa_free_uv_set(&set);
    }
    uvs_result(const uvs_result &) = delete;
    uvs_result &operator=(const uvs_result &) = delete;
    bool untouched() const { return holds_only(0xAB, set); }
};

bool is_zero_but_for_its_name(ogawa_uv_set set) {
    if (set.name[0] != 'u' || set.name[1] != 'v') return false;
    set.name[0] = set.name[1] = '\0';
    return is_zero(set);
}

/// Values within ±1 that all differ.
std::vector<float> ramp(std::size_t count) {
    std::vector<float> values;
    for (std::size_t i = 0; i < count; ++i)
        values.push_back(static_cast<float>(i % 1000) / 1000.0f - 0.25f);
    return values;
}

/// An archive with one block, filler after it.
bytes archive_of(std::uint64_t size, const std::vector<float> &values) {
    return archive_of_blocks({{size, values}});
}

TEST(ReadNormals, ReadsABlockOf36BytesAsThreeNormals) {
    const archive_in_memory archive(archive_of(36, ramp(9)));
    const normals_result result(&archive.record);
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(result.count, 3u);
    EXPECT_EQ(result.scope, OGAWA_SCOPE_VERTEX);
    EXPECT_EQ(result.indices, nullptr);
    EXPECT_EQ(std::vector<float>(result.normals, result.normals + 9), ramp(9));
}

TEST(ReadNormals, RefusesAnArchiveThatIsNullOrNotOpen) {
    const ogawa_archive closed{};
    for (const ogawa_archive *archive : {static_cast<const ogawa_archive *>(nullptr), &closed}) {
        const normals_result result(archive);
        EXPECT_EQ(result.status, -1);
        EXPECT_TRUE(result.untouched());
    }
}

TEST(ReadNormals, KeepsTheCountOfABlockThatIsCutShort) {
    bytes content = archive_header();
    append_block(content, 48, ramp(11));
    const archive_in_memory archive(content);
    const heap_ledger ledger;
    const normals_result result(&archive.record);
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.normals, nullptr);
    EXPECT_EQ(result.count, 4u);
    EXPECT_EQ(result.indices, &untouched_word);
    EXPECT_EQ(result.scope, 88u);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(ReadUvs, ReadsTheBlockOfTheScanWhenTheSearchFindsNone) {
    const archive_in_memory archive(archive_of(16, ramp(4)));
    const uvs_result record(&archive.record);
    ASSERT_EQ(record.status, 0);
    EXPECT_STREQ(record.set.name, "uv");
    EXPECT_EQ(record.set.value_count, 2u);
    EXPECT_EQ(std::vector<float>(record.set.values, record.set.values + 4), ramp(4));
    EXPECT_EQ(record.set.indices, nullptr);
    EXPECT_EQ(record.set.index_count, 0u);
    EXPECT_EQ(record.set.scope, OGAWA_SCOPE_FACE_VARYING);
}

TEST(ReadUvs, PrefersTheBlockOfTheSearchToALongerOneThatTheScanWouldTake) {
    // The search tests two values against 10, so only it accepts the first block; it treats the longer one as
    // positions.
    std::vector<float> found(1016 / 4, 0.5f);
    found[2] = 49'000.0f;
    const archive_in_memory archive(archive_of_blocks({{1016, found}, {2016, ramp(504)}}));
    const uvs_result record(&archive.record);
    ASSERT_EQ(record.status, 0);
    EXPECT_EQ(record.set.value_count, 127u);
    EXPECT_EQ(record.set.values[2], 49'000.0f);
}

TEST(ReadUvs, AcceptsAFirstFloatThatNormalsReject) {
    std::vector<float> values(6, 0.5f);
    values[0] = 1.2f;
    const archive_in_memory archive(archive_of(48, values));
    EXPECT_EQ(normals_result(&archive.record).status, -1);
    const uvs_result record(&archive.record);
    ASSERT_EQ(record.status, 0);
    EXPECT_EQ(record.set.values[0], 1.2f);
}

TEST(ReadUvs, TestsAllFourFloatsAtTheEndOfAPieceOfTheFile) {
    bytes content = archive_header();
    append_filler(content, 4096 - 20); // the first piece ends after three of the floats
    append_block(content, 16, {1, 2, 3, 11});
    append_filler(content, 64);
    const archive_in_memory archive(content);
    EXPECT_EQ(uvs_result(&archive.record).status, -1);
}

TEST(ReadUvs, IgnoresItsMiddleArguments) {
    const archive_in_memory archive(archive_of(16, ramp(4)));
    ogawa_object object{};
    object.schema = OGAWA_SCHEMA_CAMERA;
    const uvs_result record(&archive.record, &object, 12345, 678);
    EXPECT_EQ(record.status, 0);
    EXPECT_EQ(record.set.value_count, 2u);
}

TEST(ReadUvs, RefusesNullAndClosedArguments) {
    const ogawa_archive closed{};
    for (const ogawa_archive *archive : {static_cast<const ogawa_archive *>(nullptr), &closed}) {
        const uvs_result record(archive);
        EXPECT_EQ(record.status, -1);
        EXPECT_TRUE(record.untouched());
    }
    const archive_in_memory archive(archive_of(16, ramp(4)));
    EXPECT_EQ(ogawa_read_uvs(&archive.record, nullptr, 0, 0, nullptr), -1);
}

TEST(ReadUvs, LeavesTheRecordWhenNeitherSearchNorScanFinds) {
    for (const std::size_t size : {0u, 8u, 16u, 17u, 23u, 24u, 40u, 41u, 500u}) {
        bytes content = archive_header();
        content.resize(size, 0xFF);
        const archive_in_memory archive(content);
        const uvs_result record(&archive.record);
        EXPECT_EQ(record.status, -1) << size;
        EXPECT_TRUE(record.untouched()) << size;
    }
}

TEST(ReadUvs, KeepsOnlyTheNameWhenTheBlockIsCutShort) {
    bytes content = archive_header();
    append_block(content, 1016, ramp(253)); // one float is missing
    const archive_in_memory archive(content);
    const heap_ledger ledger;
    const uvs_result record(&archive.record);
    EXPECT_EQ(record.status, -1);
    EXPECT_TRUE(is_zero_but_for_its_name(record.set));
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(FreeUvSet, AcceptsNull) {
    ogawa_free_uv_set(nullptr);
}

TEST(FreeUvSet, ReleasesBothArraysAndClearsTheNameToo) {
    ogawa_uv_set set{};
    std::strcpy(set.name, "map1");
    set.values = static_cast<float *>(std::malloc(16));
    set.value_count = 2;
    set.indices = static_cast<std::uint32_t *>(std::malloc(12));
    set.index_count = 3;
    set.scope = OGAWA_SCOPE_FACE_VARYING;
    ogawa_free_uv_set(&set);
    EXPECT_TRUE(is_zero(set));
    ogawa_free_uv_set(&set);
    EXPECT_TRUE(is_zero(set));
}

void expect_equal_to_model(const bytes &content) {
    const archive_in_memory archive(content);
    const model::floats_read normals = model::read_normals_plainly(archive.file());
    const normals_result result(&archive.record);
    ASSERT_EQ(result.status, normals.status);
    ASSERT_EQ(result.untouched(), !normals.block_known);
    if (normals.block_known) {
        ASSERT_EQ(result.count, normals.count);
        if (normals.status == 0) {
            ASSERT_EQ(std::memcmp(result.normals, normals.values.data(), normals.values.size() * 4), 0);
        } else {
            ASSERT_EQ(result.normals, nullptr);
        }
    }
    const model::floats_read uvs = model::read_uvs_plainly(archive.file());
    const uvs_result record(&archive.record);
    ASSERT_EQ(record.status, uvs.status);
    ASSERT_EQ(record.untouched(), !uvs.block_known);
    if (uvs.status == 0) {
        ASSERT_EQ(record.set.value_count, uvs.count);
        ASSERT_EQ(std::memcmp(record.set.values, uvs.values.data(), uvs.values.size() * 4), 0);
    } else if (uvs.block_known) {
        ASSERT_TRUE(is_zero_but_for_its_name(record.set));
    }
}

TEST(ReadersOfFloats, EqualSmallReadsOnRandomArchives) {
    std::mt19937 random(43);
    for (int i = 0; i < 1500; ++i) {
        expect_equal_to_model(test::random_archive(random, random() % 600));
        if (HasFatalFailure()) FAIL() << "archive " << i;
    }
}

TEST(ReadersOfFloats, EqualSmallReadsOnRandomBytes) {
    std::mt19937 random(44);
    for (int i = 0; i < 200; ++i) {
        bytes content(random() % 2000);
        for (auto &byte : content)
            byte = static_cast<std::uint8_t>(random());
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "archive " << i;
    }
}

TEST(ReadersOfFloats, EqualSmallReadsOnEveryTruncation) {
    bytes content = archive_header();
    append_block(content, 1016, ramp(254));
    append_block(content, 72, ramp(18));
    append_block(content, 36, ramp(9));
    for (; !content.empty(); content.pop_back()) {
        expect_equal_to_model(content);
        if (HasFatalFailure()) FAIL() << "cut to " << content.size();
    }
}

} // namespace
} // namespace qel
