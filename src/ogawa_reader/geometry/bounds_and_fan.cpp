// SPDX-License-Identifier: MIT
// Bounds of positions and fan triangulation of a polygon.
#include "qel_unit.h"

#include "common/bounds.h"
#include "common/heap.h"

using namespace qel;

extern "C" {

void ogawa_compute_bounds(const float *positions, std::uint32_t count, float *bounds) {
    if (count == 0 || bounds == nullptr || positions == nullptr) return;
    compute_bounds(positions, count, bounds);
}

std::int32_t ogawa_triangulate_face(const std::uint32_t *face, std::uint32_t corner_count, std::uint32_t **triangles,
                                    std::uint32_t *triangle_count) {
    if (face == nullptr || corner_count < 3 || triangles == nullptr || triangle_count == nullptr)
        return OGAWA_TRIANGULATE_FACE_BAD_ARGUMENT;
    const std::uint32_t count = corner_count - 2;
    std::uint32_t *const fan = heap_array<std::uint32_t>(std::uint64_t{count} * 3);
    if (fan == nullptr) return OGAWA_TRIANGULATE_FACE_NO_MEMORY;
    std::uint32_t *out = fan;
    for (std::uint32_t t = 0; t < count; ++t) {
        *out++ = face[0];
        *out++ = face[t + 1];
        *out++ = face[t + 2];
    }
    *triangles = fan;
    *triangle_count = count;
    return QEL_OK;
}

} // extern "C"
