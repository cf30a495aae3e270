// SPDX-License-Identifier: MIT
#include "common/cpu.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

using function = int();
int one() {
    return 1;
}
int two() {
    return 2;
}
int three() {
    return 3;
}
int four() {
    return 4;
}

TEST(InstructionSet, EqualsTheCompilersOwnDetection) {
#if QEL_AVX2_KERNELS
    __builtin_cpu_init();
    instruction_set expected = instruction_set::sse2;
    if (__builtin_cpu_supports("avx2")) expected = instruction_set::avx2;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd") &&
        __builtin_cpu_supports("avx512dq"))
        expected = instruction_set::avx512;
    EXPECT_EQ(detect_instruction_set(), expected);
#else
    EXPECT_LE(detect_instruction_set(), instruction_set::sse2);
#endif
}

#if QEL_AVX2_KERNELS
TEST(ProcessorWords, EqualThoseOfTheCompilersOwnDetection) {
    __builtin_cpu_init();
    const processor_words words = read_processor();
    EXPECT_EQ((words.features & 1u << 20) != 0, __builtin_cpu_supports("sse4.2") != 0);
    EXPECT_EQ((words.extended_features & 1u << 8) != 0, __builtin_cpu_supports("bmi2") != 0);
}
#endif

TEST(KernelForms, ReturnTheWidestFormThatAProcessorCanRun) {
    const kernel_forms<function> forms = {one, two, three, four};
    EXPECT_EQ(forms.best(instruction_set::plain)(), 1);
    EXPECT_EQ(forms.best(instruction_set::sse2)(), 2);
    EXPECT_EQ(forms.best(instruction_set::avx2)(), 3);
    EXPECT_EQ(forms.best(instruction_set::avx512)(), 4);
}

TEST(KernelForms, SkipMissingForms) {
    const kernel_forms<function> only_plain = {one, nullptr, nullptr, nullptr};
    EXPECT_EQ(only_plain.best(instruction_set::avx512)(), 1);
    const kernel_forms<function> without_avx512 = {one, two, three, nullptr};
    EXPECT_EQ(without_avx512.best(instruction_set::avx512)(), 3);
    const kernel_forms<function> only_sse2 = {one, two, nullptr, nullptr};
    EXPECT_EQ(only_sse2.best(instruction_set::avx2)(), 2);
    EXPECT_EQ(only_sse2.best(instruction_set::avx512)(), 2);
}

int product(int a, int b) {
    return a * b;
}

TEST(Dispatched, ChoosesAtTheFirstCallAndKeepsTheChoice) {
    dispatched<function> kernel(one, two, three, four);
    EXPECT_EQ(kernel.chosen(), nullptr);
    const int first = kernel();
    EXPECT_EQ(first, kernel.forms.best(detect_instruction_set())());
    EXPECT_EQ(kernel.chosen(), kernel.forms.best(detect_instruction_set()));
    EXPECT_EQ(kernel(), first);
}

TEST(Dispatched, CallsAForcedFormUntilItIsCleared) {
    dispatched<function> kernel(one, nullptr, nullptr, nullptr);
    kernel.choose(four);
    EXPECT_EQ(kernel(), 4);
    kernel.choose(nullptr);
    EXPECT_EQ(kernel(), 1);
}

TEST(Dispatched, PassesArgumentsInOrderAndTheResultBack) {
    dispatched<int(int, int)> kernel([](int a, int b) { return a - b; }, nullptr, nullptr, nullptr);
    EXPECT_EQ(kernel(7, 3), 4);
    kernel.choose(product);
    EXPECT_EQ(kernel(7, 3), 21);
}

} // namespace
} // namespace qel
