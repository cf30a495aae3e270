// SPDX-License-Identifier: MIT
#include "run_program.h"
#include "support/archive_writer.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>

namespace qel::test {
namespace {

const std::string program = shell_name(ARCHIVE_TO_TOKENS);

#define EXPECT_SAYS(text, part) EXPECT_NE((text).find(part), std::string::npos) << "in:\n" << (text)

TEST(ArchiveToTokens, MakesAFileOfEachFormatFromTheDefaultArchive) {
    const temp_folder folder;
    const program_result run = run_program(folder, program);
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_SAYS(run.output, "Ogawa Archive\n=============\nPath: " EXAMPLE_DATA "/torus.abc\nVersion: 0.1\n");
    EXPECT_SAYS(run.output, "1152 vertices, 1152 faces, 4608 indices, 4608 normals");
    EXPECT_SAYS(run.output, "found by the walk over the archive's nodes, with faces");
    EXPECT_SAYS(run.output, "bounds (-4, -4, -1) to (4, 4, 1)");
    EXPECT_SAYS(run.output, "2304 triangles");
    EXPECT_SAYS(run.output, "1152 tokens, one for each vertex");
    EXPECT_SAYS(run.output, "1152 tokens in 1152 cells and 1 layer\n");
    EXPECT_SAYS(run.output, "8 tokens around key");
    EXPECT_SAYS(run.output, "sound, and the same tokens");
    EXPECT_SAYS(run.output, "1155 normals and 1153 UVs found by their bytes");
    EXPECT_SAYS(run.output, "vertex 0 has 4 faces and 8 neighbours");
    EXPECT_SAYS(run.output, "1152 tangents computed");
    EXPECT_SAYS(run.output, "all positions finite, box coherence 0.0769");
    EXPECT_SAYS(run.output, "1152 vertices, 2304 triangles, the same positions in place");
    EXPECT_SAYS(run.output, "1152 vertices moved, by up to 1.000");
    EXPECT_SAYS(run.output, "2 agents, 1 active: 2A9E0100 read, 2A9E0200 made 1152 tokens");
}

TEST(ArchiveToTokens, LeavesFilesThatTheLibraryReads) {
    const temp_folder folder;
    ASSERT_EQ(run_program(folder, program + " " EXAMPLE_DATA "/torus.abc out").exit_code, 0);
    qel_unit unit{};
    EXPECT_EQ(qel_unit_load(folder.file("out/tokens.qel").c_str(), &unit), 0);
    EXPECT_EQ(unit.count, 1152u);
    qel_unit_free(&unit);
    std::free(unit.order);
    qel_alembic_file scene{};
    EXPECT_EQ(qel_alembic_load(folder.file("out/scene.bqel").c_str(), &scene), 0);
    EXPECT_EQ(scene.total_tokens, 1152u);
    EXPECT_EQ(scene.total_faces, 2304u);
    qel_alembic_free(&scene);
    qel_mesh mesh{};
    EXPECT_EQ(qel_mesh_load(folder.file("out/mesh.qelm").c_str(), &mesh), 0);
    EXPECT_EQ(mesh.header.triangle_count, 2304u);
    qel_mesh_free(&mesh);
    EXPECT_EQ(qel_agent_dir_load(folder.file("out/agents.qeag").c_str()), 0);
    std::uint32_t total = 0;
    qel_agent_dir_stats(&total, nullptr, nullptr);
    EXPECT_EQ(total, 2u);
    qel_agent_dir_free();
}

TEST(ArchiveToTokens, NamesAMissingFileAndLeavesNothing) {
    const temp_folder folder;
    const program_result run = run_program(folder, program + " missing.abc out");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(
        run.errors,
        "archive_to_tokens: open failed on missing.abc: code -1, the file cannot be opened or is empty\n");
    EXPECT_FALSE(file_exists(folder.file("out")));
}

TEST(ArchiveToTokens, SaysWhatIsWrongWithAFileThatIsNoArchive) {
    const temp_folder folder;
    write_file(folder.file("text.abc"), bytes(100, 'x'));
    const program_result run = run_program(folder, program + " text.abc out");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.errors, "open failed on text.abc: code -2, it is not an Ogawa container");
}

TEST(ArchiveToTokens, SaysThatAnArchiveHasNoMesh) {
    const temp_folder folder;
    archive_writer archive;
    archive.finish(archive.group({}));
    archive.save(folder.file("empty.abc"));
    const program_result run = run_program(folder, program + " empty.abc out");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.errors, "read mesh failed on empty.abc: code -1, no mesh was found");
    EXPECT_FALSE(file_exists(folder.file("out")));
}

TEST(ArchiveToTokens, SaysWhenAMeshCameFromTheByteSearch) {
    const temp_folder folder;
    archive_writer archive; // no groups at all: only bytes that look like positions
    archive.data(bytes_of(make_torus(64, 32, 3.0f, 1.0f).positions));
    archive.save(folder.file("bytes.abc"));
    const program_result run = run_program(folder, program + " bytes.abc out");
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_SAYS(run.output, "2048 vertices");
    EXPECT_SAYS(run.output, "found by the fallback");
}

TEST(ArchiveToTokens, GoesOnWithoutFacesThatDoNotFit) {
    const temp_folder folder;
    plain_mesh mesh = make_torus(48, 24, 3.0f, 1.0f);
    mesh.face_indices[100] = 5000;
    production_archive(mesh).save(folder.file("odd.abc"));
    const program_result run = run_program(folder, program + " odd.abc out");
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_SAYS(run.output, "going on without faces");
    EXPECT_SAYS(run.output, "1152 vertices, 0 triangles, the same positions in place");
}

/// An archive whose mesh is found, but fails when it is verified: two results have been written by then.
void save_archive_of_an_odd_mesh(const std::string &path) {
    plain_mesh mesh = make_torus(48, 24, 3.0f, 1.0f);
    mesh.positions[3000] = std::numeric_limits<float>::quiet_NaN();
    production_archive(mesh).save(path);
}

TEST(ArchiveToTokens, LeavesNothingWhenALaterStepFails) {
    const temp_folder folder;
    save_archive_of_an_odd_mesh(folder.file("odd.abc"));
    const program_result run = run_program(folder, program + " odd.abc out");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.output, "save scene");
    EXPECT_SAYS(run.errors, "verify failed on ");
    EXPECT_FALSE(file_exists(folder.file("out")));
}

TEST(ArchiveToTokens, LeavesTheFilesOfAnEarlierRunAsTheyWereWhenAStepFails) {
    const temp_folder folder;
    ASSERT_EQ(run_program(folder, program + " " EXAMPLE_DATA "/torus.abc out").exit_code, 0);
    const bytes tokens = read_file(folder.file("out/tokens.qel")),
                scene = read_file(folder.file("out/scene.bqel"));
    save_archive_of_an_odd_mesh(folder.file("odd.abc"));
    EXPECT_EQ(run_program(folder, program + " odd.abc out").exit_code, 1);
    EXPECT_EQ(read_file(folder.file("out/tokens.qel")), tokens);
    EXPECT_EQ(read_file(folder.file("out/scene.bqel")), scene);
    std::size_t files = 0;
    for ([[maybe_unused]] const auto &file : std::filesystem::directory_iterator(folder.file("out")))
        ++files;
    EXPECT_EQ(files, 4u);
}

TEST(ArchiveToTokens, ReplacesNeitherAFolderNorItsInput) {
    const temp_folder folder;
    std::filesystem::create_directories(folder.file("out/mesh.qelm"));
    const std::string places[] = {std::filesystem::path("out/mesh.qelm").make_preferred().string(),
                                  std::filesystem::path("in/tokens.qel").make_preferred().string()};
    program_result run = run_program(folder, program + " " EXAMPLE_DATA "/torus.abc out");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.errors, "output folder failed on " + places[0] + ": code 0, what is there is no file");
    EXPECT_FALSE(file_exists(folder.file("out/tokens.qel")));

    std::filesystem::create_directories(folder.file("in"));
    write_file(folder.file("in/tokens.qel"), read_file(EXAMPLE_DATA "/torus.abc"));
    run = run_program(folder, program + " in/tokens.qel in");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.errors, "output folder failed on " + places[1] + ": code 0, it is the input");
    EXPECT_EQ(read_file(folder.file("in/tokens.qel")), read_file(EXAMPLE_DATA "/torus.abc"));
}

TEST(ArchiveToTokens, SaysWhenTheOutputFolderCannotBeMade) {
    const temp_folder folder;
    write_file(folder.file("out"), bytes(1, 'x'));
    const program_result run = run_program(folder, program + " " EXAMPLE_DATA "/torus.abc out/deeper");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_SAYS(run.errors, "output folder failed on out/deeper");
}

TEST(ArchiveToTokens, ExplainsItself) {
    const temp_folder folder;
    EXPECT_EQ(run_program(folder, program + " --help").output,
              "usage: archive_to_tokens [INPUT.abc] [OUTPUT_FOLDER]\n");
    EXPECT_EQ(run_program(folder, program + " a b c").exit_code, 2);
}

} // namespace
} // namespace qel::test
