// SPDX-License-Identifier: MIT
// An archive as a page: its visible meshes, in world space, at every frame.
#include "examine/archive_scene.h"
#include "examine/owned.h"
#include "terminal/text.h"
#include "view/page_load.h"

#include <algorithm>
#include <map>
#include <memory>

namespace tool {

namespace {

/// One value of `width` numbers for each vertex; for corner values, the last corner of a vertex counts.
std::vector<float> by_vertex(const ogawa_polymesh &mesh, const float *values, const std::uint32_t *indices,
                             std::uint32_t scope, std::size_t width) {
    std::vector<float> out;
    if (values == nullptr ||
        (scope != OGAWA_SCOPE_VARYING && scope != OGAWA_SCOPE_VERTEX && scope != OGAWA_SCOPE_FACE_VARYING))
        return out;
    out.resize(mesh.vertex_count * width);
    const std::uint32_t count = scope == OGAWA_SCOPE_FACE_VARYING ? mesh.face_index_count : mesh.vertex_count;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t from = indices != nullptr ? indices[i] : i;
        const std::size_t to = scope == OGAWA_SCOPE_FACE_VARYING ? mesh.face_indices[i] : i;
        std::copy_n(values + from * width, width, out.data() + to * width);
    }
    return out;
}

std::string kind_text(ogawa_schema kind) {
    return kind == OGAWA_SCHEMA_UNKNOWN ? "Object" : ogawa_schema_to_string(kind);
}

/// Lists the meshes' objects and their ancestors, each once, parents first.
class outline {
  public:
    outline(page_model &model, const archive_scene &scene) : model_(model), scene_(scene) {}

    std::int64_t place_of(std::uint32_t object) {
        qel_archive_object about;
        if (object == 0 || object == QEL_NOT_FOUND ||
            qel_archive_get_object(scene_.archive(), object, &about) != QEL_ARCHIVE_OK)
            return -1; // the top object is not listed
        const auto known = places_.find(object);
        if (known != places_.end()) return known->second;
        const std::int64_t parent = place_of(about.parent);
        const auto place = static_cast<std::int64_t>(model_.objects.size());
        model_.objects.push_back({about.name, parent, kind_text(about.kind)});
        return places_[object] = place;
    }

  private:
    page_model &model_;
    const archive_scene &scene_;
    std::map<std::uint32_t, std::int64_t> places_;
};

page_mesh read_page_mesh(const archive_scene &scene, const scene_mesh &from, std::size_t frame) {
    polymesh_record read;
    scene.read(from, scene.times()[frame], *read.get());
    page_mesh mesh;
    mesh.moves = from.moves && from.info.topology != QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE && scene.times().size() > 1;
    mesh.positions.assign(read->positions, read->positions + std::size_t{read->vertex_count} * 3);
    mesh.triangles = fan_triangles(*read.get(), &mesh.continues);
    mesh.normals = by_vertex(*read.get(), read->normals, read->normal_indices, read->normal_scope, 3);
    if (read->uv_set_count > 0) {
        const ogawa_uv_set &set = read->uv_sets[0];
        mesh.uvs = by_vertex(*read.get(), set.values, set.indices, set.scope, 2);
    }
    mesh.cells = cells_of(mesh.positions, box_of(mesh.positions));
    return mesh;
}

/// Adds a mesh whose faces change as one mesh for each frame, shown at that frame only.
void add_changing(page_model &model, std::vector<std::size_t> &sources, const archive_scene &scene,
                  std::size_t number) {
    const std::size_t count = scene.times().size();
    for (std::size_t frame = 0; frame < count; ++frame) {
        page_mesh mesh = read_page_mesh(scene, scene.meshes()[number], frame);
        mesh.shown_from = frame;
        mesh.shown_to = frame + 1;
        model.meshes.push_back(std::move(mesh));
        sources.push_back(number);
    }
}

/// The number of each mesh in its tokens' identities: polygon meshes first, as in a converted scene.
std::vector<std::uint32_t> token_names(const archive_scene &scene) {
    scene_choice polygons;
    polygons.points = false;
    std::vector<std::uint32_t> names(scene.meshes().size());
    std::uint32_t next = 0;
    for (const bool polygon : {true, false})
        for (std::size_t i = 0; i < names.size(); ++i)
            if (polygons.takes_kind(scene.meshes()[i].kind) == polygon) names[i] = next++;
    return names;
}

void add_notes(page_model &model, const archive_scene &scene) {
    const auto note = [&](std::size_t count, const char *rest) {
        if (count > 0) model.notes.push_back(std::to_string(count) + (count == 1 ? " mesh " : " meshes ") + rest);
    };
    note(scene.hidden_count(), "hidden in the archive, left out.");
    note(scene.empty_count(), "without a point, left out.");
}

} // namespace

page_model load_archive_page(const input_file &file) {
    const auto scene = std::make_shared<archive_scene>(file);
    page_model model;
    model.kind = "archive";
    model.rate = scene->rate();
    outline objects(model, *scene);
    std::vector<std::size_t> sources; // for each mesh of the page its index in the scene
    const std::vector<std::uint32_t> names = token_names(*scene);
    bool moves = false;
    for (std::size_t number = 0; number < scene->meshes().size(); ++number) {
        const scene_mesh &mesh = scene->meshes()[number];
        const std::size_t first = model.meshes.size();
        if (mesh.info.topology == QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE && scene->times().size() > 1) {
            add_changing(model, sources, *scene, number);
            moves = true;
        } else {
            model.meshes.push_back(read_page_mesh(*scene, mesh, 0));
            sources.push_back(number);
            moves = moves || model.meshes.back().moves;
        }
        const auto object = static_cast<std::uint32_t>(objects.place_of(mesh.object));
        for (std::size_t i = first; i < model.meshes.size(); ++i) {
            model.meshes[i].object = object;
            model.meshes[i].named = names[number];
        }
    }
    if (moves) model.times = scene->times();
    model.positions_at = [scene, sources](std::size_t mesh, std::size_t frame, std::vector<float> &positions) {
        scene->read_positions(scene->meshes()[sources[mesh]], scene->times()[frame], positions);
    };
    add_notes(model, *scene);
    return model;
}

} // namespace tool
