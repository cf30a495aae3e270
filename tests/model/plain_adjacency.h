// SPDX-License-Identifier: MIT
// Adjacency step by step in the library's own record: two counting passes, a search of what was found for each corner.
// manifold_model, which works on lists of lists, says what is right; this, what the straightforward way costs.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

/// For a mesh whose corners are all there. Released with ogawa_free_manifold.
std::int32_t plain_build_manifold(ogawa_polymesh *mesh);

/// The list is for the caller to free; null without memory.
std::uint32_t *plain_vertex_neighbors(const ogawa_manifold &manifold, std::uint32_t vertex,
                                      std::uint32_t *count);

} // namespace qel::model
