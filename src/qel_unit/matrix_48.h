// SPDX-License-Identifier: MIT
// The arithmetic of one lattice cell, shared with the token scene.
#pragma once

#include <cmath>
#include <cstdint>

namespace qel {

constexpr float golden_ratio = 1.618034f;
constexpr float corner_radius = 40.703194f; // 23.5 x sqrt(3): from the lattice centre to a corner
constexpr float lattice_centre = 23.5f;
constexpr int lattice_edge = 48;

/// Interleaves the low 6 bits of three coordinates by spreading each with three multiplications: a product with
/// 2^n + 1 copies the bits n places to the left, and the mask keeps each bit once.
constexpr std::uint64_t morton_48(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    const auto spread = [](std::uint32_t v) {
        v = (v & 63) * 257 & 0x300F00F;
        v = v * 17 & 0x30C30C3;
        return v * 5 & 0x9249249;
    };
    return spread(x) | spread(y) << 1 | spread(z) << 2;
}

constexpr int level_48(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return static_cast<int>((x + y + z) % 23) - 11;
}

inline constexpr std::int8_t level_states[4] = {0, 1, -1, 2};

/// The state of a level, chosen by the two low bits of the signed value.
constexpr std::int8_t state_48(int level) {
    return level_states[level & 3];
}

/// The norm of a cell at this distance from the lattice centre. The norm of a corner is about the golden ratio.
constexpr float norm_at(float distance) {
    return distance / corner_radius * golden_ratio;
}

inline float phi_norm_48(std::uint8_t x, std::uint8_t y, std::uint8_t z) {
    const float dx = static_cast<float>(x) - lattice_centre;
    const float dy = static_cast<float>(y) - lattice_centre;
    const float dz = static_cast<float>(z) - lattice_centre;
    return norm_at(std::sqrt((dx * dx + dy * dy) + dz * dz));
}

} // namespace qel
