// SPDX-License-Identifier: MIT
// The names of siblings: each is unique, and a search takes a logarithmic number of steps.
#pragma once

#include "common/arena.h"
#include "qel_archive/container.h"

#include <cstdint>

namespace qel::archives {

constexpr std::uint32_t none = QEL_NOT_FOUND;

/// A text of `length` bytes, followed by a zero byte.
struct text {
    const char *bytes;
    std::uint32_t length;
};

struct name_table {
    const text *names;
    std::uint32_t count;
    const std::uint32_t *order; // in ascending order; null if the names ascend already or are few
};

/// Whether a name is not empty and holds neither '/' nor a zero byte.
bool is_valid_name(const text &name);

/// Sets the order of a table's names if it is needed; DAMAGED if two are equal.
status order_names(name_table &table, arena &memory);

/// The number of a name; `none` if it is missing.
std::uint32_t find_name(const name_table &table, const char *bytes, std::size_t length);

} // namespace qel::archives
