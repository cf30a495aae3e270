// SPDX-License-Identifier: MIT
// What the codes of the library mean where the tool meets them.
#pragma once

#include <initializer_list>

namespace tool {

struct meaning {
    int code;
    const char *text;
};

inline const char *meaning_of(int code, std::initializer_list<meaning> meanings) {
    for (const meaning &known : meanings)
        if (known.code == code) return known.text;
    return "unexpected code";
}

} // namespace tool
