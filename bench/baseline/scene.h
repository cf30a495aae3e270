// SPDX-License-Identifier: MIT
// What the straightforward index, nearest query and file of a token scene cost, on the library's own records.
// tests/model/scene_model.h says what is right.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel::baseline {

/// Every vertex probes from its home slot on. The table is for qel_alembic_free, or to be freed.
std::int32_t build_index(qel_alembic_file *scene);

/// A list of k entries, Newton's root for every vertex, an insertion for every improvement.
std::uint32_t query_nearest(const qel_alembic_file *scene, std::uint64_t morton, std::int32_t k,
                            qel_alembic_hit *results);

/// A write or read for each field and record.
std::int32_t save(const char *path, const qel_alembic_file *scene);
/// Reads a scene without frames and builds its index. Released with qel_alembic_free.
std::int32_t load(const char *path, qel_alembic_file *scene);

} // namespace qel::baseline
