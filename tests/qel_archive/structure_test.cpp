// SPDX-License-Identifier: MIT
// The six children of the root, and what is shared between groups.
#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

constexpr std::uint64_t data_bit = std::uint64_t{1} << 63;

archive_builder scene() {
    archive_builder builder;
    builder.add_sampling({1.0 / 24, {0.5}});
    add_xform(builder.top, "arm", {translate(1, 2, 3)});
    add_polymesh(builder.top, "hand", triangle());
    return builder;
}

/// Opens an archive with one child of the root replaced.
std::int32_t status_with(std::size_t child, std::uint64_t reference) {
    archive_builder builder = scene();
    builder.edit_root = [=](std::vector<std::uint64_t> &references, std::uint64_t) { references[child] = reference; };
    return status_of(builder);
}

TEST(ArchiveStructure, ReportsVersionsCountsTimesAndMetadata) {
    archive_builder builder = scene();
    add_polymesh(builder.top, "smooth", triangle()).metadata = "schema=AbcGeom_SubD_v1";
    builder.library_version = 10709;
    builder.metadata = "_ai_Application=test;_ai_Description=a b";
    const qel_archive_info info = opened_archive(builder).info();
    EXPECT_EQ(info.library_version, 10709);
    EXPECT_EQ(info.object_count, 4u) << "the top object counts";
    EXPECT_EQ(info.mesh_count, 2u) << "PolyMesh and SubD";
    EXPECT_EQ(info.time_sampling_count, 2u);
    EXPECT_EQ(info.start, 0.0);
    EXPECT_EQ(info.end, 0.0);
    EXPECT_EQ(info.frames_per_second, 24.0);
    const opened_archive opened(builder);
    EXPECT_STREQ(opened.info().metadata, "_ai_Application=test;_ai_Description=a b");
}

TEST(ArchiveStructure, AcceptsAnEmptyArchive) {
    archive_builder builder;
    builder.metadata = "";
    builder.top.without_headers = true;
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    const qel_archive_info info = opened.info();
    EXPECT_EQ(info.object_count, 1u);
    EXPECT_EQ(info.mesh_count, 0u);
    EXPECT_EQ(info.frames_per_second, 0.0);
    EXPECT_STREQ(info.metadata, "");
    EXPECT_EQ(opened.object("/").child_count, 0u);
}

TEST(ArchiveStructure, RequiresSixRootChildrenAndIgnoresFurtherOnes) {
    for (const std::size_t count : {0u, 1u, 5u}) {
        archive_builder builder = scene();
        builder.edit_root = [=](std::vector<std::uint64_t> &references, std::uint64_t) { references.resize(count); };
        EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << count;
    }
    built_archive built = scene().build(); // all six are there, but one of them is not counted
    built.patch(built.root.reference, std::uint64_t{5});
    EXPECT_EQ(status_of(built.content), QEL_ARCHIVE_DAMAGED);
    archive_builder builder = scene();
    builder.edit_root = [](std::vector<std::uint64_t> &references, std::uint64_t) {
        references.push_back(12345); // no reader follows it
    };
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_OK);
}

TEST(ArchiveStructure, RefusesDataInsteadOfAGroupAndAGroupInsteadOfData) {
    for (std::size_t child = 0; child < 6; ++child) {
        const std::uint64_t group_or_data = child == 2 ? data_bit | 16 : 16;
        EXPECT_EQ(status_with(child, group_or_data), QEL_ARCHIVE_DAMAGED) << child;
        EXPECT_EQ(status_with(child, child == 2 ? data_bit : 0), QEL_ARCHIVE_DAMAGED) << child;
    }
}

TEST(ArchiveStructure, RefusesChildrenOutsideTheFileOrInTheHeader) {
    for (std::size_t child = 0; child < 6; ++child) {
        const std::uint64_t sort = child == 2 ? 0 : data_bit;
        for (const std::uint64_t place : {std::uint64_t{8}, std::uint64_t{1} << 40, data_bit - 1})
            EXPECT_EQ(status_with(child, sort | place), QEL_ARCHIVE_DAMAGED) << child << " " << place;
    }
}

TEST(ArchiveStructure, MayHaveAnEmptyTopObjectAndNoMetadata) {
    EXPECT_EQ(status_with(2, 0), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_with(3, data_bit), QEL_ARCHIVE_OK);
}

TEST(ArchiveStructure, NeedsItsVersionsTimesAndTextsWhereTheyAreUsed) {
    EXPECT_EQ(status_with(0, data_bit), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with(1, data_bit), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with(4, data_bit), QEL_ARCHIVE_DAMAGED) << "properties use sampling 0";
    EXPECT_EQ(status_with(5, data_bit), QEL_ARCHIVE_DAMAGED) << "objects use text 1";
}

TEST(ArchiveStructure, NeedsFourBytesForAVersion) {
    for (const std::size_t child : {0u, 1u}) {
        built_archive built = scene().build();
        const std::uint64_t version = built_archive::position_of(built.root.references[child]);
        built.patch(version, std::uint64_t{3});
        EXPECT_EQ(status_of(built.content), QEL_ARCHIVE_DAMAGED) << child;
        built.patch(version, std::uint64_t{4});
        EXPECT_EQ(status_of(built.content), QEL_ARCHIVE_OK) << child;
    }
}

TEST(ArchiveStructure, ShowsAVersionOfAnySignAndCutsTheMetadataAtAZeroByte) {
    archive_builder builder = scene();
    builder.library_version = -5;
    builder.metadata = std::string("a=b\0c=d", 7);
    const opened_archive opened(builder);
    EXPECT_EQ(opened.info().library_version, -5);
    EXPECT_STREQ(opened.info().metadata, "a=b");
}

TEST(ArchiveStructure, IsRefusedAtEveryLengthButItsOwn) {
    const temp_folder folder;
    const std::string path = folder.file("archive");
    scene().save(path);
    const auto status_at = [&path](std::uint64_t length) {
        std::filesystem::resize_file(path, length);
        qel_archive *archive = nullptr;
        const std::int32_t status = qel_archive_open(path.c_str(), &archive);
        qel_archive_close(archive);
        return status;
    };
    const std::uint64_t whole = std::filesystem::file_size(path);
    EXPECT_EQ(status_at(whole), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_at(whole + 100), QEL_ARCHIVE_OK) << "bytes that no reference leads to are ignored";
    for (std::uint64_t length = whole - 1; length >= 16; --length) // the root comes last
        ASSERT_EQ(status_at(length), QEL_ARCHIVE_DAMAGED) << length;
    for (const std::uint64_t length : {15u, 1u, 0u})
        EXPECT_EQ(status_at(length), QEL_ARCHIVE_NOT_AN_ARCHIVE) << length;
}

TEST(ArchiveStructure, RefusesAnObjectThatIsItsOwnCompound) {
    // Its data, read as headers of objects, is too short for any; as headers of properties it holds one.
    archive_builder builder;
    object_node &odd = builder.top.add("a").add("odd");
    odd.edit_headers = [](bytes &headers) {
        property_header header;
        header.set(info_kind, static_cast<std::uint32_t>(property_kind::compound));
        header.name = "x";
        headers = bytes_of_header(header);
    };
    const std::uint64_t place = builder.build().places.at("/a/odd").reference;
    builder.top.add("other").edit_references = [=](std::vector<std::uint64_t> &references, std::uint64_t) {
        references[0] = place;
    };
    EXPECT_EQ(opened_archive(builder).object("/other").property_count, 1u) << "another object's compound";
    odd.edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t own) { references[0] = own; };
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED);
    odd.edit_headers = [](bytes &headers) {
        property_header header;
        header.set(info_kind, static_cast<std::uint32_t>(property_kind::scalar));
        header.set(info_extent, 1);
        header.name = "x";
        headers = bytes_of_header(header);
    };
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << "a group inside itself";
    archive_builder alone;
    alone.top.edit_headers = odd.edit_headers;
    alone.top.edit_references = odd.edit_references;
    EXPECT_EQ(status_of(alone), QEL_ARCHIVE_DAMAGED) << "the top object";
}

TEST(ArchiveStructure, RefusesAnObjectInsideItsChildren) {
    archive_builder deep;
    deep.top.add("a").add("b").add("c");
    const built_archive built = deep.build();
    const std::uint64_t b = built.places.at("/a/b").reference;
    for (const char *around : {"/", "/a", "/a/b"})
        EXPECT_EQ(status_with_reference(built, b, 1, built.places.at(around).reference), QEL_ARCHIVE_DAMAGED) << around;
}

TEST(ArchiveStructure, CountsSharedGroupsAsCopies) {
    archive_builder builder;
    add_xform(builder.top, "first", {translate(1, 0, 0)}).add("leaf");
    object_node &second = builder.top.add("second", object_metadata("AbcGeom_Xform_v3", ".xform"));
    second.instead = builder.build().places.at("/first").reference;
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.paths(), (std::vector<std::string>{"/", "/first", "/first/leaf", "/second", "/second/leaf"}));
    EXPECT_EQ(opened.world("/second/leaf")[12], 1.0);
}

TEST(ArchiveStructure, ReadsHeadersAndSourcesThatManyGroupsShareOnce) {
    const std::string name(5000, 'n'); // together far more than the file has bytes
    archive_builder builder;
    builder.top.add(name);
    builder.top.add(name + "2").add("leaf");
    object_node &first = builder.top.add("first");
    first.properties.compound(name).store_empty = true;
    first.add(name);
    const built_archive built = builder.build();
    const std::uint64_t of_objects = built.places.at("/first").references.back();
    const std::uint64_t of_properties = built.places.at("/first:").references.back();
    for (std::size_t i = 0; i < 50; ++i) {
        object_node &next = builder.top.add("o" + std::to_string(i)); // groups of their own
        next.properties.compound(name);
        next.properties.edit_references = [=](std::vector<std::uint64_t> &references, std::uint64_t) {
            references.back() = of_properties;
        };
        next.add(name);
        next.edit_references = [=](std::vector<std::uint64_t> &references, std::uint64_t) {
            references.back() = of_objects;
        };
        next.properties.edit_headers = [](bytes &headers) { headers.clear(); };
        next.edit_headers = [](bytes &headers) { headers.clear(); };
        add_instance(builder.top, "i" + std::to_string(i), "/" + name + (i % 2 == 0 ? "" : "2"));
    }
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_NE(opened.find(("/o49/" + name).c_str()), 0xFFFFFFFF);
    EXPECT_EQ(opened.find("/o49", name.c_str()), 0u);
    EXPECT_EQ(opened.object("/i48").child_count, 0u);
    EXPECT_EQ(opened.object("/i49").child_count, 1u);
}

} // namespace
} // namespace qel
