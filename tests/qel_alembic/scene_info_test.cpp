// SPDX-License-Identifier: MIT
#include "support/scenes.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace qel {
namespace {

using namespace test;

class SceneValidate : public testing::Test {
  protected:
    SceneValidate() {
        owned.add_keys({1, 2});
        owned.add_keys({3, 4, 5});
    }
    std::int32_t validate() const { return qel_alembic_validate(&owned.scene); }
    qel_alembic_vertex &last_vertex() { return owned.scene.meshes[1].vertices[2]; }

    owned_scene owned;
};

TEST_F(SceneValidate, PassesASoundScene) {
    std::mt19937 random(131);
    owned.add_mesh(test::random_positions(random, 100), {});
    EXPECT_EQ(validate(), 0);
}

TEST_F(SceneValidate, FailsWithoutSceneOrMeshes) {
    EXPECT_EQ(qel_alembic_validate(nullptr), -1);
    qel_alembic_file scene = {};
    EXPECT_EQ(qel_alembic_validate(&scene), -2);
    scene.mesh_count = 4; // a count without an array
    EXPECT_EQ(qel_alembic_validate(&scene), -2);
}

TEST_F(SceneValidate, FailsForAMeshWithoutPositions) {
    std::free(owned.scene.meshes[1].positions);
    owned.scene.meshes[1].positions = nullptr;
    owned.scene.meshes[1].vertex_count = 0; // checked second
    EXPECT_EQ(validate(), -3);
}

TEST_F(SceneValidate, FailsForAMeshWithoutVertices) {
    owned.scene.meshes[1].vertex_count = 0;
    EXPECT_EQ(validate(), -4);
}

TEST_F(SceneValidate, FailsForACellOutsideTheLatticeOnAnyAxis) {
    for (const auto axis :
         {&qel_alembic_vertex::matrix_x, &qel_alembic_vertex::matrix_y, &qel_alembic_vertex::matrix_z}) {
        last_vertex().*axis = 47;
        EXPECT_EQ(validate(), 0);
        last_vertex().*axis = 48;
        EXPECT_EQ(validate(), -5);
        last_vertex().*axis = 255;
        EXPECT_EQ(validate(), -5);
        last_vertex().*axis = 0;
    }
}

TEST_F(SceneValidate, FailsForALevelOutsideMinus11To11) {
    for (int level = -128; level <= 127; ++level) {
        last_vertex().k11_level = static_cast<std::int8_t>(level);
        EXPECT_EQ(validate(), level < -11 || level > 11 ? -6 : 0) << level;
    }
}

TEST_F(SceneValidate, ReturnsTheFirstFailureInOrder) {
    last_vertex().matrix_x = 99;
    last_vertex().k11_level = -12;
    EXPECT_EQ(validate(), -5); // of one vertex, the cell comes first
    owned.scene.meshes[1].vertices[1].k11_level = -12;
    EXPECT_EQ(validate(), -6); // an earlier vertex
    owned.add_empty_mesh();
    EXPECT_EQ(validate(), -6); // an earlier mesh
    owned.scene.meshes[0].vertices[0].matrix_z = 48;
    EXPECT_EQ(validate(), -5);
}

TEST_F(SceneValidate, PassesMeshesWithoutVertexRecordsUnchecked) {
    std::free(owned.scene.meshes[0].vertices);
    owned.scene.meshes[0].vertices = nullptr;
    EXPECT_EQ(validate(), 0);
    last_vertex().k11_level = 12;
    EXPECT_EQ(validate(), -6);
}

std::string file_info(const qel_alembic_file &scene, std::int32_t size = 1000) {
    std::string text(1000, '#');
    qel_alembic_file_info(&scene, text.data(), size);
    return text.c_str();
}

std::string mesh_info(const qel_alembic_mesh &mesh, std::int32_t size = 1000) {
    std::string text(1000, '#');
    qel_alembic_mesh_info(&mesh, text.data(), size);
    return text.c_str();
}

qel_alembic_file described_scene() {
    qel_alembic_file scene = {};
    scene.version = 1;
    scene.mesh_count = 3;
    scene.total_vertices = 5'000'000'000;
    scene.total_faces = std::numeric_limits<std::uint64_t>::max();
    scene.total_tokens = 42;
    scene.frame_count = 4'000'000'000;
    scene.fps = 23.976f;
    scene.time_start = -0.5f;
    scene.time_end = 10.0625f;
    std::memcpy(scene.source, "a/scene.bqel", 13);
    return scene;
}

qel_alembic_mesh described_mesh() {
    qel_alembic_mesh mesh = {};
    std::memcpy(mesh.name, "torus", 6);
    mesh.vertex_count = 4'000'000'000;
    mesh.face_count = 7;
    const float bounds[6] = {-1, 0.0005f, 2.25f, 1e10f, -0.0f, 3};
    std::memcpy(mesh.bounds, bounds, sizeof bounds);
    mesh.layer = 255;
    return mesh;
}

TEST(SceneFileInfo, HasThisText) {
    EXPECT_EQ(file_info(described_scene()), "QEL Alembic File\n"
                                            "================\n"
                                            "Version: 1\n"
                                            "Meshes: 3\n"
                                            "Total Vertices: 5000000000\n"
                                            "Total Faces: 18446744073709551615\n"
                                            "Total Tokens: 42\n"
                                            "Frames: 4000000000\n"
                                            "FPS: 23.98\n"
                                            "Time Range: -0.500 - 10.062 sec\n"
                                            "Source: a/scene.bqel");
}

TEST(SceneFileInfo, IsCutToFitAndTerminated) {
    EXPECT_EQ(file_info(described_scene(), 4), "QEL");
    EXPECT_EQ(file_info(described_scene(), 1), "");
}

TEST(SceneFileInfo, WritesNothingWithoutCapacitySceneOrBuffer) {
    char text[4] = "abc";
    const qel_alembic_file scene = described_scene();
    qel_alembic_file_info(&scene, text, 0);
    qel_alembic_file_info(&scene, text, -5);
    qel_alembic_file_info(nullptr, text, 4);
    qel_alembic_file_info(&scene, nullptr, 4);
    EXPECT_STREQ(text, "abc");
}

TEST(SceneFileInfo, EndsASourceWithItsField) {
    qel_alembic_file scene = described_scene();
    std::memset(scene.source, 's', sizeof scene.source);
    const std::string text = file_info(scene);
    EXPECT_EQ(text.substr(text.find("Source: ")), "Source: " + std::string(256, 's'));
}

TEST(SceneMeshInfo, HasThisText) {
    EXPECT_EQ(mesh_info(described_mesh()), "Mesh: torus\n"
                                           "Vertices: 4000000000\n"
                                           "Faces: 7\n"
                                           "Bounds: [-1.000,0.001,2.250] - [10000000000.000,-0.000,3.000]\n"
                                           "Layer: L255\n"
                                           "QEL Processed: no\n"
                                           "Tokens Generated: no");
}

TEST(SceneMeshInfo, DistinguishesProcessedVerticesFromTokens) {
    qel_alembic_mesh mesh = described_mesh();
    qel_alembic_vertex vertex = {};
    qel_alembic_token token = {};
    mesh.vertices = &vertex;
    std::string text = mesh_info(mesh);
    EXPECT_NE(text.find("QEL Processed: yes\nTokens Generated: no"), std::string::npos);
    mesh.vertices = nullptr;
    mesh.tokens = &token;
    text = mesh_info(mesh);
    EXPECT_NE(text.find("QEL Processed: no\nTokens Generated: yes"), std::string::npos);
}

TEST(SceneMeshInfo, EndsANameWithItsField) {
    qel_alembic_mesh mesh = described_mesh();
    std::memset(mesh.name, 'n', sizeof mesh.name);
    mesh.vertex_count = 0x41414141;
    EXPECT_EQ(mesh_info(mesh).substr(0, 71), "Mesh: " + std::string(64, 'n') + "\n");
}

TEST(SceneMeshInfo, IsCutToFitAndTerminated) {
    EXPECT_EQ(mesh_info(described_mesh(), 9), "Mesh: to");
    EXPECT_EQ(mesh_info(described_mesh(), 1), "");
}

TEST(SceneMeshInfo, WritesNothingWithoutCapacityMeshOrBuffer) {
    char text[4] = "abc";
    const qel_alembic_mesh mesh = described_mesh();
    qel_alembic_mesh_info(&mesh, text, 0);
    qel_alembic_mesh_info(&mesh, text, std::numeric_limits<std::int32_t>::min());
    qel_alembic_mesh_info(nullptr, text, 4);
    qel_alembic_mesh_info(&mesh, nullptr, 4);
    EXPECT_STREQ(text, "abc");
}

} // namespace
} // namespace qel
