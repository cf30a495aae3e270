// SPDX-License-Identifier: MIT
// Meshes and scenes for the token rows: a torus, in which some vertices share a lattice cell, as in any modelled
// surface, and a flat grid, whose vertices are all in one layer of cells.
#pragma once

#include "support/scenes.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace qel::bench {

enum class shape { torus, flat_grid };

/// A mesh of about `vertices` vertices and twice as many triangles.
struct triangle_mesh {
    explicit triangle_mesh(std::size_t vertices, shape form = shape::torus) {
        const auto side = static_cast<std::uint32_t>(std::lround(std::sqrt(static_cast<double>(vertices))));
        for (std::uint32_t i = 0; i < side; ++i)
            for (std::uint32_t j = 0; j < side; ++j)
                if (form == shape::torus)
                    add_torus_vertex(6.2831853 * i / side, 6.2831853 * j / side);
                else
                    positions.insert(positions.end(), {static_cast<float>(i), static_cast<float>(j), 0.0f});
        for (std::uint32_t i = 0; i < side; ++i)
            for (std::uint32_t j = 0; j < side; ++j) {
                const std::uint32_t a = i * side + j, b = (i + 1) % side * side + j;
                const std::uint32_t c = (i + 1) % side * side + (j + 1) % side, d = i * side + (j + 1) % side;
                indices.insert(indices.end(), {a, b, c, a, c, d});
            }
    }

    std::uint32_t vertex_count() const { return static_cast<std::uint32_t>(positions.size() / 3); }
    std::uint32_t face_count() const { return static_cast<std::uint32_t>(indices.size() / 3); }

    std::vector<float> positions;
    std::vector<std::uint32_t> indices;

  private:
    void add_torus_vertex(double u, double v) {
        const double ring = 3 + std::cos(v);
        for (const double value : {ring * std::cos(u), ring * std::sin(u), std::sin(v)})
            positions.push_back(static_cast<float>(value));
    }
};

/// A scene of one processed mesh.
struct bench_scene : test::owned_scene {
    explicit bench_scene(std::size_t vertices, shape form = shape::torus) {
        const triangle_mesh mesh(vertices, form);
        scene.fps = 24;
        add_mesh(mesh.positions, mesh.indices);
    }

    void drop_index() {
        std::free(scene.hash);
        scene.hash = nullptr;
    }
};

} // namespace qel::bench
