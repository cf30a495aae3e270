// SPDX-License-Identifier: MIT
#include "files/formats.h"

namespace tool {

namespace {

// A scene's mesh without its arrays: name, two counts, bounds, a reserved word and the layer. A frame without its
// meshes: number, time and count.
constexpr std::uint64_t mesh_bytes = sizeof(qel_alembic_mesh::name) + 2 * sizeof(std::uint32_t) +
                                     sizeof(qel_alembic_mesh::bounds) + sizeof(std::uint32_t) + 1,
                        frame_bytes = sizeof(std::int32_t) + sizeof(float) + sizeof(std::uint32_t);
static_assert(mesh_bytes == 101 && frame_bytes == 12);

} // namespace

std::uint64_t scene_file_bytes(const qel_alembic_file &scene) {
    std::uint64_t bytes = sizeof(scene_header);
    for (std::uint32_t i = 0; i < scene.mesh_count; ++i)
        bytes += mesh_bytes + scene_array_bytes(scene.meshes[i].vertex_count, scene.meshes[i].face_count);
    for (std::uint32_t i = 0; i < scene.frame_count; ++i) {
        bytes += frame_bytes;
        for (std::uint32_t m = 0; m < scene.frames[i].mesh_count; ++m)
            bytes += sizeof(std::uint32_t) + scene.frames[i].meshes[m].vertex_count * triple_bytes;
    }
    return bytes;
}

std::uint64_t cache_file_bytes(const ogawa_polymesh &mesh, std::uint64_t triangles, const qel_skin *skin) {
    const std::uint64_t vectors = mesh.normals != nullptr ? 2 : 1; // positions, and normals if there are any
    std::uint64_t bytes = sizeof(qel_mesh_header) + (mesh.vertex_count * vectors + triangles) * triple_bytes;
    if (skin != nullptr)
        bytes += 2 * sizeof(std::uint32_t) + skin->joint_count * sizeof(qel_skin_joint) +
                 skin->weight_count * sizeof(qel_skin_weight) + sizeof skin->bind_extra;
    return bytes;
}

} // namespace tool
