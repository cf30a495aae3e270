// SPDX-License-Identifier: MIT
// The results of a nearest query if distances grow on both sides of the key, as in a sorted unit.
#pragma once

#include "common/cpu.h"
#include "qel_unit/token.h"

#include <cstdint>

namespace qel {

/// The arguments of a nearest query, and the token at which the binary search for its key ended.
struct nearest_query {
    const qel_token *tokens;
    std::uint32_t count;
    std::uint64_t target;
    std::uint32_t start;
};

/// Writes the numbers and distances of the `wanted` nearest tokens, at least one and at most all, in the order of the
/// outward search. `hops` is scratch memory for two lists of that length. False, with any output, if distances do not
/// grow on both sides or the outward search may reach a token beyond the lists.
using merge_function = bool(const nearest_query &query, std::uint32_t wanted, std::uint64_t *hops,
                            std::uint32_t *numbers, std::uint64_t *distances);

extern dispatched<merge_function> merge_kernel;

} // namespace qel
