// SPDX-License-Identifier: MIT
// The transforms and the visibility of objects at a time.
#pragma once

#include "qel_archive/archive.h"

namespace qel::archives {

/// A 4 x 4 matrix, row by row; points are rows.
struct matrix {
    double values[16];
};

/// The object's own transform; the identity for an object that is not an Xform.
status local_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &local);

/// The transform from the object's space to the world.
status world_transform(const qel_archive &archive, std::uint32_t object, double seconds, matrix &world);

/// Whether an object is visible.
status is_visible(const qel_archive &archive, std::uint32_t object, double seconds, bool &visible);

} // namespace qel::archives
