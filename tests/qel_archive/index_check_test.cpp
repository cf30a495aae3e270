// SPDX-License-Identifier: MIT
#include "qel_archive/index_check.h"
#include "support/kernel_forms.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qel::archives {
namespace {

using test::runnable;

constexpr std::uint32_t limits[] = {0, 1, 2, 1000, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF};
constexpr std::size_t sizes[] = {0, 1, 3, 4, 7, 8, 9, 31, 2047, 2048, 2049, 5000};

std::vector<std::uint32_t> numbers_below(std::uint32_t limit, std::size_t count) {
    std::mt19937 random(static_cast<std::uint32_t>(count));
    std::vector<std::uint32_t> numbers(count);
    for (std::uint32_t &number : numbers)
        number = random() % 2 == 0 ? limit - 1 : static_cast<std::uint32_t>(random()) % limit;
    return numbers;
}

TEST(IndexCheck, EveryFormAcceptsIndicesBelowTheLimit) {
    for (const auto &form : runnable(below_forms)) {
        for (const std::uint32_t limit : limits) {
            for (const std::size_t size : sizes) {
                const auto numbers = limit == 0 ? std::vector<std::uint32_t>() : numbers_below(limit, size);
                EXPECT_TRUE(form.call(numbers.data(), numbers.size(), limit)) << form.name << ' ' << limit;
            }
        }
    }
}

TEST(IndexCheck, EveryFormFindsTheLimitItselfAtEveryPlace) {
    for (const auto &form : runnable(below_forms)) {
        for (const std::uint32_t limit : limits) {
            for (const std::size_t size : {std::size_t{1}, std::size_t{8}, std::size_t{21}}) {
                for (std::size_t at = 0; at < size; ++at) {
                    std::vector<std::uint32_t> numbers(size, 0);
                    numbers[at] = limit;
                    EXPECT_FALSE(form.call(numbers.data(), size, limit)) << form.name << ' ' << limit;
                }
            }
        }
    }
}

TEST(IndexCheck, EveryFormSumsCountsBeyond32Bits) {
    for (const auto &form : runnable(sum_forms)) {
        for (const std::size_t size : sizes) {
            const std::vector<std::uint32_t> counts(size, 0x7FFFFFFF);
            EXPECT_EQ(form.call(counts.data(), size), size * std::uint64_t{0x7FFFFFFF}) << form.name;
        }
    }
}

TEST(IndexCheck, EveryFormFindsANegativeCountAtEveryPlace) {
    for (const auto &form : runnable(sum_forms)) {
        for (std::size_t at = 0; at < 21; ++at) {
            std::vector<std::uint32_t> counts(21, 4);
            counts[at] = 0x80000000;
            EXPECT_EQ(form.call(counts.data(), counts.size()), bad_sum) << form.name << ' ' << at;
        }
    }
}

} // namespace
} // namespace qel::archives
