// SPDX-License-Identifier: MIT
// Records field by field.
#pragma once

#include "golden/digest.h"

#include <qel_unit.h>

namespace qel::test {

inline void add_uv_set(digest &results, const ogawa_uv_set &set) {
    results.add(std::string(set.name));
    results.add_array(set.values, std::uint64_t{set.value_count} * 2);
    results.add(set.value_count);
    results.add_array(set.indices, set.index_count);
    results.add(set.scope);
}

inline void add_tangent_frame(digest &results, const ogawa_tangent_frame &frame) {
    results.add_array(frame.tangents, std::uint64_t{frame.count} * 3);
    results.add_array(frame.bitangents, std::uint64_t{frame.count} * 3);
    results.add(frame.count, frame.components);
}

inline void add_polymesh(digest &results, const ogawa_polymesh &mesh) {
    results.add(std::string(mesh.name));
    results.add(std::string(mesh.path));
    results.add(mesh.vertex_count);
    results.add_array(mesh.positions, std::uint64_t{mesh.vertex_count} * 3);
    results.add(mesh.normal_count);
    results.add_array(mesh.normals, std::uint64_t{mesh.normal_count} * 3);
    results.add(mesh.normal_scope, mesh.face_count);
    results.add_array(mesh.face_counts, mesh.face_count);
    results.add(mesh.face_index_count);
    results.add_array(mesh.face_indices, mesh.face_index_count);
    for (const auto *corner : {mesh.bounds_min, mesh.bounds_max, mesh.self_bounds_min, mesh.self_bounds_max})
        results.add_array(corner, 3);
    results.add(mesh.reserved_word);
    results.add_array(mesh.transform, 16);
}

} // namespace qel::test
