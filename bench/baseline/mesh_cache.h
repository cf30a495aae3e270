// SPDX-License-Identifier: MIT
// What writing a mesh cache file block by block costs. tests/model/mesh_cache_model.h says what is right.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// For a mesh with faces whose corners are all there, with or without normals, without a skin.
std::int32_t save_mesh(const ogawa_polymesh &mesh, const char *path);

} // namespace qel::baseline
