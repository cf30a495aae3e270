// SPDX-License-Identifier: MIT
// Sizes of what an archive's arrays are made of.
#pragma once

#include <cstddef>

namespace qel {

constexpr std::size_t header_bytes = 16; // of an archive
constexpr std::size_t digest_bytes = 16; // before the values of an array
constexpr std::size_t triple_bytes = 3 * sizeof(float);

} // namespace qel
