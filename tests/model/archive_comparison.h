// SPDX-License-Identifier: MIT
// Holds every answer of the library's archive reader against the model's.
#pragma once

#include <cstdint>
#include <string>

namespace qel::model {

/// Opens a file with both and compares everything: all objects, properties, samples, meshes, times around those of
/// the samples. Empty where all answers are the same, bit for bit; else the first that differs.
std::string first_difference(const std::string &path);

/// What the model answers when it opens a file.
std::int32_t model_status(const std::string &path);

} // namespace qel::model
