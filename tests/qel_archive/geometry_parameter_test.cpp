// SPDX-License-Identifier: MIT
// Normals and UVs: scopes, indices, names, and that unsound ones are left out.
#include "qel_archive/opened_archive.h"

#include "support/failing_heap.h"

namespace qel {
namespace {

using namespace test;

// Of the mesh that carries them.
constexpr std::size_t points = 5, faces = 2, corners = 7;

/// A mesh of 5 points, 2 faces, 7 corners with parameters, open.
opened_archive with(const std::vector<geometry_parameter> &parameters,
                    const std::vector<geometry_parameter> &more = {}) {
    polymesh mesh = two_faces();
    mesh.parameters = parameters;
    mesh.more_parameters = more;
    return opened_mesh(mesh);
}

/// The parameter with indices into its values.
geometry_parameter indexed(geometry_parameter parameter, const std::vector<std::uint32_t> &indices) {
    parameter.indices = {indices};
    return parameter;
}

geometry_parameter named(geometry_parameter parameter, const std::string &name) {
    parameter.name = name;
    return parameter;
}

struct scope_case {
    const char *word;
    std::uint32_t scope;
    std::size_t places;
};
constexpr scope_case scopes[] = {
    {"con", 0, 1}, {"uni", 1, faces}, {"var", 2, points}, {"vtx", 3, points}, {"fvr", 4, corners}};

TEST(ArchiveParameters, RequireTheCountOfTheirScope) {
    for (const scope_case &it : scopes)
        for (const std::size_t count : {it.places - 1, it.places, it.places + 1}) {
            const opened_archive opened =
                with({normals({rising(count * 3)}, it.word), uvs({rising(count * 2)}, it.word)});
            const read_mesh read = opened.mesh("/m");
            ASSERT_EQ(read.status, QEL_ARCHIVE_OK) << "unsound ones do not spoil the mesh";
            const bool sound = count == it.places;
            EXPECT_EQ(read.normals(), sound ? rising(count * 3) : std::vector<float>()) << it.word << count;
            EXPECT_EQ(read->normal_count, sound ? count : 0) << it.word;
            EXPECT_EQ(read->normal_scope, sound ? it.scope : 0) << it.word;
            ASSERT_EQ(read->uv_set_count, sound ? 1u : 0u) << it.word << count;
            if (!sound) continue;
            EXPECT_EQ(read.uvs(0), rising(count * 2));
            EXPECT_EQ(read->uv_sets[0].scope, it.scope);
        }
}

TEST(ArchiveParameters, TakeTheirScopeFromTheirLength) {
    for (const auto &[count, scope] : {std::pair{corners, 4u}, {points, 3u}, {faces, 1u}, {std::size_t{1}, 0u}})
        for (const char *word : {"", "xyz", "fv", "fvrr"}) { // no word, or an unknown one
            const opened_archive opened = with({normals({rising(count * 3)}, word)});
            const read_mesh read = opened.mesh("/m");
            EXPECT_EQ(read->normal_count, count) << word;
            EXPECT_EQ(read->normal_scope, scope) << count;
        }
    const opened_archive opened = with({normals({rising(12)}, ""), uvs({rising(8)}, "")});
    EXPECT_EQ(opened.mesh("/m")->normals, nullptr) << "four are as many as nothing";
    EXPECT_EQ(opened.mesh("/m")->uv_set_count, 0u);
}

TEST(ArchiveParameters, MatchTheirLengthToAScopeInAFixedOrder) {
    archive_builder builder; // three points, three corners
    polymesh mesh = triangle();
    mesh.parameters = {normals({rising(9)}, "")};
    add_polymesh(builder.top, "corner", mesh);
    mesh.points = {{0, 0, 0}}; // one point, one face, three corners
    mesh.face_indices = {{0, 0, 0}};
    mesh.parameters = {normals({rising(3)}, "")};
    add_polymesh(builder.top, "point", mesh);
    mesh.points = {{0, 0, 0, 1, 1, 1}}; // two points, one face
    add_polymesh(builder.top, "face", mesh);
    const opened_archive opened(builder);
    EXPECT_EQ(opened.mesh("/corner")->normal_scope, 4u);
    EXPECT_EQ(opened.mesh("/point")->normal_scope, 3u);
    EXPECT_EQ(opened.mesh("/face")->normal_scope, 1u);
}

TEST(ArchiveParameters, MayBeIndexed) {
    const std::vector<std::uint32_t> corner_indices = {0, 1, 2, 3, 3, 2, 1};
    for (const bool with_values : {false, true}) { // where the metadata is
        geometry_parameter normal = indexed(normals({rising(12)}), corner_indices);
        geometry_parameter uv = indexed(uvs({rising(8)}, "fvr", "map"), corner_indices);
        normal.metadata_with_values = uv.metadata_with_values = with_values;
        const opened_archive opened = with({normal, uv});
        const read_mesh read = opened.mesh("/m");
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
        EXPECT_EQ(read.normals(), rising(12));
        EXPECT_EQ(read->normal_scope, 4u);
        ASSERT_NE(read->normal_indices, nullptr);
        EXPECT_TRUE(std::equal(corner_indices.begin(), corner_indices.end(), read->normal_indices));
        ASSERT_EQ(read->uv_set_count, 1u);
        EXPECT_STREQ(read->uv_sets[0].name, "map");
        EXPECT_EQ(read.uvs(0), rising(8));
        EXPECT_EQ(read.uv_indices(0), corner_indices);
    }
}

TEST(ArchiveParameters, RequireOneIndexPerElementOfTheirScope) {
    for (const scope_case &it : scopes)
        for (const std::size_t count : {it.places - 1, it.places, it.places + 1}) {
            const std::vector<std::uint32_t> indices(count, 1);
            const opened_archive opened = with({indexed(uvs({rising(4)}, it.word), indices)});
            EXPECT_EQ(opened.mesh("/m")->uv_set_count, count == it.places ? 1u : 0u) << it.word << count;
        }
}

TEST(ArchiveParameters, HaveIndicesBelowTheirValues) {
    for (const std::uint32_t index : {0u, 3u, 4u, 0xFFFFFFFFu})
        for (const std::size_t at : {std::size_t{0}, corners - 1}) {
            std::vector<std::uint32_t> indices(corners, 0);
            indices[at] = index;
            const heap_ledger ledger;
            {
                const opened_archive opened =
                    with({indexed(normals({rising(12)}), indices), indexed(uvs({rising(8)}), indices)});
                const read_mesh read = opened.mesh("/m");
                EXPECT_EQ(read.status, QEL_ARCHIVE_OK);
                EXPECT_EQ(read->normals != nullptr, index < 4) << index;
                EXPECT_EQ(read->normal_indices != nullptr, index < 4) << index;
                EXPECT_EQ(read->normal_count, index < 4 ? 4u : 0u);
                EXPECT_EQ(read->uv_set_count, index < 4 ? 1u : 0u);
            }
        }
}

polymesh empty_mesh() {
    polymesh mesh;
    mesh.points = {{}};
    mesh.face_counts = mesh.face_indices = {{}};
    return mesh;
}

/// The number of sets of a mesh whose uv is changed; the mesh itself stays sound.
template <class Change>
std::uint32_t sets_with(const geometry_parameter &parameter, const Change &change, polymesh mesh = two_faces()) {
    archive_builder builder;
    mesh.parameters = {parameter};
    object_node &object = add_polymesh(builder.top, "m", mesh);
    change(child(schema_compound(object), "uv"));
    const opened_archive opened(builder);
    const read_mesh read = opened.mesh("/m");
    EXPECT_EQ(read.status, QEL_ARCHIVE_OK);
    return read->uv_set_count;
}

TEST(ArchiveParameters, AreIgnoredIfTheyHaveAnotherKind) {
    const geometry_parameter plain = uvs({rising(14)}), both = indexed(plain, {0, 1, 2, 3, 4, 5, 6});
    const auto nothing = [](property_node &) {};
    EXPECT_EQ(sets_with(plain, nothing), 1u);
    EXPECT_EQ(sets_with(both, nothing), 1u);
    EXPECT_EQ(sets_with(plain, [](property_node &uv) { uv.value = value_kind::i32; }), 0u);
    EXPECT_EQ(sets_with(plain, [](property_node &uv) { uv.extent = 1; }), 0u);
    EXPECT_EQ(sets_with(plain, [](property_node &uv) { uv.kind = property_kind::scalar; }), 0u);
    EXPECT_EQ(sets_with(plain, [](property_node &uv) { uv.samples.clear(); }), 0u);
    EXPECT_EQ(sets_with(plain, [](property_node &uv) { uv.instead = 0; }), 0u) << "not stored";
    EXPECT_EQ(sets_with(both, [](property_node &uv) { uv.children.clear(); }), 0u);
    EXPECT_EQ(sets_with(both, [](property_node &uv) { uv.children.pop_back(); }), 0u) << "no indices";
    EXPECT_EQ(sets_with(both, [](property_node &uv) { uv.children.pop_front(); }), 0u) << "no values";
    EXPECT_EQ(sets_with(both, [](property_node &uv) { child(uv, ".indices").value = value_kind::i32; }), 0u);
    EXPECT_EQ(sets_with(both, [](property_node &uv) { child(uv, ".indices").samples.clear(); }), 0u);
    EXPECT_EQ(sets_with(both, [](property_node &uv) { child(uv, ".indices").instead = 0; }), 0u);
    EXPECT_EQ(sets_with(both, [](property_node &uv) { child(uv, ".vals").extent = 1; }), 0u);
    EXPECT_EQ(sets_with(both, [](property_node &uv) { child(uv, ".vals").samples.clear(); }), 0u);
}

TEST(ArchiveParameters, OfTwoFloatsAreSetsOfUvs) {
    geometry_parameter one_float = named(uvs({rising(7)}), "weight");
    one_float.extent = 1;
    geometry_parameter three = named(normals({rising(21)}), "color");
    const opened_archive opened = with(
        {uvs({rising(14)}, "fvr", "main")},
        {named(uvs({rising(10)}, "vtx", "ignored"), "second"), one_float, three,
         named(indexed(uvs({rising(8)}), {0, 1, 2, 3, 3, 2, 1}), "third"), named(uvs({rising(6)}), "unsound"),
         named(uvs({rising(4)}, "uni"), std::string(63, 'a')), named(uvs({rising(4)}, "uni"), std::string(70, 'b'))});
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    ASSERT_EQ(read->uv_set_count, 5u);
    EXPECT_STREQ(read->uv_sets[0].name, "main");
    EXPECT_STREQ(read->uv_sets[1].name, "second") << "the property's name";
    EXPECT_EQ(read.uvs(1), rising(10));
    EXPECT_EQ(read->uv_sets[1].scope, 3u);
    EXPECT_STREQ(read->uv_sets[2].name, "third");
    EXPECT_EQ(read.uv_indices(2), (std::vector<std::uint32_t>{0, 1, 2, 3, 3, 2, 1}));
    EXPECT_EQ(read->uv_sets[3].name, std::string(63, 'a'));
    EXPECT_EQ(read->uv_sets[4].name, std::string(63, 'b')) << "cut to 63";
}

TEST(ArchiveParameters, NameTheMainSetByItsSource) {
    const std::string long_name(100, 's');
    for (const auto &[source, name] :
         {std::pair<std::string, std::string>{"", "uv"}, {"map1", "map1"}, {long_name, long_name.substr(0, 63)}}) {
        const opened_archive opened = with({uvs({rising(14)}, "fvr", source)});
        EXPECT_EQ(opened.mesh("/m")->uv_sets[0].name, name);
    }
    archive_builder builder;
    polymesh mesh = two_faces();
    mesh.parameters = {uvs({rising(14)})};
    child(schema_compound(add_polymesh(builder.top, "m", mesh)), "uv").metadata = "geoScope=fvr;sourceName=";
    EXPECT_STREQ(opened_archive(builder).mesh("/m")->uv_sets[0].name, "uv") << "an empty name is none";
}

TEST(ArchiveParameters, KeepNoNameOfAnEarlierUnsoundOne) {
    const opened_archive opened = with({uvs({rising(6)}, "fvr", "unsound main set")},
                                       {named(uvs({rising(6)}), "another unsound"), named(uvs({rising(14)}), "sound")});
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read->uv_set_count, 1u);
    EXPECT_STREQ(read->uv_sets[0].name, "sound");
}

TEST(ArchiveParameters, GiveNoSetsIfAllAreUnsound) {
    const opened_archive opened = with({uvs({rising(6)})}, {named(uvs({rising(6)}), "second")});
    const read_mesh read = opened.mesh("/m");
    EXPECT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(read->uv_sets, nullptr);
    EXPECT_EQ(read->uv_set_count, 0u);
}

TEST(ArchiveParameters, AreReadFromTheMeshsOwnCompoundOnly) {
    archive_builder builder;
    builder.top.properties.array<float>("x", 2, {rising(14)});
    object_node &object = add_polymesh(builder.top, "m", two_faces());
    schema_compound(object).array<float>(".arbGeomParams", 2, {rising(14)});
    const opened_archive opened(builder);
    EXPECT_EQ(opened.mesh("/m").status, QEL_ARCHIVE_OK);
    EXPECT_EQ(opened.mesh("/m")->uv_set_count, 0u);
}

TEST(ArchiveParameters, OfAnEmptyMeshMayBeEmpty) {
    polymesh mesh = empty_mesh();
    mesh.parameters = {normals({{}}), uvs({{}})};
    const opened_archive opened = opened_mesh(mesh);
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(read->normals, nullptr);
    ASSERT_EQ(read->uv_set_count, 1u);
    EXPECT_EQ(read->uv_sets[0].values, nullptr);
    EXPECT_EQ(read->uv_sets[0].scope, 4u);
}

TEST(ArchiveParameters, OfAnEmptyMeshNeedSamplesAsWell) {
    const geometry_parameter plain = uvs({{}}), both = indexed(plain, {});
    EXPECT_EQ(sets_with(
                  both, [](property_node &) {}, empty_mesh()),
              1u);
    const auto without = [](const char *name) {
        return [name](property_node &uv) { (uv.name == name ? uv : child(uv, name)).samples.clear(); };
    };
    EXPECT_EQ(sets_with(plain, without("uv"), empty_mesh()), 0u);
    EXPECT_EQ(sets_with(both, without(".vals"), empty_mesh()), 0u);
    EXPECT_EQ(sets_with(both, without(".indices"), empty_mesh()), 0u);
}

} // namespace
} // namespace qel
