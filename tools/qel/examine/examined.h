// SPDX-License-Identifier: MIT
// A file that was loaded once and judged once: every command shows it, uses it or refuses it by this.
#pragma once

#include "examine/owned.h"
#include "examine/report.h"
#include "files/input.h"

#include <string>

namespace tool {

class examined {
  public:
    /// Loads the file as its kind says. Fails with the meaning of the library's code where that is not possible.
    explicit examined(const input_file &from);

    const input_file &file;
    report about;

    // What was loaded: the record of the file's kind, and nothing in the others. Units and agent directories are read
    // record by record from the file.
    scene_record scene;
    cache_record cache;
    archive_record archive;
    polymesh_record mesh; ///< what the search found in the archive

    /// Fails with the verdict, if there is one.
    void must_be_usable() const;
};

// How each kind is loaded and judged.
void examine_unit(examined &what);
void examine_agents(examined &what);
void examine_scene(examined &what);
void examine_cache(examined &what);
void examine_archive(examined &what);

/// How far the mesh that was found by its bytes may be believed, and which of the archive's meshes it is.
void add_byte_verdict(examined &what, bool half_faces);
void add_real_mesh(examined &what);

/// What the searches through an archive's bytes find besides the mesh; nothing for the other kinds.
void add_searched_facts(examined &what);

} // namespace tool
