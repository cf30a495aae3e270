// SPDX-License-Identifier: MIT
#include "support/real_archives.h"

#include <algorithm>
#include <cstdlib>

namespace qel::test {

namespace fs = std::filesystem;

std::vector<fs::path> real_archives() {
    const char *named = std::getenv("QEL_REAL_ARCHIVES");
    const fs::path folder = named != nullptr ? named : QEL_UNIT_SOURCE "/../shared/archives";
    std::vector<fs::path> paths;
    std::error_code missing;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, missing))
        if (entry.path().extension() == ".abc") paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace qel::test
