// SPDX-License-Identifier: MIT
// Every kernel of both libraries at once.
#pragma once

#include "common/bounds.h"
#include "ogawa_reader/cache/skin_blend.h"
#include "ogawa_reader/geometry/manifold_neighbors.h"
#include "qel_archive/index_check.h"
#include "qel_unit/nearest_merge.h"
#include "qel_unit/verify/finite_check.h"
#include "support/kernel_forms.h"

namespace qel::test {

/// Calls of every kernel get the form for processors of this set from now on.
inline void force_all(instruction_set set) {
    force_set(bounds_kernel, set);
    force_set(finite_kernel, set);
    force_set(merge_kernel, set);
    force_set(neighbors_kernel, set);
    force_set(skin_kernel, set);
    force_set(archives::below_kernel, set);
    force_set(archives::sum_kernel, set);
}

} // namespace qel::test
