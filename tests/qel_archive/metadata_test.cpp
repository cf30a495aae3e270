// SPDX-License-Identifier: MIT
// Texts of key=value pairs, and the schemas that objects name in them.
#include "qel_archive/metadata.h"

#include "qel_archive/opened_archive.h"

namespace qel {
namespace {

using namespace test;

std::string value_of(const std::string &metadata, const char *key) {
    std::size_t length = 0;
    const char *const value = archives::find_value(metadata.data(), metadata.size(), key, length);
    return value == nullptr ? "nothing" : std::string(value, length);
}

TEST(ArchiveMetadata, IsPairsOfKeysAndValues) {
    EXPECT_EQ(value_of("a=1;b=2;c=3", "a"), "1");
    EXPECT_EQ(value_of("a=1;b=2;c=3", "b"), "2");
    EXPECT_EQ(value_of("a=1;b=2;c=3", "c"), "3");
    EXPECT_EQ(value_of("a=1;b=2;c=3", "d"), "nothing");
    EXPECT_EQ(value_of("", "a"), "nothing");
    EXPECT_EQ(value_of("a=", "a"), "");
    EXPECT_EQ(value_of("a", "a"), "nothing") << "no pair";
    EXPECT_EQ(value_of("aa=1;a=2", "a"), "2") << "a key is whole";
    EXPECT_EQ(value_of("b=a=1", "a"), "nothing");
    EXPECT_EQ(value_of("x;;a=1;", "a"), "1");
    EXPECT_EQ(value_of("a=1;a=2", "a"), "1") << "the first";
}

struct named_schema {
    const char *schema;
    ogawa_schema kind;
};

TEST(ArchiveMetadata, NamesTheSchemaOfAnObject) {
    const named_schema schemas[] = {{"AbcGeom_Xform_v3", OGAWA_SCHEMA_XFORM},
                                    {"AbcGeom_PolyMesh_v1", OGAWA_SCHEMA_POLYMESH},
                                    {"AbcGeom_SubD_v1", OGAWA_SCHEMA_SUBD},
                                    {"AbcGeom_Points_v1", OGAWA_SCHEMA_POINTS},
                                    {"AbcGeom_Curve_v2", OGAWA_SCHEMA_CURVES},
                                    {"AbcGeom_Camera_v1", OGAWA_SCHEMA_CAMERA},
                                    {"AbcGeom_FaceSet_v1", OGAWA_SCHEMA_UNKNOWN},
                                    {"AbcGeom_NuPatch_v2", OGAWA_SCHEMA_UNKNOWN},
                                    {"AbcGeom_Light_v1", OGAWA_SCHEMA_UNKNOWN},
                                    {"Other_PolyMesh_v1", OGAWA_SCHEMA_UNKNOWN},
                                    {"AbcGeom_PolyMesh_w1", OGAWA_SCHEMA_UNKNOWN},
                                    {"AbcGeom_PolyMesh_v1a", OGAWA_SCHEMA_UNKNOWN},
                                    {"", OGAWA_SCHEMA_UNKNOWN}};
    for (const bool in_header : {false, true}) {
        archive_builder builder;
        for (const named_schema &each : schemas)
            builder.top
                .add("o" + std::to_string(builder.top.children.size()),
                     std::string("schema=") + each.schema + ";other=1")
                .inline_metadata = in_header;
        const opened_archive opened(builder);
        for (std::uint32_t i = 0; i < std::size(schemas); ++i) {
            EXPECT_STREQ(opened.object(i + 1).schema, schemas[i].schema);
            EXPECT_EQ(opened.object(i + 1).kind, schemas[i].kind) << schemas[i].schema;
        }
    }
}

TEST(ArchiveMetadata, OfAnObjectMayNameNoSchema) {
    archive_builder builder;
    builder.top.add("a", "schemaObjTitle=AbcGeom_PolyMesh_v1:.geom");
    builder.top.add("b");
    builder.top.add("c", "schema").inline_metadata = true; // no pair, although a '=' follows it in the file:
    builder.top.add(std::string(61, 'n'));                 // the length of a name
    const opened_archive opened(builder);
    for (const char *path : {"/a", "/b", "/c"}) {
        EXPECT_STREQ(opened.object(path).schema, "");
        EXPECT_EQ(opened.object(path).kind, std::uint32_t{OGAWA_SCHEMA_UNKNOWN});
    }
    EXPECT_EQ(opened.info().mesh_count, 0u);
}

TEST(ArchiveMetadata, MayBeLongerThanASharedTextAndHoldAnyByte) {
    archive_builder builder;
    const std::string text = "schema=AbcGeom_Xform_v3;long=" + std::string(400, '\xFE');
    builder.top.add("a", text);
    builder.top.add("b", std::string("schema=\0AbcGeom_Xform_v3", 24));
    const opened_archive opened(builder);
    EXPECT_EQ(opened.object("/a").metadata, text);
    EXPECT_EQ(opened.object("/a").kind, std::uint32_t{OGAWA_SCHEMA_XFORM});
    EXPECT_STREQ(opened.object("/b").metadata, "schema=") << "a zero byte ends a text";
    EXPECT_EQ(opened.object("/b").kind, std::uint32_t{OGAWA_SCHEMA_UNKNOWN});
}

} // namespace
} // namespace qel
