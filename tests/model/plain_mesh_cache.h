// SPDX-License-Identifier: MIT
// A mesh cache file written block by block, as mesh_cache_model says it must look: the straightforward way, to compare
// its cost.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

/// For a mesh with faces whose corners are all there, with or without normals, without a skin.
std::int32_t plain_save_mesh(const ogawa_polymesh &mesh, const char *path);

} // namespace qel::model
