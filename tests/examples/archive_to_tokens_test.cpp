// SPDX-License-Identifier: MIT
#include "run_program.h"
#include "support/archive_writer.h"

#include <qel_unit.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace qel::test {
namespace {

const std::string program = shell_name(ARCHIVE_TO_TOKENS);
const std::string torus = EXAMPLE_DATA "/torus.abc";

std::size_t files_in(const std::string &folder) {
    std::size_t files = 0;
    for ([[maybe_unused]] const auto &file : std::filesystem::directory_iterator(folder))
        ++files;
    return files;
}

program_result run_in_folder(const temp_folder &folder, const std::string &archive, const std::string &output) {
    std::filesystem::create_directories(folder.file(output));
    return run_program(folder, program + " " + archive + " " + output);
}

TEST(ArchiveToTokens, LeavesFilesThatTheLibraryReads) {
    const temp_folder folder;
    const program_result run = run_in_folder(folder, torus, "out");
    ASSERT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(run.output, "1152 vertices, 1152 faces, 2304 triangles\n"
                          "token 000001BB, 23 hops from the middle\n"
                          "token 000001D3, 23 hops from the middle\n"
                          "token 000001EB, 23 hops from the middle\n");
    qel_unit unit{};
    EXPECT_EQ(qel_unit_load(folder.file("out/tokens.qel").c_str(), &unit), 0);
    EXPECT_EQ(unit.count, 1152u);
    qel_unit_free(&unit);
    std::free(unit.order);
    qel_alembic_file scene{};
    EXPECT_EQ(qel_alembic_load(folder.file("out/scene.bqel").c_str(), &scene), 0);
    EXPECT_EQ(qel_alembic_validate(&scene), 0);
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

void expect_failure(const program_result &run, const std::string &message) {
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.errors, "archive_to_tokens: " + message + "\n");
}

TEST(ArchiveToTokens, ReportsTheFailedStep) {
    const temp_folder folder;
    expect_failure(run_in_folder(folder, "missing.abc", "out"), "opening the archive failed: code -1");

    archive_writer archive;
    archive.finish(archive.group({}));
    archive.save(folder.file("empty.abc"));
    expect_failure(run_in_folder(folder, "empty.abc", "out"), "finding a mesh failed: code -1");

    plain_mesh mesh = make_torus(48, 24, 3.0f, 1.0f);
    mesh.face_indices[100] = 5000;
    production_archive(mesh).save(folder.file("odd.abc"));
    expect_failure(run_in_folder(folder, "odd.abc", "out"), "using the mesh failed: code 1");
    EXPECT_EQ(files_in(folder.file("out")), 0u);

    expect_failure(run_program(folder, program + " " + torus + " none"), "writing the unit failed: code -1");
}

#if !defined(_WIN32) // where the folder itself would be too long a path
TEST(ArchiveToTokens, RefusesAPathThatTheAgentDirectoryWouldCut) {
    const temp_folder folder;
    // "FOLDER/agents.qeag" of 255 characters fits, of 256 it does not.
    const std::string half(120, 'a'), fits = half + "/" + std::string(122, 'b');
    const program_result run = run_in_folder(folder, torus, fits);
    EXPECT_EQ(run.exit_code, 0) << run.errors;
    EXPECT_EQ(files_in(folder.file(fits)), 4u);
    expect_failure(run_in_folder(folder, torus, fits + "c"), "keeping the path within 255 characters failed: code 1");
    EXPECT_EQ(files_in(folder.file(fits + "c")), 0u);
}
#endif

} // namespace
} // namespace qel::test
