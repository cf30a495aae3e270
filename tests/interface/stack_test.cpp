// SPDX-License-Identifier: MIT
// Every function of the interface takes at most 32 KiB of stack, the C library's share and the binding of names at the
// first call included.
#include "interface/stack_calls.h"
#include "support/measured_stack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace {

using namespace qel::test;

constexpr std::size_t ceiling = std::size_t{32} << 10;

std::set<std::string> exported() {
    std::set<std::string> names;
    std::ifstream stream(QEL_UNIT_SOURCE "/src/exports.map");
    const std::regex name(" +(\\w+);");
    std::smatch found;
    for (std::string line; std::getline(stream, line);)
        if (std::regex_match(line, found, name)) names.insert(found[1]);
    return names;
}

TEST(Stack, IsMeasuredExactly) {
    if (unmeasurable_stack() != nullptr) GTEST_SKIP() << unmeasurable_stack();
    const std::size_t nothing = stack_taken_by([] {});
    const std::size_t much = stack_taken_by([] {
        volatile char buffer[100'000];
        for (volatile char &byte : buffer) // of fewer bytes clang would leave out the rest
            byte = 1;
    });
    EXPECT_LT(nothing, 1024u);
    EXPECT_GT(much, 100'000u);
    EXPECT_LT(much, 102'000u);
}

TEST(Stack, SufficesForEveryFunctionWith32KiB) {
    if (unmeasurable_stack() != nullptr) GTEST_SKIP() << unmeasurable_stack();
    std::map<std::string, std::size_t> taken;
    stack_calls calls;
    calls.each([&](const char *name, const std::function<void()> &call) {
        taken[name] = std::max(taken[name], stack_taken_by(call));
    });
    std::set<std::string> called;
    std::vector<std::pair<std::size_t, std::string>> most;
    for (const auto &[name, bytes] : taken) {
        EXPECT_LE(bytes, ceiling) << name;
        called.insert(name);
        most.emplace_back(bytes, name);
    }
    EXPECT_EQ(called, exported());
    std::sort(most.rbegin(), most.rend());
    for (std::size_t i = 0; i < 10 && i < most.size(); ++i)
        std::printf("%6zu bytes of stack: %s\n", most[i].first, most[i].second.c_str());
}

} // namespace
