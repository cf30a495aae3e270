// SPDX-License-Identifier: MIT
// The time of day, in 64 bits everywhere.
#pragma once

#include <cstdint>

#if defined(__EMSCRIPTEN__)
#include <emscripten/html5.h>
#else
#include <ctime>
#endif

namespace qel {

/// Seconds since 1970.
inline std::int64_t seconds_since_1970() {
#if defined(__EMSCRIPTEN__)
    return static_cast<std::int64_t>(emscripten_date_now() / 1000); // std::time_t has 32 bits there
#else
    static_assert(sizeof(std::time_t) == 8, "build with a 64-bit clock: seconds since 1970 outgrow 32 bits");
    return std::time(nullptr);
#endif
}

} // namespace qel
