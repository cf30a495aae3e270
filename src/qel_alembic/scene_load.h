// SPDX-License-Identifier: MIT
// The load of a scene with its bound on memory for what the file does not hold.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

/// How many bytes an array may take more than the file can hold. A file may claim any count; this much memory is zero
/// and never touched.
constexpr std::uint64_t max_missing_bytes = std::uint64_t{1} << 30;

/// qel_alembic_load() with another bound than `max_missing_bytes`.
std::int32_t load_scene(const char *path, qel_alembic_file *scene, std::uint64_t max_missing);

} // namespace qel
