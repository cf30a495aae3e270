// SPDX-License-Identifier: MIT
// The operations on a polygon mesh, a skin and a mesh cache file, each compared with its model.
#pragma once

#include "harness.h"
#include "qel_unit.h"

namespace qel::fuzz {

/// Checks adjacency and neighbours. The mesh owns no manifold before and after.
void check_manifold(ogawa_polymesh &mesh);

/// Checks a tangent frame from the set with this name, or the first for null. The mesh owns no frame before and after.
void check_tangents(ogawa_polymesh &mesh, const char *set_name);

/// Checks the box and the verification of the positions. The mesh has positions.
void check_positions(const ogawa_polymesh &mesh);

/// Checks fans of single faces: the first corners of the mesh as one polygon.
void check_triangulation(const ogawa_polymesh &mesh);

/// Checks a saved mesh cache file and its load. Meshes with too many triangles are skipped.
void check_saving(const ogawa_polymesh &mesh, const qel_skin *skin);

/// All of the above, for a mesh whose arrays have the lengths of its counts.
void check_mesh(ogawa_polymesh &mesh);

/// Checks skinning with positions and poses made from a seed.
void check_skin(const qel_skin &skin, std::uint32_t seed);

/// Checks the load of a mesh cache file of any bytes.
void check_cache_file(const bytes &content);

/// Whether the models, which visit every corner that a face count claims, end quickly.
bool models_are_quick(const ogawa_polymesh &mesh);

} // namespace qel::fuzz
