// SPDX-License-Identifier: MIT
// Archives made by chance, the same ones on every platform: sound ones of everything that an archive can hold, and
// such ones damaged.
#pragma once

#include "support/archive_builder.h"
#include "support/random.h"

namespace qel::test {

/// A sound archive; some objects with a mesh schema may not be meshes.
archive_builder random_archive(chance &random);

/// Makes a few fields, references, samples or whole tables of an archive wrong.
void damage_fields(archive_builder &archive, chance &random);

/// Changes bytes, cuts the end off, or redirects references.
bytes damaged_bytes(const built_archive &archive, chance &random);

} // namespace qel::test
