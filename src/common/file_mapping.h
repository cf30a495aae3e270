// SPDX-License-Identifier: MIT
// A whole file as read-only memory.
#pragma once

#include <cstdint>

namespace qel {

/// The outcome of mapping a file.
enum class mapping_outcome {
    mapped,
    cannot_open, // the file does not exist or may not be read
    no_mapping,  // the file is empty or cannot be mapped
    no_memory    // the address space has no room for the file
};

/// A mapped file. Its descriptor is closed: only the view keeps the file in use.
struct file_mapping {
    const void *view = nullptr;
    std::uint64_t size = 0; // bytes of the file, at least 1
};

/// Maps a whole file; writes `mapping` only on success. Memory after the file's end must not be read. If the file is
/// truncated while it is mapped, its removed part must not be read.
mapping_outcome map_file(const char *path, file_mapping &mapping);

/// Ends a mapping that map_file made.
void unmap_file(const file_mapping &mapping);

} // namespace qel
