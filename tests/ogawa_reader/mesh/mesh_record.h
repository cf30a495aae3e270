// SPDX-License-Identifier: MIT
// A mesh record made by hand, for the adjacency tests.
#pragma once

#include "ogawa_reader/geometry/manifold_neighbors.h"
#include "qel_unit.h"
#include "support/each_form.h"
#include "support/mesh_maker.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace qel {

using numbers = std::vector<std::uint32_t>;

/// A mesh record over vectors, and its manifold's release.
class mesh_record {
  public:
    mesh_record(std::uint32_t vertex_count, numbers counts, numbers indices)
        : counts_(std::move(counts)), indices_(std::move(indices)) {
        mesh.vertex_count = vertex_count;
        mesh.face_counts = counts_.data();
        mesh.face_count = static_cast<std::uint32_t>(counts_.size());
        mesh.face_indices = indices_.data();
        mesh.face_index_count = static_cast<std::uint32_t>(indices_.size());
    }
    ~mesh_record() { ogawa_free_manifold(&mesh.manifold); }
    mesh_record(const mesh_record &) = delete;
    mesh_record &operator=(const mesh_record &) = delete;

    /// Makes every face a triangle.
    void drop_counts() {
        mesh.face_counts = nullptr;
        mesh.face_count = static_cast<std::uint32_t>(indices_.size() / 3);
    }

    numbers faces_of(std::uint32_t vertex) const {
        const std::uint32_t *faces = nullptr;
        std::uint32_t count = 0;
        EXPECT_EQ(ogawa_get_vertex_faces(&mesh.manifold, vertex, &faces, &count), 0);
        return numbers(faces, faces + count);
    }

    std::int32_t ask(std::uint32_t vertex, std::uint32_t *&neighbors, std::uint32_t &count) const {
        return ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, vertex, &neighbors, &count);
    }

    /// The same from every form of the kernel.
    numbers neighbors_of(std::uint32_t vertex) const {
        std::vector<numbers> results;
        test::with_each_form(neighbors_kernel, [&] {
            std::uint32_t *neighbors = nullptr, count = 0;
            EXPECT_EQ(ask(vertex, neighbors, count), 0);
            results.emplace_back(neighbors, neighbors + count);
            std::free(neighbors);
            EXPECT_EQ(results.back(), results.front());
        });
        return results.front();
    }

    numbers face_offsets() const {
        return numbers(mesh.manifold.face_offsets, mesh.manifold.face_offsets + mesh.face_count + 1);
    }

    ogawa_polymesh mesh{};

  private:
    numbers counts_, indices_;
};

} // namespace qel
