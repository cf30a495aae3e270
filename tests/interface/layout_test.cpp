// SPDX-License-Identifier: MIT
// The records whose bytes are a file format, as a caller's compiler lays them out.
#include <qel_unit.h>

#include <gtest/gtest.h>

#include <cstddef>

namespace {

TEST(Layout, TokenIsPackedIntoTwentyFiveBytes) {
    EXPECT_EQ(sizeof(qel_token), 25u);
    EXPECT_EQ(alignof(qel_token), 1u);
    EXPECT_EQ(offsetof(qel_token, morton), 0u);
    EXPECT_EQ(offsetof(qel_token, hex_id), 8u);
    EXPECT_EQ(offsetof(qel_token, payload), 16u);
    EXPECT_EQ(offsetof(qel_token, layer), 24u);
}

TEST(Layout, SceneVertexHasFortyBytes) {
    EXPECT_EQ(sizeof(qel_alembic_vertex), 40u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, matrix_x), 12u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, matrix_y), 13u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, matrix_z), 14u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, morton), 16u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, k11_level), 24u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, i_state), 25u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, phi_norm), 28u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, em_coupling), 32u);
    EXPECT_EQ(offsetof(qel_alembic_vertex, topology), 36u);
}

TEST(Layout, SceneTokenHasASlotOfThirtyTwoBytes) {
    EXPECT_EQ(sizeof(qel_alembic_token), 32u);
    EXPECT_EQ(offsetof(qel_alembic_token, hex_id), 8u);
    EXPECT_EQ(offsetof(qel_alembic_token, payload), 16u);
    EXPECT_EQ(offsetof(qel_alembic_token, layer), 24u);
}

TEST(Layout, IdentityAndOffspringKeepTheirFieldOrder) {
    EXPECT_EQ(sizeof(qel_matrix_identity), 24u);
    EXPECT_EQ(offsetof(qel_matrix_identity, mirror_x), 3u);
    EXPECT_EQ(offsetof(qel_matrix_identity, k11_level), 6u);
    EXPECT_EQ(offsetof(qel_matrix_identity, i_state), 7u);
    EXPECT_EQ(offsetof(qel_matrix_identity, morton), 8u);
    EXPECT_EQ(offsetof(qel_matrix_identity, phi_norm), 16u);
    EXPECT_EQ(offsetof(qel_matrix_identity, em_coupling), 20u);
    EXPECT_EQ(offsetof(qel_matrix_offspring, chirality), 3u);
    EXPECT_EQ(offsetof(qel_matrix_offspring, phi_blend), 4u);
    EXPECT_EQ(offsetof(qel_matrix_offspring, em_coupling), 8u);
    EXPECT_EQ(offsetof(qel_matrix_offspring, k11_level), 12u);
    EXPECT_EQ(offsetof(qel_matrix_offspring, i_state), 13u);
}

TEST(Layout, MeshCacheHeaderHasSixtyFourBytes) {
    EXPECT_EQ(sizeof(qel_mesh_header), 64u);
    EXPECT_EQ(offsetof(qel_mesh_header, version), 4u);
    EXPECT_EQ(offsetof(qel_mesh_header, flags), 6u);
    EXPECT_EQ(offsetof(qel_mesh_header, vertex_count), 8u);
    EXPECT_EQ(offsetof(qel_mesh_header, triangle_count), 12u);
    EXPECT_EQ(offsetof(qel_mesh_header, joint_count), 16u);
    EXPECT_EQ(offsetof(qel_mesh_header, reserved), 20u);
    EXPECT_EQ(offsetof(qel_mesh_header, bounds_min), 24u);
    EXPECT_EQ(offsetof(qel_mesh_header, bounds_max), 36u);
    EXPECT_EQ(offsetof(qel_mesh_header, positions_offset), 48u);
    EXPECT_EQ(offsetof(qel_mesh_header, normals_offset), 52u);
    EXPECT_EQ(offsetof(qel_mesh_header, indices_offset), 56u);
    EXPECT_EQ(offsetof(qel_mesh_header, skin_offset), 60u);
}

TEST(Layout, SkinRecordsKeepTheirBytes) {
    EXPECT_EQ(sizeof(qel_skin_joint), 328u);
    EXPECT_EQ(offsetof(qel_skin_joint, joint_transform), 200u);
    EXPECT_EQ(sizeof(qel_skin_weight), 20u);
    EXPECT_EQ(offsetof(qel_skin_weight, weights), 4u);
}

TEST(Layout, AgentHasFortyBytes) {
    EXPECT_EQ(sizeof(qel_agent), 40u);
    EXPECT_EQ(offsetof(qel_agent, parent), 8u);
    EXPECT_EQ(offsetof(qel_agent, type), 16u);
    EXPECT_EQ(offsetof(qel_agent, state), 17u);
    EXPECT_EQ(offsetof(qel_agent, flag_idle), 18u);
    EXPECT_EQ(offsetof(qel_agent, flag_terminated), 19u);
    EXPECT_EQ(offsetof(qel_agent, flag_delegated), 20u);
    EXPECT_EQ(offsetof(qel_agent, cleared), 21u);
    EXPECT_EQ(offsetof(qel_agent, tag), 22u);
    EXPECT_EQ(offsetof(qel_agent, tier), 23u);
    EXPECT_EQ(offsetof(qel_agent, reserved), 24u);
    EXPECT_EQ(offsetof(qel_agent, task), 32u);
}

TEST(Layout, VerifyReportKeepsItsFieldOrder) {
    EXPECT_EQ(sizeof(qel_mesh_verify_report), 32u);
    EXPECT_EQ(offsetof(qel_mesh_verify_report, coherence), 8u);
    EXPECT_EQ(offsetof(qel_mesh_verify_report, valid), 12u);
    EXPECT_EQ(offsetof(qel_mesh_verify_report, vertex_count), 16u);
    EXPECT_EQ(offsetof(qel_mesh_verify_report, verified_at), 24u);
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
