// SPDX-License-Identifier: MIT
// Properties: numbers and names across compounds, and the bounds on how many there may be.
#include "qel_archive/opened_archive.h"
#include "qel_archive/written_trees.h"

namespace qel {
namespace {

using namespace test;

/// Compounds in compounds: a, b, b/c, b/c/d, b/e, b/f, g.
archive_builder nested() {
    archive_builder builder;
    property_node &top = builder.top.properties;
    top.scalar<std::uint8_t>("a", 1, {{1}});
    property_node &b = top.compound("b", "of=b");
    b.compound("c").array<float>("d", 3, {{1, 2, 3}});
    b.compound("e");
    b.scalar<double>("f", 2, {{1, 2}});
    top.scalar<std::uint8_t>("g", 1, {{7}});
    return builder;
}

TEST(ArchiveProperties, AreNumberedDepthFirstWithTheCompoundBeforeWhatItHolds) {
    EXPECT_EQ(opened_archive(nested()).property_names("/"),
              (std::vector<std::string>{"a", "b", "b/c", "b/c/d", "b/e", "b/f", "g"}));
}

TEST(ArchiveProperties, ReportTheirKindTypeExtentAndSamples) {
    const opened_archive opened(nested());
    const qel_archive_property b = opened.property("/", 1u), d = opened.property("/", 3u), f = opened.property("/", 5u);
    EXPECT_EQ(b.kind, 0u);
    EXPECT_STREQ(b.metadata, "of=b");
    EXPECT_EQ(d.kind, 2u);
    EXPECT_EQ(d.value, 10u);
    EXPECT_EQ(d.extent, 3u);
    EXPECT_EQ(d.sample_count, 1u);
    EXPECT_EQ(f.kind, 1u);
    EXPECT_EQ(f.value, 11u);
    EXPECT_EQ(f.extent, 2u);
}

TEST(ArchiveProperties, AreFoundByTheirNamesByteForByte) {
    const opened_archive opened(nested());
    const std::vector<std::string> names = opened.property_names("/");
    for (std::uint32_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(opened.find("/", names[i].c_str()), i) << names[i];
    for (const char *name : {"", "/", "/a", "a/", "b/", "c", "b//c", "b/c/", "a/b", "b/e/x", "B", "aa", "b/c/d/"})
        EXPECT_EQ(opened.find("/", name), QEL_NOT_FOUND) << name;
}

TEST(ArchiveProperties, AreNotFoundInsideAScalar) {
    archive_builder builder;
    property_node &top = builder.top.properties;
    top.scalar<std::uint8_t>("a", 1, {{1}});
    for (std::size_t i = 0; i < 1000; ++i) // the place of the scalar's group is the number of a compound
        top.compound("c" + std::to_string(i)).scalar<std::uint8_t>("x", 1, {{1}});
    ASSERT_LT(builder.build().places.at("/:a").reference, 1000u);
    EXPECT_EQ(opened_archive(builder).find("/", "a/x"), QEL_NOT_FOUND);
}

TEST(ArchiveProperties, GiveTheSameNameEveryTime) {
    const opened_archive opened(nested());
    EXPECT_EQ(opened.property("/", 3u).name, opened.property("/", 3u).name);
    EXPECT_EQ(opened.property("/", 0u).name, opened.property("/", 0u).name);
}

TEST(ArchiveProperties, RequireOneReferencePerHeader) {
    for (const int more : {-1, 1}) {
        archive_builder builder = nested();
        child(builder.top.properties, "b").edit_references = [more](std::vector<std::uint64_t> &references,
                                                                    std::uint64_t) {
            if (more < 0)
                references.erase(references.begin());
            else
                references.insert(references.begin(), 0);
        };
        EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED) << more;
    }
    archive_builder builder; // one byte of headers for no property
    builder.top.properties.edit_headers = [](bytes &headers) { headers.push_back(0); };
    EXPECT_EQ(status_of(builder), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveProperties, MayBeMissingAltogether) {
    archive_builder builder;
    builder.top.properties.compound("position zero");
    builder.top.properties.compound("a group of headers").store_empty = true;
    builder.top.properties.compound("a group of nothing").edit_references = [](std::vector<std::uint64_t> &references,
                                                                               std::uint64_t) { references.clear(); };
    const opened_archive opened(builder);
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.object("/").property_count, 3u);
    EXPECT_EQ(opened.find("/", "position zero/x"), QEL_NOT_FOUND);
}

TEST(ArchiveProperties, RefuseReferencesOutsideTheFileOrIntoTheHeader) {
    const std::uint64_t data_bit = archive_writer::data_bit;
    const built_archive built = nested().build();
    const std::uint64_t size = built.content.size();
    const std::uint64_t top = built.places.at("/:").reference; // its children: a, b, g, the headers
    for (const std::size_t child : {0u, 1u}) {                 // a scalar, a compound
        EXPECT_EQ(status_with_reference(built, top, child, 0), QEL_ARCHIVE_OK) << "empty";
        for (const std::uint64_t nowhere :
             {std::uint64_t{1}, std::uint64_t{15}, data_bit, data_bit | 16, size, size - 7})
            EXPECT_EQ(status_with_reference(built, top, child, nowhere), QEL_ARCHIVE_DAMAGED) << nowhere;
    }
    EXPECT_EQ(status_with_reference(built, top, 0, 16), QEL_ARCHIVE_OK)
        << "what stands there is seen when the sample is read";
    EXPECT_EQ(status_with_reference(built, top, 0, size - 8), QEL_ARCHIVE_OK);
    EXPECT_EQ(status_with_reference(built, top, 3, data_bit), QEL_ARCHIVE_DAMAGED)
        << "three properties without headers";
    EXPECT_EQ(status_with_reference(built, top, 3, top), QEL_ARCHIVE_DAMAGED);
}

/// Compounds, each inside the one before.
archive_builder compound_chain(std::uint32_t count, bool with_scalar, bool store_empty = false) {
    archive_builder builder;
    property_node *last = &builder.top.properties;
    for (std::uint32_t i = 0; i < count; ++i)
        last = &last->compound("c");
    last->store_empty = store_empty;
    if (with_scalar) last->scalar<std::uint8_t>("x", 1, {{5}});
    return builder;
}

TEST(ArchiveProperties, HaveAThousandLevelsAtMost) {
    const opened_archive opened(compound_chain(999, true));
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.object("/").property_count, 1000u);
    const qel_archive_property deepest = opened.property("/", 999u);
    EXPECT_EQ(std::strlen(deepest.name), 2u * 1000 - 1);
    EXPECT_EQ(opened.find("/", deepest.name), 999u);
    EXPECT_EQ(opened.values<std::uint8_t>("/", deepest.name), std::vector<std::uint8_t>{5});
    EXPECT_EQ(status_of(compound_chain(1000, true)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(compound_chain(1000, false)), QEL_ARCHIVE_OK) << "the last compound is one level of it";
    EXPECT_EQ(status_of(compound_chain(1001, false)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(compound_chain(1000, false, true)), QEL_ARCHIVE_OK) << "a group of no headers";
}

/// Compounds that share one another: each holds the one below twice, the lowest one an empty compound. The object has
/// 2^(doublings + 1) - 2 properties from them, then `more` empty compounds; there are `objects` such objects.
bytes shared_compounds(int doublings, std::uint32_t more, std::uint32_t objects) {
    archive_writer out;
    std::uint64_t tree = archive_writer::empty_group;
    for (int i = 0; i < doublings; ++i) {
        std::vector<std::uint64_t> children = {tree, tree};
        if (i + 1 == doublings) children.resize(2 + more, archive_writer::empty_group);
        tree = compound_group(out, children);
    }
    std::vector<std::uint64_t> groups(objects);
    for (std::uint64_t &group : groups)
        group = out.group({tree});
    set_top_object(out, object_group(out, archive_writer::empty_group, groups));
    return out.content();
}

TEST(ArchiveProperties, AreAtMostTwoToTheTwentyFourthPerObject) {
    const opened_archive opened(shared_compounds(23, 2, 1)); // 2^24 - 2 and two
    ASSERT_EQ(opened.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.object("/o0").property_count, std::uint32_t{1} << 24);
    EXPECT_STREQ(opened.property("/o0", (1u << 24) - 1).name, "c3");
    EXPECT_EQ(opened.find("/o0", "c3"), (1u << 24) - 1);
    EXPECT_EQ(status_of(shared_compounds(23, 3, 1)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(shared_compounds(60, 0, 1)), QEL_ARCHIVE_DAMAGED);
}

TEST(ArchiveProperties, AreAtMostTwoToTheTwentyFourthInAllObjects) {
    EXPECT_EQ(status_of(shared_compounds(19, 2, 16)), QEL_ARCHIVE_OK); // 16 times 2^20
    EXPECT_EQ(status_of(shared_compounds(19, 2, 17)), QEL_ARCHIVE_DAMAGED);
    EXPECT_EQ(status_of(shared_compounds(19, 3, 16)), QEL_ARCHIVE_DAMAGED);
}

} // namespace
} // namespace qel
