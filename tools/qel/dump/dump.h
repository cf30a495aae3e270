// SPDX-License-Identifier: MIT
#pragma once

#include "commands.h"
#include "examine/examined.h"
#include "terminal/writer.h"

namespace tool {

/// A 64-bit word that is not a number, as hexadecimal digits.
std::string word_text(std::uint64_t word);

/// Writes all objects of an archive, from its structure. Fails at the end if some of it cannot be read.
void dump_archive(const input_file &file, const dump_options &options);

/// Writes the contents of a scene, of a mesh cache or of the mesh that a byte search finds.
void dump_geometry(writer &out, const examined &what);

} // namespace tool
