// SPDX-License-Identifier: MIT
// Linear blend skinning in its plainest form: every joint's matrix, every product written out.
#pragma once

#include "qel_unit.h"

#include <vector>

namespace qel::model {

/// The skinned positions: `weight_count` triples.
std::vector<float> skin_apply(const qel_skin &skin, const std::vector<double> &poses,
                              const std::vector<float> &positions);

} // namespace qel::model
