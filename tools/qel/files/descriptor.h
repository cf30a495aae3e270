// SPDX-License-Identifier: MIT
// Files by their descriptors: calls that a signal interrupts are repeated.
#pragma once

#include <cstddef>
#include <sys/types.h>

namespace tool {

/// Closes a descriptor at the end of the scope, unless it is a standard stream's.
class descriptor {
  public:
    explicit descriptor(int number) : number_(number) {}
    ~descriptor();
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    int number() const { return number_; }

  private:
    const int number_;
};

/// Reads up to `size` bytes, fewer only at the end of the file. Returns how many, or -1 with errno.
ssize_t read_up_to(int from, void *bytes, std::size_t size);

/// Writes all bytes; false with errno where that fails.
bool write_all(int to, const void *bytes, std::size_t size);

} // namespace tool
