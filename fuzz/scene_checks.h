// SPDX-License-Identifier: MIT
// Everything that can be asked of a token scene, each answer compared with the plain one.
#pragma once

#include "harness.h"
#include "qel_unit.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace qel::fuzz {

/// Vertices of all meshes, and whether they are few enough to be looked at one by one for every question.
std::uint64_t vertex_count(const qel_alembic_file &scene);
bool is_small(const qel_alembic_file &scene);

/// Lookups, queries, frames and texts, with arguments from the fuzzer. The scene is small. Meshes may lack their
/// vertex records or tokens.
void question_scene(const qel_alembic_file &scene, FuzzedDataProvider &fuzz);

/// Saves, and compares the file with the model's.
void check_saving(const qel_alembic_file &scene);

/// Exports, and compares the unit files byte by byte. The scene is small.
void check_export(const qel_alembic_file &scene);

} // namespace qel::fuzz
