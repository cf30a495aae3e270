// SPDX-License-Identifier: MIT
// Packs a model into the arrays of a page within a size: frames are left out first, then points are sampled.
#pragma once

#include "view/page_block.h"
#include "view/page_model.h"

namespace tool {

struct packed_page {
    std::string header; ///< JSON without characters that could end its HTML block
    std::vector<page_block> blocks;
};

/// `room`: characters of the packed arrays, at most. Omissions are listed in the model's notes.
packed_page pack_page(page_model &model, std::uint64_t room);

/// Keeps about one of `factor` vertices of each large mesh, and the triangles between vertices that are kept.
void sample_points(page_model &model, double factor);

} // namespace tool
