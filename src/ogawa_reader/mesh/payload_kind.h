// SPDX-License-Identifier: MIT
// Classifies a data node's payload by its first words: positions, normals, face counts or face indices.
#pragma once

#include "ogawa_reader/container/container.h"

#include <cstdio>

namespace qel {

/// Where the arrays of a mesh are; size 0 if none was found.
struct mesh_extents {
    ogawa::extent positions;
    ogawa::extent normals;
    ogawa::extent face_counts;
    ogawa::extent face_indices;
};

/// Keeps a node's payload, without its digest, for each kind of array that it may be, if it is the largest of that kind
/// so far. Payloads are longer than a digest.
void classify_payload(std::FILE *stream, const ogawa::extent &payload, mesh_extents &best);

} // namespace qel
