// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace tool {

/// The peak of this process's memory in bytes, without that of its parent.
std::uint64_t peak_memory();

} // namespace tool
