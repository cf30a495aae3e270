// SPDX-License-Identifier: MIT
// Meshes and scenes for the token rows: a torus, whose surface meets few of the lattice's cells, so that many vertices
// share one, as in any scanned or modelled surface.
#pragma once

#include "qel_unit.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace qel::bench {

/// A triangulated torus of about so many vertices and twice as many triangles.
struct triangle_mesh {
    explicit triangle_mesh(std::size_t vertices) {
        const auto side = static_cast<std::uint32_t>(std::lround(std::sqrt(static_cast<double>(vertices))));
        for (std::uint32_t i = 0; i < side; ++i)
            for (std::uint32_t j = 0; j < side; ++j)
                add_vertex(6.2831853 * i / side, 6.2831853 * j / side);
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
    void add_vertex(double u, double v) {
        const double ring = 3 + std::cos(v);
        for (const double value : {ring * std::cos(u), ring * std::sin(u), std::sin(v)})
            positions.push_back(static_cast<float>(value));
    }
};

/// A scene of one processed mesh, or of a mesh without records to process.
class bench_scene {
  public:
    explicit bench_scene(std::size_t vertices) {
        const triangle_mesh mesh(vertices);
        scene.meshes = static_cast<qel_alembic_mesh *>(std::calloc(1, sizeof(qel_alembic_mesh)));
        scene.mesh_count = 1;
        scene.fps = 24;
        qel_alembic_load_raw(mesh.positions.data(), mesh.vertex_count(), mesh.indices.data(),
                             mesh.face_count(), "torus", scene.meshes);
    }
    ~bench_scene() { qel_alembic_free(&scene); }
    bench_scene(const bench_scene &) = delete;
    bench_scene &operator=(const bench_scene &) = delete;

    void drop_index() {
        std::free(scene.hash);
        scene.hash = nullptr;
    }

    qel_alembic_file scene = {};
};

} // namespace qel::bench
