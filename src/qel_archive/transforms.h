// SPDX-License-Identifier: MIT
// Where objects stand and whether they are shown, at a time.
#pragma once

#include "qel_archive/archive.h"

namespace qel::archives {

/// A 4 x 4 matrix, row by row; points are rows.
struct matrix {
    double values[16];
};

/// The object's own transform, the identity for one that is no Xform.
status local_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &local);

/// The object's transform into the world.
status world_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &world);

/// Whether an object is shown.
status is_visible(const qel_archive &archive, std::uint32_t object, double seconds, bool &visible);

} // namespace qel::archives
