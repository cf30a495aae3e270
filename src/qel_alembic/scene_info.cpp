// SPDX-License-Identifier: MIT
#include "common/fixed_text.h"
#include "qel_alembic/scene.h"
#include "qel_unit/matrix_48.h"

#include <cstdio>

namespace qel {
namespace {

qel_status validate_mesh(const qel_alembic_mesh &mesh) {
    constexpr int last_cell = lattice_edge - 1;
    constexpr int max_level = 11;
    if (mesh.positions == nullptr) return QEL_ALEMBIC_VALIDATE_NO_POSITIONS;
    if (mesh.vertex_count == 0) return QEL_ALEMBIC_VALIDATE_NO_VERTICES;
    if (mesh.vertices == nullptr) return QEL_OK; // not processed yet
    const qel_alembic_vertex *const end = mesh.vertices + mesh.vertex_count;
    for (const qel_alembic_vertex *vertex = mesh.vertices; vertex != end; ++vertex) {
        if (vertex->matrix_x > last_cell || vertex->matrix_y > last_cell || vertex->matrix_z > last_cell)
            return QEL_ALEMBIC_VALIDATE_CELL_OUTSIDE;
        if (vertex->k11_level < -max_level || vertex->k11_level > max_level) return QEL_ALEMBIC_VALIDATE_LEVEL_OUTSIDE;
    }
    return QEL_OK;
}

const char *yes_or_no(const void *array) {
    return array != nullptr ? "yes" : "no";
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_alembic_validate(const qel_alembic_file *scene) {
    if (scene == nullptr) return QEL_ALEMBIC_VALIDATE_BAD_ARGUMENT;
    const std::uint32_t mesh_count = meshes_in(*scene);
    if (mesh_count == 0) return QEL_ALEMBIC_VALIDATE_NO_MESHES;
    for (std::uint32_t i = 0; i < mesh_count; ++i) {
        const qel_status status = validate_mesh(scene->meshes[i]);
        if (status != QEL_OK) return status;
    }
    return QEL_OK;
}

// Names that come from a file may have no zero byte, so every text is bounded by its field.

void qel_alembic_file_info(const qel_alembic_file *scene, char *buf, std::int32_t size) {
    if (buf == nullptr || size < 1 || scene == nullptr) return;
    std::snprintf(buf, static_cast<std::size_t>(size),
                  "QEL Alembic File\n"
                  "================\n"
                  "Version: %u\n"
                  "Meshes: %u\n"
                  "Total Vertices: %llu\n"
                  "Total Faces: %llu\n"
                  "Total Tokens: %llu\n"
                  "Frames: %u\n"
                  "FPS: %s\n"
                  "Time Range: %s - %s sec\n"
                  "Source: %.*s",
                  scene->version, scene->mesh_count, static_cast<unsigned long long>(scene->total_vertices),
                  static_cast<unsigned long long>(scene->total_faces),
                  static_cast<unsigned long long>(scene->total_tokens), scene->frame_count, fixed(scene->fps, 2).text,
                  fixed(scene->time_start, 3).text, fixed(scene->time_end, 3).text,
                  static_cast<int>(sizeof scene->source), scene->source);
}

void qel_alembic_mesh_info(const qel_alembic_mesh *mesh, char *buf, std::int32_t size) {
    if (buf == nullptr || size < 1 || mesh == nullptr) return;
    const auto bound = [mesh](int i) { return fixed(mesh->bounds[i], 3); };
    std::snprintf(buf, static_cast<std::size_t>(size),
                  "Mesh: %.*s\n"
                  "Vertices: %u\n"
                  "Faces: %u\n"
                  "Bounds: [%s,%s,%s] - [%s,%s,%s]\n"
                  "Layer: L%d\n"
                  "QEL Processed: %s\n"
                  "Tokens Generated: %s",
                  static_cast<int>(sizeof mesh->name), mesh->name, mesh->vertex_count, mesh->face_count, bound(0).text,
                  bound(1).text, bound(2).text, bound(3).text, bound(4).text, bound(5).text, mesh->layer,
                  yes_or_no(mesh->vertices), yes_or_no(mesh->tokens));
}

} // extern "C"
