// SPDX-License-Identifier: MIT
// Meshes to test with.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <random>
#include <vector>

namespace qel::test {

/// A polygon mesh as plain arrays.
struct plain_mesh {
    std::vector<float> positions;            // triples
    std::vector<std::uint32_t> face_counts;  // corners of each face
    std::vector<std::uint32_t> face_indices; // vertex of each corner
    std::vector<float> corner_normals;       // one triple per corner
    std::vector<float> corner_uvs;           // one pair per corner
    std::vector<float> vertex_normals;       // one triple per vertex
    std::vector<float> vertex_uvs;           // one pair per vertex
    std::vector<float> tangents, bitangents; // one triple per vertex

    std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
    std::uint32_t face_count() const { return static_cast<std::uint32_t>(face_counts.size()); }
};

/// A torus of `around` x `across` quads about the z axis, with normals and UVs per corner and
/// per vertex, and with tangents.
plain_mesh make_torus(std::uint32_t around, std::uint32_t across, float radius, float tube);

/// A grid of columns x rows quads in the plane z = 0, one unit each; positions only, with triangles if requested.
plain_mesh make_grid(std::uint32_t columns, std::uint32_t rows, bool triangles);

/// Random vertices within [-reach, reach] and random faces of `smallest` to `largest` corners. Vertices may
/// repeat within a face, and some faces hold the same vertices as others.
plain_mesh make_random_mesh(std::mt19937 &random, std::uint32_t vertices, std::uint32_t faces, float reach,
                            std::uint32_t smallest, std::uint32_t largest);

/// A record that borrows the positions and faces of a mesh.
ogawa_polymesh record_of(plain_mesh &mesh);

/// Lends normals to a record.
void set_normals(ogawa_polymesh &record, std::vector<float> &normals, std::uint32_t scope);

} // namespace qel::test
