// SPDX-License-Identifier: MIT
// What both ways of building a unit, from arrays and from a file, hang on it beside its tokens.
#pragma once

#include "qel_unit.h"

namespace qel {

/// Hangs two empty indexes with room for every token on the unit. When either cannot be completed, releases both
/// and the tokens, and returns false.
bool allocate_indexes(qel_unit &unit);

/// Hangs room for every token number on the unit. Without memory for it, releases the tokens and both indexes,
/// and returns false.
bool allocate_order(qel_unit &unit);

/// Enters every token into both indexes, in storage order, and numbers the order.
void index_tokens(qel_unit &unit);

} // namespace qel
