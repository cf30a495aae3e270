// SPDX-License-Identifier: MIT
// What has points: polygon meshes, and objects of which the points are read.
#pragma once

#include "qel_archive/archive.h"

namespace qel::archives {

/// Finds an object's positions. WRONG_KIND for an object without, NOT_FOUND where they have no samples.
status find_positions(const qel_archive &archive, std::uint32_t object, property_entry &positions);

status get_mesh_info(const qel_archive &archive, std::uint32_t object, qel_archive_mesh_info &info);

/// Reads one sample of a mesh into a cleared record. What was read before a failure stays there.
status read_mesh(const qel_archive &archive, std::uint32_t object, std::uint64_t sample,
                 ogawa_polymesh &mesh);

/// Frees the arrays that read_mesh fills and clears the record.
void discard_mesh(ogawa_polymesh &mesh);

} // namespace qel::archives
