// SPDX-License-Identifier: MIT
// The model of a page before it is packed: objects, meshes with the lattices of their tokens, frames.
#pragma once

#include <qel_unit.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// One line of the page's outliner. Parents precede their children.
struct page_object {
    std::string name;
    std::int64_t parent = -1;
    std::string kind;
};

struct page_mesh {
    std::uint32_t object = 0;
    std::uint8_t layer = 1;
    std::uint32_t named = 0;                  ///< its number in its tokens' identities
    bool moves = false;                       ///< its positions differ from frame to frame
    std::vector<float> positions;             ///< triples, at the first frame
    std::vector<std::uint32_t> triangles;     ///< triples of the mesh's own vertex numbers
    std::vector<std::uint8_t> continues;      ///< 1 for a triangle of the same polygon as the one before; or empty
    std::vector<float> normals, uvs;          ///< for each vertex, or empty
    std::vector<std::uint8_t> cells;          ///< triples below 48
    std::vector<qel_alembic_vertex> vertices; ///< those of a scene if they differ from the computed ones
    std::vector<qel_alembic_token> tokens;    ///< as long as `vertices`
    std::vector<std::uint32_t> numbers;       ///< of the vertices that sampling has kept, or empty
    std::size_t shown_from = 0, shown_to = 0; ///< frames; two zeros: always
    std::uint32_t original_count = 0;         ///< of vertices before sampling

    std::size_t vertex_count() const { return positions.size() / 3; }
};

struct page_model {
    std::string title;
    std::string kind; ///< "archive", "scene", "mesh cache", "mesh caches"
    std::vector<page_object> objects;
    std::vector<page_mesh> meshes;
    std::vector<double> times;      ///< seconds of the frames; one or none if nothing moves
    double rate = 24;               ///< frames a second
    std::vector<std::string> notes; ///< sentences about what the page leaves out
    /// The positions of a moving mesh at a frame, as many as at the first.
    std::function<void(std::size_t mesh, std::size_t frame, std::vector<float> &positions)> positions_at;
};

/// The box of the finite positions; all zero if there is none.
std::array<float, 6> box_of(const std::vector<float> &positions);

/// The cell of each position in the lattice of a box.
std::vector<std::uint8_t> cells_of(const std::vector<float> &positions, const std::array<float, 6> &box);

} // namespace tool
