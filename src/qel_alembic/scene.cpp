// SPDX-License-Identifier: MIT
// The release of a scene and of a mesh.
#include "qel_alembic/scene.h"

#include "common/heap.h"

namespace qel {
namespace {

void free_arrays(const qel_alembic_mesh &mesh) {
    std::free(mesh.positions);
    std::free(mesh.indices);
    std::free(mesh.vertices);
    std::free(mesh.tokens);
}

/// Frees the meshes of a scene or frame. Does not write to an owner without meshes: the surplus records of a wrong
/// count are zero pages, and a write would commit each page.
template <class Owner>
void release_meshes(Owner &owner) {
    if (owner.meshes == nullptr) return;
    for (std::uint32_t i = 0; i < meshes_in(owner); ++i)
        free_arrays(owner.meshes[i]);
    release(owner.meshes);
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

void qel_alembic_free(qel_alembic_file *scene) {
    if (scene == nullptr) return;
    release_meshes(*scene);
    for (std::uint32_t i = 0; i < frames_in(*scene); ++i)
        release_meshes(scene->frames[i]);
    release(scene->frames);
    release(scene->hash);
    scene->mesh_count = 0;
    scene->frame_count = 0;
}

void qel_alembic_mesh_free(qel_alembic_mesh *mesh) {
    if (mesh == nullptr) return;
    release(mesh->positions);
    release(mesh->indices);
    release(mesh->vertices);
    release(mesh->tokens);
    mesh->vertex_count = 0;
}

} // extern "C"
