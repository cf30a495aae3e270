// SPDX-License-Identifier: MIT
// The rows of the table, in its order.
#pragma once

namespace qel::bench {

void add_unit_rows();
void add_matrix_rows();
void add_mesh_token_rows();
void add_scene_rows();
void add_scan_rows();
void add_polymesh_rows();
void add_geometry_rows();
void add_verify_rows();
void add_mesh_cache_rows();
void add_skinning_rows();
void add_agent_rows();
void add_archive_rows();
void add_index_check_rows();

} // namespace qel::bench
