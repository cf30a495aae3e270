// SPDX-License-Identifier: MIT
// A file that is read at positions. Any number of threads may read it at the same time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qel {

enum class open_outcome { opened, cannot_open, no_memory };

enum class read_outcome {
    read,
    cut,   // the file ends before the last byte
    failed // the system reported an error
};

class random_access_file {
  public:
    random_access_file() = default;
    ~random_access_file();
    random_access_file(const random_access_file &) = delete;
    random_access_file &operator=(const random_access_file &) = delete;

    /// Opens a regular file; refuses other files, and a pipe without waiting. Called once. Paths are bytes on POSIX and
    /// UTF-8 on Windows.
    open_outcome open(const char *path);

    /// The file's size when it was opened.
    std::uint64_t size() const { return size_; }

    /// Reads exactly `size` bytes at a position.
    read_outcome read(std::uint64_t position, void *bytes, std::size_t size) const;

  private:
#if defined(_WIN32)
    void *handle_ = nullptr;
#else
    int descriptor_ = -1;
#endif
    std::uint64_t size_ = 0;
};

} // namespace qel
