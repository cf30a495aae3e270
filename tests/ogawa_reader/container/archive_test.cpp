// SPDX-License-Identifier: MIT
#include "qel_unit.h"
#include "support/failing_heap.h"
#include "support/stream_position.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#if !defined(_WIN32)
#include "support/open_descriptors.h"
#endif

namespace qel {
namespace {

using namespace test;

bytes header(std::uint8_t version0 = 0, std::uint8_t version1 = 1) {
    return {'O', 'g', 'a', 'w', 'a', 0xFF, version0, version1, 16, 0, 0, 0, 0, 0, 0, 0};
}

bytes first(const bytes &content, std::size_t size) {
    return bytes(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size));
}

bool is_cleared(const ogawa_archive &archive) {
    const ogawa_archive cleared = {};
    return std::memcmp(&archive, &cleared, sizeof cleared) == 0;
}

class Archive : public testing::Test {
  protected:
    Archive() { std::memset(&archive, 0xAB, sizeof archive); }

    int open(const bytes &content) {
        test::write_file(path, content);
        return ogawa_open(path.c_str(), &archive);
    }

    std::string info(int size = 4096) {
        std::vector<char> buffer(4096, '~');
        ogawa_get_info(&archive, buffer.data(), size);
        return buffer.data();
    }

    temp_folder folder;
    std::string path = folder.file("scene.abc");
    ogawa_archive archive;
};

using ArchiveOpen = Archive;

TEST_F(ArchiveOpen, LeavesTheStreamAtTheFilesEnd) {
    bytes content = header();
    content.resize(12345);
    ASSERT_EQ(open(content), 0);
    EXPECT_EQ(test::position_in(archive.file), 12345u);
    ogawa_close(&archive);
}

TEST_F(ArchiveOpen, RefusesANullRecord) {
    EXPECT_EQ(ogawa_open(path.c_str(), nullptr), -1);
}

TEST_F(ArchiveOpen, RefusesAFolder) {
    EXPECT_EQ(ogawa_open(folder.path().string().c_str(), &archive), -1);
    EXPECT_EQ(archive.file, nullptr);
}

TEST_F(ArchiveOpen, GivesEachTruncationOfTheHeaderItsCode) {
    const int codes[17] = {-1, -1, -1, -1, -1, -3, -4, -4, -5, -5, -5, -5, -5, -5, -5, -5, 0};
    for (std::size_t size = 0; size <= 16; ++size) {
        EXPECT_EQ(open(first(header(), size)), codes[size]) << size << " bytes";
        EXPECT_EQ(archive.file != nullptr, size == 16) << size << " bytes";
        EXPECT_EQ(archive.path, path) << size << " bytes";
        ogawa_close(&archive);
    }
}

TEST_F(ArchiveOpen, RefusesAnotherMagic) {
    for (std::size_t i = 0; i < 5; ++i) {
        for (const char other : {'\0', 'x', '\x7F'}) {
            bytes content = header();
            content[i] = static_cast<std::uint8_t>(other);
            EXPECT_EQ(open(content), -2);
            EXPECT_EQ(archive.file, nullptr);
        }
    }
    bytes content = header();
    content[0] = 'o';
    EXPECT_EQ(open(content), -2) << "the case counts";
    EXPECT_EQ(open(first(content, 5)), -2) << "the magic is tested before the frozen flag";
}

TEST_F(ArchiveOpen, RefusesAFileStillBeingWritten) {
    for (const unsigned flag : {0x00u, 0x01u, 0x7Fu, 0xFEu}) {
        bytes content = header();
        content[5] = static_cast<std::uint8_t>(flag);
        EXPECT_EQ(open(content), -3);
        EXPECT_EQ(archive.file, nullptr);
    }
}

#if !defined(_WIN32)
TEST_F(ArchiveOpen, ClosesTheFileThatItRefuses) {
    const std::size_t before = test::open_descriptors();
    for (std::size_t size = 0; size < 16; ++size)
        EXPECT_LT(open(first(header(), size)), 0);
    EXPECT_EQ(test::open_descriptors(), before);
}
#endif

TEST_F(ArchiveOpen, CutsALongPathTo1023Characters) {
    test::write_file(path, header());
    std::string long_path = folder.path().string();
    while (long_path.size() < 1500)
        long_path += "/.";
    long_path += "/scene.abc";
    ASSERT_EQ(ogawa_open(long_path.c_str(), &archive), 0);
    EXPECT_EQ(archive.path, long_path.substr(0, 1023));
    ogawa_close(&archive);
}

TEST_F(ArchiveOpen, OpensAFailedRecordAgain) {
    EXPECT_EQ(open(first(header(), 15)), -5);
    EXPECT_EQ(open(header()), 0);
    ogawa_close(&archive);
    EXPECT_EQ(open(header()), 0) << "a closed one, too";
    ogawa_close(&archive);
}

using ArchiveInfo = Archive;

TEST_F(ArchiveInfo, DescribesAFreshArchive) {
    ASSERT_EQ(open(header()), 0);
    EXPECT_EQ(info(), "Ogawa Archive\n=============\nPath: " + path +
                          "\nVersion: 0.1\nObjects: 0\nPolyMeshes: 0\nTime Range: 0.000 - 1.000 sec\nFPS: 24.00");
    ogawa_close(&archive);
}

TEST_F(ArchiveInfo, ShowsTheVersionBytesInFileOrder) {
    for (const auto &[content, line] : {std::pair(header(1, 0), "\nVersion: 1.0\n"),
                                        {header(0, 1), "\nVersion: 0.1\n"},
                                        {header(200, 255), "\nVersion: 200.255\n"}}) { // unsigned bytes
        ASSERT_EQ(open(content), 0);
        EXPECT_NE(info().find(line), std::string::npos) << line;
        ogawa_close(&archive);
    }
}

TEST_F(ArchiveInfo, PrintsAnyValuesOfTheRecord) {
    std::memset(&archive, 0, sizeof archive);
    archive.object_count = 4294967295u;
    archive.polymesh_count = 3000000000u;
    archive.time_start = -1.0625;
    archive.time_end = 12.3456;
    archive.fps = 29.97;
    EXPECT_EQ(info(), "Ogawa Archive\n=============\nPath: \nVersion: 0.0\nObjects: 4294967295\n"
                      "PolyMeshes: 3000000000\nTime Range: -1.062 - 12.346 sec\nFPS: 29.97");
}

TEST_F(ArchiveInfo, CutsTheTextAndTerminatesIt) {
    ASSERT_EQ(open(header()), 0);
    const std::string whole = info();
    for (int size = 1; size <= static_cast<int>(whole.size()) + 3; ++size) {
        std::vector<char> buffer(whole.size() + 8, '~');
        ogawa_get_info(&archive, buffer.data(), size);
        const std::size_t kept = std::min(whole.size(), static_cast<std::size_t>(size) - 1);
        ASSERT_EQ(std::string(buffer.data()), whole.substr(0, kept)) << size;
        ASSERT_EQ(buffer[kept + 1], '~') << "nothing after the terminator";
    }
    ogawa_close(&archive);
}

TEST_F(ArchiveInfo, WritesNothingOnBadArguments) {
    ASSERT_EQ(open(header()), 0);
    char buffer[8] = "before";
    ogawa_get_info(&archive, buffer, 0);
    ogawa_get_info(&archive, buffer, -5);
    ogawa_get_info(nullptr, buffer, 8);
    EXPECT_STREQ(buffer, "before");
    ogawa_get_info(&archive, nullptr, 8);
    ogawa_close(&archive);
}

TEST_F(ArchiveInfo, StaysWithinAPathWithoutTerminator) {
    std::memset(&archive, 0, sizeof archive);
    std::memset(archive.path, 'p', sizeof archive.path);
    archive.file = reinterpret_cast<std::FILE *>(0x7171717171717171); // would be read as text after the path
    const std::string text = info();
    EXPECT_NE(text.find("Path: " + std::string(1024, 'p') + "\nVersion: 0.0\n"), std::string::npos);
}

template <class T>
T *allocated() {
    return static_cast<T *>(std::calloc(1, sizeof(T)));
}

ogawa_polymesh *allocated_mesh() {
    auto *mesh = allocated<ogawa_polymesh>();
    mesh->positions = allocated<float>();
    mesh->face_indices = allocated<std::uint32_t>();
    return mesh;
}

/// An object with everything, two children of the same kind and a null one, `depth` levels deep.
ogawa_object *allocated_object(int depth) {
    auto *object = allocated<ogawa_object>();
    object->polymesh = allocated_mesh();
    object->aux_record = allocated<ogawa_aux_record>();
    object->aux_record->aux_buffer = std::malloc(10);
    if (depth == 0) return object;
    object->child_count = 3;
    object->children = static_cast<ogawa_object **>(std::calloc(3, sizeof(ogawa_object *)));
    object->children[0] = allocated_object(depth - 1);
    object->children[2] = allocated_object(depth - 1);
    return object;
}

using ArchiveClose = Archive;

#if !defined(_WIN32)
TEST_F(ArchiveClose, ClosesTheStream) {
    const std::size_t before = test::open_descriptors();
    ASSERT_EQ(open(header()), 0);
    EXPECT_EQ(test::open_descriptors(), before + 1);
    ogawa_close(&archive);
    EXPECT_EQ(test::open_descriptors(), before);
}
#endif

TEST_F(ArchiveClose, AcceptsASecondCallAFailedRecordAndNull) {
    ASSERT_EQ(open(header()), 0);
    ogawa_close(&archive);
    ogawa_close(&archive);
    EXPECT_TRUE(is_cleared(archive));
    EXPECT_EQ(open(first(header(), 9)), -5);
    ogawa_close(&archive);
    EXPECT_TRUE(is_cleared(archive)) << "the kept path, too";
    ogawa_close(nullptr);
}

TEST_F(ArchiveClose, ReleasesAllListedRecords) {
    ASSERT_EQ(open(header()), 0);
    heap_ledger ledger;
    archive.polymesh_count = 3;
    archive.polymeshes = static_cast<ogawa_polymesh **>(std::calloc(3, sizeof(ogawa_polymesh *)));
    archive.polymeshes[0] = allocated_mesh();
    archive.polymeshes[2] = allocated_mesh(); // a null entry in between is skipped
    archive.object_count = 3;
    archive.objects = static_cast<ogawa_object **>(std::calloc(4, sizeof(ogawa_object *)));
    archive.objects[0] = allocated_object(2);
    archive.objects[2] = allocated_object(0);
    ogawa_object *const uncounted = archive.objects[3] = allocated<ogawa_object>();
    EXPECT_GT(ledger.live(), 10u);
    ogawa_close(&archive);
    EXPECT_EQ(ledger.live(), 1u);
    EXPECT_TRUE(ledger.holds(uncounted));
    EXPECT_TRUE(is_cleared(archive));
    ledger.free_all();
}

TEST_F(ArchiveClose, SkipsNullLists) {
    std::memset(&archive, 0, sizeof archive);
    archive.polymesh_count = 5;
    archive.object_count = 7;
    ogawa_close(&archive);
    EXPECT_TRUE(is_cleared(archive));
}

TEST(ArchiveObjects, AreReleasedWithTheirWholeSubtree) {
    heap_ledger ledger;
    ogawa_object *object = allocated_object(4);
    EXPECT_GT(ledger.live(), 100u);
    ogawa_free_object(object);
    EXPECT_EQ(ledger.live(), 0u);
}

TEST(ArchiveObjects, AreFreedWithNullFields) {
    heap_ledger ledger;
    ogawa_free_object(nullptr);
    ogawa_free_object(allocated<ogawa_object>());

    auto *no_buffer = allocated<ogawa_object>();
    no_buffer->aux_record = allocated<ogawa_aux_record>();
    ogawa_free_object(no_buffer);

    auto *no_children = allocated<ogawa_object>();
    no_children->child_count = 9; // without an array
    ogawa_free_object(no_children);
    EXPECT_EQ(ledger.live(), 0u);
}

const std::pair<const char *, ogawa_schema> named_schemas[] = {{"Xform", 1},  {"PolyMesh", 2}, {"SubD", 3},
                                                               {"Points", 4}, {"Curves", 5},   {"Camera", 8}};

TEST(ArchiveSchemas, AreKnownByName) {
    for (const auto &[name, schema] : named_schemas)
        EXPECT_EQ(ogawa_schema_from_string(name), schema) << name;
}

TEST(ArchiveSchemas, AreKnownWithinLongerNames) {
    EXPECT_EQ(ogawa_schema_from_string("AbcGeom_PolyMesh_v1"), 2u);
    EXPECT_EQ(ogawa_schema_from_string("AbcGeom_SubD_v1"), 3u);
    EXPECT_EQ(ogawa_schema_from_string("xCamerax"), 8u);
}

TEST(ArchiveSchemas, AreUnknownOtherwise) {
    EXPECT_EQ(ogawa_schema_from_string(nullptr), 0u);
    EXPECT_EQ(ogawa_schema_from_string(""), 0u);
    EXPECT_EQ(ogawa_schema_from_string("polymesh"), 0u) << "the case counts";
    EXPECT_EQ(ogawa_schema_from_string("Curve"), 0u);
    EXPECT_EQ(ogawa_schema_from_string("Unknown"), 0u);
}

TEST(ArchiveSchemas, FollowAFixedOrderIfATextNamesTwo) {
    EXPECT_EQ(ogawa_schema_from_string("Xform Points"), 4u);
    EXPECT_EQ(ogawa_schema_from_string("Points SubD"), 3u);
    EXPECT_EQ(ogawa_schema_from_string("SubD PolyMesh"), 2u);
    EXPECT_EQ(ogawa_schema_from_string("Curves Xform"), 1u);
    EXPECT_EQ(ogawa_schema_from_string("Camera Curves"), 5u);
}

TEST(ArchiveSchemas, HaveTheirTexts) {
    for (const auto &[name, schema] : named_schemas)
        EXPECT_STREQ(ogawa_schema_to_string(schema), name);
    for (const ogawa_schema nameless : {0u, 6u, 7u, 9u, 4294967295u})
        EXPECT_STREQ(ogawa_schema_to_string(nameless), "Unknown");
}

} // namespace
} // namespace qel
