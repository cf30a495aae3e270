// SPDX-License-Identifier: MIT
// The conversion of an archive by its bytes, and the steps that it shares with that of a whole archive.
#pragma once

#include "convert/result_folder.h"
#include "examine/examined.h"

#include <memory>
#include <string>
#include <vector>

namespace tool::job {

/// Counts of the conversion's results, 0 for those that were not made.
struct amounts {
    std::uint64_t meshes = 0, vertices = 0, triangles = 0, frames = 0, tokens = 0;
};

/// The results of a conversion.
struct outcome {
    std::vector<std::string> files; ///< their paths
    std::string summary;            ///< their contents in words
    amounts made;
};

// The names of the results.
inline constexpr const char *unit_name = "tokens.qel", *scene_name = "scene.bqel", *cache_name = "mesh.qelm",
                            *agents_name = "agents.qeag";

/// Fails before anything is written unless each of the names in the folder may be written.
void check_places(const input_file &input, const std::string &folder, const std::vector<std::string> &names);

/// Converts the mesh that a search of the archive's bytes finds into a file of each format in a folder, where they
/// replace files of these names. With `verbose`, the unit and the scene are loaded again and the unit is queried, for
/// the report of the steps; that takes three indexes of 32 MiB. Throws failure or step_failed and changes nothing.
outcome convert_by_bytes(const input_file &input, const std::string &output, bool verbose);

// The steps, in the order in which the conversion by bytes takes them.

// geometry.cpp: the mesh of the archive
std::unique_ptr<examined> read_archive(const input_file &input);
std::vector<std::uint32_t> fan_faces(const polymesh_record &mesh);
void read_normals_and_uvs(archive_record &source, polymesh_record &mesh);
void build_adjacency(polymesh_record &mesh);
void make_tangents(archive_record &source, polymesh_record &mesh);
void verify_positions(const polymesh_record &mesh);
/// Fails unless all positions are finite.
qel_mesh_verify_report verify(const std::string &step, const std::string &subject, const ogawa_polymesh &mesh);

// tokens.cpp: tokens, the scene file and the unit file
void make_tokens(polymesh_record &mesh, const std::vector<std::uint32_t> &triangles, scene_record &made);
/// Allocates the scene's meshes.
void allocate_meshes(const std::string &step, const std::string &subject, std::uint32_t count, scene_record &made);
result save_scene(scene_record &made, result_folder &folder);
void reload_scene(const scene_record &made, const result &file);
/// Writes `made->total_tokens` tokens of all meshes.
result export_unit(scene_record &made, result_folder &folder);
void query_unit(const result &file);

// cache.cpp: the mesh cache and skinning
void write_and_map_cache(const polymesh_record &mesh, std::uint64_t triangles, result_folder &folder);
/// Writes a cache and returns its size; `skin` may be null.
std::uint64_t save_cache(const std::string &step, const ogawa_polymesh &mesh, std::uint64_t triangles,
                         const qel_skin *skin, const result &file, const result_folder &folder);
/// Maps a cache, which must hold the mesh's positions, bit for bit.
void map_cache(const std::string &step, const ogawa_polymesh &mesh, const result &file, cache_record &cache);

// agents.cpp: the run, recorded in an agent directory
/// Fails if the path of the directory's file is longer than what a loaded directory keeps of it (max_kept_path): it
/// would be saved elsewhere.
void check_agents_path(const std::string &output);
void record_run(result_folder &folder, std::uint64_t tokens);

} // namespace tool::job
