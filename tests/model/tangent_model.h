// SPDX-License-Identifier: MIT
// Computed tangent frames in their plainest form.
#pragma once

#include "qel_unit.h"

#include <vector>

namespace qel::model {

struct plain_tangent_frame {
    std::vector<float> tangents, bitangents;
};

plain_tangent_frame compute_plain_tangent_frame(const ogawa_polymesh &mesh, const ogawa_uv_set &set);

} // namespace qel::model
