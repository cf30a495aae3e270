// SPDX-License-Identifier: MIT
#include "baseline/mesh_cache.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

qel_mesh_header header_of(const ogawa_polymesh &mesh, std::uint32_t triangles) {
    qel_mesh_header header = {};
    std::memcpy(header.magic, "QELM", 4);
    header.version = 2;
    const bool normals = mesh.normals != nullptr && mesh.normal_count > 0;
    header.flags = normals ? QEL_MESH_HAS_NORMALS : 0;
    header.vertex_count = mesh.vertex_count;
    header.triangle_count = triangles;
    header.reserved = 1;
    std::memcpy(header.bounds_min, mesh.bounds_min, sizeof header.bounds_min);
    std::memcpy(header.bounds_max, mesh.bounds_max, sizeof header.bounds_max);
    header.positions_offset = 64;
    header.normals_offset = normals ? 64 + 12 * mesh.vertex_count : 0;
    header.indices_offset = 64 + 12 * mesh.vertex_count * (normals ? 2 : 1);
    return header;
}

/// Sums the normals of each vertex's corners, corner by corner, and normalizes the sums.
void write_average_normals(std::FILE *stream, const ogawa_polymesh &mesh) {
    const std::size_t vertices = mesh.vertex_count;
    auto *const sums = static_cast<float *>(std::calloc(vertices * 3, sizeof(float)));
    auto *const counts = static_cast<std::uint32_t *>(std::calloc(vertices, sizeof(std::uint32_t)));
    std::size_t k = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        for (std::uint32_t c = 0; c < mesh.face_counts[f] && k < mesh.face_index_count; ++c, ++k) {
            const float *const normal = &mesh.normals[k < mesh.normal_count ? k * 3 : 0];
            const std::size_t w = mesh.face_indices[k];
            for (std::size_t axis = 0; axis < 3; ++axis)
                sums[w * 3 + axis] += normal[axis];
            counts[w] += 1;
        }
    for (std::size_t v = 0; v < vertices; ++v) {
        float *const n = &sums[v * 3];
        if (counts[v] == 0) continue;
        const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (length > 1e-8f)
            for (std::size_t axis = 0; axis < 3; ++axis)
                n[axis] /= length;
    }
    std::fwrite(sums, 12, vertices, stream);
    std::free(sums);
    std::free(counts);
}

void write_fans(std::FILE *stream, const ogawa_polymesh &mesh, std::uint32_t triangles) {
    auto *const corners = static_cast<std::uint32_t *>(std::malloc(std::size_t{triangles} * 12));
    std::size_t k = 0, at = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; k += mesh.face_counts[f], ++f)
        for (std::uint32_t i = 1; i + 1 < mesh.face_counts[f]; ++i) {
            corners[at++] = mesh.face_indices[k];
            corners[at++] = mesh.face_indices[k + i];
            corners[at++] = mesh.face_indices[k + i + 1];
        }
    std::fwrite(corners, 12, triangles, stream);
    std::free(corners);
}

} // namespace

std::int32_t save_mesh(const ogawa_polymesh &mesh, const char *path) {
    std::uint32_t largest = 0;
    for (std::uint32_t k = 0; k < mesh.face_index_count; ++k)
        if (mesh.face_indices[k] > largest) largest = mesh.face_indices[k];
    if (largest >= mesh.vertex_count) return -10;
    std::FILE *const stream = std::fopen(path, "wb");
    if (stream == nullptr) return -2;
    std::uint32_t triangles = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f)
        triangles += mesh.face_counts[f] > 2 ? mesh.face_counts[f] - 2 : 0;
    const qel_mesh_header header = header_of(mesh, triangles);
    std::fwrite(&header, sizeof header, 1, stream);
    std::fwrite(mesh.positions, 12, mesh.vertex_count, stream);
    if ((header.flags & QEL_MESH_HAS_NORMALS) != 0) {
        if (mesh.normal_scope == OGAWA_SCOPE_VERTEX && mesh.normal_count == mesh.vertex_count)
            std::fwrite(mesh.normals, 12, mesh.vertex_count, stream);
        else
            write_average_normals(stream, mesh);
    }
    write_fans(stream, mesh, triangles);
    std::fclose(stream);
    return 0;
}

} // namespace qel::baseline
