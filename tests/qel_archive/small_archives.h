// SPDX-License-Identifier: MIT
// Archives of few bytes that hold much: every one of them can be changed.
#pragma once

#include "support/archive_schemas.h"

namespace qel::test {

/// A triangle with normals and UVs below a transform that moves, and an instance of it.
inline archive_builder small_mesh() {
    archive_builder archive;
    archive.metadata = "a=b";
    const std::uint32_t film = archive.add_sampling({0.5, {0}});
    object_node &xform = add_moving_xform(archive.top, "x", {{translate(1, 2, 3)}, {translate(4, 5, 6)}}, film);
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, 1, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    mesh.parameters = {normals({{0, 0, 1}}, "con"), uvs({{0, 0, 1, 1}}, "vtx", "map")};
    mesh.parameters.back().indices = {{0, 1, 1}};
    add_polymesh(xform, "m", mesh);
    add_instance(archive.top, "i", "/x");
    return archive;
}

/// Points whose number changes, hidden at times, without shared metadata.
inline archive_builder small_points() {
    archive_builder archive;
    archive.metadata = "";
    archive.share_metadata = false;
    const std::uint32_t steps = archive.add_sampling({acyclic, {0, 1, 4}});
    object_node &points = add_points(archive.top, "p", {{1, 2, 3}, {}, {4, 5, 6, 7, 8, 9}}, {}, steps);
    set_visible(points, {-1, 0, 1}, steps);
    return archive;
}

/// Properties of several kinds in compounds, and no schema.
inline archive_builder small_properties() {
    archive_builder archive;
    const std::uint32_t cyclic = archive.add_sampling({1, {0, 0.25}});
    property_node &compound = archive.top.properties.compound("c");
    compound.text("t", "word", cyclic);
    compound.array<std::uint16_t>("a", 2, {{1, 2}, {1, 2}, {3, 4, 5, 6}, {}}, cyclic);
    compound.children.back().samples[2].dimensions = {1, 2};
    compound.compound("empty");
    archive.top.properties.scalar<double>("s", 1, {{1}, {2}, {2}}, cyclic);
    return archive;
}

inline std::vector<archive_builder> small_archives() {
    return {small_mesh(), small_points(), small_properties(), archive_builder()};
}

} // namespace qel::test
