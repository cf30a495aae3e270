// SPDX-License-Identifier: MIT
// Several files in one page.
#pragma once

#include "view/page_model.h"

#include <string>
#include <vector>

namespace web {

/// A model and what its file is called.
struct named_model {
    std::string name;
    tool::page_model model;
};

/// All meshes in one space, each file's below an object of its name. Frames are those of all files; between two frames
/// of its own, a file stays as it is at the earlier one.
tool::page_model join(std::vector<named_model> parts);

} // namespace web
