// SPDX-License-Identifier: MIT
#include "common/fixed_text.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace qel {

// Nothing but the decimal point depends on the locale. What stands between the digits and as many decimals as were asked
// for is that point, of one byte or several: it is found without asking the locale, which another thread may change.
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
