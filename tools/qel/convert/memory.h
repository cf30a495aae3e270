// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace tool {

/// The most memory, in bytes, that this process has had at one time, without what its parent had before it.
std::uint64_t peak_memory();

} // namespace tool
