// SPDX-License-Identifier: MIT
// The programs of the subsystem pages do what the pages describe.
#include "run_program.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

class PageProgram : public testing::TestWithParam<const char *> {};

TEST_P(PageProgram, PrintsWhatThePageShows) {
    const std::string name = GetParam();
    const temp_folder folder;
    const std::string archive = name == "archive_reader" ? "/harbour.abc" : "/torus.abc";
    const std::string output =
        output_of(folder, shell_name(PAGE_PROGRAM_PREFIX + name + PAGE_PROGRAM_SUFFIX) + " " + EXAMPLE_DATA + archive);
    const std::string shown = text_of(PAGE_OUTPUTS "/" + name + ".txt");
    EXPECT_FALSE(shown.empty());
    EXPECT_EQ(output, shown);
}

INSTANTIATE_TEST_SUITE_P(Docs, PageProgram, testing::Values(PAGE_PROGRAMS),
                         [](const testing::TestParamInfo<const char *> &program) {
                             return std::string(program.param);
                         });

} // namespace
} // namespace qel::test
