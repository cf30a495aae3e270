// SPDX-License-Identifier: MIT
#include "common/fixed_text.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace qel {

// Only the decimal point depends on the locale. It is every byte between the digits and the `decimals` last characters.
// The locale is not queried: another thread may change it.
fixed_text fixed(double value, int decimals) {
    fixed_text result;
    const int length = std::snprintf(result.text, sizeof result.text, "%.*f", decimals, value);
    if (decimals == 0 || !std::isfinite(value)) return result;
    char *const point = result.text + std::strspn(result.text, "-0123456789");
    char *const fraction = result.text + length - decimals;
    *point = '.';
    std::memmove(point + 1, fraction, static_cast<std::size_t>(decimals) + 1);
    return result;
}

} // namespace qel
