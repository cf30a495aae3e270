// SPDX-License-Identifier: MIT
// Random numbers that are the same on every platform: no distribution of the standard library, which gives other values
// elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace qel::test {

/// Numbers, bytes and coordinates.
class noise {
  public:
    explicit noise(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() { // splitmix64
        std::uint64_t value = state_ += 0x9E3779B97F4A7C15u;
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
        return value ^ (value >> 31);
    }
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>((next() >> 32) * limit >> 32); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(next() >> 56); }
    double in(double low, double high) {
        return low + (high - low) * static_cast<double>(next() >> 40) / static_cast<double>(1 << 24);
    }
    /// A multiple of 1/1024 within [-reach, reach).
    float coordinate(std::uint32_t reach) {
        return static_cast<float>(static_cast<std::int32_t>(below(2048 * reach)) -
                                  static_cast<std::int32_t>(1024 * reach)) /
               1024.0f;
    }
    /// Any bits at all: denormals, infinities, NaNs. Not returned as a value: 32-bit calling conventions may
    /// turn a signaling NaN into a quiet one.
    void set_any(float &value) {
        const auto bits = static_cast<std::uint32_t>(next() >> 32);
        std::memcpy(&value, &bits, sizeof value);
    }

  private:
    std::uint64_t state_;
};

/// Decisions: from a list that a fuzzer made as long as it lasts, then from a seed.
class chance {
  public:
    explicit chance(std::uint64_t seed) : random_(seed) {}
    chance(std::vector<std::uint16_t> list, std::uint64_t seed) : list_(std::move(list)), random_(seed) {}

    std::uint64_t word() { return next_ < list_.size() ? list_[next_++] : random_(); }
    /// 0 … bound − 1.
    std::uint32_t below(std::uint64_t bound) { return static_cast<std::uint32_t>(word() % bound); }
    bool one_in(std::uint64_t n) { return word() % n == 0; }
    /// A value that fits a float, mostly small.
    double number() {
        static const std::vector<double> special = {0.0, -0.0, 1.0, -1.0, 0.5, 1e-30, 1e30};
        if (one_in(5)) return of(special);
        return (static_cast<double>(below(2000001)) - 1000000) / 10000;
    }
    template <class T>
    const T &of(const std::vector<T> &list) {
        return list[below(list.size())];
    }

  private:
    std::vector<std::uint16_t> list_;
    std::size_t next_ = 0;
    std::mt19937_64 random_;
};

} // namespace qel::test
