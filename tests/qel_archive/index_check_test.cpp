// SPDX-License-Identifier: MIT
#include "qel_archive/index_check.h"
#include "support/kernel_forms.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qel::archives {
namespace {

using namespace test;

constexpr std::uint32_t limits[] = {0, 1, 2, 1000, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF};
constexpr std::size_t sizes[] = {0, 1, 3, 4, 7, 8, 9, 15, 16, 17, 31, 32, 33, 2047, 2048, 2049, 2079, 2080, 5000};
constexpr std::size_t starts = 8; // numbers that a vector holds: each start lies at another place of one

std::vector<std::uint32_t> numbers_below(std::uint32_t limit, std::size_t count) {
    std::mt19937 random(static_cast<std::uint32_t>(count));
    std::vector<std::uint32_t> numbers(count);
    for (std::uint32_t &number : numbers)
        number = random() % 2 == 0 ? limit - 1 : static_cast<std::uint32_t>(random()) % limit;
    return numbers;
}

TEST(IndexCheck, EveryFormAcceptsIndicesBelowTheLimit) {
    for (const auto &form : runnable(below_kernel)) {
        for (const std::uint32_t limit : limits) {
            for (const std::size_t size : sizes) {
                const auto numbers = limit == 0 ? std::vector<std::uint32_t>() : numbers_below(limit, size);
                EXPECT_TRUE(form.call(numbers.data(), numbers.size(), limit)) << form.name << ' ' << limit;
            }
        }
    }
}

TEST(IndexCheck, EveryFormFindsTheLimitItselfAtEveryPlace) {
    for (const auto &form : runnable(below_kernel)) {
        for (const std::uint32_t limit : limits) {
            for (const std::size_t size : {std::size_t{1}, std::size_t{8}, std::size_t{21}, std::size_t{75}}) {
                for (std::size_t at = 0; at < size * starts; ++at) {
                    const std::size_t start = at % starts;
                    std::vector<std::uint32_t> numbers(start + size, 0);
                    numbers[start + at / starts] = limit;
                    EXPECT_FALSE(form.call(numbers.data() + start, size, limit)) << form.name << ' ' << limit;
                }
            }
        }
    }
}

TEST(IndexCheck, LimitsFaceIndicesToTheVertexCountAndTo31Bits) {
    EXPECT_EQ(face_index_limit(5), 5u);
    EXPECT_EQ(face_index_limit(0x7FFFFFFF), 0x7FFFFFFFu);
    EXPECT_EQ(face_index_limit(0x80000000), 0x80000000u);
    EXPECT_EQ(face_index_limit(0x80000001), 0x80000000u);
}

TEST(IndexCheck, EveryFormSumsCountsBeyond32Bits) {
    for (const auto &form : runnable(sum_kernel)) {
        for (const std::size_t size : sizes) {
            for (std::size_t start = 0; start < starts; ++start) {
                const std::vector<std::uint32_t> counts(start + size, 0x7FFFFFFF);
                EXPECT_EQ(form.call(counts.data() + start, size), size * std::uint64_t{0x7FFFFFFF}) << form.name;
            }
        }
    }
}

TEST(IndexCheck, EveryFormSumsCountsThatAllDiffer) {
    std::mt19937 random(3);
    std::vector<std::uint32_t> counts(5000 + starts);
    for (std::uint32_t &count : counts)
        count = static_cast<std::uint32_t>(random()) >> (1 + random() % 31);
    for (const auto &form : runnable(sum_kernel)) {
        for (const std::size_t size : sizes) {
            for (std::size_t start = 0; start < starts; ++start) {
                std::uint64_t sum = 0;
                for (std::size_t i = start; i < start + size; ++i)
                    sum += counts[i];
                EXPECT_EQ(form.call(counts.data() + start, size), sum) << form.name << ' ' << size;
            }
        }
    }
}

TEST(IndexCheck, EveryFormFindsANegativeCountAtEveryPlace) {
    for (const auto &form : runnable(sum_kernel)) {
        for (std::size_t at = 0; at < 75 * starts; ++at) {
            const std::size_t start = at % starts;
            std::vector<std::uint32_t> counts(start + 75, 4);
            counts[start + at / starts] = 0x80000000;
            EXPECT_EQ(form.call(counts.data() + start, 75), bad_sum) << form.name << ' ' << at;
        }
    }
}

} // namespace
} // namespace qel::archives
