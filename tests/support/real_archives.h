// SPDX-License-Identifier: MIT
// Archives that production tools wrote. They are not part of the project: tests that need them are skipped without.
#pragma once

#include <filesystem>
#include <vector>

namespace qel::test {

/// Why a test that needs them is skipped.
inline constexpr char no_real_archives[] =
    "no archives here: set the environment variable QEL_REAL_ARCHIVES to the folder that holds them";

/// Every archive in the folder that the environment variable QEL_REAL_ARCHIVES names, or in ../shared/archives
/// beside the source tree; in the order of their names.
std::vector<std::filesystem::path> real_archives();

} // namespace qel::test
