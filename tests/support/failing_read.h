// SPDX-License-Identifier: MIT
// Reads that fail on demand, as those of a file that is cut while it is read. To be included by one file of a test
// program, which is linked with --wrap=fread.
#pragma once

#include <cstddef>
#include <cstdio>

/// The n-th fread from now on reads half of what it is to read, and all later ones nothing; 0 lets all succeed.
inline int failing_read = 0;

extern "C" std::size_t __real_fread(void *bytes, std::size_t size, std::size_t count, std::FILE *stream);

// Replaces the C library's.
extern "C" std::size_t __wrap_fread(void *bytes, std::size_t size, std::size_t count, std::FILE *stream) {
    if (failing_read < 0) return 0;
    const bool fails = failing_read == 1;
    if (failing_read != 0) failing_read = fails ? -1 : failing_read - 1;
    return __real_fread(bytes, size, fails ? count / 2 : count, stream);
}
