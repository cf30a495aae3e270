// SPDX-License-Identifier: MIT
// What the tests of processing and loading meshes share.
#pragma once

#include "support/scenes.h"

#include <gtest/gtest.h>

namespace qel::test {

inline const std::vector<float> corner_triangle = {0, 0, 0, 1, 0, 0, 0, 1, 1};
inline const std::vector<std::uint32_t> one_face = {0, 1, 2};

/// A mesh processed from positions and triangles.
struct loaded_mesh : owned_mesh {
    loaded_mesh(const std::vector<float> &positions, const std::vector<std::uint32_t> &indices,
                const char *name = "mesh") {
        EXPECT_EQ(load_raw(positions, indices, mesh, name), 0);
    }
};

} // namespace qel::test
