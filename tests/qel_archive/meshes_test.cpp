// SPDX-License-Identifier: MIT
// The records of meshes, points, curves and patches.
#include "qel_archive/opened_archive.h"

#include <cmath>

namespace qel {
namespace {

using namespace test;

TEST(ArchiveMeshes, AreReadWhole) {
    archive_builder builder;
    polymesh mesh = two_faces();
    mesh.parameters = {normals({rising(21)}), uvs({rising(14)}, "fvr", "map1")};
    add_polymesh(add_xform(builder.top, "arm", {translate(1, 2, 3)}), "hand", mesh);
    const opened_archive opened(builder);
    const read_mesh read = opened.mesh("/arm/hand");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_STREQ(read->name, "hand");
    EXPECT_STREQ(read->path, "/arm/hand");
    EXPECT_EQ(read.positions(), mesh.points[0]);
    EXPECT_EQ(read.face_counts(), (std::vector<std::uint32_t>{4, 3}));
    EXPECT_EQ(read.face_indices(), (std::vector<std::uint32_t>{0, 1, 2, 3, 1, 4, 2}));
    EXPECT_EQ(read.normals(), rising(21));
    EXPECT_EQ(read->normal_scope, 4u);
    EXPECT_EQ(read->normal_indices, nullptr);
    ASSERT_EQ(read->uv_set_count, 1u);
    EXPECT_STREQ(read->uv_sets[0].name, "map1");
    EXPECT_EQ(read.uvs(0), rising(14));
    EXPECT_EQ(read->uv_sets[0].indices, nullptr);
    EXPECT_EQ(read->uv_sets[0].index_count, 0u);
    EXPECT_EQ(read->uv_sets[0].scope, 4u);
    EXPECT_EQ(read->reserved_word, 1u);
    const matrix_values world = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1};
    EXPECT_TRUE(std::equal(world.begin(), world.end(), read->transform));
}

TEST(ArchiveMeshes, LeaveEverythingElseZero) {
    const opened_archive opened = opened_mesh(two_faces());
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(read->normals, nullptr);
    EXPECT_EQ(read->normal_count, 0u);
    EXPECT_EQ(read->normal_scope, 0u);
    EXPECT_EQ(read->uv_sets, nullptr);
    EXPECT_EQ(read->uv_set_count, 0u);
    EXPECT_EQ(read->reserved_array, nullptr);
    EXPECT_EQ(read->reserved_count, 0u);
    EXPECT_EQ(read->reserved_buffer, nullptr);
    EXPECT_EQ(read->tangent_frame.tangents, nullptr);
    EXPECT_EQ(read->manifold.vertex_faces, nullptr);
    for (std::size_t i = 2; i < sizeof read->name; ++i)
        ASSERT_EQ(read->name[i], 0);
}

TEST(ArchiveMeshes, CutTheirNameAndPathToTheRecord) {
    const std::string folder(800, 'f'), name(300, 'n');
    for (const bool fits : {true, false}) {
        archive_builder builder;
        const std::string last = fits ? name.substr(0, 1023 - 802) : name;
        add_polymesh(builder.top.add(folder), last, triangle());
        const opened_archive opened(builder);
        const read_mesh read = opened.mesh(("/" + folder + "/" + last).c_str());
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
        EXPECT_EQ(read->name, last.substr(0, 255));
        EXPECT_EQ(read->path, ("/" + folder + "/" + last).substr(0, 1023));
    }
    archive_builder deep; // a slash is where the record ends
    object_node *home = &deep.top;
    std::string path;
    for (int i = 0; i < 700; ++i) {
        home = &home->add(i % 2 == 0 ? "ab" : "c");
        path += i % 2 == 0 ? "/ab" : "/c";
    }
    add_polymesh(*home, "m", triangle());
    EXPECT_EQ(opened_archive(deep).mesh((path + "/m").c_str())->path, path.substr(0, 1023));
}

TEST(ArchiveMeshes, HaveTheBoundsOfTheirPositionsAndTheStoredOnes) {
    archive_builder builder;
    polymesh mesh = triangle();
    mesh.bounds = false;
    add_polymesh(builder.top, "without", mesh);
    object_node &with = add_polymesh(builder.top, "with", mesh);
    schema_compound(with).scalar<double>(".selfBnds", 6, {{-1, -2, -3, 4, 5, 1e-50}});
    object_node &none = add_polymesh(builder.top, "none", mesh);
    schema_compound(none).add(".selfBnds", property_kind::scalar, value_kind::f64, 6, {});
    object_node &floats = add_polymesh(builder.top, "floats", mesh);
    schema_compound(floats).scalar<float>(".selfBnds", 6, {{9, 9, 9, 9, 9, 9}});
    const opened_archive opened(builder);
    for (const char *path : {"/without", "/with", "/none", "/floats"}) {
        const read_mesh read = opened.mesh(path);
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK) << path;
        const bool is_stored = std::string(path) == "/with";
        const float low[] = {0, 0, 0}, high[] = {1, 2, 0}, stored_low[] = {-1, -2, -3}, stored_high[] = {4, 5, 0};
        EXPECT_TRUE(std::equal(low, low + 3, read->bounds_min)) << path;
        EXPECT_TRUE(std::equal(high, high + 3, read->bounds_max)) << path;
        const float *const self_low = is_stored ? stored_low : low;
        const float *const self_high = is_stored ? stored_high : high;
        EXPECT_TRUE(std::equal(self_low, self_low + 3, read->self_bounds_min)) << path;
        EXPECT_TRUE(std::equal(self_high, self_high + 3, read->self_bounds_max)) << path;
    }
}

/// The bounds that the archive's reader computes equal those of all positions at once, bit for bit.
void expect_box_of(const std::vector<float> &positions) {
    archive_builder builder;
    add_points(builder.top, "m", {positions});
    const opened_archive opened(builder);
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    float expected[6];
    ogawa_compute_bounds(positions.data(), static_cast<std::uint32_t>(positions.size() / 3), expected);
    EXPECT_EQ(std::memcmp(expected, read->bounds_min, 12), 0);
    EXPECT_EQ(std::memcmp(expected + 3, read->bounds_max, 12), 0);
}

TEST(ArchiveMeshes, HaveBoundsWithNansAnywhere) {
    constexpr std::size_t piece = 16'384; // positions that are read at once
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> plain(3 * (2 * piece + 5));
    for (std::size_t i = 0; i < plain.size(); ++i)
        plain[i] = static_cast<float>(i * 2654435761u % 1000) - 500;
    for (const std::size_t first : {std::size_t{0}, piece - 1, piece, piece + 1, 2 * piece})
        for (std::size_t axes = 1; axes < 8; ++axes) { // of one position, any of its numbers
            std::vector<float> positions = plain;
            for (std::size_t axis = 0; axis < 3; ++axis)
                if ((axes >> axis & 1) != 0) positions[first * 3 + axis] = nan;
            positions[(first + 2) * 3] = 9000; // after it
            expect_box_of(positions);
        }
    for (const std::size_t count : {piece - 1, piece, piece + 1}) { // most of a piece, a whole one, more
        std::vector<float> positions = plain;
        std::fill_n(positions.begin() + 3 * piece, 3 * count, nan);
        positions[3 * (2 * piece + 4) + 2] = -9000; // the very last one
        expect_box_of(positions);
        std::fill_n(positions.begin() + 3 * piece, 3 * count, 1e6F);
        for (std::size_t i = piece; i < piece + count; ++i)
            positions[3 * i + i % 3] = nan; // the others of each count
        expect_box_of(positions);
    }
}

TEST(ArchiveMeshes, HaveBoundsWithNansInTheFirstPositionsOfABlock) {
    constexpr std::size_t piece = 16'384; // positions that are read at once
    for (const unsigned no_numbers : {0b1u, 0b11u, 0b1001u, 0b101111u})
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (std::size_t farthest = piece; farthest < piece + 2; ++farthest) {
                std::vector<float> positions(3 * (piece + 8));
                for (std::size_t i = 0; i < 6; ++i)
                    if ((no_numbers >> i & 1) != 0)
                        positions[3 * (piece + i) + axis] = std::numeric_limits<float>::quiet_NaN();
                positions[3 * farthest + (axis + 1) % 3] = -9;
                positions[3 * farthest + (axis + 2) % 3] = 9;
                positions[3 * (piece + 6) + axis] = -9;
                positions[3 * (piece + 7) + axis] = 9;
                expect_box_of(positions);
            }
}

TEST(ArchiveMeshes, HaveBoundsWithTheSignOfTheFirstZero) {
    constexpr std::size_t piece = 16'384; // positions that are read at once
    for (const float first : {0.0f, -0.0f}) {
        std::vector<float> positions(3 * 2 * piece, first);
        std::fill_n(positions.begin() + 3 * piece, 3 * piece, -first);
        archive_builder builder;
        add_points(builder.top, "m", {positions});
        const opened_archive opened(builder);
        const read_mesh read = opened.mesh("/m");
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(std::signbit(read->bounds_min[axis]), std::signbit(first)) << first << ' ' << axis;
            EXPECT_EQ(std::signbit(read->bounds_max[axis]), std::signbit(first)) << first << ' ' << axis;
        }
    }
}

TEST(ArchiveMeshes, MayBeEmpty) {
    polymesh nothing;
    nothing.points = {{}};
    nothing.face_counts = nothing.face_indices = {{}};
    nothing.bounds = false;
    const opened_archive opened = opened_mesh(nothing);
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(read->vertex_count, 0u);
    EXPECT_EQ(read->positions, nullptr);
    EXPECT_EQ(read->face_counts, nullptr);
    EXPECT_EQ(read->bounds_max[0], 0.0f);
    EXPECT_STREQ(read->name, "m");
    EXPECT_EQ(opened.mesh_info("/m").vertex_count, 0u);
}

TEST(ArchiveMeshes, MayHaveFacesOfNoCorners) {
    polymesh mesh = triangle();
    mesh.face_counts = {{0, 3, 0}};
    const opened_archive opened = opened_mesh(mesh);
    EXPECT_EQ(opened.mesh("/m").face_counts(), (std::vector<std::uint32_t>{0, 3, 0}));
    EXPECT_EQ(opened.mesh_info("/m").face_count, 3u);
}

TEST(ArchiveMeshes, OfSubdivisionAreReadAsPolygonsAre) {
    polymesh mesh = two_faces();
    mesh.schema = "AbcGeom_SubD_v1";
    mesh.parameters = {uvs({rising(14)})};
    const opened_archive opened = opened_mesh(mesh);
    const read_mesh read = opened.mesh("/m");
    ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
    EXPECT_EQ(read->face_count, 2u);
    EXPECT_EQ(read->uv_set_count, 1u);
    EXPECT_EQ(opened.object("/m").kind, std::uint32_t{OGAWA_SCHEMA_SUBD});
}

TEST(ArchiveMeshes, OfPointsCurvesAndPatchesGivePositionsOnly) {
    archive_builder builder;
    const std::vector<float> points = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    add_points(builder.top, "points", {points}, {1, 2, 3, 4});
    object_node &curves = add_curves(builder.top, "curves", {points}, {2, 2});
    object_node &patch = add_nu_patch(builder.top, "patch", {points}, 2, 2);
    for (object_node *each : {&curves, &patch}) {
        add_parameter(schema_compound(*each), normals({rising(12)}, "vtx"));
        add_parameter(schema_compound(*each), uvs({rising(8)}, "vtx"));
        schema_compound(*each).array<std::int32_t>(".faceCounts", 1, {{9}}); // not of a mesh: ignored
    }
    const opened_archive opened(builder);
    for (const char *path : {"/points", "/curves", "/patch"}) {
        const read_mesh read = opened.mesh(path);
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK) << path;
        EXPECT_EQ(read.positions(), points);
        EXPECT_EQ(read->face_count, 0u);
        EXPECT_EQ(read->face_index_count, 0u);
        EXPECT_EQ(read->normals, nullptr);
        EXPECT_EQ(read->uv_set_count, 0u);
        EXPECT_EQ(read->bounds_max[2], 12.0f);
        const qel_archive_mesh_info info = opened.mesh_info(path);
        EXPECT_EQ(info.vertex_count, 4u);
        EXPECT_EQ(info.face_count, 0u);
        EXPECT_EQ(info.topology, 0u);
    }
    EXPECT_EQ(opened.info().mesh_count, 0u) << "only PolyMesh and SubD are counted";
}

TEST(ArchiveMeshes, NeedPositions) {
    archive_builder builder;
    add_xform(builder.top, "xform", {translate(1, 2, 3)});
    add_face_set(add_polymesh(builder.top, "mesh", triangle()), "faces", {0});
    property_node &no_samples = schema_compound(add_points(builder.top, "none", {{0, 0, 0}}));
    child(no_samples, "P").samples.clear();
    property_node &camera = schema_compound(add_schema_object(builder.top, "camera", "AbcGeom_Camera_v1", ".geom"));
    camera.compound("P");
    const opened_archive opened(builder);
    std::uint64_t sample = 77;
    for (const auto &[path, status] : {std::pair{"/", QEL_ARCHIVE_WRONG_KIND},
                                       {"/xform", QEL_ARCHIVE_WRONG_KIND},
                                       {"/mesh/faces", QEL_ARCHIVE_WRONG_KIND},
                                       {"/camera", QEL_ARCHIVE_WRONG_KIND},
                                       {"/none", QEL_ARCHIVE_NOT_FOUND}}) {
        EXPECT_EQ(opened.mesh(path).status, status) << path;
        EXPECT_EQ(opened.mesh_info_status(path), status) << path;
        EXPECT_EQ(qel_archive_sample_at(opened.get(), opened.find(path), 0, &sample), status) << path;
    }
    EXPECT_EQ(sample, 77u);
}

/// Two samples at 1 and 1.5 s, of which the arrays named change.
archive_builder moving(bool points, bool counts, bool indices) {
    archive_builder builder;
    polymesh mesh;
    mesh.time_sampling = builder.add_sampling({0.5, {1}});
    const std::vector<float> first = {0, 0, 0, 1, 0, 0, 0, 2, 0, 5, 5, 5},
                             second = {9, 0, 0, 1, 0, 0, 0, 2, 0, 5, 5, 5};
    mesh.points = {first, points ? second : first};
    mesh.face_counts = {{3, 0}, counts ? std::vector<std::int32_t>{0, 3} : std::vector<std::int32_t>{3, 0}};
    mesh.face_indices = {{0, 1, 2}, indices ? std::vector<std::int32_t>{2, 1, 3} : std::vector<std::int32_t>{0, 1, 2}};
    add_polymesh(builder.top, "m", mesh);
    return builder;
}

TEST(ArchiveMeshes, ReportWhetherTheirPositionsOrFacesChange) {
    for (int change = 0; change < 8; ++change) {
        const bool points = (change & 1) != 0, counts = (change & 2) != 0, indices = (change & 4) != 0;
        const opened_archive opened(moving(points, counts, indices));
        const qel_archive_mesh_info info = opened.mesh_info("/m");
        EXPECT_EQ(info.topology, counts || indices ? 2u : points ? 1u : 0u) << change;
        EXPECT_EQ(info.sample_count, 2u);
        EXPECT_EQ(info.vertex_count, 4u);
        EXPECT_EQ(info.face_count, 2u);
        EXPECT_EQ(info.corner_count, 3u);
        EXPECT_EQ(info.start, 1.0);
        EXPECT_EQ(info.end, 1.5);
        const read_mesh first = opened.mesh("/m", 0), second = opened.mesh("/m", 1);
        EXPECT_EQ(first->positions[0], 0.0f);
        EXPECT_EQ(second->positions[0], points ? 9.0f : 0.0f);
        EXPECT_EQ(second.face_counts()[0], counts ? 0u : 3u);
        EXPECT_EQ(second.face_indices()[2], indices ? 3u : 2u);
        EXPECT_EQ(opened.mesh("/m", 2).status, QEL_ARCHIVE_NOT_FOUND);
    }
}

TEST(ArchiveMeshes, RepeatTheLastSampleOfShorterProperties) {
    archive_builder builder;
    polymesh mesh = triangle();
    mesh.time_sampling = builder.add_sampling({1, {0}});
    mesh.points = {rising(9), rising(9), rising(9), rising(9)};
    for (std::size_t i = 0; i < 4; ++i)
        mesh.points[i][0] = static_cast<float>(i);
    mesh.face_indices = {{0, 1, 2}, {2, 1, 0}};
    mesh.parameters = {normals({rising(9), std::vector<float>(9, 5)}), uvs({rising(6), std::vector<float>(6, 7)})};
    add_polymesh(builder.top, "m", mesh);
    child(schema_compound(builder.top.children.front()), ".selfBnds").samples.resize(2);
    const opened_archive opened(builder);
    for (std::uint64_t i = 0; i < 4; ++i) {
        const read_mesh read = opened.mesh("/m", i);
        ASSERT_EQ(read.status, QEL_ARCHIVE_OK);
        EXPECT_EQ(read->positions[0], static_cast<float>(i));
        EXPECT_EQ(read->face_indices[0], i == 0 ? 0u : 2u) << i;
        EXPECT_EQ(read->normals[0], i == 0 ? 0.0f : 5.0f) << i;
        EXPECT_EQ(read.uvs(0)[0], i == 0 ? 0.0f : 7.0f) << i;
        EXPECT_EQ(read->self_bounds_min[0], i == 0 ? 0.0f : 1.0f) << i;
    }
}

TEST(ArchiveMeshes, HaveTheTransformOfTheirSamplesTime) {
    archive_builder builder;
    const std::uint32_t film = builder.add_sampling({1, {10}});
    object_node &arm =
        add_moving_xform(builder.top, "arm", {{translate(1, 0, 0)}, {translate(2, 0, 0)}, {translate(3, 0, 0)}}, film);
    polymesh mesh = triangle();
    mesh.time_sampling = builder.add_sampling({0.5, {10.75}}); // 10.75, 11.25, 11.75, 12.25
    mesh.points.resize(4, mesh.points[0]);
    add_polymesh(arm, "m", mesh);
    const opened_archive opened(builder);
    const double expected[] = {1, 2, 2, 3};
    for (std::uint64_t i = 0; i < 4; ++i)
        EXPECT_EQ(opened.mesh("/arm/m", i)->transform[12], expected[i]) << i;
}

} // namespace
} // namespace qel
