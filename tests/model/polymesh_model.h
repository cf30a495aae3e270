// SPDX-License-Identifier: MIT
// Reading a polygon mesh in its plainest form: the naive walk, two reads per node, and byte scans with one
// small read per step.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <cstdio>

namespace qel::model {

/// Reads the mesh of an archive's stream; the arrays are for free_polymesh. A run whose start lies in an
/// earlier, longer run is measured again, so files of long runs take long.
int read_polymesh(std::FILE *stream, const ogawa_object *object, ogawa_polymesh *mesh);

/// What a byte search adds to a mesh that has its positions.
void read_fallback_normals(std::FILE *stream, ogawa_polymesh *mesh);
void read_fallback_topology(std::FILE *stream, ogawa_polymesh *mesh);

/// Releases the arrays that read_polymesh made.
void free_polymesh(ogawa_polymesh *mesh);

/// Whether two meshes agree in every field and every array, bit for bit.
bool same_polymesh(const ogawa_polymesh &a, const ogawa_polymesh &b);

} // namespace qel::model
