// SPDX-License-Identifier: MIT
// Reads a polygon mesh by searching an archive's bytes, for archives whose node tree holds no positions.
#pragma once

#include "qel_unit.h"

namespace qel {

/// Finds positions, then unit normals, then a run of small words read as triangles. Only missing positions are a
/// failure; the output of the position search then stays in the mesh. Returns the codes of ogawa_read_polymesh.
/// Preconditions: the mesh is cleared, the archive open.
qel_status read_mesh_from_bytes(const ogawa_archive *archive, ogawa_polymesh *mesh);

} // namespace qel
