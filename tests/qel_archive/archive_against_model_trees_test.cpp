// SPDX-License-Identifier: MIT
// Trees of groups that no writer makes: inside themselves, shared many times over. The archive reader and the model
// answer alike, and both end.
#include "model/archive_comparison.h"
#include "qel_archive.h"
#include "qel_archive/written_trees.h"
#include "support/archive_schemas.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace qel {
namespace {

using namespace test;

class ArchiveTrees : public testing::Test {
  protected:
    /// Both answer an open with a status, and everything else alike.
    void expect_same(const bytes &content, std::int32_t status, const std::string &what = "") {
        std::filesystem::remove(path_); // a new file waits for no disk, unlike one that is written over
        write_file(path_, content);
        EXPECT_EQ(model::model_status(path_), status) << what;
        EXPECT_EQ(model::first_difference(path_), "") << what;
    }

    temp_folder folder_;
    std::string path_ = folder_.file("archive.abc");
};

/// Has a group hold itself in place of a child.
references_edit itself_as(std::size_t child) {
    return [child](std::vector<std::uint64_t> &references, std::uint64_t own) { references.at(child) = own; };
}

TEST_F(ArchiveTrees, RefuseGroupsInsideThemselves) {
    for (std::size_t child = 0; child < 3; ++child) {
        archive_builder archive;
        object_node &outer = add_xform(archive.top, "outer", {translate(1, 2, 3)});
        add_xform(outer, "inner", {scale(1, 2, 3)});
        outer.edit_references = itself_as(child);
        expect_same(archive.build().content, QEL_ARCHIVE_DAMAGED, "object, " + std::to_string(child));
    }
    for (std::size_t child = 0; child < 2; ++child) {
        archive_builder archive;
        property_node &outer = archive.top.properties.compound("outer");
        outer.compound("inner").scalar<double>("value", 1, {{1}});
        outer.edit_references = itself_as(child);
        expect_same(archive.build().content, QEL_ARCHIVE_DAMAGED, "compound, " + std::to_string(child));
    }
}

TEST_F(ArchiveTrees, AreReadAlikeWithAnyReferenceToAnyOtherGroup) {
    archive_builder archive;
    object_node &outer = add_xform(archive.top, "outer", {translate(1, 2, 3)});
    object_node &inner = add_xform(outer, "inner", {scale(1, 2, 3)});
    add_xform(inner, "innermost", {scale(1, 2, 3)});
    const built_archive built = archive.build();
    std::uint32_t refused = 0, changes_made = 0;
    for (const auto &[from, place] : built.places)
        for (std::size_t child = 0; child < place.references.size(); ++child)
            for (const auto &[to, target] : built.places) {
                if (place.reference == 0 || place.reference + 16 > built.content.size()) continue;
                built_archive changed = built;
                changed.patch(built_archive::reference_at(place.reference, child), target.reference);
                std::filesystem::remove(path_);
                write_file(path_, changed.content);
                ASSERT_EQ(model::first_difference(path_), "") << from << " " << child << " to " << to;
                ++changes_made;
                if (model::model_status(path_) == QEL_ARCHIVE_DAMAGED) ++refused;
            }
    EXPECT_GT(refused, changes_made / 4);
    EXPECT_LT(refused, changes_made);
}

TEST_F(ArchiveTrees, OfObjectsThatShareGroupsAreBounded) {
    archive_writer archive;
    std::uint64_t group = object_group(archive, archive_writer::empty_group, {});
    for (int level = 0; level < 60; ++level)
        group = object_group(archive, archive_writer::empty_group, {group, group});
    set_top_object(archive, group);
    expect_same(archive.content(), QEL_ARCHIVE_DAMAGED);
}

TEST_F(ArchiveTrees, OfCompoundsThatShareGroupsAreBounded) {
    archive_writer archive;
    std::uint64_t group = archive_writer::empty_group;
    for (int level = 0; level < 60; ++level)
        group = compound_group(archive, {group, group});
    set_top_object(archive, object_group(archive, group, {}));
    expect_same(archive.content(), QEL_ARCHIVE_DAMAGED);
}

TEST_F(ArchiveTrees, OfInstancesThatShareSourcesAreBounded) {
    archive_builder archive;
    archive.top.add("s0");
    for (int level = 1; level <= 60; ++level) {
        const std::string below = "/s" + std::to_string(level - 1);
        object_node &both = archive.top.add("s" + std::to_string(level));
        add_instance(both, "a", below);
        add_instance(both, "b", below);
    }
    expect_same(archive.build().content, QEL_ARCHIVE_DAMAGED);
}

TEST_F(ArchiveTrees, RefuseInstancesThatContainThemselves) {
    const std::vector<std::vector<std::string>> sources = {
        {"/"}, {"/a"}, {"/b", "/a"}, {"/b/x", "/a/x"}, {"/c", "/c", "/a"}, {"/b", "/c", "/b"}, {"/b", "/a/x"}};
    for (const std::vector<std::string> &paths : sources) {
        archive_builder archive;
        for (std::size_t i = 0; i < paths.size(); ++i)
            add_instance(archive.top, std::string(1, static_cast<char>('a' + i)), paths[i]);
        expect_same(archive.build().content, QEL_ARCHIVE_DAMAGED, paths.front());
        archive_builder nested;
        for (std::size_t i = 0; i < paths.size(); ++i)
            add_instance(nested.top.add(std::string(1, static_cast<char>('a' + i))), "x", paths[i]);
        expect_same(nested.build().content, QEL_ARCHIVE_DAMAGED, "nested " + paths.front());
    }
}

TEST_F(ArchiveTrees, FollowInstancesOfInstancesAndBelowThem) {
    archive_builder archive;
    object_node &source = add_xform(archive.top, "source", {translate(1, 0, 0)});
    add_xform(source, "child", {translate(0, 1, 0)});
    object_node &group = add_xform(archive.top, "group", {scale(2, 2, 2)});
    add_instance(group, "first", "/source");
    add_instance(group, "second", "/group/first");
    add_instance(group, "third", "/group/second/child");
    add_instance(archive.top, "all", "/group");
    add_instance(archive.top, "deep", "/all/second");
    expect_same(archive.build().content, QEL_ARCHIVE_OK);
    qel_archive *opened = nullptr;
    ASSERT_EQ(qel_archive_open(path_.c_str(), &opened), QEL_ARCHIVE_OK);
    qel_archive_info info;
    EXPECT_EQ(qel_archive_get_info(opened, &info), QEL_ARCHIVE_OK);
    EXPECT_EQ(info.object_count, 17u);
    EXPECT_NE(qel_archive_find(opened, "/all/second/child"), 0xFFFFFFFFu);
    EXPECT_NE(qel_archive_find(opened, "/deep/child"), 0xFFFFFFFFu);
    EXPECT_EQ(qel_archive_find(opened, "/all/third/child"), 0xFFFFFFFFu);
    qel_archive_close(opened);
}

} // namespace
} // namespace qel
