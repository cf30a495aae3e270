// SPDX-License-Identifier: MIT
// Archives of production tools: every sample that is read can be indexed without a check.
#include "qel_archive.h"
#include "support/real_archives.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

void expect_sound(const ogawa_polymesh &mesh) {
    std::uint64_t corners = 0;
    for (std::uint32_t i = 0; i < mesh.face_count; ++i)
        corners += mesh.face_counts[i];
    ASSERT_EQ(corners, mesh.face_index_count);
    for (std::uint32_t i = 0; i < mesh.face_index_count; ++i)
        ASSERT_LT(mesh.face_indices[i], mesh.vertex_count);
    for (std::uint32_t set = 0; set < mesh.uv_set_count; ++set) {
        for (std::uint32_t i = 0; i < mesh.uv_sets[set].index_count; ++i)
            ASSERT_LT(mesh.uv_sets[set].indices[i], mesh.uv_sets[set].value_count);
    }
}

/// Every property can be read at its first and last sample.
void read_properties(const qel_archive *archive, std::uint32_t object, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        qel_archive_property property;
        ASSERT_EQ(qel_archive_get_property(archive, object, i, &property), QEL_ARCHIVE_OK);
        EXPECT_EQ(qel_archive_find_property(archive, object, property.name), i);
        if (property.kind == 0 || property.sample_count == 0) continue;
        for (const std::uint64_t sample : {0u, property.sample_count - 1}) {
            std::uint64_t size = 0;
            EXPECT_EQ(qel_archive_read_property(archive, object, i, sample, nullptr, 0, &size), QEL_ARCHIVE_OK)
                << property.name;
        }
    }
}

std::uint32_t read_meshes(const qel_archive *archive, std::uint32_t object) {
    qel_archive_mesh_info info;
    if (qel_archive_get_mesh_info(archive, object, &info) != QEL_ARCHIVE_OK) return 0;
    for (const std::uint64_t sample : {0u, info.sample_count / 2, info.sample_count - 1}) {
        ogawa_polymesh mesh;
        EXPECT_EQ(qel_archive_read_mesh(archive, object, sample, &mesh), QEL_ARCHIVE_OK);
        expect_sound(mesh);
        ogawa_free_polymesh(&mesh);
    }
    return 1;
}

TEST(RealArchives, EveryPropertyAndEveryMeshIsSound) {
    const std::vector<std::filesystem::path> paths = test::real_archives();
    if (paths.empty()) GTEST_SKIP() << test::no_real_archives;
    std::uint32_t objects = 0, with_points = 0, meshes = 0;
    for (const std::filesystem::path &path : paths) {
        SCOPED_TRACE(path.string());
        qel_archive *archive = nullptr;
        ASSERT_EQ(qel_archive_open(path.string().c_str(), &archive), QEL_ARCHIVE_OK);
        qel_archive_info info;
        ASSERT_EQ(qel_archive_get_info(archive, &info), QEL_ARCHIVE_OK);
        for (std::uint32_t i = 0; i < info.object_count; ++i) {
            qel_archive_object object;
            ASSERT_EQ(qel_archive_get_object(archive, i, &object), QEL_ARCHIVE_OK);
            EXPECT_EQ(qel_archive_find(archive, object.path), i);
            read_properties(archive, i, object.property_count);
            with_points += read_meshes(archive, i);
        }
        objects += info.object_count;
        meshes += info.mesh_count;
        qel_archive_close(archive);
    }
    EXPECT_GT(objects, paths.size()) << "more than the top object of each";
    EXPECT_GE(with_points, meshes);
}

} // namespace
} // namespace qel
