// SPDX-License-Identifier: MIT
// Generated inputs that are the same everywhere: integers, and floats that divide exactly. No function of the
// mathematical library and no distribution of the standard one, which give other values elsewhere.
#pragma once

#include "support/mesh_maker.h"
#include "support/random.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace qel::test {

/// One of a few unit vectors whose components are thirds or fifths, rounded once.
void append_unit_vector(noise &random, std::vector<float> &out);

/// A sheet of columns x rows quads with heights at random, with normals, UVs and tangents.
plain_mesh make_sheet(std::uint64_t seed, std::uint32_t columns, std::uint32_t rows);

/// Faces of 0 to 6 corners over random vertices. Some name vertices that do not exist.
plain_mesh make_tangle(std::uint64_t seed, std::uint32_t vertices, std::uint32_t faces);

} // namespace qel::test
