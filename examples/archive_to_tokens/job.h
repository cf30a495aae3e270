// SPDX-License-Identifier: MIT
// The job and its steps.
#pragma once

#include "step.h"

#include <string>
#include <vector>

namespace example {

/// What the job makes.
constexpr const char *result_names[] = {"tokens.qel", "scene.bqel", "mesh.qelm", "agents.qeag"};

/// The whole job: an archive becomes a file of each format in a folder, where they take the place of files of
/// these names. Returns their paths, or throws step_failed and changes nothing.
std::vector<std::string> archive_to_tokens(const std::string &input, const std::string &output);

// The steps, in the order in which the job takes them.

// geometry.cpp: out of the archive
void open_archive(archive &source, const std::string &path);
void read_mesh(archive &source, polymesh &mesh, const std::string &path);
std::vector<std::uint32_t> fan_faces(polymesh &mesh);
void read_normals_and_uvs(archive &source, polymesh &mesh);
void build_adjacency(polymesh &mesh);
void make_tangents(archive &source, polymesh &mesh);
void verify_positions(polymesh &mesh);

// tokens.cpp: tokens, the scene file and the unit file
void make_tokens(polymesh &mesh, const std::vector<std::uint32_t> &triangles, scene &made);
void save_and_reload_scene(scene &made, output_folder &folder);
void export_and_query_unit(scene &made, output_folder &folder);

// cache.cpp: the mesh cache and skinning
void write_and_map_cache(polymesh &mesh, output_folder &folder);

// agents.cpp: the run, recorded in an agent directory
void record_run(output_folder &folder, std::uint64_t tokens);

} // namespace example
