// SPDX-License-Identifier: MIT
#include "model/matrix_model.h"

#include <cmath>

namespace qel::model {

std::uint64_t morton_encode(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    std::uint64_t code = 0;
    for (int i = 0; i < 6; ++i) {
        code |= std::uint64_t{x >> i & 1} << (3 * i);
        code |= std::uint64_t{y >> i & 1} << (3 * i + 1);
        code |= std::uint64_t{z >> i & 1} << (3 * i + 2);
    }
    return code;
}

std::uint8_t palindrome(std::uint32_t v) {
    const std::int64_t mirrored = 47 - std::int64_t{v};
    return static_cast<std::uint8_t>(mirrored & 255);
}

std::int32_t k11_level(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    std::uint32_t sum = x + y + z;
    while (sum >= 23)
        sum -= 23;
    return static_cast<std::int32_t>(sum) - 11;
}

std::uint8_t i_state(std::int32_t v) {
    switch (static_cast<std::uint32_t>(v) & 3) {
    case 0:
        return 0;
    case 1:
        return 1;
    case 2:
        return 255;
    default:
        return 2;
    }
}

float phi_norm(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    const auto dx = static_cast<float>(static_cast<double>(x) - 23.5);
    const auto dy = static_cast<float>(static_cast<double>(y) - 23.5);
    const auto dz = static_cast<float>(static_cast<double>(z) - 23.5);
    const float xx = dx * dx;
    const float yy = dy * dy;
    const float zz = dz * dz;
    const float xy = xx + yy;
    const float r = std::sqrt(xy + zz);
    const float scaled = r / 40.703194f;
    return scaled * 1.618034f;
}

float em_coupling(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    const float n = phi_norm(x, y, z);
    const float part = n / 48.0f;
    const float t = part + 1.0f;
    const double product = static_cast<double>(t) * 10.665754185164001;
    return static_cast<float>(product);
}

std::uint8_t mutate_tachyon(std::uint8_t v) {
    if (v == 0) return 47;
    if (v >= 49) return 0;
    return static_cast<std::uint8_t>(48 - v);
}

std::int32_t chirality(std::uint8_t a, std::uint8_t b) {
    if (b < a) return 1;
    if (a < b) return -1;
    return 0;
}

qel_matrix_identity identity(std::uint8_t x, std::uint8_t y, std::uint32_t z) {
    qel_matrix_identity cell = {};
    cell.x = x;
    cell.y = y;
    cell.z = static_cast<std::uint8_t>(z & 255);
    cell.mirror_x = palindrome(x);
    cell.mirror_y = palindrome(y);
    cell.mirror_z = palindrome(z & 255);
    cell.k11_level = static_cast<std::int8_t>(k11_level(x, y, z & 255));
    cell.i_state = i_state(cell.k11_level & 3);
    cell.morton = morton_encode(x & 63u, y & 63u, z & 63u);
    cell.phi_norm = phi_norm(x, y, cell.z);
    cell.em_coupling = em_coupling(x, y, cell.z);
    return cell;
}

namespace {

void projective(const int (&a)[3], const int (&b)[3], std::uint8_t (&child)[3]) {
    float m[3];
    float f[3];
    float squares = 0;
    for (int axis = 0; axis < 3; ++axis) {
        m[axis] = static_cast<float>(a[axis] + b[axis]) * 0.5f;
        f[axis] = m[axis] - 23.5f;
        const float square = f[axis] * f[axis];
        squares = squares + square; // the first sum is 0 + square: exact
    }
    const float root = std::sqrt(squares);
    const float s = 1.618034f / (root + 0.001f);
    for (int axis = 0; axis < 3; ++axis) {
        const float pushed = f[axis] * s;
        const float moved = pushed + m[axis];
        const int whole = static_cast<int>(std::trunc(moved));
        const int magnitude = (whole < 0 ? -whole : whole) % 48;
        child[axis] = static_cast<std::uint8_t>((whole < 0 ? 256 - magnitude : magnitude) & 255);
    }
}

} // namespace

qel_matrix_offspring reproduce(const qel_matrix_identity &a, const qel_matrix_identity &b, std::uint32_t mode) {
    int first[3] = {a.x, a.y, a.z};
    const int second[3] = {b.x, b.y, b.z};
    std::uint8_t child[3] = {};
    if (mode == 2)
        for (int &v : first)
            v = mutate_tachyon(static_cast<std::uint8_t>(v));
    if (mode == 0 || mode == 2)
        for (int axis = 0; axis < 3; ++axis)
            child[axis] = static_cast<std::uint8_t>((first[axis] + second[axis]) / 2);
    else
        projective(first, second, child);

    qel_matrix_offspring result = {};
    result.x = child[0];
    result.y = child[1];
    result.z = child[2];
    result.chirality = static_cast<std::int8_t>(chirality(child[0], child[1]));
    result.k11_level = static_cast<std::int8_t>(k11_level(child[0], child[1], child[2]));
    result.i_state = i_state(result.k11_level & 3);
    const float scaled = a.phi_norm * 1.618034f;
    const float sum = scaled + b.phi_norm;
    result.phi_blend = sum / 2.618034f;
    result.em_coupling = em_coupling(child[0], child[1], child[2]);
    return result;
}

} // namespace qel::model
