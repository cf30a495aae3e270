// SPDX-License-Identifier: MIT
// The sort of a loaded unit.
#pragma once

#include "qel_unit.h"

namespace qel {

/// Sorts the tokens ascending by key; equal keys keep the file's order. Overwrites the nodes of both indexes. Without
/// memory for a second array of tokens the result is the same, in more time.
void sort_tokens(qel_unit &unit);

} // namespace qel
