// SPDX-License-Identifier: MIT
// The scene in examples/data and the program that makes it.
#include "run_program.h"

#include <gtest/gtest.h>

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

TEST(SceneArchive, IsAskedForWithOnePath) {
    const temp_folder folder;
    const program_result run = run_program(folder, shell_name(MAKE_SCENE_ARCHIVE));
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.errors, "usage: make_scene_archive OUTPUT.abc\n");
}

} // namespace
} // namespace qel::test
