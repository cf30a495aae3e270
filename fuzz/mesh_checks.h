// SPDX-License-Identifier: MIT
// What can be done with a polygon mesh, a skin and a mesh cache file, each compared with its model.
#pragma once

#include "harness.h"
#include "qel_unit.h"

namespace qel::fuzz {

/// Adjacency and neighbours. The mesh owns no manifold, before and after.
void check_manifold(ogawa_polymesh &mesh);

/// A tangent frame from the set of that name, or the first for null. The mesh owns no frame, before and after.
void check_tangents(ogawa_polymesh &mesh, const char *set_name);

/// Box and verification of the positions, which are there.
void check_positions(const ogawa_polymesh &mesh);

/// Fans of single faces: the first corners of the mesh as one polygon.
void check_triangulation(const ogawa_polymesh &mesh);

/// A mesh cache file of the mesh, and what loading it gives. Meshes of too many triangles are left out.
void check_saving(const ogawa_polymesh &mesh, const qel_skin *skin);

/// All of the above, for a mesh whose arrays are as long as its counts say.
void check_mesh(ogawa_polymesh &mesh);

/// Skinning of positions and poses that follow from a number.
void check_skin(const qel_skin &skin, std::uint32_t seed);

/// Loading a mesh cache file of any bytes.
void check_cache_file(const bytes &content);

/// Whether the models, which walk every corner that a face count claims, come to an end.
bool models_are_quick(const ogawa_polymesh &mesh);

} // namespace qel::fuzz
