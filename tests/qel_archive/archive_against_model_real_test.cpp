// SPDX-License-Identifier: MIT
// Every answer about the archives that production tools wrote is the model's.
#include "model/archive_comparison.h"
#include "support/real_archives.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

TEST(RealArchivesAgainstModel, AreReadAlike) {
    const std::vector<std::filesystem::path> paths = test::real_archives();
    if (paths.empty()) GTEST_SKIP() << test::no_real_archives;
    for (const std::filesystem::path &path : paths) {
        EXPECT_EQ(model::model_status(path.string()), 0) << path;
        EXPECT_EQ(model::first_difference(path.string()), "") << path;
    }
}

} // namespace
} // namespace qel
