// SPDX-License-Identifier: MIT
// The same work on many files, each in its own process: a crash in one does not affect the others.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tool {

struct work {
    std::string name;   ///< the file
    std::string folder; ///< of its results
};

/// Runs each item, at most `processes` at once, and prints each failure, and each result if `print_results`, in the
/// order of the items. Returns 1 if one failed.
int run_each(const std::vector<work> &all, unsigned processes, bool print_results,
             const std::function<std::string(const work &)> &run);

} // namespace tool
