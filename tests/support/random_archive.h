// SPDX-License-Identifier: MIT
// Archives made by chance, the same ones on every platform: sound ones of everything that an archive can hold, and
// such ones damaged.
#pragma once

#include "support/archive_builder.h"

#include <random>

namespace qel::test {

/// Chances that do not depend on the standard library's distributions.
class chance {
  public:
    explicit chance(std::uint64_t seed) : random_(seed) {}

    std::uint64_t word() { return random_(); }
    /// 0 … bound − 1.
    std::uint32_t below(std::uint64_t bound) { return static_cast<std::uint32_t>(random_() % bound); }
    bool one_in(std::uint64_t n) { return random_() % n == 0; }
    /// A value that fits a float, mostly small.
    double number();
    template <class T>
    const T &of(const std::vector<T> &list) {
        return list[below(list.size())];
    }

  private:
    std::mt19937_64 random_;
};

/// A sound archive, though some of its meshes may be none.
archive_builder random_archive(chance &random);

/// Makes a few fields, references, samples or whole tables of an archive say something else.
void damage_fields(archive_builder &archive, chance &random);

/// Changes bytes, cuts the end off, or has references lead elsewhere.
bytes damaged_bytes(const built_archive &archive, chance &random);

} // namespace qel::test
