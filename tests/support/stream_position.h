// SPDX-License-Identifier: MIT
// 64-bit positions in a stream, by the names that the system has for them.
#pragma once

#include <cstdint>
#include <cstdio>

namespace qel::test {

#if defined(_WIN32)
inline bool seek_stream(std::FILE *stream, std::uint64_t position, int origin = SEEK_SET) {
    return _fseeki64(stream, static_cast<std::int64_t>(position), origin) == 0;
}
inline std::uint64_t position_in(std::FILE *stream) {
    return static_cast<std::uint64_t>(_ftelli64(stream));
}
#else
inline bool seek_stream(std::FILE *stream, std::uint64_t position, int origin = SEEK_SET) {
    return fseeko(stream, static_cast<off_t>(position), origin) == 0;
}
inline std::uint64_t position_in(std::FILE *stream) {
    return static_cast<std::uint64_t>(ftello(stream));
}
#endif

/// Leaves the stream at its end.
inline std::uint64_t length_of(std::FILE *stream) {
    seek_stream(stream, 0, SEEK_END);
    return position_in(stream);
}

} // namespace qel::test
