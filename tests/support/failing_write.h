// SPDX-License-Identifier: MIT
// Writes that fail on demand: a stream's buffer hides a full disk from the first of them. To be included by one file of
// a test program.
#pragma once

#include <cstddef>
#include <cstdio>

/// The n-th fwrite from now on writes nothing; 0 lets all succeed.
inline int failing_write = 0;

// Stands in for the C library's.
extern "C" std::size_t fwrite(const void *bytes, std::size_t size, std::size_t count, std::FILE *stream) {
    if (failing_write != 0 && --failing_write == 0) return 0;
#if defined(_WIN32) // whose C library has no other name for it
    std::size_t written = 0;
    while (written < size * count &&
           std::fputc(static_cast<const unsigned char *>(bytes)[written], stream) != EOF)
        ++written;
    return size == 0 ? 0 : written / size;
#else
    return fwrite_unlocked(bytes, size, count, stream);
#endif
}
