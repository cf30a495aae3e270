// SPDX-License-Identifier: MIT
// What the archive reader answers to many questions, short enough to keep: for runs that are to answer the same, or to
// say that something failed.
#pragma once

#include "qel_archive.h"

#include <cstdint>
#include <vector>

namespace qel::fuzz {

struct archive_answer {
    std::int32_t status;  // or how many normals and UV sets a mesh has
    std::uint64_t digest; // of what was given out; 0 where nothing was

    bool operator==(const archive_answer &other) const {
        return status == other.status && digest == other.digest;
    }
};

/// Asks every function about an archive's first objects, properties and samples, always in the same order.
std::vector<archive_answer> ask_everything(const qel_archive *archive);

} // namespace qel::fuzz
