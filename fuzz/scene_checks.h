// SPDX-License-Identifier: MIT
// All queries of a token scene, each result compared with the plain form's.
#pragma once

#include "harness.h"
#include "qel_unit.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace qel::fuzz {

/// The vertices of all meshes; below, whether they are few enough for the plain form of every query.
std::uint64_t vertex_count(const qel_alembic_file &scene);
bool is_small(const qel_alembic_file &scene);

/// Checks lookups, queries, frames and texts with arguments from the fuzzer. The scene is small. Meshes may lack vertex
/// records or tokens.
void question_scene(const qel_alembic_file &scene, FuzzedDataProvider &fuzz);

/// Saves the scene and compares the file with the model's.
void check_saving(const qel_alembic_file &scene);

/// Exports the scene and compares the unit files byte by byte. The scene is small.
void check_export(const qel_alembic_file &scene);

} // namespace qel::fuzz
