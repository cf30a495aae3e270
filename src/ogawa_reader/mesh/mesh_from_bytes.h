// SPDX-License-Identifier: MIT
// Reading a polygon mesh by searching an archive's bytes, for when the node tree holds no positions.
#pragma once

#include "qel_unit.h"

namespace qel {

/// Finds positions, then unit normals, then a run of small words taken as triangles. Only missing positions are a
/// failure; what the position search then left in the mesh stays. Answers as ogawa_read_polymesh does. The mesh is
/// cleared, the archive open.
qel_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh);

} // namespace qel
