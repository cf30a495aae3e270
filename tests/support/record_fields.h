// SPDX-License-Identifier: MIT
// The fields of the header's records, for code that does the same with each of them.
#pragma once

#include "qel_unit.h"

#include <sstream>
#include <string>

namespace qel::test {

/// Calls `visit` with the name and the value of each field; `names` are separated by ", ".
template <class Visit, class... Fields>
void visit_each(const char *names, const Visit &visit, Fields &...fields) {
    std::istringstream list(names);
    std::string name;
    ((std::getline(list >> std::ws, name, ','), visit(name, fields)), ...);
}

/// A structured binding names every field of a record in its order, or does not compile.
#define QEL_FIELDS(record_type, ...)                                                                                   \
    template <class Visit>                                                                                             \
    void visit_fields(record_type &record, const Visit &visit) {                                                       \
        auto &[__VA_ARGS__] = record;                                                                                  \
        visit_each(#__VA_ARGS__, visit, __VA_ARGS__);                                                                  \
    }

QEL_FIELDS(qel_unit, version, count, extra, tokens, morton_index, hex_index, order)
QEL_FIELDS(ogawa_archive, path, file, version, objects, object_count, polymeshes, polymesh_count, time_start, time_end,
           fps, reserved)
QEL_FIELDS(ogawa_polymesh, name, path, positions, vertex_count, reserved_array, reserved_count, normals, normal_count,
           normal_indices, normal_scope, face_counts, face_count, face_indices, face_index_count, uv_sets, uv_set_count,
           tangent_frame, manifold, bounds_min, bounds_max, self_bounds_min, self_bounds_max, reserved_word,
           reserved_buffer, transform)
QEL_FIELDS(ogawa_uv_set, name, values, value_count, indices, index_count, scope)
QEL_FIELDS(ogawa_tangent_frame, tangents, bitangents, count, components)
QEL_FIELDS(ogawa_manifold, vertex_faces, vertex_face_offsets, vertex_count, face_vertices, face_offsets, face_count,
           aux_array_a, aux_count, aux_array_b, aux_array_c)
QEL_FIELDS(qel_alembic_mesh, name, vertex_count, face_count, positions, indices, bounds, reserved, vertices, tokens,
           layer)
QEL_FIELDS(qel_alembic_file, version, flags, source, mesh_count, meshes, frame_count, time_start, time_end, fps, frames,
           hash, hash_size, total_vertices, total_faces, total_tokens)
QEL_FIELDS(qel_alembic_hit, mesh_index, vertex_index, frame_index, vertex, token, distance)
QEL_FIELDS(qel_alembic_vertex, position, matrix_x, matrix_y, matrix_z, padding0, morton, k11_level, i_state, padding1,
           phi_norm, em_coupling, topology)
QEL_FIELDS(qel_alembic_token, morton, hex_id, payload, layer, padding)
QEL_FIELDS(qel_matrix_identity, x, y, z, mirror_x, mirror_y, mirror_z, k11_level, i_state, morton, phi_norm,
           em_coupling)
QEL_FIELDS(qel_matrix_offspring, x, y, z, chirality, phi_blend, em_coupling, k11_level, i_state)
QEL_FIELDS(qel_mesh_verify_report, p_minus_p_ok, p_div_p_ok, coherence, valid, vertex_count, verified_at)
QEL_FIELDS(qel_skin_joint, descriptor, joint_transform)
QEL_FIELDS(qel_skin_weight, joints, weights)
QEL_FIELDS(qel_skin, joints, joint_count, weights, weight_count, bind_extra)
QEL_FIELDS(qel_mesh_header, magic, version, flags, vertex_count, triangle_count, joint_count, reserved, bounds_min,
           bounds_max, positions_offset, normals_offset, indices_offset, skin_offset)
QEL_FIELDS(qel_mesh, header, positions, normals, indices, skin, view, file_size)
QEL_FIELDS(qel_agent, id, parent, type, state, flag_idle, flag_terminated, flag_delegated, cleared, tag, tier, reserved,
           task)
QEL_FIELDS(qel_agent_dir, magic, version, agent_count, active_count, saved_at, agents, index, next_id_counter, path,
           dirty)

#undef QEL_FIELDS

} // namespace qel::test
