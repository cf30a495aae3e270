// SPDX-License-Identifier: MIT
// Numbers out of and into unaligned little-endian bytes; the host is little-endian (see qel_unit.h).
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace qel {

template <class T>
T load(const std::uint8_t *bytes) {
    static_assert(std::is_trivially_copyable_v<T>);
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <class T>
void store(std::uint8_t *bytes, T value) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(bytes, &value, sizeof value);
}

} // namespace qel
