// SPDX-License-Identifier: MIT
#include "support/locales.h"

#include <clocale>
#include <cstdlib>

namespace qel::test {

set_locale::set_locale(const std::string &name) {
#if defined(QEL_UNIT_LOCALES)
    setenv("LOCPATH", QEL_UNIT_LOCALES, 1);
    const bool set = std::setlocale(LC_ALL, name.c_str()) != nullptr;
    unsetenv("LOCPATH");
    if (set) return;
#endif
    std::setlocale(LC_ALL, name.c_str());
}

set_locale::~set_locale() {
    std::setlocale(LC_ALL, "C");
}

set_locale::operator bool() const {
    return std::localeconv()->decimal_point != std::string(".");
}

} // namespace qel::test
