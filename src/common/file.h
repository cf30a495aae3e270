// SPDX-License-Identifier: MIT
// Binary streams with 64-bit positions.
#pragma once

#include "common/heap.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace qel {

struct stream_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};

/// A stream that is closed at the end of its scope.
using file_stream = std::unique_ptr<std::FILE, stream_closer>;

/// A file that is open during its scope, with a buffer of 64 KiB; without memory for that, with one of the C library's
/// size.
class buffered_stream {
  public:
    /// For a null path nothing is opened.
    buffered_stream(const char *path, const char *mode);

    /// Null if the file could not be opened.
    std::FILE *get() const { return stream_.get(); }

  private:
    scratch<char> buffer_; // outlives the stream, which uses it to the end
    file_stream stream_;
};

/// Moves to an absolute position; false on failure.
bool seek_to(std::FILE *stream, std::uint64_t position);

/// The stream's length in bytes, 0 if it has none. Leaves the position at the end.
std::uint64_t stream_length(std::FILE *stream);

/// Reads up to `size` bytes at a position; returns how many were read.
std::size_t read_at(std::FILE *stream, std::uint64_t position, void *bytes, std::size_t size);

#if !defined(_WIN32)
/// Opens a file for reading and returns its descriptor, or -1. Without waiting: opening a pipe may wait for a writer.
int open_to_read(const char *path);
#endif

/// Writes zero bytes up to the first failed write; false if there was one.
bool write_zeros(std::FILE *stream, std::uint64_t size);

/// Removes a symbolic link, or one of several hard links, on systems that have them. Other files stay.
void remove_link(const char *path);

/// Renames `file` to `target` and replaces `target` atomically: a file of that name exists at every moment. An empty
/// folder of that name is replaced as well. If `target` cannot be replaced, both files stay.
void replace_file(const char *file, const char *target);

} // namespace qel
