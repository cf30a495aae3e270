// SPDX-License-Identifier: MIT
// Straightforward adjacency in the library's own record: two counting passes, and for each corner a search of all
// neighbours found so far. tests/model/manifold_model.h defines the correct result.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// For a mesh with indices for all corners. Released with ogawa_free_manifold.
std::int32_t build_manifold(ogawa_polymesh *mesh);

/// The caller frees the list; null without memory.
std::uint32_t *vertex_neighbors(const ogawa_manifold &manifold, std::uint32_t vertex, std::uint32_t *count);

} // namespace qel::baseline
