// SPDX-License-Identifier: MIT
// A model as the arrays of a page, within a size: frames are thinned first, then points sampled.
#pragma once

#include "view/page_block.h"
#include "view/page_model.h"

namespace tool {

struct packed_page {
    std::string header; ///< JSON without a character that could end the block it stands in
    std::vector<page_block> blocks;
};

/// `room` is how many characters the packed arrays may have; what is left out is told in the model's notes.
packed_page pack_page(page_model &model, std::uint64_t room);

/// Keeps about one vertex of `factor` of each mesh of some size, the triangles among those that stay; returns how
/// many vertices are left of how many.
void sample_points(page_model &model, double factor);

} // namespace tool
