// SPDX-License-Identifier: MIT
// What `qel info` prints of an archive, from the archive's structure (not from a byte search).
#pragma once

#include "commands.h"
#include "examine/archive_scene.h"
#include "examine/report.h"
#include "terminal/writer.h"

#include <optional>

namespace tool {

class archive_facts {
  public:
    /// Reads each mesh at the first frame and checks it.
    explicit archive_facts(const input_file &file);

    const report &about() const { return about_; }
    void print_lines(const info_options &options) const;
    void write_json(writer &out, const info_options &options) const;

  private:
    struct mesh_entry {
        std::string path, kind;
        qel_archive_mesh_info info;
        bool visible;
        bool moves;          ///< its points or a transform above it change
        std::string normals; ///< their scope, empty if there are none
        std::vector<std::string> uv_sets;
        std::optional<std::vector<float>> bounds; ///< in world space at the first frame; none without points
    };

    void list_header(const input_file &file);
    void list_objects();
    void count_meshes();
    void list_mesh(const scene_mesh &mesh);
    void read_mesh(const scene_mesh &mesh, mesh_entry &entry);
    std::string line_of(const mesh_entry &entry) const;

    report about_;
    archive_scene scene_;
    std::vector<mesh_entry> meshes_;
};

/// The objects as a tree of lines, and as a list.
void print_tree(const qel_archive *archive, bool properties);
void write_objects(writer &out, const qel_archive *archive, bool properties);

} // namespace tool
