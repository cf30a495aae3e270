// SPDX-License-Identifier: MIT
#include "support/failing_write.h"
#include "support/scenes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using namespace test;

/// The unit file of tokens, put together field by field.
bytes unit_file_of(const std::vector<qel_alembic_token> &tokens) {
    bytes file = {'Q', 'E', 'L', 0};
    append(file, std::uint32_t{1});
    append(file, static_cast<std::uint32_t>(tokens.size()));
    file.resize(24); // extra word and time are zero
    for (const qel_alembic_token &token : tokens) {
        append(file, token.morton);
        append(file, token.hex_id);
        append(file, token.payload);
        append(file, token.layer);
    }
    return file;
}

std::vector<qel_alembic_token> tokens_of(const qel_alembic_mesh &mesh) {
    return {mesh.tokens, mesh.tokens + mesh.vertex_count};
}

class SceneExport : public testing::Test {
  protected:
    qel_alembic_mesh &add_random_mesh(std::uint32_t vertices) {
        return owned.add_mesh(test::random_positions(random, vertices),
                              test::random_triangles(random, vertices, vertices));
    }

    std::mt19937 random{61};
    temp_folder folder;
    std::string path = folder.file("tokens.qel");
    owned_scene owned;
};

TEST_F(SceneExport, WritesLiteralBytes) {
    qel_alembic_mesh &mesh = owned.add_keys({0x0807060504030201}, 0xFE);
    std::memcpy(mesh.tokens[0].hex_id, "0000002A", 8);
    mesh.tokens[0].payload = 0x1817161514131211;
    std::memset(mesh.tokens[0].padding, 0xEE, sizeof mesh.tokens[0].padding);
    ASSERT_EQ(qel_alembic_export_qel(&mesh, path.c_str()), 0);
    const bytes expected = {'Q', 'E', 'L', 0,   1,   0,   0,    0,    1,    0,    0,    0,    0,    0,    0,   0,   0,
                            0,   0,   0,   0,   0,   0,   0,    1,    2,    3,    4,    5,    6,    7,    8,   '0', '0',
                            '0', '0', '0', '0', '2', 'A', 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0xFE};
    EXPECT_EQ(read_file(path), expected);
}

TEST_F(SceneExport, WritesEveryTokenOfMeshesOfAnySize) {
    for (const std::uint32_t count : {1u, 3u, 1023u, 1024u, 1025u, 5000u}) {
        const qel_alembic_mesh &mesh = add_random_mesh(count);
        ASSERT_EQ(qel_alembic_export_qel(&mesh, path.c_str()), 0);
        EXPECT_EQ(read_file(path), unit_file_of(tokens_of(mesh))) << count;
    }
}

TEST_F(SceneExport, RefusesAMeshWithoutVerticesTokensOrPath) {
    qel_alembic_mesh mesh = add_random_mesh(2);
    EXPECT_EQ(qel_alembic_export_qel(nullptr, path.c_str()), -1);
    EXPECT_EQ(qel_alembic_export_qel(&mesh, nullptr), -1);
    mesh.vertex_count = 0;
    EXPECT_EQ(qel_alembic_export_qel(&mesh, path.c_str()), -1);
    mesh.vertex_count = 2;
    mesh.tokens = nullptr;
    EXPECT_EQ(qel_alembic_export_qel(&mesh, path.c_str()), -1);
    EXPECT_FALSE(test::file_exists(path));
}

TEST_F(SceneExport, ReturnsMinusOneWhenTheFileCannotBeCreated) {
    const qel_alembic_mesh &mesh = add_random_mesh(2);
    const std::string nowhere = folder.file("missing/tokens.qel");
    EXPECT_EQ(qel_alembic_export_qel(&mesh, nowhere.c_str()), -1);
    EXPECT_EQ(qel_alembic_export_file_qel(&owned.scene, nowhere.c_str()), -1);
}

TEST_F(SceneExport, WritesAllMeshesInOrderAsOneFile) {
    std::vector<qel_alembic_token> all;
    for (const std::uint32_t count : {3u, 2000u, 1u}) {
        const std::vector<qel_alembic_token> tokens = tokens_of(add_random_mesh(count));
        all.insert(all.end(), tokens.begin(), tokens.end());
    }
    owned.add_empty_mesh();
    ASSERT_EQ(qel_alembic_export_file_qel(&owned.scene, path.c_str()), 0);
    EXPECT_EQ(read_file(path), unit_file_of(all));
}

TEST_F(SceneExport, WritesAHeaderAloneForASceneOfEmptyMeshes) {
    owned.add_empty_mesh();
    ASSERT_EQ(qel_alembic_export_file_qel(&owned.scene, path.c_str()), 0);
    EXPECT_EQ(read_file(path), unit_file_of({}));
}

TEST_F(SceneExport, WritesZeroBytesForAMeshOfASceneWithoutTokens) {
    std::vector<qel_alembic_token> all = tokens_of(add_random_mesh(2));
    owned.add_empty_mesh().vertex_count = 1500;
    all.resize(all.size() + 1500);
    const std::vector<qel_alembic_token> last = tokens_of(add_random_mesh(1));
    all.insert(all.end(), last.begin(), last.end());
    ASSERT_EQ(qel_alembic_export_file_qel(&owned.scene, path.c_str()), 0);
    EXPECT_EQ(read_file(path), unit_file_of(all));
}

TEST_F(SceneExport, RefusesASceneWithoutMeshesOrPath) {
    EXPECT_EQ(qel_alembic_export_file_qel(&owned.scene, path.c_str()), -1);
    owned.scene.mesh_count = 3; // counts and no array
    EXPECT_EQ(qel_alembic_export_file_qel(&owned.scene, path.c_str()), -1);
    owned.scene.mesh_count = 0;
    EXPECT_EQ(qel_alembic_export_file_qel(nullptr, path.c_str()), -1);
    add_random_mesh(1);
    EXPECT_EQ(qel_alembic_export_file_qel(&owned.scene, nullptr), -1);
    EXPECT_FALSE(test::file_exists(path));
}

TEST_F(SceneExport, EndsAtTheFirstFailingWrite) {
    const qel_alembic_mesh &mesh = add_random_mesh(200);
    failing_write = 2; // the first after the header's
    EXPECT_EQ(qel_alembic_export_qel(&mesh, path.c_str()), 0);
    failing_write = 0;
    EXPECT_EQ(read_file(path).size(), 24u);
}

TEST_F(SceneExport, DoesNotReportWriteErrors) {
    const qel_alembic_mesh &mesh = add_random_mesh(5000);
    EXPECT_EQ(qel_alembic_export_qel(&mesh, "/dev/full"), 0);
    EXPECT_EQ(qel_alembic_export_file_qel(&owned.scene, "/dev/full"), 0);
}

} // namespace
} // namespace qel
