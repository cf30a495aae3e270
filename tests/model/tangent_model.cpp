// SPDX-License-Identifier: MIT
#include "model/tangent_model.h"

#include <cmath>
#include <cstdint>

namespace qel::model {

namespace {

/// The index of a corner, or -1 when the arrays do not hold it.
std::int64_t vertex_of(const ogawa_polymesh &mesh, std::uint64_t corner) {
    if (mesh.face_indices == nullptr) return -1;
    if (mesh.face_index_count != 0 && corner >= mesh.face_index_count) return -1;
    return mesh.face_indices[corner];
}

void uv_of(const ogawa_uv_set &set, std::uint64_t corner, std::uint32_t vertex, float *u, float *v) {
    *u = *v = 0.0f;
    if (set.values == nullptr) return;
    std::uint64_t i = vertex;
    bool bounded = true;
    if (set.indices != nullptr && set.scope == 4) {
        const bool held = set.index_count == 0 || corner < set.index_count;
        i = held ? set.indices[corner] : 0;
        bounded = set.value_count != 0;
    }
    if (bounded && i >= set.value_count) i = 0;
    *u = set.values[i * 2];
    *v = set.values[i * 2 + 1];
}

void add_face(const ogawa_polymesh &mesh, const ogawa_uv_set &set, std::uint64_t k, std::uint32_t c,
              plain_tangent_frame &frame) {
    float P[3][3], u[3], v[3];
    for (std::uint64_t m = 0; m < 3; ++m) {
        const std::int64_t i = vertex_of(mesh, k + m);
        if (i < 0 || i >= mesh.vertex_count || mesh.positions == nullptr) return;
        for (int axis = 0; axis < 3; ++axis)
            P[m][axis] = mesh.positions[i * 3 + axis];
        uv_of(set, k + m, static_cast<std::uint32_t>(i), &u[m], &v[m]);
    }
    const float du1 = u[1] - u[0], dv1 = v[1] - v[0], du2 = u[2] - u[0], dv2 = v[2] - v[0];
    const float left = du1 * dv2, right = dv1 * du2;
    const float det = left - right;
    float r = 1e8f;
    if (!(std::fabs(det) < 1e-8f)) r = 1.0f / det;
    float T[3], B[3];
    for (int axis = 0; axis < 3; ++axis) {
        const float e1 = P[1][axis] - P[0][axis], e2 = P[2][axis] - P[0][axis];
        T[axis] = (e1 * dv2 - e2 * dv1) * r;
        B[axis] = (e2 * du1 - e1 * du2) * r;
    }
    for (std::uint64_t m = 0; m < c; ++m) {
        const std::int64_t w = vertex_of(mesh, k + m);
        if (w < 0 || w >= mesh.vertex_count) continue;
        for (int axis = 0; axis < 3; ++axis) {
            const std::size_t at = static_cast<std::size_t>(w * 3 + axis);
            frame.tangents[at] = frame.tangents[at] + T[axis];
            frame.bitangents[at] = frame.bitangents[at] + B[axis];
        }
    }
}

void normalize_each(std::vector<float> &vectors) {
    for (std::size_t at = 0; at < vectors.size(); at += 3) {
        const float xx = vectors[at] * vectors[at];
        const float yy = vectors[at + 1] * vectors[at + 1];
        const float zz = vectors[at + 2] * vectors[at + 2];
        const float sum = (xx + yy) + zz;
        const float length = std::sqrt(sum);
        if (length > 1e-8f)
            for (std::size_t axis = 0; axis < 3; ++axis)
                vectors[at + axis] /= length;
    }
}

} // namespace

plain_tangent_frame compute_plain_tangent_frame(const ogawa_polymesh &mesh, const ogawa_uv_set &set) {
    plain_tangent_frame frame;
    frame.tangents.assign(std::size_t{mesh.vertex_count} * 3, 0.0f);
    frame.bitangents.assign(std::size_t{mesh.vertex_count} * 3, 0.0f);
    std::uint64_t k = 0;
    for (std::uint32_t f = 0; f < mesh.face_count; ++f) {
        const std::uint32_t c = mesh.face_counts != nullptr ? mesh.face_counts[f] : 3;
        if (c >= 3) add_face(mesh, set, k, c, frame);
        k += c;
    }
    normalize_each(frame.tangents);
    normalize_each(frame.bitangents);
    return frame;
}

} // namespace qel::model
