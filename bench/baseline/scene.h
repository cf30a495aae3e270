// SPDX-License-Identifier: MIT
// Writes and reads the file of a token scene field by field, on the library's own records. tests/model/scene_model.h
// defines the correct result.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// One write or read for each field and record.
std::int32_t save(const char *path, const qel_alembic_file *scene);
/// Reads a scene without frames. Released with qel_alembic_free.
std::int32_t load(const char *path, qel_alembic_file *scene);

} // namespace qel::baseline
