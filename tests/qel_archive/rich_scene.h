// SPDX-License-Identifier: MIT
// An archive for tests that call every function.
#pragma once

#include "qel_archive/opened_archive.h"

namespace qel::test {

/// An archive with something of everything.
inline archive_builder rich_scene() {
    archive_builder scene;
    const std::uint32_t film = scene.add_sampling({1.0 / 24, {0}});
    object_node &arm = add_xform(scene.top, "arm", {translate(1, 2, 3)});
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 0, 1, 1, 0, 0, 0, 1, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    mesh.time_sampling = film;
    mesh.parameters = {normals({{0, 0, 1, 0, 0, 1, 0, 0, 1}}), uvs({{0, 0, 1, 0, 0, 1}}, "fvr", "map")};
    for (geometry_parameter &each : mesh.parameters)
        each.indices = {{0, 1, 2}};
    mesh.more_parameters = {uvs({{0, 0, 1, 0, 0, 1}}, "vtx")};
    mesh.more_parameters.back().name = "second";
    add_polymesh(arm, "hand", mesh).inline_metadata = true;
    add_points(arm, "dust", {{1, 2, 3}});
    for (int i = 0; i < 12; ++i)
        arm.add("finger" + std::to_string(i * 5 % 12));
    add_instance(scene.top, "other_arm", "/arm");
    return scene;
}

} // namespace qel::test
