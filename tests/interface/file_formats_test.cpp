// SPDX-License-Identifier: MIT
// The dumps in docs/file-formats.md: small files of all four formats are written here and equal the dumps byte for
// byte.
#include "dumps.h"
#include "support/temp_folder.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace qel::test {
namespace {

constexpr float corners[3][3] = {{0, 0, 0}, {1, 0, 0}, {0, 2, 0}};
constexpr std::uint32_t triangle[3] = {0, 1, 2};

TEST(FileFormats, UnitFileIsDumpedAsItIs) {
    const temp_folder folder;
    const std::uint64_t mortons[2] = {0x0000000100020003, 233471};
    const std::uint64_t payloads[2] = {0x0102030405060708, 42};
    const std::uint8_t layers[2] = {1, 9};
    qel_unit unit{};
    ASSERT_EQ(qel_unit_create(&unit, 2, mortons, "0000000000000001", payloads, layers), 0);
    ASSERT_EQ(qel_unit_save(folder.file("unit").c_str(), &unit), 0);
    qel_unit_free(&unit);
    std::free(unit.order);
    expect_dump("file-formats.md", "Unit file", read_file(folder.file("unit")));
}

TEST(FileFormats, SceneFileIsDumpedAsItIs) {
    const temp_folder folder;
    qel_alembic_mesh mesh{};
    ASSERT_EQ(qel_alembic_load_raw(corners[0], 3, triangle, 1, "triangle", &mesh), 0);
    qel_alembic_mesh pose{};
    pose.vertex_count = 3;
    pose.positions = const_cast<float *>(corners[0]);
    qel_alembic_frame frame{24, 1.0f, &pose, 1};
    qel_alembic_file scene{};
    scene.mesh_count = 1;
    scene.meshes = &mesh;
    scene.frame_count = 1;
    scene.frames = &frame;
    scene.total_vertices = 3;
    scene.total_faces = 1;
    scene.fps = 24.0f;
    scene.time_end = 1.0f;
    ASSERT_EQ(qel_alembic_save(folder.file("scene").c_str(), &scene), 0);
    qel_alembic_mesh_free(&mesh);
    expect_dump("file-formats.md", "Scene file", read_file(folder.file("scene")));
}

TEST(FileFormats, MeshCacheFileIsDumpedAsItIs) {
    const temp_folder folder;
    float normals[9] = {0, 0, 1, 0, 0, 1, 0, 0, 1};
    std::uint32_t face_count = 3;
    ogawa_polymesh mesh{};
    mesh.positions = const_cast<float *>(corners[0]);
    mesh.vertex_count = mesh.normal_count = mesh.face_index_count = 3;
    mesh.normals = normals;
    mesh.normal_scope = OGAWA_SCOPE_VERTEX;
    mesh.face_counts = &face_count;
    mesh.face_count = 1;
    mesh.face_indices = const_cast<std::uint32_t *>(triangle);
    mesh.bounds_max[0] = 1;
    mesh.bounds_max[1] = 2;
    qel_skin_joint joint{};
    for (int i = 0; i < 4; ++i)
        joint.joint_transform[i * 5] = 1;
    qel_skin_weight weights[3] = {
        {{0, 0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0, 0}, {1, 0, 0, 0}}, {{0, 0, 0, 0}, {0.5f, 0, 0, 0}}};
    qel_skin skin{&joint, 1, weights, 3, {}};
    ASSERT_EQ(qel_mesh_save(&mesh, &skin, folder.file("mesh").c_str()), 0);
    expect_dump("file-formats.md", "Mesh cache file", read_file(folder.file("mesh")));
}

TEST(FileFormats, AgentDirectoryFileIsDumpedAsItIs) {
    const temp_folder folder;
    char id[9];
    ASSERT_EQ(qel_agent_dir_init(folder.file("agents").c_str()), 0);
    ASSERT_EQ(qel_agent_spawn(nullptr, 3, 0, 7, id), 0);
    ASSERT_EQ(qel_agent_delegate(id, id, 0x1122334455667788), 0);
    ASSERT_EQ(qel_agent_dir_sync(), 0);
    qel_agent_dir_free();
    expect_dump("file-formats.md", "Agent directory file", read_file(folder.file("agents")));
}

} // namespace
} // namespace qel::test
