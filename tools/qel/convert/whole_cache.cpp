// SPDX-License-Identifier: MIT
#include "convert/step.h"
#include "convert/whole.h"
#include "terminal/text.h"

#include <cmath>
#include <cstring>

namespace tool::job {

namespace {

/// Expands indexed normals to one value per corner or vertex: the cache's writer takes no indices.
void spread_normals(ogawa_polymesh &mesh, const std::string &subject) {
    if (mesh.normals == nullptr) return;
    const std::uint32_t scope = mesh.normal_scope;
    const bool by_corner = scope == OGAWA_SCOPE_FACE_VARYING || scope == OGAWA_SCOPE_FACE;
    const std::uint32_t count = by_corner ? mesh.face_index_count : mesh.vertex_count;
    array<float> spread(static_cast<float *>(std::calloc(std::size_t{count} + 1, triple_bytes)));
    if (!spread) throw step_failed("caches", subject, no_memory);
    std::uint32_t face = 0, left = mesh.face_count > 0 ? mesh.face_counts[0] : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        while (scope == OGAWA_SCOPE_FACE && left == 0)
            left = mesh.face_counts[++face];
        --left;
        std::uint32_t from = scope == OGAWA_SCOPE_CONSTANT ? 0 : scope == OGAWA_SCOPE_FACE ? face : i;
        if (mesh.normal_indices != nullptr) from = mesh.normal_indices[from];
        if (from < mesh.normal_count)
            std::memcpy(&spread[std::size_t{i} * 3], mesh.normals + std::size_t{from} * 3, triple_bytes);
    }
    std::free(mesh.normals);
    std::free(mesh.normal_indices);
    mesh.normals = spread.release();
    mesh.normal_indices = nullptr;
    mesh.normal_count = count;
    mesh.normal_scope = by_corner ? OGAWA_SCOPE_FACE_VARYING : OGAWA_SCOPE_VERTEX;
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
             printable(set.name, sizeof set.name).c_str(), counted(set.value_count, "value").c_str(), outside, bad);
    }
}

} // namespace

void write_cache(ogawa_polymesh &mesh, const std::string &subject, const result &file, const result_folder &folder) {
    verify("caches", subject, mesh);
    note_normals(mesh, subject);
    note_uvs(mesh, subject);
    spread_normals(mesh, subject);
    std::uint64_t triangles = 0;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face)
        triangles += mesh.face_counts[face] > 2 ? mesh.face_counts[face] - 2 : 0;
    save_cache("caches", mesh, triangles, nullptr, file, folder);
    cache_record cache;
    map_cache("caches", mesh, file, cache);
}

} // namespace tool::job
