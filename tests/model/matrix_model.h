// SPDX-License-Identifier: MIT
// The algebra of the 48-cube in its plainest form: bit by bit, branch by branch.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

std::uint64_t morton_encode(std::uint32_t x, std::uint32_t y, std::uint32_t z);
std::uint8_t palindrome(std::uint32_t v);
std::int32_t k11_level(std::uint32_t x, std::uint32_t y, std::uint32_t z);
std::uint8_t i_state(std::int32_t v);
float phi_norm(std::uint8_t x, std::uint8_t y, std::uint8_t z);
float em_coupling(std::uint8_t x, std::uint8_t y, std::uint8_t z);
std::uint8_t mutate_tachyon(std::uint8_t v);
std::int32_t chirality(std::uint8_t a, std::uint8_t b);
qel_matrix_identity identity(std::uint8_t x, std::uint8_t y, std::uint32_t z);
qel_matrix_offspring reproduce(const qel_matrix_identity &a, const qel_matrix_identity &b, std::uint32_t mode);

} // namespace qel::model
