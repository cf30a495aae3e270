// SPDX-License-Identifier: MIT
// Archives from few bytes of input: nodes that nest, refer back and to themselves, arrays around every threshold of the
// reader, wrong counts and sizes.
#pragma once

#include "harness.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace qel::fuzz {

/// A container built from the fuzzer's bytes, at most about 80 KiB long except for a rare huge array.
bytes make_archive(FuzzedDataProvider &fuzz);

/// A valid header followed by the rest of the input.
bytes archive_of_raw_bytes(FuzzedDataProvider &fuzz);

} // namespace qel::fuzz
