// SPDX-License-Identifier: MIT
#include "qel_unit/unit_format.h"

#include "support/failing_write.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>

namespace qel {
namespace {

using namespace test;

class UnitSave : public testing::Test {
  protected:
    UnitSave() { unit.version = 1; }

    std::vector<qel_token> tokens = {make_token(0x0000000300020001, "00000003", 0x1111, 3),
                                     make_token(1, "00000001", 0x2222, 1), make_token(2, "AB", 0x3333, 255)};
    qel_unit unit = borrowed_unit(tokens);
    temp_folder folder;
    const std::string path = folder.file("unit.qel");
};

/// The file with its time of saving replaced by the one of test::unit_file.
bytes without_time(bytes file) {
    const bytes any = unit_file({});
    std::copy(any.begin() + 16, any.begin() + 24, file.begin() + 16);
    return file;
}

TEST_F(UnitSave, WritesTheHeaderAndTheTokensInStorageOrder) {
    unit.version = 0x01020304;
    unit.extra = 0xA1A2A3A4;
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    const bytes file = read_file(path);
    ASSERT_EQ(file.size(), 24u + 3 * 25);
    EXPECT_EQ(bytes(file.begin(), file.begin() + 16),
              (bytes{'Q', 'E', 'L', 0, 4, 3, 2, 1, 3, 0, 0, 0, 0xA4, 0xA3, 0xA2, 0xA1}));
    EXPECT_EQ(bytes(file.begin() + 24, file.begin() + 49),
              (bytes{1, 0, 2, 0, 3, 0, 0, 0, '0', '0', '0', '0', '0', '0', '0', '3', 0x11, 0x11, 0, 0, 0, 0, 0, 0, 3}));
    EXPECT_EQ(without_time(file), unit_file(3, tokens, 0x01020304, 0xA1A2A3A4));
}

TEST_F(UnitSave, WritesACreatedUnitAsVersionOne) {
    owned_unit built;
    ASSERT_EQ(create(built, tokens), 0);
    ASSERT_EQ(qel_unit_save(path.c_str(), &built), 0);
    EXPECT_EQ(without_time(read_file(path)), unit_file(3, tokens, 1, 0));
}

TEST_F(UnitSave, WritesThePresentTimeInSeconds) {
    const auto before = static_cast<std::int64_t>(std::time(nullptr));
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    const auto after = static_cast<std::int64_t>(std::time(nullptr));
    std::int64_t saved_at = 0;
    const bytes file = read_file(path);
    std::memcpy(&saved_at, &file[16], 8);
    EXPECT_GE(saved_at, before);
    EXPECT_LE(saved_at, after);
}

TEST_F(UnitSave, ReplacesALongerFile) {
    test::write_file(path, bytes(1000, 0xFF));
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    EXPECT_EQ(read_file(path).size(), 99u);
}

TEST_F(UnitSave, DoesNotChangeTheUnit) {
    const qel_unit before = unit;
    const bytes records = test::bytes_of(tokens);
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    EXPECT_EQ(std::memcmp(&unit, &before, sizeof unit), 0);
    EXPECT_EQ(test::bytes_of(tokens), records);
}

TEST_F(UnitSave, RefusesNothingToSaveAndCreatesNoFile) {
    EXPECT_EQ(qel_unit_save(path.c_str(), nullptr), -1);
    unit.count = 0;
    EXPECT_EQ(qel_unit_save(path.c_str(), &unit), -1);
    unit.count = 3;
    unit.tokens = nullptr;
    EXPECT_EQ(qel_unit_save(path.c_str(), &unit), -1);
    EXPECT_FALSE(test::file_exists(path));
}

TEST_F(UnitSave, ReportsAFileThatCannotBeCreated) {
    EXPECT_EQ(qel_unit_save(folder.file("missing/unit.qel").c_str(), &unit), -2);
    EXPECT_EQ(qel_unit_save(folder.path().string().c_str(), &unit), -2) << "a folder";
}

TEST_F(UnitSave, ReportsAHeaderOrTokensCutShort) {
    for (const auto &[write, code, written] : {std::tuple{1, -3, 0u}, {2, -4, 24u}}) {
        failing_write = write;
        EXPECT_EQ(qel_unit_save(path.c_str(), &unit), code);
        failing_write = 0;
        EXPECT_EQ(read_file(path).size(), written) << "the bytes that were written stay";
    }
}

TEST_F(UnitSave, ReportsAFullDiskAsTokensCutShort) {
    if (!test::file_exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    tokens.assign(100000, make_token(1)); // more than a stream buffers
    unit = borrowed_unit(tokens);
    EXPECT_EQ(qel_unit_save("/dev/full", &unit), -4);
}

TEST_F(UnitSave, IgnoresTheResultOfClosing) {
    if (!test::file_exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    EXPECT_EQ(qel_unit_save("/dev/full", &unit), 0) << "the bytes fit the stream's buffer and fail at its close";
}

TEST_F(UnitSave, TakesTheByteCountModuloTwoToTheThirtySecond) {
    unit.count = 171798692; // times 25 is 2^32 + 4
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    const bytes file = read_file(path);
    ASSERT_EQ(file.size(), 28u);
    EXPECT_EQ(bytes(file.begin() + 8, file.begin() + 12), (bytes{0xA4, 0x70, 0x3D, 0x0A})) << "the count is whole";
    EXPECT_EQ(bytes(file.begin() + 24, file.end()), (bytes{1, 0, 2, 0}));

    unit.count = 1030792153; // times 25 is 6 x 2^32 + 49
    ASSERT_EQ(qel_unit_save(path.c_str(), &unit), 0);
    EXPECT_EQ(read_file(path).size(), 24u + 49);
    EXPECT_EQ(without_time(read_file(path)), [&] {
        bytes expected = unit_file(1030792153, tokens);
        expected.resize(24 + 49);
        return expected;
    }());
}

} // namespace
} // namespace qel
