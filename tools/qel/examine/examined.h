// SPDX-License-Identifier: MIT
// A file that is loaded and checked once, for all commands.
#pragma once

#include "examine/owned.h"
#include "examine/report.h"
#include "files/input.h"

#include <string>

namespace tool {

class examined {
  public:
    /// Loads the file by its kind. Fails with the meaning of the library's code if that is not possible.
    explicit examined(const input_file &from);

    const input_file &file;
    report about;

    // Only the record of the file's kind is filled. Units and agent directories are read record by record from the
    // file instead.
    scene_record scene;
    cache_record cache;
    archive_record archive;
    polymesh_record mesh; ///< found in the archive by the byte search

    /// Fails with the report's verdict unless it is empty.
    void must_be_usable() const;
};

// Each loads and checks one kind of file.
void examine_unit(examined &what);
void examine_agents(examined &what);
void examine_scene(examined &what);
void examine_cache(examined &what);
void examine_archive(examined &what);

/// How reliable a mesh found by the byte search is, and which of the archive's meshes it is.
void add_byte_verdict(examined &what, bool half_faces);
void add_real_mesh(examined &what);

/// Adds what the byte searches of an archive find besides the mesh; nothing for the other kinds.
void add_searched_facts(examined &what);

} // namespace tool
