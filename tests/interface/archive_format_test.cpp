// SPDX-License-Identifier: MIT
// The archive dumped in docs/archive-format.md is written here, equals the page byte for byte, and reads as the page
// describes it.
#include "dumps.h"
#include "support/archive_schemas.h"
#include "support/temp_folder.h"

#include <qel_archive.h>
#include <qel_unit.h>

#include <gtest/gtest.h>

namespace qel::test {
namespace {

/// A triangle whose tip rises in its second sample, below a transform.
bytes small_archive() {
    archive_builder scene;
    scene.metadata = "_ai_Application=qel_unit";
    const std::uint32_t film = scene.add_sampling({1.0 / 24, {0}});
    object_node &mill = add_xform(scene.top, "mill", {translate(0, 1, 0)});
    polymesh sail;
    sail.points = {{0, 0, 0, 1, 0, 0, 0, 2, 0}, {0, 0, 0, 1, 0, 0, 0, 3, 0}};
    sail.face_counts = {{3}};
    sail.face_indices = {{0, 1, 2}};
    sail.time_sampling = film;
    sail.bounds = false;
    add_polymesh(mill, "sail", sail);
    return scene.build().content;
}

TEST(ArchiveFormat, SmallArchiveIsDumpedAsItIs) {
    expect_dump("archive-format.md", "A small archive, byte by byte", small_archive());
}

TEST(ArchiveFormat, SmallArchiveHasTheValuesOfThePage) {
    const temp_folder folder;
    write_file(folder.file("small.abc"), small_archive());
    qel_archive *archive = nullptr;
    ASSERT_EQ(qel_archive_open(folder.file("small.abc").c_str(), &archive), QEL_ARCHIVE_OK);
    const std::uint32_t sail = qel_archive_find(archive, "/mill/sail");
    qel_archive_property positions;
    ASSERT_EQ(qel_archive_get_property(archive, sail, qel_archive_find_property(archive, sail, ".geom/P"), &positions),
              QEL_ARCHIVE_OK);
    EXPECT_EQ(positions.sample_count, 2u);
    EXPECT_EQ(positions.time_sampling, 1u);
    ogawa_polymesh mesh;
    ASSERT_EQ(qel_archive_read_mesh(archive, sail, 1, &mesh), QEL_ARCHIVE_OK);
    EXPECT_EQ(mesh.positions[7], 3.0f);
    EXPECT_EQ(mesh.transform[13], 1.0);
    ogawa_free_polymesh(&mesh);
    qel_archive_close(archive);
}

} // namespace
} // namespace qel::test
