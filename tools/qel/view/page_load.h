// SPDX-License-Identifier: MIT
// Loads a file or a folder as the model of a page.
#pragma once

#include "files/input.h"
#include "view/page_model.h"

namespace tool {

/// Reads an archive, a scene or a mesh cache; fails if it is not sound. With `by_bytes`, an archive's mesh is the one
/// that a search of its bytes finds, as in `qel convert --by-bytes`.
page_model load_page(const input_file &file, bool by_bytes);

/// Reads the mesh caches of a folder, in the order of their names.
page_model load_folder(const std::string &folder);

// For each kind.
page_model load_archive_page(const input_file &file);
page_model load_scene_page(const input_file &file);

} // namespace tool
