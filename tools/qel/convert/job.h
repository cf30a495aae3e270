// SPDX-License-Identifier: MIT
// The conversion of an archive and its steps.
#pragma once

#include "convert/result_folder.h"
#include "examine/examined.h"

#include <memory>
#include <string>
#include <vector>

namespace tool::job {

/// What the files of a conversion hold, 0 of what was not made.
struct amounts {
    std::uint64_t meshes = 0, vertices = 0, triangles = 0, frames = 0, tokens = 0;
};

/// What a conversion made.
struct outcome {
    std::vector<std::string> files; ///< their paths
    std::string summary;            ///< what is in them
    amounts made;
};

/// The agent directory.
constexpr const char *agents_name = "agents.qeag";

/// Fails before anything is written unless each of the names in the folder may be written.
void check_places(const input_file &input, const std::string &folder, const std::vector<std::string> &names);

/// The mesh that is found by the look of an archive's bytes becomes a file of each format in a folder, where they
/// take the place of files of these names. Where `asked`, the unit and the scene are read again and the unit answers
/// queries, for the report of the steps; that takes three indexes of 32 MiB. Throws failure or step_failed and changes
/// nothing.
outcome convert_by_bytes(const input_file &input, const std::string &output, bool asked);

// The steps, in the order in which the job takes them.

// geometry.cpp: out of the archive
std::unique_ptr<examined> read_archive(const input_file &input);
std::vector<std::uint32_t> fan_faces(polymesh_record &mesh);
void read_normals_and_uvs(archive_record &source, polymesh_record &mesh);
void build_adjacency(polymesh_record &mesh);
void make_tangents(archive_record &source, polymesh_record &mesh);
void verify_positions(polymesh_record &mesh);

// tokens.cpp: tokens, the scene file and the unit file
void make_tokens(polymesh_record &mesh, const std::vector<std::uint32_t> &triangles, scene_record &made);
result save_scene(scene_record &made, result_folder &folder);
void reload_scene(const scene_record &made, const result &file);
result export_unit(scene_record &made, result_folder &folder);
void query_unit(const result &file);

// cache.cpp: the mesh cache and skinning
void write_and_map_cache(polymesh_record &mesh, std::uint64_t triangles, result_folder &folder);

// agents.cpp: the run, recorded in an agent directory
/// Fails where the library, once it has loaded the directory in this folder, would cut its path and save it elsewhere.
void check_agents_path(const std::string &output);
void record_run(result_folder &folder, std::uint64_t tokens);

} // namespace tool::job
