// SPDX-License-Identifier: MIT
// Archives made by chance, the same ones on every platform: sound ones of everything that an archive can hold, and
// such ones damaged.
#pragma once

#include "support/archive_builder.h"

#include <random>
#include <utility>

namespace qel::test {

/// Chances that do not depend on the standard library's distributions.
class chance {
  public:
    explicit chance(std::uint64_t seed) : random_(seed) {}
    /// Those of a list, which a fuzzer made, and then those of a seed.
    chance(std::vector<std::uint16_t> list, std::uint64_t seed) : list_(std::move(list)), random_(seed) {}

    std::uint64_t word() { return next_ < list_.size() ? list_[next_++] : random_(); }
    /// 0 … bound − 1.
    std::uint32_t below(std::uint64_t bound) { return static_cast<std::uint32_t>(word() % bound); }
    bool one_in(std::uint64_t n) { return word() % n == 0; }
    /// A value that fits a float, mostly small.
    double number();
    template <class T>
    const T &of(const std::vector<T> &list) {
        return list[below(list.size())];
    }

  private:
    std::vector<std::uint16_t> list_;
    std::size_t next_ = 0;
    std::mt19937_64 random_;
};

/// A sound archive, though some of its meshes may be none.
archive_builder random_archive(chance &random);

/// Makes a few fields, references, samples or whole tables of an archive say something else.
void damage_fields(archive_builder &archive, chance &random);

/// Changes bytes, cuts the end off, or has references lead elsewhere.
bytes damaged_bytes(const built_archive &archive, chance &random);

} // namespace qel::test
