// SPDX-License-Identifier: MIT
#include "model/skin_model.h"

#include <array>

namespace qel::model {

std::vector<float> skin_apply(const qel_skin &skin, const std::vector<double> &poses,
                              const std::vector<float> &positions) {
    std::vector<std::array<std::array<double, 4>, 4>> matrices(skin.joint_count);
    for (std::size_t j = 0; j < skin.joint_count; ++j) {
        const double *P = &poses[j * 16];
        const double *J = skin.joints[j].joint_transform;
        for (std::size_t r = 0; r < 4; ++r)
            for (std::size_t c = 0; c < 4; ++c) {
                double sum = P[r * 4 + 0] * J[0 * 4 + c];
                sum = sum + P[r * 4 + 1] * J[1 * 4 + c];
                sum = sum + P[r * 4 + 2] * J[2 * 4 + c];
                sum = sum + P[r * 4 + 3] * J[3 * 4 + c];
                matrices[j][r][c] = sum;
            }
    }
    std::vector<float> out(std::size_t{skin.weight_count} * 3);
    for (std::size_t i = 0; i < skin.weight_count; ++i) {
        float ox = 0.0f, oy = 0.0f, oz = 0.0f;
        for (int s = 0; s < 4; ++s) {
            const float w = skin.weights[i].weights[s];
            const unsigned j = skin.weights[i].joints[s];
            if (w < 1e-6f) continue;
            if (j >= skin.joint_count) continue;
            const auto &M = matrices[j];
            const double x = static_cast<double>(positions[i * 3]);
            const double y = static_cast<double>(positions[i * 3 + 1]);
            const double z = static_cast<double>(positions[i * 3 + 2]);
            const double tx = ((x * M[0][0] + y * M[1][0]) + z * M[2][0]) + M[3][0];
            const double ty = ((x * M[0][1] + y * M[1][1]) + z * M[2][1]) + M[3][1];
            const double tz = ((x * M[0][2] + y * M[1][2]) + z * M[2][2]) + M[3][2];
            ox += static_cast<float>(tx) * w;
            oy += static_cast<float>(ty) * w;
            oz += static_cast<float>(tz) * w;
        }
        out[i * 3] = ox;
        out[i * 3 + 1] = oy;
        out[i * 3 + 2] = oz;
    }
    return out;
}

} // namespace qel::model
