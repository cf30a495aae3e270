// SPDX-License-Identifier: MIT
// Linear blend skinning.
#include "qel_unit.h"

#include "model/skin_model.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <Eigen/Core>
#include <Eigen/StdVector>

#include <cstring>
#include <random>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qel::bench {

namespace {

using matrix = Eigen::Matrix<double, 4, 4, Eigen::RowMajor>;

struct skin_input {
    skin_input(std::size_t vertices, std::size_t joint_count)
        : joints(joint_count), weights(vertices), poses(joint_count * 16), positions(vertices * 3) {
        std::mt19937 random(29);
        std::uniform_real_distribution<double> entry(-1, 1);
        for (double &value : poses)
            value = entry(random);
        for (qel_skin_joint &joint : joints)
            for (double &value : joint.joint_transform)
                value = entry(random);
        for (float &value : positions)
            value = static_cast<float>(entry(random) * 10);
        for (qel_skin_weight &weight : weights)
            for (int slot = 0; slot < 4; ++slot) {
                weight.joints[slot] = static_cast<std::uint8_t>(random() % joint_count);
                weight.weights[slot] = 0.25f;
            }
        skin.joints = joints.data();
        skin.joint_count = static_cast<std::uint32_t>(joint_count);
        skin.weights = weights.data();
        skin.weight_count = static_cast<std::uint32_t>(vertices);
    }

    std::vector<qel_skin_joint> joints;
    std::vector<qel_skin_weight> weights;
    std::vector<double> poses;
    std::vector<float> positions;
    qel_skin skin = {};
};

/// The form of a user of Eigen: all in double precision, a row vector times each joint's matrix.
void skin_with_eigen(const skin_input &input, std::vector<float> &out) {
    std::vector<matrix, Eigen::aligned_allocator<matrix>> matrices(input.joints.size());
    for (std::size_t j = 0; j < matrices.size(); ++j)
        matrices[j] =
            Eigen::Map<const matrix>(&input.poses[j * 16]) * Eigen::Map<const matrix>(input.joints[j].joint_transform);
    for (std::size_t i = 0; i < input.weights.size(); ++i) {
        const float *const p = &input.positions[i * 3];
        const double x = static_cast<double>(p[0]), y = static_cast<double>(p[1]), z = static_cast<double>(p[2]);
        Eigen::RowVector4d sum = Eigen::RowVector4d::Zero();
        for (int slot = 0; slot < 4; ++slot) {
            const matrix &m = matrices[input.weights[i].joints[slot]];
            const double weight = static_cast<double>(input.weights[i].weights[slot]);
            sum += weight * (x * m.row(0) + y * m.row(1) + z * m.row(2) + m.row(3));
        }
        for (int axis = 0; axis < 3; ++axis)
            out[i * 3 + static_cast<std::size_t>(axis)] = static_cast<float>(sum[axis]);
    }
}

#if defined(__x86_64__)
/// Only the arithmetic of `vertices` vertices with four joints each: one position, one weight and one matrix, which
/// stay in the first-level cache. Per joint three products and three sums of four doubles, none fused, then a
/// conversion, a product and a sum of four floats.
__attribute__((target("avx2"))) void blend_in_cache(std::size_t vertices) {
    alignas(32) double rows[4][4];
    std::memset(rows, 0, sizeof rows);
    float weight = 0.25f;
    __m256d x = _mm256_set1_pd(1), y = x, z = x;
    for (std::size_t v = 0; v < vertices; ++v) {
        __m128 sum = _mm_setzero_ps();
        for (int slot = 0; slot < 4; ++slot) {
            benchmark::ClobberMemory(); // as if each joint had its own rows and weight
            keep(rows);
            keep(weight);
            __m256d moved = _mm256_mul_pd(x, _mm256_load_pd(rows[0]));
            moved = _mm256_add_pd(moved, _mm256_mul_pd(y, _mm256_load_pd(rows[1])));
            moved = _mm256_add_pd(moved, _mm256_mul_pd(z, _mm256_load_pd(rows[2])));
            moved = _mm256_add_pd(moved, _mm256_load_pd(rows[3]));
            sum = _mm_add_ps(sum, _mm_mul_ps(_mm256_cvtpd_ps(moved), _mm_set1_ps(weight)));
        }
        keep(sum);
    }
}
#endif

bool skinned_same(const skin_input &input, std::vector<float> &ours) {
    qel_skin_apply(&input.skin, input.poses.data(), input.positions.data(), ours.data());
    const std::vector<float> plain = model::skin_apply(input.skin, input.poses, input.positions);
    return std::memcmp(ours.data(), plain.data(), plain.size() * sizeof(float)) == 0;
}

void apply(benchmark::State &state, std::size_t vertices) {
    const skin_input input(vertices, 100);
    std::vector<float> ours(input.positions.size()), eigen(input.positions.size()), plain;
    if (!agree_with_model(state, "the plain positions differ", [&] { return skinned_same(input, ours); })) return;
    const auto stream = [&] {
        stream_read(input.positions);
        stream_read(input.weights);
        std::memset(ours.data(), 0x5A, ours.size() * sizeof(float));
        keep(ours.data());
    };
    side_by_side rounds(
        state, {[&] { qel_skin_apply(&input.skin, input.poses.data(), input.positions.data(), ours.data()); }});
    rounds.model({[&] { plain = model::skin_apply(input.skin, input.poses, input.positions); }}, 4)
        .peer("Eigen, double precision", {[&] {
                  skin_with_eigen(input, eigen);
                  keep(eigen[0]);
              }},
              1)
        .limit("streaming its inputs and outputs", {stream});
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        rounds.limit("streaming, and then its arithmetic in the first cache", {[&] {
                         stream();
                         blend_in_cache(vertices);
                     }},
                     1.25);
#endif
    rounds.measure();
}

} // namespace

void add_skinning_rows() {
    row("skin apply, 4 of 100 joints each", "1 M vertices", [](auto &state) { apply(state, sized(1000000, 2000)); });
    growth("skin apply, 4 of 100 joints each", "vertex", 30'000'000, apply);
}

} // namespace qel::bench
