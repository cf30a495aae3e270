// SPDX-License-Identifier: MIT
// What the straightforward adjacency costs, in the library's own record: two counting passes, and a search of all
// neighbours found so far for each corner. tests/model/manifold_model.h says what is right.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// For a mesh whose corners are all there. Released with ogawa_free_manifold.
std::int32_t build_manifold(ogawa_polymesh *mesh);

/// The list is for the caller to free; null without memory.
std::uint32_t *vertex_neighbors(const ogawa_manifold &manifold, std::uint32_t vertex, std::uint32_t *count);

} // namespace qel::baseline
