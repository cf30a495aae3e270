// SPDX-License-Identifier: MIT
// The results of many calls of the archive reader, as digests: for runs that must give the same results or report a
// failure.
#pragma once

#include "qel_archive.h"

#include <cstdint>
#include <vector>

namespace qel::fuzz {

struct archive_answer {
    std::int32_t status;  // or the number of normals and UV sets of a mesh
    std::uint64_t digest; // of the output; 0 without output

    bool operator==(const archive_answer &other) const { return status == other.status && digest == other.digest; }
};

/// Calls every function for an archive's first objects, properties and samples, always in the same order.
std::vector<archive_answer> ask_everything(const qel_archive *archive);

} // namespace qel::fuzz
