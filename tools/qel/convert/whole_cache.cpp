// SPDX-License-Identifier: MIT
#include "convert/step.h"
#include "convert/whole.h"
#include "terminal/text.h"

#include <cmath>
#include <cstring>

namespace tool::job {

namespace {

constexpr std::uint64_t header_bytes = 64;

/// Which value each corner or vertex has, so that none is shared: the cache's writer knows no indices.
void spread_normals(ogawa_polymesh &mesh, const std::string &subject) {
    if (mesh.normals == nullptr) return;
    const std::uint32_t scope = mesh.normal_scope;
    const bool by_corner = scope == OGAWA_SCOPE_FACE_VARYING || scope == OGAWA_SCOPE_FACE;
    const std::uint32_t count = by_corner ? mesh.face_index_count : mesh.vertex_count;
    array<float> spread(static_cast<float *>(std::calloc(std::size_t{count} + 1, 12)));
    if (!spread) throw step_failed("caches", subject, 0, "no memory for its normals");
    std::uint32_t face = 0, left = mesh.face_count > 0 ? mesh.face_counts[0] : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        while (scope == OGAWA_SCOPE_FACE && left == 0)
            left = mesh.face_counts[++face];
        --left;
        std::uint32_t from = scope == OGAWA_SCOPE_CONSTANT ? 0 : scope == OGAWA_SCOPE_FACE ? face : i;
        if (mesh.normal_indices != nullptr) from = mesh.normal_indices[from];
        if (from < mesh.normal_count)
            std::memcpy(&spread[std::size_t{i} * 3], mesh.normals + std::size_t{from} * 3, 12);
    }
    std::free(mesh.normals);
    std::free(mesh.normal_indices);
    mesh.normals = spread.release();
    mesh.normal_indices = nullptr;
    mesh.normal_count = count;
    mesh.normal_scope = by_corner ? OGAWA_SCOPE_FACE_VARYING : OGAWA_SCOPE_VERTEX;
}

void verify(const ogawa_polymesh &mesh, const std::string &subject) {
    const float *low = mesh.bounds_min, *high = mesh.bounds_max;
    qel_mesh_verify_report report;
    if (qel_mesh_verify_identity(mesh.positions, mesh.vertex_count, low[0], low[1], low[2], high[0], high[1],
                                 high[2], &report) != 1)
        throw step_failed("caches", subject, 0, "a position is not finite");
}

void note_normals(const ogawa_polymesh &mesh, const std::string &subject) {
    std::uint32_t odd = 0;
    for (std::uint32_t i = 0; i < mesh.normal_count; ++i) {
        const float *n = mesh.normals + std::size_t{i} * 3;
        const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (!(std::fabs(length - 1) < 1e-3f)) ++odd;
    }
    if (odd > 0) note("%s: %s not of length 1", subject.c_str(), counted(odd, "normal").c_str());
}

void note_uvs(const ogawa_polymesh &mesh, const std::string &subject) {
    for (std::uint32_t number = 0; number < mesh.uv_set_count; ++number) {
        const ogawa_uv_set &set = mesh.uv_sets[number];
        std::uint32_t bad = 0, outside = 0;
        for (std::uint64_t i = 0; i < std::uint64_t{set.value_count} * 2; ++i) {
            if (!std::isfinite(set.values[i]))
                ++bad;
            else if (set.values[i] < 0 || set.values[i] > 1)
                ++outside;
        }
        note("%s: UVs \"%s\", %s, %u coordinates outside 0 to 1, %u not finite", subject.c_str(),
             printable(set.name, sizeof set.name).c_str(), counted(set.value_count, "value").c_str(), outside,
             bad);
    }
}

/// The mapped file must hold the mesh's own positions, bit for bit.
void compare(const ogawa_polymesh &mesh, const result &file) {
    cache_record cache;
    check("caches", file.place, qel_mesh_load(file.path.c_str(), cache.get()), cache_load_meanings);
    if (cache->header.vertex_count != mesh.vertex_count ||
        std::memcmp(cache->positions, mesh.positions, std::size_t{mesh.vertex_count} * 12) != 0)
        throw step_failed("caches", file.place, 0, "the positions came back changed");
}

} // namespace

void write_cache(ogawa_polymesh &mesh, const std::string &subject, const result &file,
                 const result_folder &folder) {
    verify(mesh, subject);
    note_normals(mesh, subject);
    note_uvs(mesh, subject);
    spread_normals(mesh, subject);
    check("caches", file.place, qel_mesh_save(&mesh, nullptr, file.path.c_str()), cache_save_meanings);
    std::uint64_t triangles = 0;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face)
        triangles += mesh.face_counts[face] > 2 ? mesh.face_counts[face] - 2 : 0;
    const std::uint64_t each_vertex = mesh.normals != nullptr ? 24 : 12;
    folder.written("caches", file, header_bytes + mesh.vertex_count * each_vertex + triangles * 12);
    compare(mesh, file);
}

} // namespace tool::job
