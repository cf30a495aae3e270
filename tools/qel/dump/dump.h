// SPDX-License-Identifier: MIT
#pragma once

#include "commands.h"
#include "examine/examined.h"
#include "terminal/writer.h"

namespace tool {

/// A 64-bit word without a meaning as a number, as hexadecimal digits.
std::string word_text(std::uint64_t word);

/// All objects of an archive, by what it says. Fails at the end where some of it cannot be read.
void dump_archive(const input_file &file, const dump_options &options);

/// What a scene, mesh cache or archive holds.
void dump_geometry(writer &out, const examined &what);

} // namespace tool
