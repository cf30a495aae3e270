// SPDX-License-Identifier: MIT
// Instances: copies of their sources at any position, and which objects cannot be instances.
#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

/// /mill with a sail.
archive_builder mill() {
    archive_builder builder;
    object_node &mill = add_xform(builder.top, "mill", {translate(1, 2, 3)});
    set_visible(mill, {0});
    add_polymesh(mill, "sail", triangle());
    return builder;
}

std::int32_t status_of_source(const std::string &source) {
    archive_builder builder = mill();
    add_instance(builder.top.add("group"), "copy", source);
    return status_of(builder);
}

TEST(ArchiveInstances, AreCopiesWithTheirOwnNamePathAndParent) {
    archive_builder builder = mill();
    add_instance(add_xform(builder.top, "hill", {translate(100, 0, 0)}), "second", "/mill");
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.paths(),
              (std::vector<std::string>{"/", "/mill", "/mill/sail", "/hill", "/hill/second", "/hill/second/sail"}));
    const qel_archive_object source = opened.object("/mill"), copy = opened.object("/hill/second");
    EXPECT_STREQ(copy.name, "second");
    EXPECT_EQ(copy.parent, 3u);
    EXPECT_STREQ(copy.metadata, source.metadata);
    EXPECT_STREQ(copy.schema, "AbcGeom_Xform_v3");
    EXPECT_EQ(copy.kind, std::uint32_t{OGAWA_SCHEMA_XFORM});
    EXPECT_EQ(copy.child_count, 1u);
    EXPECT_EQ(copy.property_count, source.property_count);
    EXPECT_EQ(opened.property_names("/hill/second"), opened.property_names("/mill"));
    EXPECT_EQ(opened.find("/hill/second", ".instanceSource"), 0xFFFFFFFFu) << "its properties are the source's";
    EXPECT_EQ(opened.object("/hill/second/sail").parent, 4u);
    EXPECT_EQ(opened.info().mesh_count, 2u);
}

TEST(ArchiveInstances, InheritTheTransformOfTheirOwnParent) {
    archive_builder builder = mill();
    add_instance(add_xform(builder.top, "hill", {translate(100, 0, 0)}), "second", "/mill");
    const opened_archive opened(builder);
    EXPECT_EQ(opened.world("/mill/sail")[12], 1.0);
    EXPECT_EQ(opened.world("/hill/second/sail")[12], 101.0);
    const read_mesh read = opened.mesh("/hill/second/sail");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_STREQ(read->path, "/hill/second/sail");
    EXPECT_EQ(read->transform[12], 101.0);
    EXPECT_EQ(read.positions(), triangle().points[0]);
    EXPECT_EQ(opened.visible("/hill/second/sail"), 0) << "as its source is";
}

TEST(ArchiveInstances, NameTheirSourceByItsFullPath) {
    EXPECT_EQ(status_of_source("/mill"), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_source("/mill/sail"), QEL_ARCHIVE_OK);
    for (const char *source : {"", "mill", "/mil", "/mill/", "/mill//sail", "//mill", "/mill/sail/x", "/nowhere"})
        EXPECT_EQ(status_of_source(source), QEL_ARCHIVE_DAMAGED) << source;
}

TEST(ArchiveInstances, DoNotContainThemselves) {
    EXPECT_EQ(status_of_source("/"), QEL_ARCHIVE_DAMAGED) << "the top object contains all";
    EXPECT_EQ(status_of_source("/group"), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_source("/group/copy"), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_source("/group/copy/x"), QEL_ARCHIVE_DAMAGED);
    archive_builder pair = mill(); // each is an instance of the other's parent
    add_instance(pair.top.add("a"), "x", "/b");
    add_instance(pair.top.add("b"), "x", "/a");
    EXPECT_EQ(status_of(pair), QEL_ARCHIVE_DAMAGED);
    archive_builder round; // each is an instance of the other
    add_instance(round.top, "a", "/b");
    add_instance(round.top, "b", "/a");
    EXPECT_EQ(status_of(round), QEL_ARCHIVE_DAMAGED);
    archive_builder top = mill();
    top.top.properties.text(".instanceSource", "/mill");
    EXPECT_EQ(status_of(top), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveInstances, MayReferToInstancesAndTheirChildren) {
    archive_builder builder;
    add_instance(builder.top, "first", "/second"); // before its source
    add_instance(builder.top, "second", "/mill");
    add_instance(builder.top, "below", "/first/sail");
    object_node &source = add_xform(builder.top, "mill", {translate(1, 2, 3)});
    add_polymesh(source, "sail", triangle());
    add_instance(source, "twin", "/mill/sail");
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.paths(),
              (std::vector<std::string>{"/", "/first", "/first/sail", "/first/twin", "/second", "/second/sail",
                                        "/second/twin", "/below", "/mill", "/mill/sail", "/mill/twin"}));
    for (const char *path : {"/first/sail", "/second/twin", "/below", "/mill/twin"}) {
        EXPECT_EQ(opened.mesh(path).positions(), triangle().points[0]) << path;
        EXPECT_EQ(opened.find(opened.object(path).path), opened.find(path));
    }
    EXPECT_EQ(opened.info().mesh_count, 7u);
}

TEST(ArchiveInstances, HaveNoChildrenOfTheirOwn) {
    archive_builder builder = mill();
    add_instance(builder.top, "copy", "/mill").add("own");
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.find("/copy/own"), 0xFFFFFFFFu);
    EXPECT_EQ(opened.object("/copy").child_count, 1u);
}

TEST(ArchiveInstances, AreRecognizedByAScalarTextProperty) {
    archive_builder builder = mill();
    builder.top.add("array").properties.texts(".instanceSource", {"/mill"});
    builder.top.add("compound").properties.compound(".instanceSource");
    builder.top.add("inside").properties.compound("c").text(".instanceSource", "/mill");
    builder.top.add("number").properties.scalar<std::uint8_t>(".instanceSource", 1, {{1}});
    builder.top.add("other").properties.text("instanceSource", "/mill");
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    for (const char *path : {"/array", "/compound", "/inside", "/number", "/other"})
        EXPECT_EQ(opened.object(path).child_count, 0u) << path;
}

TEST(ArchiveInstances, NeedATextThatIsStoredAndEnds) {
    const auto status_with = [](const auto &change) {
        archive_builder builder = mill();
        change(child(add_instance(builder.top, "copy", "/mill").properties, ".instanceSource"));
        return status_of(builder);
    };
    const auto holds = [&status_with](const bytes &values) {
        return status_with([&values](property_node &node) { node.samples[0].values = values; });
    };
    EXPECT_EQ(holds({'/', 'm', 'i', 'l', 'l', 0}), QEL_ARCHIVE_OK);
    EXPECT_EQ(holds({'/', 'm', 'i', 'l', 'l'}), QEL_ARCHIVE_DAMAGED) << "without an end";
    EXPECT_EQ(holds({'/', 'm', 'i', 'l', 'l', 0, 0}), QEL_ARCHIVE_DAMAGED) << "two texts";
    EXPECT_EQ(holds({}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with([](property_node &node) { node.samples.clear(); }), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with(
                  [](property_node &node) { node.edit_header = [](property_header &header) { header.samples = 0; }; }),
              QEL_ARCHIVE_DAMAGED)
        << "of which the header says nothing";
    EXPECT_EQ(status_with([](property_node &node) { node.instead = 0; }), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with([](property_node &node) { node.samples[0].payload = bytes(15, 0); }), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with([](property_node &node) { node.samples[0].instead = 16; }), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_with([](property_node &node) { node.samples[0].instead = ~std::uint64_t{0}; }),
              QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveInstances, RefuseDamagedSourcesOfInstancesBelowThem) {
    archive_builder builder = mill();
    object_node &outer = add_instance(builder.top, "outer", "/mill");
    sample_data &source = child(add_instance(outer, "inner", "/mill").properties, ".instanceSource").samples.front();
    const auto status_of_inner = [&](const bytes &values) {
        source.values = values;
        return status_of(builder);
    };
    EXPECT_EQ(status_of_inner({'x', 0}), QEL_ARCHIVE_OK) << "its source is not searched";
    EXPECT_EQ(status_of_inner({0}), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_of_inner({}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_inner({'x'}), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of_inner({'x', 0, 'x'}), QEL_ARCHIVE_DAMAGED);
    outer.children.clear();
    outer.add("a").add("b");
    built_archive looped = builder.build();
    looped.patch(built_archive::reference_at(looped.places.at("/outer/a").reference, 1),
                 looped.places.at("/outer/a").reference);
    EXPECT_EQ(status_of(looped.content), QEL_ARCHIVE_DAMAGED) << "an object inside itself";
    object_node *last = &outer;
    for (int level = 3; level <= 1000; ++level)
        last = &last->add("o");
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_OK);
    last->add("o");
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << "the level after the thousandth";
}

TEST(ArchiveInstances, UseTheFirstSampleOfTheirSource) {
    archive_builder builder = mill();
    property_node &source = child(add_instance(builder.top, "copy", "/mill").properties, ".instanceSource");
    source.samples.push_back(source.samples[0]);
    source.samples[1].values = {'/', 'm', 'i', 'l', 'l', '/', 's', 'a', 'i', 'l', 0};
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.object("/copy").child_count, 1u) << "the sail has no child";
}

TEST(ArchiveInstances, CountAsCopiesAgainstTheBounds) {
    archive_builder builder; // each twice the one before: 2^i objects
    builder.top.add("c0");
    for (int i = 1; i <= 21; ++i) {
        object_node &next = builder.top.add("c" + std::to_string(i));
        add_instance(next, "a", "/c" + std::to_string(i - 1));
        add_instance(next, "b", "/c" + std::to_string(i - 1));
    }
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED);
    builder.top.children.resize(19); // 2^19 - 1 objects below c18, and all before it
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    // c_i holds 2^(i + 1) - 1 objects; with the top object their sum is 2^20 - 20 for i up to 18.
    EXPECT_EQ(opened.info().object_count, (1u << 20) - 20);
    archive_builder deep = mill(); // a chain of 999 levels below an instance is one level too many
    object_node *last = &deep.top.add("chain");
    for (int i = 2; i < 999; ++i)
        last = &last->add("o");
    add_instance(*last, "copy", "/mill");
    EXPECT_EQ(status_of(deep), QEL_ARCHIVE_DAMAGED);
    last->children.clear();
    add_instance(*last, "copy", "/mill/sail");
    EXPECT_EQ(status_of(deep), QEL_ARCHIVE_OK);
}

} // namespace
} // namespace qel
