// SPDX-License-Identifier: MIT
#include "run_program.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

TEST(CCaller, BuildsAUnitAndQueriesIt) {
    const temp_folder folder;
    EXPECT_EQ(output_of(folder, shell_name(C_CALLER)), "64 tokens\n"
                                                       "token 57: id 00000039, layer 3, vertex (3, 2, 1)\n"
                                                       "vertex (1, 2, 3) is hidden\n"
                                                       "token 63: id 0000003F, layer 3, vertex (3, 3, 3)\n"
                                                       "layer 2: 3 tokens, at most 3 asked for\n"
                                                       "0 hops: token 21: id 00000015, layer 1, vertex (1, 1, 1)\n"
                                                       "1 hops: token 20: id 00000014, layer 1, vertex (1, 1, 0)\n"
                                                       "1 hops: token 22: id 00000016, layer 1, vertex (1, 1, 2)\n");
}

TEST(SceneOverTime, InterpolatesBetweenItsFrames) {
    const temp_folder folder;
    EXPECT_EQ(output_of(folder, shell_name(SCENE_OVER_TIME)),
              "QEL Alembic File\n================\nVersion: 0\nMeshes: 1\nTotal Vertices: 4\n"
              "Total Faces: 2\nTotal Tokens: 4\nFrames: 2\nFPS: 24.00\n"
              "Time Range: 0.000 - 1.000 sec\nSource: \n"
              "frames 0 to 1 at 24 frames per second\n"
              "at 0.00 s the square is at height 0.00\n"
              "at 0.25 s the square is at height 0.25\n"
              "at 0.50 s the square is at height 0.50\n"
              "at 1.00 s the square is at height 1.00\n"
              "at 2.00 s there is no square: code -1\n"
              "vertex 2 of frame 24 stands in frame record 1\n"
              "near: vertex 2, id 00000002, distance 0\n"
              "near: vertex 3, id 00000003, distance 182\n");
}

TEST(SkinnedCache, BendsTheMappedMesh) {
    const temp_folder folder;
    EXPECT_EQ(output_of(folder, shell_name(SKINNED_CACHE) + " strip.qelm"),
              "10 vertices, 8 triangles, 2 joints\n"
              "x 0 rises to z 0.00\nx 1 rises to z 0.50\nx 2 rises to z 1.00\n"
              "x 3 rises to z 1.50\nx 4 rises to z 2.00\n");
    EXPECT_TRUE(file_exists(folder.file("strip.qelm")));
}

TEST(SkinnedCache, NamesTheFileThatCannotBeWritten) {
    const temp_folder folder;
    const program_result run = run_program(folder, shell_name(SKINNED_CACHE) + " missing/strip.qelm");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors, "missing/strip.qelm could not be written: code -2\n");
}

} // namespace
} // namespace qel::test
