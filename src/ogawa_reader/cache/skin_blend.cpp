// SPDX-License-Identifier: MIT
// A lane is one coordinate of one result: sums keep their order. Two slots in a 512-bit register are slower: joining
// the rows of two matrices costs more than it saves.
#include "ogawa_reader/cache/skin_blend.h"

#include <cstring>

#if QEL_AVX2_KERNELS
#include <immintrin.h>
#endif

namespace qel {
namespace {

constexpr float min_weight = 1e-6f;

/// The fourth column is computed as well, so that compilers vectorize the loop, and is discarded at the end.
void skin_plain(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                std::uint32_t joint_count, const float *positions, float *results) {
    for (std::uint32_t v = 0; v < count; ++v, positions += 3, results += 3) {
        const double x = positions[0], y = positions[1], z = positions[2];
        float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        for (int slot = 0; slot < 4; ++slot) {
            const float weight = weights[v].weights[slot];
            const std::uint32_t joint = weights[v].joints[slot];
            if (weight < min_weight || joint >= joint_count) continue;
            const auto &m = joints[joint].at;
            for (int axis = 0; axis < 4; ++axis) {
                const double moved = x * m[0][axis] + y * m[1][axis] + z * m[2][axis] + m[3][axis];
                sum[axis] += static_cast<float>(moved) * weight;
            }
        }
        std::memcpy(results, sum, 3 * sizeof *sum);
    }
}

#if QEL_AVX2_KERNELS

struct wide_position {
    __m256d x, y, z; // each in all lanes
};

/// A position moved by one joint, rounded to single precision and multiplied by the weight.
QEL_TARGET_AVX2 inline __m128 weighed(const wide_position &position, const joint_matrix &joint, float weight) {
    __m256d moved = _mm256_mul_pd(position.x, _mm256_loadu_pd(joint.at[0]));
    moved = _mm256_add_pd(moved, _mm256_mul_pd(position.y, _mm256_loadu_pd(joint.at[1])));
    moved = _mm256_add_pd(moved, _mm256_mul_pd(position.z, _mm256_loadu_pd(joint.at[2])));
    moved = _mm256_add_pd(moved, _mm256_loadu_pd(joint.at[3]));
    return _mm_mul_ps(_mm256_cvtpd_ps(moved), _mm_set1_ps(weight));
}

/// One bit for each slot that is not skipped.
QEL_TARGET_AVX2 inline unsigned heavy_slots(const qel_skin_weight &weight, __m128i joint_count) {
    std::int32_t packed;
    std::memcpy(&packed, weight.joints, sizeof packed);
    const __m128i joints = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(packed));
    const __m128 known = _mm_castsi128_ps(_mm_cmpgt_epi32(joint_count, joints));
    const __m128 heavy = _mm_cmpnlt_ps(_mm_loadu_ps(weight.weights), _mm_set1_ps(min_weight));
    return static_cast<unsigned>(_mm_movemask_ps(_mm_and_ps(known, heavy)));
}

QEL_TARGET_AVX2 void skin_avx2(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                               std::uint32_t joint_count, const float *positions, float *results) {
    const __m128i limit = _mm_set1_epi32(static_cast<std::int32_t>(joint_count));
    for (const qel_skin_weight *const end = weights + count; weights != end; ++weights) {
        const wide_position position = {_mm256_set1_pd(positions[0]), _mm256_set1_pd(positions[1]),
                                        _mm256_set1_pd(positions[2])};
        const auto slot = [&](unsigned number) QEL_TARGET_AVX2 {
            return weighed(position, joints[weights->joints[number]], weights->weights[number]);
        };
        __m128 sum = _mm_setzero_ps();
        unsigned used = heavy_slots(*weights, limit);
        if (used == 15) {
            sum = _mm_add_ps(sum, slot(0));
            sum = _mm_add_ps(sum, slot(1));
            sum = _mm_add_ps(sum, slot(2));
            sum = _mm_add_ps(sum, slot(3));
        } else {
            for (; used != 0; used &= used - 1)
                sum = _mm_add_ps(sum, slot(static_cast<unsigned>(__builtin_ctz(used))));
        }
        _mm_storel_pi(reinterpret_cast<__m64 *>(results), sum);
        _mm_store_ss(results + 2, _mm_movehl_ps(sum, sum));
        positions += 3;
        results += 3;
    }
}

#endif

} // namespace

// Compilers vectorize the plain form for SSE2 as well as a hand-written form.
dispatched<skin_function> skin_kernel(skin_plain, nullptr, QEL_AVX2_FORM(skin_avx2), nullptr);

void skin_blend(const qel_skin_weight *weights, std::uint32_t count, const joint_matrix *joints,
                std::uint32_t joint_count, const float *positions, float *results) {
    skin_kernel(weights, count, joints, joint_count, positions, results);
}

} // namespace qel
