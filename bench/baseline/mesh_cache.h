// SPDX-License-Identifier: MIT
// Writes a mesh cache file block by block. tests/model/mesh_cache_model.h defines the correct result.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// For a mesh with faces and indices for all corners, with or without normals, without a skin.
std::int32_t save_mesh(const ogawa_polymesh &mesh, const char *path);

} // namespace qel::baseline
