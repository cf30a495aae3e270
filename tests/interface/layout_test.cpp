// SPDX-License-Identifier: MIT
// The records whose bytes are a file format, as a caller's compiler lays them out.
#include "support/record_fields.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace {

using qel::test::visit_fields;

TEST(Layout, TokenIsPackedIntoTwentyFiveBytes) {
    EXPECT_EQ(sizeof(qel_token), 25u);
    EXPECT_EQ(alignof(qel_token), 1u);
    EXPECT_EQ(offsetof(qel_token, morton), 0u);
    EXPECT_EQ(offsetof(qel_token, hex_id), 8u);
    EXPECT_EQ(offsetof(qel_token, payload), 16u);
    EXPECT_EQ(offsetof(qel_token, layer), 24u);
}

/// Each field with its offset, then the size of the record.
template <class Record>
std::string layout_of() {
    Record record = {};
    const auto *const start = reinterpret_cast<const char *>(&record);
    std::string text;
    visit_fields(record, [&](const std::string &name, const auto &field) {
        text += name + " " + std::to_string(reinterpret_cast<const char *>(&field) - start) + ", ";
    });
    return text + "size " + std::to_string(sizeof record);
}

TEST(Layout, SceneVertexHasFortyBytes) {
    EXPECT_EQ(layout_of<qel_alembic_vertex>(),
              "position 0, matrix_x 12, matrix_y 13, matrix_z 14, padding0 15, morton 16, k11_level 24, "
              "i_state 25, padding1 26, phi_norm 28, em_coupling 32, topology 36, size 40");
}

TEST(Layout, SceneTokenHasASlotOfThirtyTwoBytes) {
    EXPECT_EQ(layout_of<qel_alembic_token>(), "morton 0, hex_id 8, payload 16, layer 24, padding 25, size 32");
}

TEST(Layout, IdentityAndOffspringKeepTheirFieldOrder) {
    EXPECT_EQ(layout_of<qel_matrix_identity>(),
              "x 0, y 1, z 2, mirror_x 3, mirror_y 4, mirror_z 5, k11_level 6, i_state 7, morton 8, "
              "phi_norm 16, em_coupling 20, size 24");
    EXPECT_EQ(layout_of<qel_matrix_offspring>(),
              "x 0, y 1, z 2, chirality 3, phi_blend 4, em_coupling 8, k11_level 12, i_state 13, size 16");
}

TEST(Layout, MeshCacheHeaderHasSixtyFourBytes) {
    EXPECT_EQ(layout_of<qel_mesh_header>(),
              "magic 0, version 4, flags 6, vertex_count 8, triangle_count 12, joint_count 16, reserved 20, "
              "bounds_min 24, bounds_max 36, positions_offset 48, normals_offset 52, indices_offset 56, "
              "skin_offset 60, size 64");
}

TEST(Layout, SkinRecordsKeepTheirBytes) {
    EXPECT_EQ(layout_of<qel_skin_joint>(), "descriptor 0, joint_transform 200, size 328");
    EXPECT_EQ(layout_of<qel_skin_weight>(), "joints 0, weights 4, size 20");
}

TEST(Layout, AgentHasFortyBytes) {
    EXPECT_EQ(layout_of<qel_agent>(),
              "id 0, parent 8, type 16, state 17, flag_idle 18, flag_terminated 19, flag_delegated 20, "
              "cleared 21, tag 22, tier 23, reserved 24, task 32, size 40");
}

TEST(Layout, VerifyReportKeepsItsFieldOrder) {
    EXPECT_EQ(layout_of<qel_mesh_verify_report>(),
              "p_minus_p_ok 0, p_div_p_ok 4, coherence 8, valid 12, vertex_count 16, verified_at 24, size 32");
}

TEST(Layout, SchemasKeepTheirNumbers) {
    EXPECT_EQ(sizeof(ogawa_schema), 4u);
    EXPECT_EQ(OGAWA_SCHEMA_UNKNOWN, 0);
    EXPECT_EQ(OGAWA_SCHEMA_XFORM, 1);
    EXPECT_EQ(OGAWA_SCHEMA_POLYMESH, 2);
    EXPECT_EQ(OGAWA_SCHEMA_SUBD, 3);
    EXPECT_EQ(OGAWA_SCHEMA_POINTS, 4);
    EXPECT_EQ(OGAWA_SCHEMA_CURVES, 5);
    EXPECT_EQ(OGAWA_SCHEMA_CAMERA, 8);
}

} // namespace
