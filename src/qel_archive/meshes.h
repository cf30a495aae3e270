// SPDX-License-Identifier: MIT
// Objects with points: meshes are read completely, of other objects only the points.
#pragma once

#include "qel_archive/archive.h"

namespace qel::archives {

/// Finds an object's positions. WRONG_KIND if the object has none, NOT_FOUND if they have no samples.
status find_positions(const qel_archive &archive, std::uint32_t object, property_entry &positions);

status get_mesh_info(const qel_archive &archive, std::uint32_t object, qel_archive_mesh_info &info);

/// Reads one sample of a mesh into a cleared record. Arrays read before a failure stay in the record.
status read_mesh(const qel_archive &archive, std::uint32_t object, std::uint64_t sample, ogawa_polymesh &mesh);

/// Frees the arrays that read_mesh fills and clears the record.
void discard_mesh(ogawa_polymesh &mesh);

} // namespace qel::archives
