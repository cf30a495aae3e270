// SPDX-License-Identifier: MIT
#include "view_model.h"

#include "convert/job.h"
#include "convert/step.h"
#include "examined.h"
#include "text.h"

#include <cmath>

namespace tool {

namespace {

void add_mesh(view_model &model, const qel_alembic_mesh &mesh) {
    const auto first = static_cast<std::uint32_t>(model.positions.size() / 3);
    model.parts.push_back({printable(mesh.name, sizeof mesh.name), first, mesh.vertex_count});
    model.positions.insert(model.positions.end(), mesh.positions,
                           mesh.positions + std::size_t{mesh.vertex_count} * 3);
    for (std::size_t i = 0; i < std::size_t{mesh.face_count} * 3; ++i)
        model.triangles.push_back(mesh.indices[i] + first);
    model.vertices.insert(model.vertices.end(), mesh.vertices, mesh.vertices + mesh.vertex_count);
    model.tokens.insert(model.tokens.end(), mesh.tokens, mesh.tokens + mesh.vertex_count);
}

/// Makes the tokens of bare geometry, as `qel convert` does.
void add_geometry(view_model &model, const input_file &file, const char *name, const float *positions,
                  std::uint32_t vertex_count, const std::uint32_t *triangles, std::uint32_t triangle_count) {
    scene_record made;
    made->meshes = static_cast<qel_alembic_mesh *>(std::calloc(1, sizeof(qel_alembic_mesh)));
    if (made->meshes != nullptr) made->mesh_count = 1;
    if (made->meshes == nullptr ||
        load_raw(positions, vertex_count, triangles, triangle_count, name, *made->meshes) != 0)
        throw failure(file.name(), "not enough memory");
    add_mesh(model, made->meshes[0]);
}

void load_from_cache(view_model &model, const examined &from) {
    const qel_mesh &cache = *from.cache.get();
    const std::uint32_t count = cache.header.vertex_count;
    add_geometry(model, from.file, "mesh", cache.positions, count, cache.indices,
                 cache.header.triangle_count);
    if (cache.normals != nullptr) model.normals.assign(cache.normals, cache.normals + std::size_t{count} * 3);
}

void load_from_archive(view_model &model, examined &from) {
    polymesh_record &mesh = from.mesh;
    try {
        const std::vector<std::uint32_t> triangles = job::fan_faces(mesh);
        add_geometry(model, from.file, mesh->name, mesh->positions, mesh->vertex_count, triangles.data(),
                     static_cast<std::uint32_t>(triangles.size() / 3));
    } catch (const job::step_failed &failed) {
        throw failure(from.file.name(), failed.meaning());
    }
}

/// Each vertex gets the sum of its triangles' normals, which are as long as the triangles are large.
void sum_normals(view_model &model) {
    model.normals.assign(model.positions.size(), 0.0f);
    for (std::size_t t = 0; t + 2 < model.triangles.size(); t += 3) {
        const float *corner[3];
        for (std::size_t i = 0; i < 3; ++i)
            corner[i] = model.positions.data() + std::size_t{model.triangles[t + i]} * 3;
        float u[3], v[3];
        for (int axis = 0; axis < 3; ++axis) {
            u[axis] = corner[1][axis] - corner[0][axis];
            v[axis] = corner[2][axis] - corner[0][axis];
        }
        const float normal[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                 u[0] * v[1] - u[1] * v[0]};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t axis = 0; axis < 3; ++axis)
                model.normals[std::size_t{model.triangles[t + i]} * 3 + axis] += normal[axis];
    }
}

void normalise(std::vector<float> &normals) {
    for (std::size_t i = 0; i < normals.size(); i += 3) {
        const float length = std::hypot(normals[i], normals[i + 1], normals[i + 2]);
        const bool usable = std::isfinite(length) && length > 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            normals[i + axis] = usable ? normals[i + axis] / length : axis == 2 ? 1.0f : 0.0f;
    }
}

} // namespace

view_model load_view(const input_file &file) {
    if (file.kind() == file_kind::unit || file.kind() == file_kind::agents)
        throw failure(file.name(), std::string("is of the kind ") + name_of(file.kind()) +
                                       ", but view wants an archive, a scene or a mesh cache");
    examined from(file);
    from.must_be_usable();
    view_model model;
    for (std::uint32_t i = 0; i < from.scene->mesh_count; ++i)
        add_mesh(model, from.scene->meshes[i]);
    if (file.kind() == file_kind::mesh_cache) load_from_cache(model, from);
    if (file.kind() == file_kind::archive) load_from_archive(model, from);
    if (model.positions.size() / 3 >= 0xFFFFFFFFu)
        throw failure(file.name(), "too many vertices for one page");
    if (model.normals.empty()) sum_normals(model);
    normalise(model.normals);
    return model;
}

} // namespace tool
