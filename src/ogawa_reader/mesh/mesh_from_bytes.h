// SPDX-License-Identifier: MIT
// Reading a polygon mesh by searching an archive's bytes, for when the node tree holds no positions.
#pragma once

#include "ogawa_reader/search/position_search.h"
#include "qel_unit.h"

namespace qel {

/// Finds positions, then unit normals, then a run of small words taken as triangles. Only missing positions
/// are a failure; what the position search then left in the mesh stays. The mesh comes in cleared, the archive
/// is open.
position_scan_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh);

} // namespace qel
