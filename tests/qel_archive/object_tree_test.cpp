// SPDX-License-Identifier: MIT
// The tree of objects: numbers, paths, children, and the bounds on how many there may be.
#include "qel_archive/opened_archive.h"
#include "qel_archive/written_trees.h"

namespace qel {
namespace {

using namespace test;

archive_builder family() {
    archive_builder builder;
    object_node &b = builder.top.add("b", "k=1");
    b.add("z");
    b.add("a").add("deep");
    builder.top.add("a");
    return builder;
}

TEST(ArchiveObjects, AreNumberedDepthFirstInTheOrderOfTheirHeaders) {
    EXPECT_EQ(opened_archive(family()).paths(),
              (std::vector<std::string>{"/", "/b", "/b/z", "/b/a", "/b/a/deep", "/a"}));
}

TEST(ArchiveObjects, HaveTheirNameParentAndChildren) {
    const opened_archive opened(family());
    const qel_archive_object top = opened.object(0u), b = opened.object("/b"), deep = opened.object("/b/a/deep");
    EXPECT_STREQ(top.name, "");
    EXPECT_STREQ(top.path, "/");
    EXPECT_STREQ(top.metadata, "");
    EXPECT_STREQ(top.schema, "");
    EXPECT_EQ(top.parent, QEL_NOT_FOUND);
    EXPECT_EQ(top.child_count, 2u);
    EXPECT_STREQ(b.name, "b");
    EXPECT_STREQ(b.path, "/b");
    EXPECT_STREQ(b.metadata, "k=1");
    EXPECT_EQ(b.parent, 0u);
    EXPECT_EQ(b.child_count, 2u);
    EXPECT_STREQ(deep.name, "deep");
    EXPECT_EQ(deep.parent, 3u);
    EXPECT_EQ(deep.child_count, 0u);
    EXPECT_EQ(opened.object("/a").parent, 0u);
}

TEST(ArchiveObjects, CountTheirPropertiesWithThoseInsideCompounds) {
    archive_builder builder = family();
    object_node &a = builder.top.children.back();
    a.properties.compound("empty");
    property_node &outer = a.properties.compound("outer");
    outer.compound("inner").scalar<std::uint8_t>("x", 1, {{1}});
    outer.scalar<std::uint8_t>("y", 1, {{1}});
    const opened_archive opened(builder);
    EXPECT_EQ(opened.object("/a").property_count, 5u);
    EXPECT_EQ(opened.object("/b").property_count, 0u);
}

TEST(ArchiveObjects, AreFoundByTheirPathByteForByte) {
    const opened_archive opened(family());
    EXPECT_EQ(opened.find("/"), 0u);
    EXPECT_EQ(opened.find("/b"), 1u);
    EXPECT_EQ(opened.find("/b/a/deep"), 4u);
    EXPECT_EQ(opened.find("/a"), 5u);
    for (const char *path :
         {"", "b", "//", "/b/", "/b//a", "/B", "/b/", "/b/a/deep/x", "/aa", "/c", "/b/a/dee", "/b/a/deepe", "/a/"})
        EXPECT_EQ(opened.find(path), QEL_NOT_FOUND) << path;
}

TEST(ArchiveObjects, GiveTheSamePathEveryTime) {
    const opened_archive opened(family());
    EXPECT_EQ(opened.object(4).path, opened.object(4).path) << "one text, valid as long as the archive";
}

TEST(ArchiveObjects, WithoutChildrenMayLackTheirHeaders) {
    archive_builder builder;
    builder.top.add("a").without_headers = true;
    builder.top.add("b").instead = 0; // nothing at all is stored
    object_node &c = builder.top.add("c");
    c.edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t) { references.clear(); };
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    for (const char *path : {"/a", "/b", "/c"}) {
        EXPECT_EQ(opened.object(path).child_count, 0u);
        EXPECT_EQ(opened.object(path).property_count, 0u);
    }
}

TEST(ArchiveObjects, HaveNoHeadersInThirtyTwoBytesOrFewer) {
    for (const std::size_t size : {0u, 1u, 31u, 32u}) {
        archive_builder builder;
        builder.top.digest_bytes = size;
        EXPECT_EQ(status_of(builder), QEL_ARCHIVE_OK) << size;
    }
    archive_builder builder;
    builder.top.digest_bytes = 33;
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << "one byte is no header";
}

TEST(ArchiveObjects, RequireOneReferencePerHeader) {
    for (const int more : {-1, 1}) {
        archive_builder builder = family();
        builder.top.edit_references = [more](std::vector<std::uint64_t> &references, std::uint64_t) {
            if (more < 0)
                references.erase(references.begin() + 1);
            else
                references.insert(references.begin() + 1, references[1]);
        };
        EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << more;
    }
    archive_builder builder; // children, but no bytes of headers
    builder.top.add("a");
    builder.top.edit_headers = [](bytes &headers) { headers.clear(); };
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveObjects, RefuseDataInsteadOfAGroupAndAGroupInsteadOfData) {
    const std::uint64_t data_bit = archive_writer::data_bit;
    const built_archive built = family().build();
    const std::uint64_t top = built.places.at("/").reference;
    EXPECT_EQ(status_with_reference(built, top, 0, data_bit), QEL_ARCHIVE_DAMAGED) << "the compound";
    EXPECT_EQ(status_with_reference(built, top, 1, data_bit | 16), QEL_ARCHIVE_DAMAGED) << "a child";
    EXPECT_EQ(status_with_reference(built, top, 3, 16), QEL_ARCHIVE_DAMAGED) << "the headers";
    EXPECT_EQ(status_with_reference(built, top, 0, 12), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with_reference(built, top, 1, 12), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with_reference(built, top, 3, data_bit | 12), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with_reference(built, top, 3, data_bit | built.content.size()), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with_reference(built, top, 1, built.content.size() - 7), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveObjects, RefuseAGroupWhoseCountTheFileCannotHold) {
    built_archive built = family().build();
    const std::uint64_t group = built.places.at("/b").reference;
    for (const std::uint64_t count : {std::uint64_t{1} << 40, ~std::uint64_t{0}}) {
        built.patch(group, count);
        EXPECT_EQ(status_of(built.content), QEL_ARCHIVE_DAMAGED) << count;
    }
}

/// A chain of objects, each inside the one before: the top object and `count` − 1 below.
archive_builder chain(std::uint32_t count) {
    archive_builder builder;
    object_node *last = &builder.top;
    for (std::uint32_t i = 1; i < count; ++i)
        last = &last->add("o");
    return builder;
}

TEST(ArchiveObjects, HaveAThousandLevelsAtMost) {
    const opened_archive opened(chain(1000));
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.info().object_count, 1000u);
    EXPECT_EQ(std::strlen(opened.object(999).path), 2u * 999);
    EXPECT_EQ(opened.find(opened.object(999).path), 999u);
    EXPECT_EQ(opened.world(opened.object(999).path), identity_matrix);
    EXPECT_EQ(status_of(chain(1001)), QEL_ARCHIVE_DAMAGED);
}

/// Archives whose groups share one another: `doublings` levels of objects, each twice the group of the one below, so
/// that the lowest stands there 2^doublings times; then `more` objects beside them.
bytes shared_objects(int doublings, std::uint32_t more) {
    archive_writer out;
    const std::uint64_t leaf = object_group(out, archive_writer::empty_group, {});
    std::uint64_t tree = leaf;
    for (int i = 0; i < doublings; ++i)
        tree = object_group(out, archive_writer::empty_group, {tree, tree});
    std::vector<std::uint64_t> children = {tree};
    children.resize(more + 1, leaf);
    set_top_object(out, object_group(out, archive_writer::empty_group, children));
    return out.content();
}

TEST(ArchiveObjects, AreAtMostTwoToTheTwentieth) {
    // A tree of 19 doublings has 2^20 - 1 objects; the top object makes them 2^20.
    const opened_archive opened(shared_objects(19, 0));
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.info().object_count, std::uint32_t{1} << 20);
    EXPECT_EQ(opened.object((1u << 20) - 1).parent, opened.object((1u << 20) - 2).parent);
    EXPECT_EQ(status_of(shared_objects(19, 1)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(shared_objects(60, 0)), QEL_ARCHIVE_DAMAGED) << "at once, not after 2^60 steps";
    EXPECT_EQ(status_of(shared_objects(900, 0)), QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel
