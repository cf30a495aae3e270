// SPDX-License-Identifier: MIT
// A digest of results: the same on every machine that computes the same.
#pragma once

#include "support/temp_folder.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace qel::test {

/// 64 bits of everything that was added, in its order. Records are added field by field: pointers, and with them the
/// places of fields, have other sizes elsewhere.
class digest {
  public:
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    void add(T value) {
        mix(static_cast<std::uint64_t>(value)); // with the sign of signed ones, at any width
    }

    /// By its bits. All NaNs are equal: the processor chooses the sign and payload of a NaN that an operation gives.
    void add(float value) {
        std::uint32_t bits = 0x7FC00000u;
        if (!std::isnan(value)) std::memcpy(&bits, &value, sizeof bits);
        mix(bits);
    }
    void add(double value) {
        std::uint64_t bits = std::uint64_t{0x7FF8} << 48;
        if (!std::isnan(value)) std::memcpy(&bits, &value, sizeof bits);
        mix(bits);
    }

    void add(const std::string &text) { add_bytes(text.data(), text.size()); }

    /// Several, in their order. For values that are there: the compiler chooses in which order arguments are evaluated.
    template <class First, class Second, class... Others>
    void add(const First &first, const Second &second, const Others &...others) {
        add(first);
        add(second);
        (add(others), ...);
    }

    /// An array, or its absence.
    template <class T>
    void add_array(const T *values, std::uint64_t count) {
        add(values != nullptr);
        if (values == nullptr) return;
        add(count);
        for (std::uint64_t i = 0; i < count; ++i)
            add(values[i]);
    }

    void add_bytes(const void *first, std::size_t size) {
        mix(size);
        for (std::size_t i = 0; i < size; ++i)
            mix(static_cast<const std::uint8_t *>(first)[i]);
    }

    /// A file's bytes, but for the eight of its time stamp where it has one.
    void add_file(const std::string &path, std::size_t time_at = no_time) {
        bytes content = read_file(path);
        if (time_at != no_time) std::memset(content.data() + time_at, 0, 8);
        add_bytes(content.data(), content.size());
    }

    std::uint64_t value() const { return state_; }

    static constexpr std::size_t no_time = ~std::size_t{0};

  private:
    void mix(std::uint64_t word) { // a step of FNV-1a for a whole word, its high half folded back
        state_ = (state_ ^ word) * 0x100000001B3u;
        state_ ^= state_ >> 32;
    }

    std::uint64_t state_ = 0xCBF29CE484222325u;
};

} // namespace qel::test
