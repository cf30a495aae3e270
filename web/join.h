// SPDX-License-Identifier: MIT
// Several files in one page.
#pragma once

#include "view/page_model.h"

#include <string>
#include <vector>

namespace web {

/// A model and the name of its file.
struct named_model {
    std::string name;
    tool::page_model model;
};

/// Joins all meshes in one space, those of each file below an object with its name. The frames are those of all files;
/// between two of its own frames, a file shows the earlier one.
tool::page_model join(std::vector<named_model> parts);

} // namespace web
