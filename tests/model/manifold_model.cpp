// SPDX-License-Identifier: MIT
#include "model/manifold_model.h"

#include <algorithm>

namespace qel::model {

plain_manifold build_plain_manifold(const ogawa_polymesh &mesh) {
    // The faces of every vertex, and the corners of every face, as lists of lists.
    std::vector<std::vector<std::uint32_t>> faces_of(mesh.vertex_count);
    plain_manifold manifold;
    manifold.face_offsets.push_back(0);
    std::uint64_t k = 0;
    const auto missing = [&mesh](std::uint64_t corner) {
        return mesh.face_indices == nullptr || (mesh.face_index_count != 0 && corner >= mesh.face_index_count);
    };
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint32_t c = mesh.face_counts != nullptr ? mesh.face_counts[f] : 3;
        for (std::uint32_t i = 0; i < c && !missing(k); ++i, ++k) {
            const std::uint32_t w = mesh.face_indices[k];
            if (w < mesh.vertex_count) faces_of[w].push_back(f);
        }
        manifold.face_offsets.push_back(static_cast<std::uint32_t>(k));
    }
    manifold.vertex_face_offsets.push_back(0);
    for (const std::vector<std::uint32_t> &faces : faces_of) {
        manifold.vertex_faces.insert(manifold.vertex_faces.end(), faces.begin(), faces.end());
        manifold.vertex_face_offsets.push_back(static_cast<std::uint32_t>(manifold.vertex_faces.size()));
    }
    return manifold;
}

std::vector<std::uint32_t> plain_neighbors(const plain_manifold &manifold, const std::uint32_t *face_indices,
                                           std::uint32_t vertex) {
    std::vector<std::uint32_t> neighbors;
    for (std::uint32_t i = manifold.vertex_face_offsets[vertex]; i < manifold.vertex_face_offsets[vertex + 1]; ++i) {
        const std::uint32_t f = manifold.vertex_faces[i];
        for (std::uint32_t k = manifold.face_offsets[f]; k < manifold.face_offsets[f + 1]; ++k) {
            const std::uint32_t other = face_indices[k];
            if (other == vertex) continue;
            if (std::find(neighbors.begin(), neighbors.end(), other) == neighbors.end()) neighbors.push_back(other);
        }
    }
    return neighbors;
}

} // namespace qel::model
