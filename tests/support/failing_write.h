// SPDX-License-Identifier: MIT
// Writes that fail on demand: a stream's buffer hides a full disk from the first of them. To be included by one file of
// a test program, which is linked with --wrap=fwrite.
#pragma once

#include <cstddef>
#include <cstdio>

/// The n-th fwrite from now on writes nothing; 0 lets all succeed.
inline int failing_write = 0;

extern "C" std::size_t __real_fwrite(const void *bytes, std::size_t size, std::size_t count, std::FILE *stream);

// Replaces the C library's.
extern "C" std::size_t __wrap_fwrite(const void *bytes, std::size_t size, std::size_t count, std::FILE *stream) {
    if (failing_write != 0 && --failing_write == 0) return 0;
    return __real_fwrite(bytes, size, count, stream);
}
