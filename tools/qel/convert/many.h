// SPDX-License-Identifier: MIT
// The same work on many files, in processes of their own: what one does to itself, no other feels.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tool {

struct work {
    std::string name;   ///< the file
    std::string folder; ///< where its results go
};

/// Does each item, up to `processes` at once, and says what each answers, or what went wrong with it, in their order.
/// Returns 1 where one failed.
int do_each(const std::vector<work> &all, unsigned processes, bool said,
            const std::function<std::string(const work &)> &answer);

} // namespace tool
