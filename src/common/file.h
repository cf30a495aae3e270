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

/// A file, opened for the time of its scope, with a buffer of 64 KiB; where there is no memory for that, with one of
/// the C library's size.
class buffered_stream {
  public:
    /// A null path is no file.
    buffered_stream(const char *path, const char *mode);

    /// Null when the file was not opened.
    std::FILE *get() const { return stream_.get(); }

  private:
    scratch<char> buffer_; // outlives the stream, which uses it to the end
    file_stream stream_;
};

/// Moves to an absolute position; false where the stream cannot go there.
bool seek_to(std::FILE *stream, std::uint64_t position);

/// The stream's length in bytes, 0 when it has none. Leaves the position at the end.
std::uint64_t stream_length(std::FILE *stream);

/// Reads up to `size` bytes at a position; returns how many were read.
std::size_t read_at(std::FILE *stream, std::uint64_t position, void *bytes, std::size_t size);

/// Removes a symbolic link, or one of several hard links, where the system has them. Other files stay.
void remove_link(const char *path);

/// Gives a file the name of another, which it replaces in one step: at no moment is there no file. An empty folder of
/// that name is replaced as well; where neither can be replaced, both files stay.
void replace_file(const char *file, const char *target);

} // namespace qel
