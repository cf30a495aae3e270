// SPDX-License-Identifier: MIT
#include "qel_unit.h"

#include "common/heap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qel {
namespace {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "products that leave single precision become infinities");

constexpr std::int32_t no_skin = -1;
constexpr float least_weight = 1e-6f;

/// Joint numbers are bytes: a skin may have more joints than this, but no vertex can name them.
constexpr std::uint32_t reachable_joints = 256;

struct matrix {
    double at[4][4]; // row, column
};
static_assert(sizeof(matrix) == 128);

matrix product(const double *left, const double *right) {
    matrix result;
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t c = 0; c < 4; ++c)
            result.at[r][c] = left[r * 4] * right[c] + left[r * 4 + 1] * right[4 + c] +
                              left[r * 4 + 2] * right[8 + c] + left[r * 4 + 3] * right[12 + c];
    return result;
}

/// Reads the position before it writes the result: they may be the same three floats. The fourth column takes part
/// so that compilers move four numbers at a time; it is dropped in the end.
void skin_vertex(const qel_skin_weight &weight, const matrix *matrices, std::uint32_t joint_count,
                 const float *position, float *result) {
    const double x = position[0], y = position[1], z = position[2];
    float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int slot = 0; slot < 4; ++slot) {
        const float w = weight.weights[slot];
        const std::uint32_t joint = weight.joints[slot];
        if (w < least_weight || joint >= joint_count) continue; // a NaN weight is used
        const auto &m = matrices[joint].at;
        for (int axis = 0; axis < 4; ++axis) {
            const double moved = x * m[0][axis] + y * m[1][axis] + z * m[2][axis] + m[3][axis];
            sum[axis] += static_cast<float>(moved) * w;
        }
    }
    std::memcpy(result, sum, 3 * sizeof *sum);
}

} // namespace
} // namespace qel

extern "C" {

int32_t ogawa_read_skinning(const ogawa_archive *archive, const ogawa_object *, qel_skin *out) {
    if (archive != nullptr && out != nullptr) std::memset(out, 0, sizeof *out);
    return qel::no_skin;
}

void qel_skin_apply(const qel_skin *skin, const double *pose_matrices, const float *positions_in,
                    float *positions_out) {
    using namespace qel;
    if (skin == nullptr || pose_matrices == nullptr || positions_in == nullptr || positions_out == nullptr)
        return;
    // A load that ran out of memory leaves counts without arrays.
    if (skin->joints == nullptr && skin->joint_count > 0) return;
    if (skin->weights == nullptr) return;

    const scratch<matrix> matrices(heap_array<matrix>(skin->joint_count));
    if (matrices == nullptr) return;
    for (std::uint32_t j = 0; j < std::min(skin->joint_count, reachable_joints); ++j)
        matrices[j] = product(pose_matrices + std::size_t{j} * 16, skin->joints[j].joint_transform);
    for (std::uint64_t v = 0; v < skin->weight_count; ++v)
        skin_vertex(skin->weights[v], matrices.get(), skin->joint_count, positions_in + v * 3,
                    positions_out + v * 3);
}

void qel_skin_free(qel_skin *skin) {
    if (skin == nullptr) return;
    qel::release(skin->joints);
    qel::release(skin->weights);
    std::memset(skin, 0, sizeof *skin);
}
}
