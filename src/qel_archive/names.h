// SPDX-License-Identifier: MIT
// The names of sisters: each once, found in a number of steps that grows with the logarithm of how many there are.
#pragma once

#include "common/arena.h"
#include "qel_archive/container.h"

#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t none = QEL_NOT_FOUND;

/// A text that a zero byte ends, which does not count.
struct text {
    const char *bytes;
    std::uint32_t length;
};

struct name_table {
    const text *names;
    std::uint32_t count;
    const std::uint32_t
        *order; // numbers of the names in ascending order; null where that is their own, or few
};

/// Not empty, without '/' and zero bytes.
bool is_name(const text &name);

/// Sets the order of a table's names; DAMAGED where one stands there twice.
status order_names(name_table &table, arena &memory);

/// The number of a name, `none` when it is not there.
std::uint32_t find_name(const name_table &table, const char *bytes, std::size_t length);

} // namespace qel::archives
