// SPDX-License-Identifier: MIT
// A whole file as read-only memory.
#pragma once

#include <cstdint>

namespace qel {

/// How far mapping a file came.
enum class mapping_outcome {
    mapped,
    cannot_open, // there is no such file, or it may not be read
    no_mapping,  // it is empty, or nothing that can be mapped
    no_memory    // the address space has no room for it
};

/// A mapped file. The file itself is closed: only the view keeps it in use.
struct file_mapping {
    const void *view = nullptr;
    std::uint64_t size = 0; // bytes of the file, at least 1
};

/// Maps all of a file; writes `mapping` only where it succeeds. Memory behind the file's end must not be read, and
/// neither must what is cut off a file while it is mapped.
mapping_outcome map_file(const char *path, file_mapping &mapping);

/// Ends a mapping that map_file made.
void unmap_file(const file_mapping &mapping);

} // namespace qel
