// SPDX-License-Identifier: MIT
// Makes the model of a page out of a file or a folder.
#pragma once

#include "files/input.h"
#include "view/page_model.h"

namespace tool {

/// Reads an archive, a scene or a mesh cache; an unsound one is refused. `by_bytes` finds an archive's mesh by the
/// look of its bytes, as `qel convert --by-bytes` does.
page_model load_page(const input_file &file, bool by_bytes);

/// Reads the mesh caches of a folder, in the order of their names.
page_model load_folder(const std::string &folder);

// For each kind.
page_model load_archive_page(const input_file &file);
page_model load_scene_page(const input_file &file);

} // namespace tool
