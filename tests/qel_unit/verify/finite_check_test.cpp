// SPDX-License-Identifier: MIT
#include "qel_unit/verify/finite_check.h"

#include "support/float_bits.h"
#include "support/kernel_forms.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace qel {
namespace {

using namespace test;

const std::uint32_t not_finite[] = {0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC00000, 0x7F800001, 0xFFFFFFFF};
const std::uint32_t finite[] = {0, 0x80000000, 1, 0x80000001, 0x007FFFFF, 0x7F7FFFFF, 0xFF7FFFFF, 0x3F800000};

TEST(FiniteKernel, AcceptsFiniteNumbersOfEveryKind) {
    std::mt19937 random(81);
    std::vector<float> numbers(5000);
    for (float &number : numbers)
        number = from_bits(finite[random() % std::size(finite)]);
    for (const auto &form : runnable(finite_kernel))
        for (std::size_t count = 0; count <= numbers.size(); count += count < 80 ? 1 : 137)
            EXPECT_TRUE(form.call(numbers.data(), count)) << form.name << ' ' << count;
}

TEST(FiniteKernel, FindsWhatIsNotFiniteAtEveryPlaceOfEveryLength) {
    for (const auto &form : runnable(finite_kernel))
        for (std::size_t count = 1; count <= 64; ++count) {
            std::vector<float> numbers(count, 1.5f);
            for (std::size_t i = 0; i < count; ++i) {
                numbers[i] = from_bits(not_finite[i % std::size(not_finite)]);
                ASSERT_FALSE(form.call(numbers.data(), count)) << form.name << ' ' << count << ' ' << i;
                numbers[i] = -1.5f;
            }
        }
}

TEST(FiniteKernel, FindsWhatIsNotFiniteAroundTheEndsOfBlocks) {
    for (const auto &form : runnable(finite_kernel))
        for (const std::size_t count : {2047u, 2048u, 2049u, 2055u, 2056u, 4096u, 4099u}) {
            std::vector<float> numbers(count, 1.5f);
            for (std::size_t i = count > 2100 ? 2030 : count - 20; i < count; ++i)
                for (const std::uint32_t bits : not_finite) {
                    numbers[i] = from_bits(bits);
                    ASSERT_FALSE(form.call(numbers.data(), count)) << form.name << ' ' << count << ' ' << i;
                    numbers[i] = 1.5f;
                }
        }
}

TEST(FiniteKernel, ReadsNothingBeforeOrAfterTheArray) {
    std::vector<float> numbers(16 + 64 + 64);
    for (const auto &form : runnable(finite_kernel))
        for (std::size_t offset = 0; offset < 16; ++offset) // all places in a cache line
            for (std::size_t count = 0; count <= 64; ++count) {
                std::fill(numbers.begin(), numbers.end(), std::numeric_limits<float>::infinity());
                std::fill_n(numbers.begin() + static_cast<std::ptrdiff_t>(offset), count, 2.0f);
                ASSERT_TRUE(form.call(numbers.data() + offset, count)) << form.name << ' ' << offset << ' ' << count;
            }
}

TEST(FiniteKernel, AgreesOnAnyBits) {
    std::mt19937 random(82);
    for (int round = 0; round < 5000; ++round) {
        std::vector<float> numbers(1 + random() % 300);
        for (float &number : numbers)
            number = from_bits(static_cast<std::uint32_t>(random()));
        const bool expected = finite_kernel.forms.plain(numbers.data(), numbers.size());
        for (const auto &form : runnable(finite_kernel))
            ASSERT_EQ(form.call(numbers.data(), numbers.size()), expected) << form.name;
    }
}

TEST(FiniteKernel, FindsTheLastOfThirtyMillionNumbers) {
    std::vector<float> numbers(30000009, 1.5f);
    for (const auto &form : runnable(finite_kernel)) {
        EXPECT_TRUE(form.call(numbers.data(), numbers.size())) << form.name;
        numbers.back() = std::numeric_limits<float>::quiet_NaN();
        EXPECT_FALSE(form.call(numbers.data(), numbers.size())) << form.name;
        numbers.back() = 1.5f;
    }
}

TEST(FiniteChoice, IsMadeByTheFirstCallAndCanBeForced) {
    const float number = 1;
    EXPECT_TRUE(all_finite(&number, 1));
    EXPECT_EQ(finite_kernel.chosen(), finite_kernel.forms.best(detect_instruction_set()));
    const forced_form<finite_function> forced(finite_kernel, [](const float *, std::uint64_t) { return false; });
    EXPECT_FALSE(all_finite(&number, 1));
}

} // namespace
} // namespace qel
