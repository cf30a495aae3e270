// SPDX-License-Identifier: MIT
// make_tool_archives FOLDER: small archives for the tests of the tool, each with one thing that is easy to get wrong.
#include "support/archive_schemas.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace qel::test;

polymesh triangle(float size = 1) {
    polymesh mesh;
    mesh.points = {{0, 0, 0, size, 0, 0, 0, size, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    return mesh;
}

/// Paths that are the same once they are cut, that differ in case alone, and that are no valid file names.
archive_builder names() {
    archive_builder scene;
    const std::string end(70, 'e');
    for (const char *parent : {"first", "second", "third"})
        add_polymesh(add_xform(scene.top, parent), end, triangle());
    add_polymesh(scene.top, "A", triangle());
    add_polymesh(scene.top, "a", triangle());
    add_polymesh(scene.top, "..", triangle());
    add_polymesh(scene.top, "\x1b[31m*?\n", triangle());
    return scene;
}

/// A scene with everything that a conversion leaves out, beside one mesh.
archive_builder left_out() {
    archive_builder scene;
    const std::uint32_t film = scene.add_sampling({0.5, {0}});
    add_polymesh(scene.top, "shown", triangle());
    set_visible(add_polymesh(scene.top, "hidden", triangle()), {0});
    set_visible(add_polymesh(scene.top, "shown_later", triangle()), {0, 1}, film);
    polymesh empty;
    empty.points = {{}};
    empty.face_counts = {{}};
    empty.face_indices = {{}};
    add_polymesh(scene.top, "empty", empty);
    add_points(scene.top, "dots", {{1, 2, 3}});
    return scene;
}

/// Faces that change from sample to sample, the first without any, beside a constant mesh and a moving one.
archive_builder changing() {
    archive_builder scene;
    const std::uint32_t film = scene.add_sampling({0.1, {1}});
    polymesh mesh;
    mesh.points = {{}, {0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}};
    mesh.face_counts = {{}, {3}, {4}};
    mesh.face_indices = {{}, {0, 1, 2}, {0, 1, 3, 2}};
    mesh.time_sampling = film;
    add_polymesh(scene.top, "growing", mesh);
    add_polymesh(scene.top, "still", triangle(2));
    object_node &arm =
        add_moving_xform(scene.top, "arm", {{translate(0, 0, 0)}, {translate(5, 0, 0)}, {translate(9, 0, 0)}}, film);
    add_polymesh(arm, "hand", triangle());
    return scene;
}

/// Normals of each kind, turned by a transform that also stretches.
archive_builder normal_kinds() {
    archive_builder scene;
    object_node &place = add_xform(scene.top, "place", {rotate_x(90), scale(1, 1, 4)});
    const std::vector<float> up{0, 0, 1};
    for (const char *scope : {"con", "uni"}) {
        polymesh mesh = triangle();
        mesh.parameters = {normals({up}, scope)};
        add_polymesh(place, scope, mesh);
    }
    for (const char *scope : {"var", "vtx", "fvr"}) {
        polymesh mesh = triangle();
        mesh.parameters = {normals({{0, 0, 1, 0, 0, 1, 0, 0, 1}}, scope)};
        add_polymesh(place, scope, mesh);
    }
    polymesh indexed = triangle();
    indexed.parameters = {normals({{1, 0, 0, 0, 0, 1}}, "fvr")};
    indexed.parameters[0].indices = {{1, 1, 1}};
    add_polymesh(place, "indexed", indexed);
    return scene;
}

/// A mesh of few faces that deforms over as many samples as the megabytes take.
archive_builder large(int megabytes) {
    constexpr int points = 20000;
    archive_builder scene;
    polymesh mesh = triangle();
    mesh.points.clear();
    for (int sample = 0; sample < megabytes * 1000000 / (points * 12) + 1; ++sample)
        mesh.points.emplace_back(std::size_t{points} * 3, static_cast<float>(sample));
    mesh.time_sampling = scene.add_sampling({0.04, {0}});
    mesh.bounds = false;
    add_polymesh(scene.top, "cloth", mesh);
    return scene;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_tool_archives FOLDER [MEGABYTES of a large one]\n");
        return 2;
    }
    const std::string folder = argv[1];
    if (argc > 2) {
        large(std::atoi(argv[2])).save(folder + "/large.abc");
        return 0;
    }
    names().save(folder + "/names.abc");
    left_out().save(folder + "/left_out.abc");
    changing().save(folder + "/changing.abc");
    normal_kinds().save(folder + "/normals.abc");
    return 0;
}
