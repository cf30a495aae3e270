// SPDX-License-Identifier: MIT
// Meshes that could not be indexed without a check are refused, and leave a record of zeros.
#include "qel_archive/opened_archive.h"

#include "support/failing_heap.h"

#include <cstdint>
#include <filesystem>

namespace qel {
namespace {

using namespace test;

std::int32_t read_status(const polymesh &mesh) {
    const opened_archive opened = opened_mesh(mesh);
    EXPECT_EQ(opened.status, QEL_ARCHIVE_OK);
    const heap_ledger ledger;
    const read_mesh read = opened.mesh("/m");
    if (read.status == QEL_ARCHIVE_OK) return read.status;
    EXPECT_TRUE(read.is_all_zero());
    EXPECT_EQ(ledger.live(), 0u);
    return read.status;
}

std::int32_t status_of_faces(const std::vector<std::int32_t> &counts, const std::vector<std::int32_t> &indices) {
    polymesh mesh = triangle(); // three points
    mesh.face_counts = {counts};
    mesh.face_indices = {indices};
    return read_status(mesh);
}

TEST(ArchiveMeshDamage, IsACountSumThatIsNotTheNumberOfIndices) {
    EXPECT_EQ(status_of_faces({3}, {0, 1, 2}), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_faces({2}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({4}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({INT32_MAX, INT32_MAX, 5}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED) << "3 in 32 bits";
    EXPECT_EQ(status_of_faces({}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({3}, {}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({}, {}), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_faces({0}, {}), QEL_ARCHIVE_OK);
}

TEST(ArchiveMeshDamage, IsANegativeCount) {
    EXPECT_EQ(status_of_faces({-1, 4}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({4, -1}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({3, INT32_MIN, INT32_MIN}, {0, 1, 2}), QEL_ARCHIVE_DAMAGED) << "3 in 32 bits";
    std::vector<std::int32_t> many(100, 0); // in every lane of a vector, and after the last whole one
    many[50] = 3;
    EXPECT_EQ(status_of_faces(many, {0, 1, 2}), QEL_ARCHIVE_OK);
    for (std::size_t i = 60; i < 100; ++i) {
        std::vector<std::int32_t> counts = many;
        counts[i] = -1;
        counts[0] = 1;
        ASSERT_EQ(status_of_faces(counts, {0, 1, 2}), QEL_ARCHIVE_DAMAGED) << i;
    }
}

TEST(ArchiveMeshDamage, IsACountOfElementsAbove32Bits) {
    archive_builder builder;
    add_polymesh(builder.top, "m", triangle());
    built_archive built = builder.build();
    const std::uint64_t end = built.content.size(), digest = 16;
    const std::uint64_t group = built.places.at("/m:.geom/.faceCounts").reference;
    built.patch(built_archive::reference_at(group, 0), archive_writer::data_bit | end);
    const temp_folder folder;
    const std::string path = folder.file("archive.abc");
    for (const std::uint64_t count : {std::uint64_t{1} << 32, (std::uint64_t{1} << 32) - 1}) {
        const std::uint64_t size = digest + count * sizeof(std::int32_t);
        bytes content = built.content;
        append(content, size);
        write_file(path, content);
        std::error_code refused;
        std::filesystem::resize_file(path, content.size() + size, refused);
        if (refused) GTEST_SKIP() << "the file system has no sparse files";
        qel_archive *archive = nullptr;
        ASSERT_EQ(qel_archive_open(path.c_str(), &archive), QEL_ARCHIVE_OK);
        qel_archive_mesh_info info = {};
        const std::int32_t status = qel_archive_get_mesh_info(archive, 1, &info);
        qel_archive_close(archive);
        EXPECT_EQ(status, count >> 32 == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED);
        EXPECT_EQ(info.face_count, count >> 32 == 0 ? 0xFFFFFFFF : 0);
    }
}

TEST(ArchiveMeshDamage, IsAnIndexOutOfRange) {
    EXPECT_EQ(status_of_faces({3}, {0, 1, 3}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({3}, {-1, 1, 2}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_faces({3}, {2, 2, 2}), QEL_ARCHIVE_OK);
    for (std::size_t i = 0; i < 40; ++i) {
        std::vector<std::int32_t> indices(40, 2);
        indices[i] = 3;
        ASSERT_EQ(status_of_faces({40}, indices), QEL_ARCHIVE_DAMAGED) << i;
    }
    polymesh no_points = triangle();
    no_points.points = {{}};
    EXPECT_EQ(read_status(no_points), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveMeshDamage, IsFoundInArraysOfManyBlocks) {
    polymesh mesh;
    mesh.points = {rising(std::size_t{3} * 100'000)};
    mesh.face_counts = {std::vector<std::int32_t>(100'000, 3)};
    mesh.face_indices = {std::vector<std::int32_t>(300'000, 99'999)};
    EXPECT_EQ(read_status(mesh), QEL_ARCHIVE_OK);
    for (const std::size_t at : {std::size_t{0}, std::size_t{49'152}, std::size_t{299'999}}) {
        polymesh damaged = mesh;
        damaged.face_indices[0][at] = 100'000;
        EXPECT_EQ(read_status(damaged), QEL_ARCHIVE_DAMAGED) << at;
    }
    for (const std::size_t at : {std::size_t{0}, std::size_t{49'152}, std::size_t{99'999}}) {
        polymesh damaged = mesh;
        damaged.face_counts[0][at] = -3;
        EXPECT_EQ(read_status(damaged), QEL_ARCHIVE_DAMAGED) << at;
    }
}

/// The status of a triangle, one property of which is changed.
template <class Change>
std::int32_t status_with(const char *name, const Change &change) {
    archive_builder builder;
    object_node &object = add_polymesh(builder.top, "m", triangle());
    change(child(schema_compound(object), name));
    const opened_archive opened(builder);
    EXPECT_EQ(opened.status, QEL_ARCHIVE_OK);
    const read_mesh read = opened.mesh("/m");
    EXPECT_EQ(read.status == QEL_ARCHIVE_OK, !read.is_all_zero());
    return read.status;
}

template <class Change>
void expect_damage(const char *name, const Change &change) {
    EXPECT_EQ(status_with(name, change), QEL_ARCHIVE_DAMAGED) << name;
}

TEST(ArchiveMeshDamage, IsAnArrayOfAnotherKind) {
    for (const char *name : {"P", ".faceCounts", ".faceIndices"}) {
        EXPECT_EQ(status_with(name, [](property_node &) {}), QEL_ARCHIVE_OK);
        expect_damage(name, [](property_node &node) { node.value = value_kind::u32; });
        expect_damage(name, [](property_node &node) { node.extent += 1; });
        expect_damage(name, [](property_node &node) { node.kind = property_kind::scalar; });
    }
}

TEST(ArchiveMeshDamage, IsAnArrayWithAnIncompleteElement) {
    for (const char *name : {"P", ".faceCounts", ".faceIndices"})
        for (const std::size_t more : {1u, 3u})
            expect_damage(name, [more](property_node &node) {
                node.samples[0].values.resize(node.samples[0].values.size() + more);
            });
}

TEST(ArchiveMeshDamage, IsASampleThatIsNotStored) {
    for (const char *name : {"P", ".faceCounts", ".faceIndices", ".selfBnds"})
        expect_damage(name, [](property_node &node) { node.instead = 0; });
}

TEST(ArchiveMeshDamage, IsABoxOfAnotherSize) {
    expect_damage(".selfBnds", [](property_node &node) { node.samples[0].values.resize(40); });
}

TEST(ArchiveMeshDamage, IsADamagedTransformOfAnAncestor) {
    archive_builder builder;
    object_node &arm = add_xform(builder.top, "arm", {{0x70, {1}}}); // an operation above 6
    add_polymesh(arm, "m", triangle());
    const opened_archive opened(builder);
    const heap_ledger ledger;
    const read_mesh read = opened.mesh("/arm/m");
    EXPECT_EQ(read.status, QEL_ARCHIVE_DAMAGED);
    EXPECT_TRUE(read.is_all_zero());
    EXPECT_EQ(ledger.live(), 0u);
    EXPECT_EQ(opened.mesh_info("/arm/m").face_count, 1u) << "which needs no transform";
}

TEST(ArchiveMeshDamage, KeepsTheRecordsOfOtherCallsUnchanged) {
    archive_builder builder;
    object_node &object = add_polymesh(builder.top, "m", triangle());
    child(schema_compound(object), "P").instead = 0;
    const opened_archive opened(builder);
    qel_archive_mesh_info info;
    std::memset(&info, 0xAB, sizeof info);
    const qel_archive_mesh_info before = info;
    EXPECT_EQ(qel_archive_get_mesh_info(opened.get(), 1, &info), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(qel_archive_get_mesh_info(opened.get(), 0, &info), QEL_ARCHIVE_WRONG_KIND);
    EXPECT_EQ(qel_archive_get_mesh_info(opened.get(), 2, &info), QEL_ARCHIVE_NOT_FOUND);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
}

TEST(ArchiveMeshDamage, LeavesOnlyZerosAfterEveryFailure) {
    const opened_archive opened = opened_mesh(triangle());
    EXPECT_TRUE(opened.mesh("/m", 1).is_all_zero()) << "no such sample";
    EXPECT_TRUE(opened.mesh("/").is_all_zero()) << "no points";
    EXPECT_TRUE(opened.mesh("/x").is_all_zero()) << "no such object";
    EXPECT_TRUE(read_mesh(nullptr, 0, 0).is_all_zero()) << "no archive";
}

} // namespace
} // namespace qel
