// SPDX-License-Identifier: MIT
// A scene file as a page: its meshes as stored, its frames as positions.
#include "examine/examined.h"
#include "terminal/text.h"
#include "view/page_load.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace tool {

namespace {

/// Whether a mesh's tokens are those that the library computes from its positions, so that the page can compute them.
/// Identities may contain 0, as the library's do for a single mesh, or the mesh's index in the file; `named` becomes
/// that number.
bool has_usual_tokens(const qel_alembic_mesh &mesh, std::uint32_t place, std::uint32_t &named) {
    qel_alembic_mesh made = mesh;
    made.vertices = nullptr;
    made.tokens = nullptr;
    const std::int32_t status = qel_alembic_process_mesh(&made, mesh.layer);
    const array<qel_alembic_vertex> vertices(made.vertices);
    const array<qel_alembic_token> tokens(made.tokens);
    if (status != QEL_OK || mesh.vertex_count == 0) return mesh.vertex_count == 0;
    named = std::memcmp(mesh.tokens[0].hex_id, made.tokens[0].hex_id, sizeof made.tokens[0].hex_id) == 0 ? 0 : place;
    for (std::uint32_t i = 0; named > 0 && i < mesh.vertex_count; ++i)
        qel_alembic_generate_token(&made.vertices[i], mesh.layer, named, i, &made.tokens[i]);
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i) {
        const qel_alembic_vertex &a = mesh.vertices[i], &b = made.vertices[i];
        const qel_alembic_token &s = mesh.tokens[i], &t = made.tokens[i];
        if (a.matrix_x != b.matrix_x || a.matrix_y != b.matrix_y || a.matrix_z != b.matrix_z ||
            a.k11_level != b.k11_level || a.i_state != b.i_state || a.phi_norm != b.phi_norm || s.morton != t.morton ||
            s.payload != t.payload || s.layer != t.layer || std::memcmp(s.hex_id, t.hex_id, sizeof s.hex_id) != 0)
            return false;
    }
    return true;
}

page_mesh still_mesh(const qel_alembic_mesh &mesh) {
    page_mesh made;
    made.layer = mesh.layer;
    made.positions.assign(mesh.positions, mesh.positions + std::size_t{mesh.vertex_count} * 3);
    if (mesh.indices != nullptr) made.triangles.assign(mesh.indices, mesh.indices + std::size_t{mesh.face_count} * 3);
    made.cells.reserve(made.positions.size());
    for (std::uint32_t i = 0; i < mesh.vertex_count; ++i)
        made.cells.insert(made.cells.end(),
                          {mesh.vertices[i].matrix_x, mesh.vertices[i].matrix_y, mesh.vertices[i].matrix_z});
    return made;
}

/// The frames that the page shows: those in which each mesh has its vertex count.
std::vector<std::uint32_t> usable_frames(const qel_alembic_file &scene) {
    std::vector<std::uint32_t> usable;
    for (std::uint32_t i = 0; i < scene.frame_count; ++i) {
        const qel_alembic_frame &frame = scene.frames[i];
        bool fits = frame.mesh_count <= scene.mesh_count && std::isfinite(frame.time);
        for (std::uint32_t m = 0; fits && m < frame.mesh_count; ++m)
            fits = frame.meshes[m].vertex_count == scene.meshes[m].vertex_count;
        if (fits) usable.push_back(i);
    }
    std::stable_sort(usable.begin(), usable.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return scene.frames[a].time < scene.frames[b].time; });
    return usable;
}

const float *positions_in(const qel_alembic_file &scene, std::uint32_t frame, std::size_t mesh) {
    return mesh < scene.frames[frame].mesh_count ? scene.frames[frame].meshes[mesh].positions
                                                 : scene.meshes[mesh].positions;
}

bool same_positions(const qel_alembic_file &scene, std::uint32_t frame, std::size_t mesh) {
    return std::memcmp(positions_in(scene, frame, mesh), scene.meshes[mesh].positions,
                       std::size_t{scene.meshes[mesh].vertex_count} * 3 * sizeof(float)) == 0;
}

/// The meshes of the file are the first frame, unless the first frame of the file equals them.
void add_frames(page_model &model, const std::shared_ptr<examined> &from) {
    const qel_alembic_file &scene = *from->scene.get();
    std::vector<std::uint32_t> frames = usable_frames(scene);
    if (frames.size() < scene.frame_count)
        model.notes.push_back(std::to_string(scene.frame_count - frames.size()) +
                              " frames are left out: their vertices are other ones than the scene's.");
    if (frames.empty()) return;
    bool repeated = true;
    for (std::size_t m = 0; m < model.meshes.size(); ++m) {
        for (const std::uint32_t frame : frames)
            model.meshes[m].moves = model.meshes[m].moves || !same_positions(scene, frame, m);
        repeated = repeated && same_positions(scene, frames[0], m);
    }
    if (!repeated) {
        model.times.push_back(scene.frames[frames[0]].time - 1 / model.rate);
        frames.insert(frames.begin(), frames[0]); // never read: the meshes hold them
    }
    for (std::size_t i = model.times.size(); i < frames.size(); ++i)
        model.times.push_back(scene.frames[frames[i]].time);
    model.positions_at = [from, frames](std::size_t mesh, std::size_t frame, std::vector<float> &out) {
        const qel_alembic_file &kept = *from->scene.get();
        const float *positions = positions_in(kept, frames[frame], mesh);
        out.assign(positions, positions + std::size_t{kept.meshes[mesh].vertex_count} * 3);
    };
}

} // namespace

page_model load_scene_page(const input_file &file) {
    const auto from = std::make_shared<examined>(file);
    from->must_be_usable();
    const qel_alembic_file &scene = *from->scene.get();
    page_model model;
    model.kind = "scene";
    if (scene.fps > 0 && std::isfinite(scene.fps)) model.rate = static_cast<double>(scene.fps);
    bool usual = true;
    for (std::uint32_t i = 0; i < scene.mesh_count; ++i) {
        const qel_alembic_mesh &mesh = scene.meshes[i];
        model.objects.push_back({std::string(mesh.name, ::strnlen(mesh.name, sizeof mesh.name)), -1, "Mesh"});
        model.meshes.push_back(still_mesh(mesh));
        model.meshes.back().object = i;
        usual = usual && has_usual_tokens(mesh, i, model.meshes.back().named);
    }
    for (std::uint32_t i = 0; !usual && i < scene.mesh_count; ++i) {
        const qel_alembic_mesh &mesh = scene.meshes[i];
        model.meshes[i].vertices.assign(mesh.vertices, mesh.vertices + mesh.vertex_count);
        model.meshes[i].tokens.assign(mesh.tokens, mesh.tokens + mesh.vertex_count);
    }
    add_frames(model, from);
    return model;
}

} // namespace tool
