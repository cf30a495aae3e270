// SPDX-License-Identifier: MIT
// Generated inputs that are the same everywhere: integers, and floats that divide exactly. No function of the
// mathematical library and no distribution of the standard one, which give other values elsewhere.
#pragma once

#include "support/mesh_maker.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace qel::test {

class noise {
  public:
    explicit noise(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() { // splitmix64
        std::uint64_t value = state_ += 0x9E3779B97F4A7C15u;
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
        return value ^ (value >> 31);
    }
    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>((next() >> 32) * limit >> 32);
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(next() >> 56); }
    /// A multiple of 1/1024 within [-reach, reach).
    float coordinate(std::uint32_t reach) {
        return static_cast<float>(static_cast<std::int32_t>(below(2048 * reach)) -
                                  static_cast<std::int32_t>(1024 * reach)) /
               1024.0f;
    }
    /// Any bits at all: denormals, infinities, NaNs. Not returned as a value: some 32-bit calls quieten a NaN on its
    /// way.
    void set_any(float &value) {
        const auto bits = static_cast<std::uint32_t>(next() >> 32);
        std::memcpy(&value, &bits, sizeof value);
    }

  private:
    std::uint64_t state_;
};

/// One of a few unit vectors whose components are thirds or fifths, rounded once.
void append_unit_vector(noise &random, std::vector<float> &out);

/// A sheet of columns x rows quads with heights at random, with normals, UVs and tangents.
plain_mesh make_sheet(std::uint64_t seed, std::uint32_t columns, std::uint32_t rows);

/// Faces of 0 to 6 corners over random vertices. Some name vertices that do not exist.
plain_mesh make_tangle(std::uint64_t seed, std::uint32_t vertices, std::uint32_t faces);

} // namespace qel::test
