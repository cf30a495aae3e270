// SPDX-License-Identifier: MIT
// Applies a skin to positions, and releases it.
#include "qel_unit.h"

#include "common/heap.h"
#include "ogawa_reader/cache/skin_blend.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qel {
namespace {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "products beyond the range of single precision become infinities");

/// `left` x `right`, row by column.
joint_matrix product(const double *left, const double *right) {
    joint_matrix result;
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t c = 0; c < 4; ++c)
            result.at[r][c] = left[r * 4] * right[c] + left[r * 4 + 1] * right[4 + c] + left[r * 4 + 2] * right[8 + c] +
                              left[r * 4 + 3] * right[12 + c];
    return result;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t ogawa_read_skinning(const ogawa_archive *archive, const ogawa_object *, qel_skin *out) {
    if (archive != nullptr && out != nullptr) std::memset(out, 0, sizeof *out);
    return OGAWA_READ_SKINNING_NOT_FOUND;
}

void qel_skin_apply(const qel_skin *skin, const double *pose_matrices, const float *positions_in,
                    float *positions_out) {
    if (skin == nullptr || pose_matrices == nullptr || positions_in == nullptr || positions_out == nullptr) return;
    // A load without memory leaves counts without arrays.
    if (skin->joints == nullptr && skin->joint_count > 0) return;
    if (skin->weights == nullptr) return;

    const scratch<joint_matrix> matrices(heap_lines<joint_matrix>(skin->joint_count));
    if (matrices == nullptr) return;
    const std::uint32_t used = std::min(skin->joint_count, max_used_joints);
    for (std::uint32_t j = 0; j < used; ++j)
        matrices[j] = product(pose_matrices + std::size_t{j} * 16, skin->joints[j].joint_transform);
    skin_blend(skin->weights, skin->weight_count, matrices.get(), used, positions_in, positions_out);
}

void qel_skin_free(qel_skin *skin) {
    if (skin == nullptr) return;
    release(skin->joints);
    release(skin->weights);
    std::memset(skin, 0, sizeof *skin);
}

} // extern "C"
