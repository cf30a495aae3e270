// SPDX-License-Identifier: MIT
// The scene in examples/data and the program that makes it.
#include "run_program.h"

#include <qel_archive.h>

#include <gtest/gtest.h>

#include <cmath>

namespace qel::test {
namespace {

TEST(SceneArchive, HasTheSameBytesWhereverItIsMade) {
    const temp_folder folder;
    const program_result run = run_program(folder, shell_name(MAKE_SCENE_ARCHIVE) + " harbour.abc");
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    const bytes made = read_file(folder.file("harbour.abc")), kept = read_file(EXAMPLE_DATA "/harbour.abc");
    EXPECT_LT(kept.size(), 1000000u);
    ASSERT_EQ(made.size(), kept.size());
    EXPECT_TRUE(made == kept) << "scripts/make-examples.sh makes another scene than the one in examples/data";
}

/// The longest distance that a point moves from one sample to another.
float longest_step(const ogawa_polymesh &from, const ogawa_polymesh &to) {
    float longest = 0;
    for (std::size_t i = 0; i < 3 * std::size_t{from.vertex_count}; ++i)
        longest = std::max(longest, std::fabs(to.positions[i] - from.positions[i]));
    return longest;
}

TEST(SceneArchive, LoopsWithoutAJump) {
    qel_archive *archive = nullptr;
    ASSERT_EQ(qel_archive_open(EXAMPLE_DATA "/harbour.abc", &archive), QEL_ARCHIVE_OK);
    for (const char *path :
         {"/harbour/sea", "/harbour/flagpole/flag", "/harbour/boat/sail", "/harbour/ropes", "/harbour/gulls"}) {
        const std::uint32_t object = qel_archive_find(archive, path);
        ogawa_polymesh frames[48];
        for (std::uint64_t i = 0; i < 48; ++i)
            ASSERT_EQ(qel_archive_read_mesh(archive, object, i, frames + i), QEL_ARCHIVE_OK) << path;
        float within = 0;
        for (std::size_t i = 0; i + 1 < 48; ++i)
            within = std::max(within, longest_step(frames[i], frames[i + 1]));
        EXPECT_GT(within, 0.001f) << path;
        EXPECT_LE(longest_step(frames[47], frames[0]), 1.01f * within) << path;
        for (ogawa_polymesh &frame : frames)
            ogawa_free_polymesh(&frame);
    }
    qel_archive_close(archive);
}

TEST(SceneArchive, RequiresOnePath) {
    const temp_folder folder;
    const program_result run = run_program(folder, shell_name(MAKE_SCENE_ARCHIVE));
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.errors, "usage: make_scene_archive OUTPUT.abc\n");
}

} // namespace
} // namespace qel::test
