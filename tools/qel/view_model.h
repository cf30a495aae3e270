// SPDX-License-Identifier: MIT
// What the page of `qel view` shows: all meshes of a file as one, each vertex with its token.
#pragma once

#include "input.h"

#include <qel_unit.h>

#include <string>
#include <vector>

namespace tool {

struct view_model {
    struct part {
        std::string name;
        std::uint32_t first, count; ///< vertices
    };
    std::vector<part> parts;
    std::vector<float> positions;         ///< triples
    std::vector<float> normals;           ///< triples of length 1, one for each position
    std::vector<std::uint32_t> triangles; ///< triples of vertex numbers
    std::vector<qel_alembic_vertex> vertices;
    std::vector<qel_alembic_token> tokens;
};

/// Reads an archive, a scene or a mesh cache; an unsound one is refused.
view_model load_view(const input_file &file);

} // namespace tool
