// SPDX-License-Identifier: MIT
// Locales whose decimal point is another than the C locale's.
#pragma once

#include <string>
#include <vector>

namespace qel::test {

/// During its lifetime, the process has another locale than the C locale, if this machine has it.
class set_locale {
  public:
    /// Of the build's own locales, else of the system's.
    explicit set_locale(const std::string &name);
    ~set_locale();
    set_locale(const set_locale &) = delete;
    set_locale &operator=(const set_locale &) = delete;

    /// Whether numbers are written otherwise now.
    explicit operator bool() const;
};

/// A decimal comma, and a decimal point of two bytes.
inline const std::vector<std::string> foreign_locales = {"de_DE.UTF-8", "ps_AF.UTF-8"};

} // namespace qel::test
