// SPDX-License-Identifier: MIT
// Archives out of few bytes: nodes that nest, refer back and to themselves, arrays around every threshold of the
// reader, counts and sizes that lie.
#pragma once

#include "harness.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace qel::fuzz {

/// A container as the fuzzer's bytes say, at most some 80 KiB long but for a rare huge array.
bytes make_archive(FuzzedDataProvider &fuzz);

/// A valid header and then whatever bytes there are.
bytes archive_of_raw_bytes(FuzzedDataProvider &fuzz);

} // namespace qel::fuzz
