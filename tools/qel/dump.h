// SPDX-License-Identifier: MIT
#pragma once

#include "examined.h"
#include "writer.h"

namespace tool {

/// A 64-bit word without a meaning as a number, as hexadecimal digits.
std::string word_text(std::uint64_t word);

/// What a scene, mesh cache or archive holds.
void dump_geometry(writer &out, const examined &what);

} // namespace tool
