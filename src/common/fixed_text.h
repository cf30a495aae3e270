// SPDX-License-Identifier: MIT
// Numbers as text, the same in every locale.
#pragma once

namespace qel {

/// The text of a number with a fixed count of decimals.
struct fixed_text {
    static constexpr int max_decimals = 16;

    char text[384]; // a sign, 309 digits, a point (up to 16 bytes in a locale), the decimals
};

/// The text that "%.*f" writes in the C locale, in every locale. At most `max_decimals` decimals.
fixed_text fixed(double value, int decimals);

} // namespace qel
