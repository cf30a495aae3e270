// SPDX-License-Identifier: MIT
#include "run_program.h"
#include "support/archive_schemas.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

const std::string program = shell_name(READ_ARCHIVE);

TEST(ReadArchive, ListsTheHarbourAndItsBoundsOverTime) {
    const temp_folder folder;
    EXPECT_EQ(output_of(folder, program + " " EXAMPLE_DATA "/harbour.abc"),
              "42 objects, 23 meshes\n"
              "/harbour/sea: 441 vertices, 400 faces, 1600 corners, deforms in 48 samples\n"
              "/harbour/island/rock: 141 vertices, 141 faces, 560 corners, still\n"
              "/harbour/windmill/tower: 50 vertices, 42 faces, 180 corners, still\n"
              "/harbour/windmill/cap: 65 vertices, 65 faces, 256 corners, still\n"
              "/harbour/windmill/door: 8 vertices, 6 faces, 24 corners, still\n"
              "/harbour/windmill/rotor/arm_1/sail: 44 vertices, 30 faces, 120 corners, still\n"
              "/harbour/windmill/rotor/arm_2/sail: 44 vertices, 30 faces, 120 corners, still\n"
              "/harbour/windmill/rotor/arm_3/sail: 44 vertices, 30 faces, 120 corners, still\n"
              "/harbour/windmill/rotor/arm_4/sail: 44 vertices, 30 faces, 120 corners, still\n"
              "/harbour/windmill/rotor/hub: 49 vertices, 49 faces, 192 corners, still\n"
              "/harbour/lighthouse/rock: 61 vertices, 61 faces, 240 corners, still\n"
              "/harbour/lighthouse/tower: 160 vertices, 146 faces, 608 corners, still\n"
              "/harbour/lighthouse/lantern: 16 vertices, 10 faces, 48 corners, still\n"
              "/harbour/lighthouse/roof: 49 vertices, 49 faces, 192 corners, still\n"
              "/harbour/lighthouse/lamp/beams: 48 vertices, 28 faces, 144 corners, still\n"
              "/harbour/jetty/wood: 56 vertices, 42 faces, 168 corners, still\n"
              "/harbour/flagpole/pole: 41 vertices, 41 faces, 160 corners, still\n"
              "/harbour/flagpole/flag: 153 vertices, 128 faces, 512 corners, deforms in 48 samples\n"
              "/harbour/boat/hull: 240 vertices, 184 faces, 736 corners, still\n"
              "/harbour/boat/mast: 33 vertices, 31 faces, 120 corners, still\n"
              "/harbour/boat/sail: 63 vertices, 48 faces, 192 corners, deforms in 48 samples\n"
              "/harbour/dinghy/hull: 240 vertices, 184 faces, 736 corners, still\n"
              "/harbour/buoy/float: 48 vertices, 42 faces, 176 corners, still\n"
              "0.000 s: (-16.00, -1.40, -16.00) to (16.00, 8.75, 16.00)\n"
              "0.490 s: (-16.00, -1.40, -16.00) to (16.00, 8.56, 16.00)\n"
              "0.979 s: (-16.00, -1.40, -16.00) to (16.00, 8.13, 16.00)\n"
              "1.469 s: (-16.00, -1.40, -16.00) to (16.00, 8.65, 16.00)\n"
              "1.958 s: (-16.00, -1.40, -16.00) to (16.00, 8.75, 16.00)\n");
}

polymesh triangle(float height) {
    polymesh mesh;
    mesh.points = {{0, 0, 0, 1, 0, 0, 0, height, 0}};
    mesh.face_counts = {{3}};
    mesh.face_indices = {{0, 1, 2}};
    return mesh;
}

TEST(ReadArchive, IgnoresHiddenMeshesAndMeshesWithoutPositions) {
    const temp_folder folder;
    archive_builder scene;
    add_schema_object(scene.top, "bare", "AbcGeom_PolyMesh_v1", ".geom");
    set_visible(add_polymesh(scene.top, "hidden", triangle(9)), {0});
    add_polymesh(add_xform(scene.top, "up", {translate(0, 10, 0)}), "shown", triangle(2));
    scene.save(folder.file("scene.abc"));
    const std::string output = output_of(folder, program + " scene.abc");
    EXPECT_EQ(output.rfind("5 objects, 3 meshes\n/bare: ", 0), 0u) << output;
    const std::string lines = "\n/hidden: 3 vertices, 1 faces, 3 corners, still\n"
                              "/up/shown: 3 vertices, 1 faces, 3 corners, still\n"
                              "0.000 s: (0.00, 10.00, 0.00) to (1.00, 12.00, 0.00)\n";
    EXPECT_NE(output.find(lines), std::string::npos) << output;
}

TEST(ReadArchive, StopsAtADamagedMeshAndNamesIt) {
    const temp_folder folder;
    archive_builder scene;
    polymesh mesh = triangle(1);
    mesh.face_indices = {{0, 1, 3}};
    add_polymesh(scene.top, "odd", mesh);
    scene.save(folder.file("scene.abc"));
    const program_result run = run_program(folder, program + " scene.abc");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors.rfind("/odd: ", 0), 0u) << run.errors;
}

TEST(ReadArchive, NamesTheFileThatCannotBeOpened) {
    const temp_folder folder;
    EXPECT_EQ(run_program(folder, program).exit_code, 2);
    const program_result run = run_program(folder, program + " missing.abc");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors.rfind("missing.abc: ", 0), 0u) << run.errors;
}

} // namespace
} // namespace qel::test
