// SPDX-License-Identifier: MIT
// A token scene's index, nearest query and file step by step, on the library's own records: the straightforward way,
// to compare its cost. scene_model, which works on vectors, says what is right.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::model {

/// Every vertex probes from its home slot on. The table is for qel_alembic_free, or to be freed.
std::int32_t plain_build_index(qel_alembic_file *scene);

/// A list of k entries, Newton's root for every vertex, an insertion for every improvement.
std::uint32_t plain_query_nearest(const qel_alembic_file *scene, std::uint64_t morton, std::int32_t k,
                                  qel_alembic_hit *results);

/// A write or read for each field and record.
std::int32_t plain_save(const char *path, const qel_alembic_file *scene);
/// Reads a scene without frames and builds its index. Released with qel_alembic_free.
std::int32_t plain_load(const char *path, qel_alembic_file *scene);

} // namespace qel::model
