// SPDX-License-Identifier: MIT
#include "failure/outcomes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace qel {
namespace {

using namespace test;

std::vector<outcome> all_outcomes() {
    std::vector<outcome> all;
    for (const auto *table :
         {&test::unit_outcomes, &test::archive_outcomes, &test::geometry_outcomes, &test::scene_outcomes,
          &test::scene_query_outcomes, &test::cache_outcomes, &test::agent_outcomes})
        all.insert(all.end(), table->begin(), table->end());
    return all;
}

using code = std::pair<std::string, int>;

/// Every function of the header with each of its codes.
std::set<code> documented_codes() {
    std::ifstream file(QEL_UNIT_INTERFACE);
    std::set<code> codes;
    for (std::string text; std::getline(file, text);) {
        std::istringstream line(text);
        std::string header, function;
        line >> header >> function;
        if (header != "qel_unit.h") continue;
        for (int value; line >> value;)
            codes.emplace(function, value);
    }
    return codes;
}

TEST(Outcomes, CoverEveryFunctionAndCode) {
    const std::set<code> documented = documented_codes();
    EXPECT_GT(documented.size(), 130u);
    std::set<code> in_the_table;
    for (const outcome &row : all_outcomes())
        in_the_table.emplace(row.function, row.code);
    for (const auto &[function, value] : documented)
        if (in_the_table.count({function, value}) == 0) ADD_FAILURE() << function << " " << value << " has no row";
    for (const auto &[function, value] : in_the_table)
        if (documented.count({function, value}) == 0)
            ADD_FAILURE() << function << " " << value << " is not in the header";
}

class Outcome : public testing::TestWithParam<outcome> {};

TEST_P(Outcome, MatchesTheTable) {
    const outcome &row = GetParam();
    caller c;
    row.before(c);
    const std::int32_t status = row.call(c);
    if (!c.cannot.empty()) GTEST_SKIP() << c.cannot;
    EXPECT_EQ(status, row.code) << row.function << ": " << row.when;
    EXPECT_EQ(c.changes(), row.changes) << row.function << " " << row.code << ": " << row.when;
}

std::string row_name(const testing::TestParamInfo<outcome> &row) {
    const std::string sign = row.param.code < 0 ? "_minus_" : "_";
    return row.param.function + sign + std::to_string(std::abs(row.param.code)) + "_row_" + std::to_string(row.index);
}

INSTANTIATE_TEST_SUITE_P(, Outcome, testing::ValuesIn(all_outcomes()), row_name);

} // namespace

namespace test {

void PrintTo(const outcome &row, std::ostream *out) {
    *out << row.function << " " << row.code << " " << row.when;
}

} // namespace test
} // namespace qel
