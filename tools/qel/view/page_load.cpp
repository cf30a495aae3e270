// SPDX-License-Identifier: MIT
#include "view/page_load.h"

#include "examine/archive_scene.h"
#include "examine/examined.h"
#include "terminal/text.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

void add_mesh(page_model &model, const std::string &name, page_mesh mesh) {
    mesh.object = static_cast<std::uint32_t>(model.objects.size());
    mesh.cells = cells_of(mesh.positions, box_of(mesh.positions));
    model.objects.push_back({name, -1, "Mesh"});
    model.meshes.push_back(std::move(mesh));
}

void add_cache(page_model &model, const input_file &file, const std::string &name) {
    const examined from(file);
    from.must_be_usable();
    const qel_mesh *cache = from.cache.get();
    const std::size_t numbers = std::size_t{cache->header.vertex_count} * 3;
    page_mesh mesh;
    mesh.positions.assign(cache->positions, cache->positions + numbers);
    mesh.triangles.assign(cache->indices, cache->indices + std::size_t{cache->header.triangle_count} * 3);
    if (cache->normals != nullptr) mesh.normals.assign(cache->normals, cache->normals + numbers);
    add_mesh(model, name, std::move(mesh));
}

page_model load_by_bytes(const input_file &file) {
    const examined from(file);
    from.must_be_usable();
    page_model model;
    model.kind = "archive, by its bytes";
    page_mesh mesh;
    mesh.positions.assign(from.mesh->positions, from.mesh->positions + std::size_t{from.mesh->vertex_count} * 3);
    mesh.triangles = fan_triangles(*from.mesh.get());
    add_mesh(model, from.mesh->name, std::move(mesh));
    return model;
}

} // namespace

page_model load_page(const input_file &file, bool by_bytes) {
    const file_kind kind = file.kind();
    if (kind == file_kind::unit || kind == file_kind::agents)
        throw failure(file.name(), std::string("is of the kind ") + name_of(kind) +
                                       ", but view wants an archive, a scene or a mesh cache");
    if (kind == file_kind::scene) return load_scene_page(file);
    if (kind == file_kind::archive && !by_bytes) return load_archive_page(file);
    if (kind != file_kind::mesh_cache) return load_by_bytes(file);
    page_model model;
    model.kind = name_of(kind);
    add_cache(model, file, std::filesystem::path(file.name()).stem().string());
    return model;
}

page_model load_folder(const std::string &folder) {
    std::vector<std::filesystem::path> paths;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (entry->path().extension() == ".qelm") paths.push_back(entry->path());
    if (error) throw failure(folder, error.message());
    if (paths.empty()) throw failure(folder, "has no mesh cache (*.qelm) in it");
    std::sort(paths.begin(), paths.end());
    page_model model;
    model.kind = paths.size() == 1 ? "mesh cache" : "mesh caches";
    for (const std::filesystem::path &path : paths)
        add_cache(model, input_file(path.string()), path.stem().string());
    return model;
}

} // namespace tool
