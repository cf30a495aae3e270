// SPDX-License-Identifier: MIT
// The writer of the archives that other tests read.
#include "support/archive_builder.h"

#include "qel_archive/opened_archive.h"

#include <cstdio>

namespace qel::test {
namespace {

std::string hexadecimal(const std::uint8_t *first, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, i == 0 ? "%02X" : " %02X", unsigned{first[i]});
        text += digits;
    }
    return text;
}

std::string hexadecimal(const bytes &content) {
    return hexadecimal(content.data(), content.size());
}

template <class T>
T value_at(const built_archive &archive, std::uint64_t at) {
    T value{};
    std::memcpy(&value, archive.content.data() + at, sizeof value);
    return value;
}

/// The header of a node, as it was written.
std::string header_of(const built_archive &archive, const std::string &path) {
    const node_place &place = archive.places.at(path);
    return hexadecimal(archive.content.data() + place.header, place.header_size);
}

/// The position of the data of a property's first sample.
std::uint64_t first_sample_of(const built_archive &archive, const std::string &path) {
    return built_archive::position_of(archive.places.at(path).references[0]);
}

/// A property alone in an archive, and its place in the built bytes.
struct lone_property {
    explicit lone_property(const property_node &node) {
        archive_builder builder;
        builder.top.properties.children.push_back(node);
        archive = builder.build();
        path = "/:" + node.name;
        place = archive.places.at(path);
    }
    std::string header() const { return header_of(archive, path); }
    /// The content of a data node of the property's group.
    bytes stored(std::size_t reference) const {
        const std::uint64_t at = built_archive::position_of(place.references.at(reference));
        if (at == 0) return {};
        const auto first = archive.content.begin() + static_cast<std::ptrdiff_t>(at + 8);
        return bytes(first, first + static_cast<std::ptrdiff_t>(value_at<std::uint64_t>(archive, at)));
    }
    built_archive archive;
    std::string path;
    node_place place;
};

property_node scalar_of(const std::vector<std::uint8_t> &samples) {
    property_node node;
    std::vector<std::vector<std::uint8_t>> all;
    for (const std::uint8_t sample : samples)
        all.push_back({sample});
    return node.scalar("x", 1, all);
}

TEST(ArchiveBuilder, WritesChildrenBeforeTheirParent) {
    archive_builder builder;
    builder.metadata = "k=v";
    builder.top.add("a", "schema=S").properties.scalar<std::uint8_t>("x", 1, {{7}});
    const bytes content = builder.build().content;
    const std::string digest = "-- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- ";
    const std::string expected = // from top to bottom, digests left open
        "4F 67 61 77 61 FF 00 01 42 01 00 00 00 00 00 00 "
        "04 00 00 00 00 00 00 00 00 00 00 00 " // 16: version of the layout
        "04 00 00 00 00 00 00 00 D5 29 00 00 " // 28: version of the writing library
        "11 00 00 00 00 00 00 00 " +
        digest +
        "07 "                                                                      // 40: the sample
        "01 00 00 00 00 00 00 00 28 00 00 00 00 00 00 80 "                         // 65: the property
        "07 00 00 00 00 00 00 00 11 1C 00 00 01 01 78 "                            // 81: its header
        "02 00 00 00 00 00 00 00 41 00 00 00 00 00 00 00 51 00 00 00 00 00 00 80 " // 96: the compound
        "20 00 00 00 00 00 00 00 " +
        digest + digest +                                                          // 120: no children
        "02 00 00 00 00 00 00 00 60 00 00 00 00 00 00 00 78 00 00 00 00 00 00 80 " // 160: object a
        "26 00 00 00 00 00 00 00 01 00 00 00 61 01 " +
        digest + digest +                                  // 184: its header
        "03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 " // 230: the top object
        "A0 00 00 00 00 00 00 00 B8 00 00 00 00 00 00 80 "
        "03 00 00 00 00 00 00 00 6B 3D 76 "                                        // 262: the archive's metadata
        "18 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 00 00 F0 3F 01 00 00 00 " // 273: time samplings
        "00 00 00 00 00 00 00 00 "
        "09 00 00 00 00 00 00 00 08 73 63 68 65 6D 61 3D 53 "                      // 305: shared metadata
        "06 00 00 00 00 00 00 00 10 00 00 00 00 00 00 80 1C 00 00 00 00 00 00 80 " // 322: the root
        "E6 00 00 00 00 00 00 00 06 01 00 00 00 00 00 80 11 01 00 00 00 00 00 80 31 01 00 00 00 00 00 80";
    std::string found = hexadecimal(content);
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        if (expected[i] == '-') found[i] = '-';
    EXPECT_EQ(found, expected);
}

TEST(ArchiveBuilder, WritesTheKindAndExtentOfEveryValue) {
    constexpr std::uint32_t last = static_cast<std::uint32_t>(value_kind::wide_text);
    for (std::uint32_t value = 0; value <= last; ++value) {
        property_node parent;
        const sample_data sample{bytes(24, 1), {}};
        const property_node &node = parent.add("x", property_kind::scalar, static_cast<value_kind>(value), 3, {sample});
        const lone_property written(node);
        EXPECT_EQ(value_at<std::uint32_t>(written.archive, written.place.header), 0x3C01 + 16 * value);
    }
    EXPECT_EQ(kind_of<std::int8_t>(), value_kind::i8);
    EXPECT_EQ(kind_of<std::uint16_t>(), value_kind::u16);
    EXPECT_EQ(kind_of<std::int32_t>(), value_kind::i32);
    EXPECT_EQ(kind_of<std::uint64_t>(), value_kind::u64);
    EXPECT_EQ(kind_of<float>(), value_kind::f32);
    EXPECT_EQ(kind_of<double>(), value_kind::f64);
}

TEST(ArchiveBuilder, StoresNumbersInTheNarrowestOrTheGivenWidth) {
    property_node node = scalar_of({7});
    node.time_sampling = 2;
    EXPECT_EQ(lone_property(node).header(), "11 1D 00 00 01 02 01 78");
    node.width = number_width::u16;
    EXPECT_EQ(lone_property(node).header(), "15 1D 00 00 01 00 02 00 01 00 78");
    node.width = number_width::u32;
    EXPECT_EQ(lone_property(node).header(), "19 1D 00 00 01 00 00 00 02 00 00 00 01 00 00 00 78");
    const property_node many = scalar_of(std::vector<std::uint8_t>(256, 7));
    EXPECT_EQ(lone_property(many).header(), "15 1C 00 00 00 01 01 00 78");
    const property_node more = scalar_of(std::vector<std::uint8_t>(65536, 7));
    EXPECT_EQ(lone_property(more).header(), "19 1C 00 00 00 00 01 00 01 00 00 00 78");
}

TEST(ArchiveBuilder, StoresOnlyTheSamplesThatChanged) {
    struct {
        std::vector<std::uint8_t> samples;
        std::string header;
        std::vector<std::uint8_t> stored;
    } const cases[] = {
        {{}, "11 1C 00 00 00 01 78", {}},
        {{7, 7, 7}, "11 1C 00 00 03 01 78", {7}},
        {{7, 8, 9}, "11 14 00 00 03 01 78", {7, 8, 9}},
        {{7, 7, 8, 9, 9}, "11 16 00 00 05 02 03 01 78", {7, 8, 9}},
        {{7, 8, 8}, "11 16 00 00 03 01 01 01 78", {7, 8}},
        {{7, 7, 8}, "11 16 00 00 03 02 02 01 78", {7, 8}},
        {{7, 8, 7, 7}, "11 16 00 00 04 01 02 01 78", {7, 8, 7}},
    };
    for (const auto &each : cases) {
        const lone_property written(scalar_of(each.samples));
        EXPECT_EQ(written.header(), each.header);
        ASSERT_EQ(written.place.references.size(), each.stored.size()) << each.header;
        for (std::size_t i = 0; i < each.stored.size(); ++i)
            EXPECT_EQ(written.stored(i).at(16), each.stored[i]) << each.header << ", sample " << i;
    }
}

TEST(ArchiveBuilder, WritesChangedSamplesInEachForm) {
    property_node node = scalar_of({7, 7, 7});
    node.changed = changes::written;
    EXPECT_EQ(lone_property(node).header(), "11 1E 00 00 03 00 00 01 78");
    node.changed = changes::every_sample;
    EXPECT_EQ(lone_property(node).header(), "11 14 00 00 03 01 78");
    EXPECT_EQ(lone_property(node).place.references.size(), 3u);
    node = scalar_of({7, 8, 9});
    node.changed = changes::written;
    EXPECT_EQ(lone_property(node).header(), "11 16 00 00 03 01 02 01 78");
    node.write_static_sampling = true;
    EXPECT_EQ(lone_property(node).header(), "11 17 00 00 03 01 02 00 01 78");
}

TEST(ArchiveBuilder, PairsTheSamplesOfAnArrayWithTheirDimensions) {
    property_node parent;
    property_node &node = parent.array<std::int16_t>("x", 1, {{1, 2, 3, 4, 5, 6}, {}, {9}});
    node.samples[0].dimensions = {2, 3};
    lone_property written(node);
    EXPECT_EQ(written.header(), "42 10 00 00 03 01 78");
    ASSERT_EQ(written.place.references.size(), 6u);
    EXPECT_EQ(written.stored(0).size(), 16u + 12u);
    EXPECT_EQ(written.stored(0).at(16 + 10), 6);
    EXPECT_EQ(hexadecimal(written.stored(1)), "02 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00");
    EXPECT_EQ(written.place.references[2], archive_writer::empty_data);
    EXPECT_EQ(written.place.references[3], archive_writer::empty_data);
    EXPECT_EQ(written.stored(4).at(16), 9);
    node.samples[1].store_empty = true;
    written = lone_property(node);
    EXPECT_EQ(written.stored(2).size(), 16u);
}

TEST(ArchiveBuilder, RecognizesArraysOfOneElementPerSample) {
    property_node parent;
    EXPECT_EQ(lone_property(parent.array<std::int32_t>("x", 1, {{1}, {2}})).header(), "63 14 00 00 02 01 78");
    EXPECT_EQ(lone_property(parent.array<std::int32_t>("x", 2, {{1, 2}})).header(), "63 2C 00 00 01 01 78");
    EXPECT_EQ(lone_property(parent.array<std::int32_t>("x", 1, {{1}, {2, 3}})).header(), "62 10 00 00 02 01 78");
    EXPECT_EQ(lone_property(parent.array<std::int32_t>("x", 1, {})).header(), "62 1C 00 00 00 01 78");
    EXPECT_EQ(lone_property(parent.texts("x", {"one"})).header(), "C3 1C 00 00 01 01 78");
    EXPECT_EQ(lone_property(parent.texts("x", {"one", "two"})).header(), "C2 1C 00 00 01 01 78");
}

TEST(ArchiveBuilder, EndsTextsWithAZeroByte) {
    property_node parent;
    const lone_property scalar(parent.text("x", "hi"));
    EXPECT_EQ(scalar.header(), "C1 1C 00 00 01 01 78");
    EXPECT_EQ(hexadecimal(scalar.stored(0).data() + 16, 3), "68 69 00");
    const lone_property array(parent.texts("x", {"a", "", "b"}));
    EXPECT_EQ(hexadecimal(array.stored(0).data() + 16, 5), "61 00 00 62 00");
    EXPECT_EQ(hexadecimal(array.stored(1)), "03 00 00 00 00 00 00 00");
}

TEST(ArchiveBuilder, NumbersMetadataOrPutsItIntoTheHeader) {
    archive_builder builder;
    property_node &all = builder.top.properties;
    all.compound("a", "m=1");
    all.compound("b", "m=2");
    all.compound("c", "m=1");
    all.compound("d", "m=1").inline_metadata = true;
    all.compound("e", "m=" + std::string(254, 'x'));
    const built_archive archive = builder.build();
    EXPECT_EQ(header_of(archive, "/:a"), "00 00 10 00 01 61");
    EXPECT_EQ(header_of(archive, "/:b"), "00 00 20 00 01 62");
    EXPECT_EQ(header_of(archive, "/:c"), "00 00 10 00 01 63");
    EXPECT_EQ(header_of(archive, "/:d"), "00 00 F0 0F 01 64 03 6D 3D 31");
    EXPECT_EQ(header_of(archive, "/:e").substr(0, 29), "04 00 F0 0F 01 00 65 00 01 6D")
        << "256 bytes: too long for a shared text";
    const std::uint64_t texts = built_archive::position_of(archive.root.references[5]);
    EXPECT_EQ(hexadecimal(archive.content.data() + texts, 16), "08 00 00 00 00 00 00 00 03 6D 3D 31 03 6D 3D 32");
}

TEST(ArchiveBuilder, KeepsOneNumberForTextsThatFollow) {
    archive_builder builder;
    for (int i = 0; i < 300; ++i)
        builder.top.add("o" + std::to_string(i), "m=" + std::to_string(i));
    const built_archive archive = builder.build();
    const auto number = [&](int i) {
        const node_place &place = archive.places.at("/o" + std::to_string(i));
        return archive.content[place.header + 4 + 1 + std::to_string(i).size()];
    };
    EXPECT_EQ(number(0), 1);
    EXPECT_EQ(number(253), 254);
    EXPECT_EQ(number(254), 255);
    EXPECT_EQ(number(299), 255);
    EXPECT_EQ(header_of(archive, "/o299"), "04 00 00 00 6F 32 39 39 FF 05 00 00 00 6D 3D 32 39 39");
}

TEST(ArchiveBuilder, StoresEqualDataOnceUnlessAskedNotTo) {
    for (const bool share : {true, false}) {
        archive_builder builder;
        builder.share_data = share;
        builder.top.properties.array<float>("a", 1, {{1, 2}});
        builder.top.properties.array<float>("b", 1, {{1, 2}});
        const built_archive archive = builder.build();
        EXPECT_EQ(archive.places.at("/:a").references[0] == archive.places.at("/:b").references[0], share);
    }
}

TEST(ArchiveBuilder, LeavesEmptyThingsAtPositionZero) {
    archive_builder builder;
    builder.top.properties.compound("empty");
    builder.top.properties.compound("stored").store_empty = true;
    builder.top.properties.scalar<float>("none", 1, {});
    builder.top.add("nothing").instead = archive_writer::empty_group;
    builder.top.add("bare").without_headers = true;
    builder.top.add("short").digest_bytes = 0;
    const built_archive archive = builder.build();
    EXPECT_EQ(archive.places.at("/:empty").reference, 0u);
    EXPECT_EQ(archive.places.at("/:none").reference, 0u);
    EXPECT_EQ(archive.places.at("/:stored").references.size(), 1u);
    EXPECT_EQ(archive.places.at("/:stored").headers_size, 0u);
    EXPECT_EQ(archive.places.at("/nothing").reference, 0u);
    EXPECT_EQ(archive.places.at("/bare").references, std::vector<std::uint64_t>{0});
    EXPECT_EQ(archive.places.at("/short").headers_size, 0u);
}

TEST(ArchiveBuilder, WritesTimeSamplingsWithTheHighestCountOfTheirProperties) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({0.5, {0.25}});
    const std::uint32_t odd = builder.add_sampling({acyclic, {1, 3}});
    builder.top.properties.scalar<float>("a", 1, {{1}, {2}, {3}}, film);
    builder.top.properties.scalar<float>("b", 1, {{1}, {2}}, odd);
    const built_archive archive = builder.build();
    const std::uint64_t at = built_archive::position_of(archive.root.references[4]);
    EXPECT_EQ(hexadecimal(archive.content.data() + at, 8 + 24 + 24 + 32),
              "50 00 00 00 00 00 00 00 "
              "00 00 00 00 00 00 00 00 00 00 F0 3F 01 00 00 00 00 00 00 00 00 00 00 00 "
              "03 00 00 00 00 00 00 00 00 00 E0 3F 01 00 00 00 00 00 00 00 00 00 D0 3F "
              "02 00 00 00 FF FF FF FF FF FF 9F 7F 02 00 00 00 00 00 00 00 00 00 F0 3F "
              "00 00 00 00 00 00 08 40");
}

TEST(ArchiveBuilder, AllowsAnyReferenceAnywhere) {
    archive_builder builder;
    object_node &loop = builder.top.add("loop");
    loop.edit_references = [](std::vector<std::uint64_t> &references, std::uint64_t own) {
        references.insert(references.begin() + 1, own);
    };
    builder.top.add("far").instead = 0x7FFFFFFFFFFFFFFFu;
    builder.top.edit_headers = [](bytes &headers) { headers.resize(5); };
    property_node &wrong = builder.top.properties.scalar<float>("lie", 1, {{1}});
    wrong.edit_header = [](property_header &header) {
        header.set(info_width, 3);
        header.set(info_value, 15);
        header.samples = 1000000;
        header.name_length = 77;
    };
    wrong.samples[0].instead = 12345;
    builder.edit_root = [](std::vector<std::uint64_t> &references, std::uint64_t) { references.resize(5); };
    built_archive archive = builder.build();
    EXPECT_EQ(archive.places.at("/loop").references[1], archive.places.at("/loop").reference);
    EXPECT_EQ(archive.places.at("/").references[2], 0x7FFFFFFFFFFFFFFFu);
    EXPECT_EQ(archive.places.at("/").headers_size, 5u);
    EXPECT_EQ(archive.places.at("/:lie").references[0], 12345u);
    EXPECT_EQ(header_of(archive, "/:lie"), "FD 1C 00 00 40 42 0F 00 4D 00 00 00 6C 69 65");
    EXPECT_EQ(value_at<std::uint64_t>(archive, archive.root.reference), 5u);
    archive.patch(built_archive::reference_at(archive.places.at("/").reference, 1), archive.root.reference);
    EXPECT_EQ(value_at<std::uint64_t>(archive, archive.places.at("/").reference + 16), archive.root.reference);
}

TEST(ArchiveBuilder, PutsAnyBytesIntoTheDataOfASample) {
    property_node parent;
    property_node &node = parent.array<float>("x", 1, {{1, 2}, {1, 2}});
    node.samples[1].payload = bytes{1, 2, 3};
    node.samples[1].dimensions_payload = bytes{4};
    const lone_property written(node);
    ASSERT_EQ(written.place.references.size(), 4u);
    EXPECT_EQ(written.stored(0).size(), 16u + 8u);
    EXPECT_EQ(hexadecimal(written.stored(2)), "01 02 03");
    EXPECT_EQ(hexadecimal(written.stored(3)), "04");
}

TEST(ArchiveSchemas, WriteATransformAsItsOperationsAndValues) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({1.0 / 24, {0}});
    add_moving_xform(builder.top, "turn", {{translate(1, 2, 3), rotate_y(0)}, {translate(1, 2, 3), rotate_y(90)}},
                     film);
    const object_node &still = add_xform(builder.top, "still");
    EXPECT_EQ(builder.top.children.front().metadata, "schema=AbcGeom_Xform_v3;schemaObjTitle=AbcGeom_Xform_v3:.xform");
    EXPECT_TRUE(still.properties.children.front().children.empty());
    const built_archive archive = builder.build();
    EXPECT_EQ(header_of(archive, "/turn:.xform/.inherits"), "01 1C 00 00 01 09 2E 69 6E 68 65 72 69 74 73");
    EXPECT_EQ(header_of(archive, "/turn:.xform/.ops"), "11 2C 00 00 01 04 2E 6F 70 73");
    EXPECT_EQ(header_of(archive, "/turn:.xform/.vals"), "B1 45 00 00 02 01 05 2E 76 61 6C 73");
    const std::uint64_t ops = first_sample_of(archive, "/turn:.xform/.ops");
    EXPECT_EQ(hexadecimal(archive.content.data() + ops + 24, 2), "10 50");
}

TEST(ArchiveSchemas, StoreMoreThan255ValuesAsArrays) {
    archive_builder builder;
    property_node &xform =
        schema_compound(add_xform(builder.top, "long", std::vector<xform_operation>(86, translate(0, 0, 1))));
    EXPECT_EQ(child(xform, ".ops").kind, property_kind::scalar);
    EXPECT_EQ(child(xform, ".ops").extent, 86u);
    EXPECT_EQ(child(xform, ".vals").kind, property_kind::array);
    EXPECT_EQ(child(xform, ".vals").extent, 1u);
    EXPECT_EQ(child(xform, ".vals").samples[0].values.size(), 86u * 3 * 8);
}

TEST(ArchiveSchemas, WriteAMeshWithItsBoundsAndParameters) {
    archive_builder builder;
    polymesh mesh = triangle();
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, 5, -2}};
    geometry_parameter indexed = uvs({{0, 1}}, "fvr", "UVMap");
    indexed.indices = {{0, 0, 0}};
    mesh.parameters = {normals({{0, 0, 1}}, "con"), indexed};
    mesh.more_parameters = {uvs({{0, 0, 0, 0, 0, 0}}, "")};
    object_node &object = add_polymesh(builder.top, "sail", mesh);
    EXPECT_EQ(object.metadata, "schema=AbcGeom_PolyMesh_v1;schemaBaseType=AbcGeom_GeomBase_v1;"
                               "schemaObjTitle=AbcGeom_PolyMesh_v1:.geom");
    const built_archive archive = builder.build();
    std::vector<std::string> names;
    for (const auto &place : archive.places)
        names.push_back(place.first);
    EXPECT_EQ(names, (std::vector<std::string>{"/", "/:", "/sail", "/sail:", "/sail:.geom",
                                               "/sail:.geom/.arbGeomParams", "/sail:.geom/.arbGeomParams/uv",
                                               "/sail:.geom/.faceCounts", "/sail:.geom/.faceIndices",
                                               "/sail:.geom/.selfBnds", "/sail:.geom/N", "/sail:.geom/P",
                                               "/sail:.geom/uv", "/sail:.geom/uv/.indices", "/sail:.geom/uv/.vals"}));
    const std::uint64_t bounds = first_sample_of(archive, "/sail:.geom/.selfBnds");
    const double expected[6] = {0, 0, -2, 1, 5, 0};
    for (std::uint64_t i = 0; i < 6; ++i)
        EXPECT_EQ(value_at<double>(archive, bounds + 24 + 8 * i), expected[i]);
    EXPECT_EQ(child(schema_compound(object), "uv").metadata,
              "arrayExtent=1;geoScope=fvr;interpretation=vector;isGeomParam=true;podExtent=2;"
              "podName=float32_t;sourceName=UVMap");
}

} // namespace
} // namespace qel::test
