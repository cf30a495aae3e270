// SPDX-License-Identifier: MIT
#include "join.h"

#include <algorithm>
#include <memory>

namespace web {

namespace {

using tool::page_mesh;
using tool::page_model;

/// For each time of all files the frame of one file at that time.
std::vector<std::size_t> own_frames(const std::vector<double> &all, const std::vector<double> &own) {
    std::vector<std::size_t> frames;
    for (const double time : all) {
        const auto next = std::upper_bound(own.begin(), own.end(), time);
        frames.push_back(next == own.begin() ? 0 : static_cast<std::size_t>(next - own.begin()) - 1);
    }
    return frames;
}

std::size_t first_from(const std::vector<std::size_t> &frames, std::size_t own) {
    return static_cast<std::size_t>(std::lower_bound(frames.begin(), frames.end(), own) - frames.begin());
}

std::vector<double> times_of_all(const std::vector<named_model> &parts) {
    std::vector<double> times;
    for (const named_model &part : parts)
        if (part.model.times.size() > 1) times.insert(times.end(), part.model.times.begin(), part.model.times.end());
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

/// Computes the tokens of a mesh that does not list them: the page lists tokens for all meshes or none.
void say_tokens(page_mesh &mesh) {
    if (!mesh.tokens.empty() || mesh.positions.empty()) return;
    qel_alembic_mesh made{};
    made.vertex_count = static_cast<std::uint32_t>(mesh.vertex_count());
    made.face_count = static_cast<std::uint32_t>(mesh.triangles.size() / 3);
    made.positions = mesh.positions.data();
    made.indices = mesh.triangles.empty() ? nullptr : mesh.triangles.data();
    if (qel_alembic_process_mesh(&made, mesh.layer) != QEL_OK) throw std::bad_alloc();
    mesh.vertices.assign(made.vertices, made.vertices + made.vertex_count);
    mesh.tokens.assign(made.tokens, made.tokens + made.vertex_count);
    for (std::uint32_t i = 0; i < made.vertex_count; ++i)
        qel_alembic_generate_token(&mesh.vertices[i], mesh.layer, mesh.named, i, &mesh.tokens[i]);
    std::free(made.vertices);
    std::free(made.tokens);
}

/// The source of a mesh of the joined model.
struct origin {
    std::size_t part, mesh;
};

struct joined {
    std::vector<named_model> parts;
    std::vector<std::vector<std::size_t>> frames; ///< of each part
    std::vector<origin> origins;

    void positions_at(std::size_t mesh, std::size_t frame, std::vector<float> &out) const {
        const origin &from = origins[mesh];
        const std::size_t own = frames[from.part][frame];
        if (own == 0)
            out = parts[from.part].model.meshes[from.mesh].positions;
        else
            parts[from.part].model.positions_at(from.mesh, own, out);
    }
};

void add(page_model &all, joined &sources, std::size_t number) {
    named_model &part = sources.parts[number];
    const std::vector<std::size_t> &frames = sources.frames[number];
    const auto top = static_cast<std::int64_t>(all.objects.size());
    all.objects.push_back({part.name, -1, part.model.kind});
    for (tool::page_object object : part.model.objects) {
        object.parent += top + 1; // -1 becomes the file's own object
        all.objects.push_back(std::move(object));
    }
    for (std::size_t i = 0; i < part.model.meshes.size(); ++i) {
        page_mesh mesh = part.model.meshes[i];
        mesh.object += static_cast<std::uint32_t>(top) + 1;
        if (mesh.shown_to > 0) {
            const bool to_the_end = mesh.shown_to >= part.model.times.size();
            mesh.shown_from = mesh.shown_from == 0 ? 0 : first_from(frames, mesh.shown_from);
            mesh.shown_to = to_the_end ? all.times.size() : first_from(frames, mesh.shown_to);
        }
        all.meshes.push_back(std::move(mesh));
        sources.origins.push_back({number, i});
        page_mesh &kept = part.model.meshes[i];
        if (!kept.moves) kept = {}; // not read any more
    }
    for (const std::string &note : part.model.notes)
        all.notes.push_back(part.name + ": " + note);
}

} // namespace

page_model join(std::vector<named_model> parts) {
    page_model all;
    all.kind = "files";
    all.times = times_of_all(parts);
    const auto sources = std::make_shared<joined>();
    sources->parts = std::move(parts);
    for (std::size_t i = 0; i < sources->parts.size(); ++i) {
        const page_model &model = sources->parts[i].model;
        sources->frames.push_back(own_frames(all.times, model.times));
        all.title += (i > 0 ? " + " : "") + sources->parts[i].name;
        if (model.times.size() > 1) all.rate = std::max(all.rate, model.rate);
        add(all, *sources, i);
    }
    const auto says = [](const page_mesh &mesh) { return !mesh.tokens.empty(); };
    if (std::any_of(all.meshes.begin(), all.meshes.end(), says))
        for (page_mesh &mesh : all.meshes)
            say_tokens(mesh);
    all.positions_at = [sources](std::size_t mesh, std::size_t frame, std::vector<float> &out) {
        sources->positions_at(mesh, frame, out);
    };
    return all;
}

} // namespace web
