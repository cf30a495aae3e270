// SPDX-License-Identifier: MIT
#include "examine/examined.h"
#include "examine/lattice.h"
#include "terminal/text.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

constexpr std::uint32_t max_listed = 20; // meshes; a damaged file may count millions

void check_vertices(report &about, const std::string &name, const qel_alembic_mesh &mesh) {
    tally cells, levels, states, norms, keys, moved;
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        const qel_alembic_vertex &vertex = mesh.vertices[i];
        if (std::max({vertex.matrix_x, vertex.matrix_y, vertex.matrix_z}) >= lattice_edge) cells.found(i);
        if (std::abs(vertex.k11_level) > max_level) levels.found(i);
        if (vertex.i_state < min_state || vertex.i_state > max_state) states.found(i);
        if (!std::isfinite(vertex.phi_norm) || !std::isfinite(vertex.em_coupling)) norms.found(i);
        if (vertex.morton != mesh.tokens[i].morton) keys.found(i);
        if (std::memcmp(vertex.position, mesh.positions + std::size_t{i} * 3, sizeof vertex.position) != 0)
            moved.found(i);
    }
    const std::string noun = name + " vertex";
    cells.add_problem(about, noun.c_str(), "a cell outside the lattice");
    levels.add_problem(about, noun.c_str(), "a level outside -11..11");
    states.add_problem(about, noun.c_str(), "an impossible state");
    norms.add_problem(about, noun.c_str(), "a norm or coupling that is not finite");
    keys.add_problem(about, noun.c_str(), "another key than its token");
    moved.add_problem(about, noun.c_str(), "another position than the mesh");
}

void check_mesh(report &about, const std::string &name, const qel_alembic_mesh &mesh) {
    if (std::memchr(mesh.name, '\0', sizeof mesh.name) == nullptr) about.problem(name + "'s name has no end");
    if (mesh.vertex_count == 0) about.problem(name + " has no vertices");
    if (mesh.positions == nullptr || mesh.vertices == nullptr || mesh.tokens == nullptr ||
        (mesh.face_count > 0 && mesh.indices == nullptr)) {
        about.problem(name + " is not there");
        return;
    }
    check_box(about, name + "'s bounds", mesh.bounds, mesh.bounds + 3);
    check_finite(about, name + " position", mesh.positions, mesh.vertex_count);
    check_indices(about, name + " triangle", mesh.indices, std::uint64_t{mesh.face_count} * 3, mesh.vertex_count);
    check_vertices(about, name, mesh);
}

void check_frame(report &about, const qel_alembic_frame &frame, std::uint32_t number) {
    const std::string name = "frame " + std::to_string(number);
    if (!std::isfinite(frame.time)) about.problem(name + "'s time is not finite");
    if (frame.mesh_count > 0 && frame.meshes == nullptr) {
        about.problem(name + " is not there");
        return;
    }
    for (std::uint32_t i = 0; i < frame.mesh_count; ++i) {
        const qel_alembic_mesh &mesh = frame.meshes[i];
        if (mesh.positions == nullptr && mesh.vertex_count > 0)
            about.problem(name + " lacks the positions of mesh " + std::to_string(i));
        else
            check_finite(about, name + " position", mesh.positions, mesh.vertex_count);
    }
}

void check_scene(report &about, const qel_alembic_file &scene, const input_file &file) {
    const std::uint64_t needed = scene_file_bytes(scene);
    compare_sizes(about, file.size(), needed);
    if (file.size() < needed) { // the rest was read as zeros, perhaps gigabytes of them
        about.readable = false;
        return;
    }
    if (scene.mesh_count == 0) about.problem("it has no meshes");
    for (std::uint32_t i = 0; i < scene.mesh_count; ++i)
        check_mesh(about, "mesh " + std::to_string(i), scene.meshes[i]);
    for (std::uint32_t i = 0; i < scene.frame_count; ++i)
        check_frame(about, scene.frames[i], i);
    if (!std::isfinite(scene.fps) || !std::isfinite(scene.time_start) || !std::isfinite(scene.time_end))
        about.problem("its times are not finite");
    const std::uint64_t claimed = file.header<scene_header>().total_vertices;
    if (claimed != 0 && claimed != scene.total_vertices && scene.mesh_count > 0) // 0: saved before an index was built
        about.problem("its header counts " + std::to_string(claimed) + " vertices, its meshes " +
                      std::to_string(scene.total_vertices));
}

void load_scene(const input_file &file, qel_alembic_file &scene) {
    must_be_ok(file, qel_alembic_load(file.path(), &scene), scene_load_meanings);
}

void scene_facts(report &about, scene_record &scene) {
    about.fact("version", scene->version);
    about.fact("flags", scene->flags);
    about.fact("meshes", scene->mesh_count);
    about.fact("vertices", scene->total_vertices);
    about.fact("tokens", scene->total_tokens);
    std::uint64_t triangles = 0; // the header holds the writer's count
    for (std::uint32_t i = 0; i < scene->mesh_count; ++i)
        triangles += scene->meshes[i].face_count;
    about.fact("triangles", triangles);
    about.fact("frames", scene->frame_count);
    about.fact("time", format("%g to %g at %g per second", double{scene->time_start}, double{scene->time_end},
                              double{scene->fps}));
    for (std::uint32_t i = 0; i < std::min(scene->mesh_count, max_listed); ++i) {
        const qel_alembic_mesh &mesh = scene->meshes[i];
        about.fact("mesh " + std::to_string(i),
                   format("\"%s\", %s, %s, layer %u, %s",
                          printable(mesh.name, strnlen(mesh.name, sizeof mesh.name)).c_str(),
                          counted(mesh.vertex_count, "vertex").c_str(), counted(mesh.face_count, "triangle").c_str(),
                          unsigned{mesh.layer}, box_text(mesh.bounds, mesh.bounds + 3).c_str()));
    }
    if (scene->mesh_count > max_listed) about.fact("more meshes", scene->mesh_count - max_listed);
}

} // namespace

void examine_scene(examined &what) {
    if (what.file.size() < sizeof(scene_header)) return what.about.fatal("its header is cut short");
    load_scene(what.file, *what.scene.get());
    scene_facts(what.about, what.scene);
    check_scene(what.about, *what.scene.get(), what.file);
}

} // namespace tool
