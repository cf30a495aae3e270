// SPDX-License-Identifier: MIT
// Trees of groups that no writer makes: inside themselves, shared many times over, at and beyond the limits. The
// archive reader and the model answer alike, and both end.
#include "model/archive_comparison.h"
#include "qel_archive.h"
#include "support/archive_schemas.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace qel {
namespace {

using namespace test;

constexpr std::uint32_t object_limit = 1u << 20, property_limit = 1u << 24, level_limit = 1000;

class ArchiveTrees : public testing::Test {
  protected:
    /// Both answer an open with a status, and everything else alike.
    void expect_same(const bytes &content, std::int32_t status, const std::string &what = "") {
        std::filesystem::remove(path_); // a new file waits for no disk, unlike one that is written over
        write_file(path_, content);
        EXPECT_EQ(model::model_status(path_), status) << what;
        EXPECT_EQ(model::first_difference(path_), "") << what;
    }

    /// What the library answers to an archive, which is what the model does, and how many objects it opens.
    std::int32_t status_of(const archive_writer &archive, std::uint32_t *objects = nullptr) {
        archive.save(path_);
        qel_archive *opened = nullptr;
        const std::int32_t status = qel_archive_open(path_.c_str(), &opened);
        EXPECT_EQ(status, model::model_status(path_));
        qel_archive_info info = {};
        if (opened != nullptr) qel_archive_get_info(opened, &info);
        if (objects != nullptr) *objects = info.object_count;
        qel_archive_close(opened);
        return status;
    }

    temp_folder folder_;
    std::string path_ = folder_.file("archive.abc");
};

/// Headers of objects with numbers for names, with the digests behind them.
std::uint64_t child_headers(archive_writer &archive, std::uint32_t count) {
    bytes headers;
    for (std::uint32_t i = 0; i < count; ++i)
        append_bytes(headers, bytes_of_header(object_header{std::to_string(i), 0, ""}));
    headers.resize(headers.size() + 32);
    return archive.data(headers);
}

std::uint64_t object(archive_writer &archive, std::uint64_t properties,
                     const std::vector<std::uint64_t> &children) {
    std::vector<std::uint64_t> references = {properties};
    references.insert(references.end(), children.begin(), children.end());
    references.push_back(child_headers(archive, static_cast<std::uint32_t>(children.size())));
    return archive.group(references);
}

/// A compound of compounds and, behind them, scalars without samples.
std::uint64_t compound(archive_writer &archive, const std::vector<std::uint64_t> &compounds,
                       std::uint32_t scalars) {
    bytes headers;
    std::vector<std::uint64_t> references = compounds;
    references.resize(compounds.size() + scalars);
    for (std::size_t i = 0; i < references.size(); ++i) {
        property_header header;
        header.set(info_width, static_cast<std::uint32_t>(number_width::u32));
        if (i >= compounds.size()) {
            header.set(info_kind, static_cast<std::uint32_t>(property_kind::scalar));
            header.set(info_extent, 1);
        }
        header.name = "p" + std::to_string(i);
        append_bytes(headers, bytes_of_header(header));
    }
    references.push_back(archive.data(headers));
    return archive.group(references);
}

/// Closes an archive around its top object, with the static time sampling.
archive_writer &finished(archive_writer &archive, std::uint64_t top) {
    const std::uint64_t version = archive.data(bytes_of(std::vector<std::int32_t>{0}));
    const std::uint64_t samplings = archive.data(bytes_of_sampling({}, 0));
    archive.set_root(archive.group(
        {version, version, top, archive_writer::empty_data, samplings, archive_writer::empty_data}));
    return archive;
}

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

TEST_F(ArchiveTrees, AreReadAlikeWhereAnyReferenceLeadsToAnyOtherGroup) {
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

TEST_F(ArchiveTrees, EndWhereObjectsShareGroupsManyTimesOver) {
    archive_writer archive;
    std::uint64_t group = object(archive, archive_writer::empty_group, {});
    for (int level = 0; level < 60; ++level)
        group = object(archive, archive_writer::empty_group, {group, group});
    EXPECT_EQ(status_of(finished(archive, group)), QEL_ARCHIVE_DAMAGED);
}

TEST_F(ArchiveTrees, EndWhereCompoundsShareGroupsManyTimesOver) {
    archive_writer archive;
    std::uint64_t group = compound(archive, {}, 1);
    for (int level = 0; level < 60; ++level)
        group = compound(archive, {group, group}, 0);
    EXPECT_EQ(status_of(finished(archive, object(archive, group, {}))), QEL_ARCHIVE_DAMAGED);
}

TEST_F(ArchiveTrees, EndWhereInstancesShareSourcesManyTimesOver) {
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
        {"/"},         {"/a"}, {"/b", "/a"}, {"/b/x", "/a/x"}, {"/c", "/c", "/a"}, {"/b", "/c", "/b"},
        {"/b", "/a/x"}};
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

/// Binary trees of shared groups: 2^19 − 1 objects each.
TEST_F(ArchiveTrees, HoldAsManyObjectsAsTheLimit) {
    for (const std::uint32_t more : {1u, 2u}) {
        archive_writer archive;
        const std::uint64_t leaf = object(archive, archive_writer::empty_group, {});
        std::uint64_t half = leaf;
        for (int level = 1; level < 19; ++level)
            half = object(archive, archive_writer::empty_group, {half, half});
        std::vector<std::uint64_t> children(2, half);
        children.resize(2 + more, leaf);
        std::uint32_t objects = 0;
        const std::uint64_t top = object(archive, archive_writer::empty_group, children);
        const std::int32_t status = status_of(finished(archive, top), &objects);
        EXPECT_EQ(status, more == 1 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED);
        EXPECT_EQ(objects, more == 1 ? object_limit : 0);
    }
}

/// 1,024 objects of 2^14 properties, and of one more in the last.
TEST_F(ArchiveTrees, HoldAsManyPropertiesAsTheLimit) {
    for (const std::uint32_t more : {0u, 1u}) {
        archive_writer archive;
        const std::uint64_t many = compound(archive, {}, property_limit / 1024);
        const std::uint64_t leaf = object(archive, many, {});
        const std::uint64_t row = object(archive, many, std::vector<std::uint64_t>(31, leaf));
        std::vector<std::uint64_t> children(31, row);
        children.resize(61, leaf);
        children.push_back(object(archive, compound(archive, {}, property_limit / 1024 + more), {}));
        std::uint32_t objects = 0;
        const std::uint64_t top = object(archive, many, children);
        const std::int32_t status = status_of(finished(archive, top), &objects);
        EXPECT_EQ(status, more == 0 ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED);
        EXPECT_EQ(objects, more == 0 ? 1024 : 0);
    }
}

/// What an archive of so many levels is opened with.
std::int32_t status_at(std::uint32_t levels) {
    return levels <= level_limit ? QEL_ARCHIVE_OK : QEL_ARCHIVE_DAMAGED;
}

TEST_F(ArchiveTrees, HoldAsManyLevelsOfObjectsAsTheLimit) {
    for (const std::uint32_t levels : {level_limit, level_limit + 1}) {
        archive_writer archive;
        std::uint64_t group = object(archive, archive_writer::empty_group, {});
        for (std::uint32_t level = 1; level < levels; ++level)
            group = object(archive, archive_writer::empty_group, {group});
        expect_same(finished(archive, group).content(), status_at(levels),
                    std::to_string(levels) + " levels");
    }
}

TEST_F(ArchiveTrees, HoldAsManyLevelsOfCompoundsAsTheLimit) {
    for (const std::uint32_t levels : {level_limit, level_limit + 1}) {
        archive_writer archive;
        std::uint64_t group = compound(archive, {}, 0);
        for (std::uint32_t level = 0; level < levels; ++level) // the object's own one has no name and is none
            group = compound(archive, {group}, 0);
        expect_same(finished(archive, object(archive, group, {})).content(), status_at(levels),
                    std::to_string(levels) + " levels");
    }
}

} // namespace
} // namespace qel
