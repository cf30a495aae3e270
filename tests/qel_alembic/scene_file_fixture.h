// SPDX-License-Identifier: MIT
// What the tests of saving and loading scenes share.
#pragma once

#include "support/scenes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace qel::test {

constexpr std::size_t mesh_count_at = 8, frame_count_at = 12, header_bytes = 64;

inline bytes with_word(bytes file, std::size_t at, std::uint32_t word) {
    std::memcpy(&file[at], &word, sizeof word);
    return file;
}

#if !defined(_WIN32) // Windows has no named pipes in folders
inline std::int32_t load_through_pipe(const temp_folder &folder, const bytes &file, qel_alembic_file &scene) {
    const std::string pipe = folder.file("pipe");
    if (mkfifo(pipe.c_str(), 0600) != 0) return 1;
    std::thread writer([&] { write_file(pipe, file); });
    const std::int32_t status = qel_alembic_load(pipe.c_str(), &scene);
    writer.join();
    return status;
}
#endif

/// Saves a scene of every kind of mesh and frame, and loads files of given bytes.
class scene_file_test : public testing::Test {
  protected:
    /// Three meshes, one of them without faces and one empty, and three frames.
    void fill() {
        owned.add_mesh(random_positions(random, 40), random_triangles(random, 40, 70), "first");
        owned.add_mesh(random_positions(random, 7), {}, "second");
        owned.add_empty_mesh();
        owned.add_frame(3, 0.25f, {random_positions(random, 40), random_positions(random, 2)});
        owned.add_frame(-4, 0.5f, {});
        owned.add_frame(5, 0.75f, {{}, random_positions(random, 1)});
        owned.scene.total_vertices = 47;
        owned.scene.total_faces = 123456789012;
        owned.scene.flags = 0xA5A5A5A5;
        owned.scene.fps = 23.976f;
        owned.scene.time_start = -1.5f;
        owned.scene.time_end = 2.5f;
    }

    /// A header; the test appends what follows it.
    static bytes header(std::uint32_t version, std::uint32_t meshes, std::uint32_t frames) {
        bytes file = {'B', 'Q', 'E', 'L'};
        append(file, version);
        append(file, meshes);
        append(file, frames);
        append(file, std::uint64_t{1001});
        append(file, std::uint64_t{1002});
        append(file, 30.0f);
        append(file, 1.0f);
        append(file, 2.0f);
        append(file, std::uint32_t{77});
        file.resize(64);
        return file;
    }

    std::int32_t load(const bytes &file) {
        write_file(path, file);
        return qel_alembic_load(path.c_str(), &loaded.scene);
    }

    std::mt19937 random{101};
    temp_folder folder;
    std::string path = folder.file("scene.bqel");
    owned_scene owned, loaded;
};

} // namespace qel::test
