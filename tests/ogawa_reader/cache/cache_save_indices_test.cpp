// SPDX-License-Identifier: MIT
// Which meshes are refused because a face names a vertex that they do not have.
#include "support/temp_folder.h"

#include "qel_unit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace qel {
namespace {

TEST(MeshCacheIndices, AreCheckedFromTheFirstToTheLast) {
    const test::temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    float positions[6] = {};
    std::vector<std::uint32_t> indices(200, 1);
    ogawa_polymesh mesh = {};
    mesh.positions = positions;
    mesh.vertex_count = 2;
    mesh.face_indices = indices.data();
    mesh.face_index_count = static_cast<std::uint32_t>(indices.size());
    for (std::size_t i = 0; i < indices.size(); ++i) {
        for (const std::uint32_t beyond : {2u, 0xFFFFFFFFu}) {
            indices[i] = beyond;
            EXPECT_EQ(qel_mesh_save(&mesh, nullptr, path.c_str()), -10) << i;
        }
        indices[i] = 1;
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(qel_mesh_save(&mesh, nullptr, path.c_str()), 0);
    mesh.face_index_count = 70;
    indices[70] = 2; // not one of the mesh's
    EXPECT_EQ(qel_mesh_save(&mesh, nullptr, path.c_str()), 0);
}

} // namespace
} // namespace qel
