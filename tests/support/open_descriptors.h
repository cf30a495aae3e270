// SPDX-License-Identifier: MIT
// How many files the process has open, on systems with descriptors.
#pragma once

#include <cstddef>
#include <fcntl.h>

namespace qel::test {

inline std::size_t open_descriptors() {
    std::size_t count = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) // more than any test opens
        count += fcntl(descriptor, F_GETFD) == -1 ? 0 : 1;
    return count;
}

} // namespace qel::test
