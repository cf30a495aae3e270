// SPDX-License-Identifier: MIT
// The load of a scene with a bound on the memory for counts that exceed the file.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

/// The number of bytes by which an array may exceed the rest of the file. A file may claim any count; the excess is
/// zero and never touched.
constexpr std::uint64_t max_missing_bytes = std::uint64_t{1} << 30;

/// qel_alembic_load() with `max_missing` in place of `max_missing_bytes`.
std::int32_t load_scene(const char *path, qel_alembic_file *scene, std::uint64_t max_missing);

} // namespace qel
