// SPDX-License-Identifier: MIT
// Which instruction set is chosen for processors and systems of every kind.
#include "common/cpu.h"

#include <gtest/gtest.h>

namespace qel {
namespace {

#if QEL_AVX2_KERNELS

constexpr std::uint32_t os_saves = 1u << 27, avx = 1u << 28;
constexpr std::uint32_t avx2 = 1u << 5;
constexpr std::uint32_t avx512f = 1u << 16, avx512dq = 1u << 17, avx512cd = 1u << 28, avx512bw = 1u << 30;
constexpr std::uint64_t sse_state = 2, avx_state = 4, avx512_states = 0xE0;
constexpr processor_words newest = {os_saves | avx, avx2 | avx512f | avx512dq | avx512cd | avx512bw,
                                    1 | sse_state | avx_state | avx512_states};

instruction_set without(std::uint32_t features, std::uint32_t extended = 0, std::uint64_t states = 0) {
    return widest_set(
        {newest.features & ~features, newest.extended_features & ~extended, newest.saved_states & ~states});
}

TEST(CpuDetection, ChoosesAVX512IfProcessorAndSystemSupportAllOfIt) {
    EXPECT_EQ(widest_set(newest), instruction_set::avx512);
    EXPECT_EQ(widest_set({~0u, ~0u, ~std::uint64_t{0}}), instruction_set::avx512);
}

TEST(CpuDetection, RequiresNoOtherStates) {
    EXPECT_EQ(without(0, 0, 1), instruction_set::avx512);
}

TEST(CpuDetection, ChoosesAVX2IfAnyPartOfAVX512IsMissing) {
    for (const std::uint32_t feature : {avx512f, avx512dq, avx512cd, avx512bw})
        EXPECT_EQ(without(0, feature), instruction_set::avx2) << feature;
    for (const std::uint64_t state : {0x20u, 0x40u, 0x80u})
        EXPECT_EQ(without(0, 0, state), instruction_set::avx2) << state;
}

TEST(CpuDetection, ChoosesSSE2IfAnyPartOfAVX2IsMissing) {
    EXPECT_EQ(without(os_saves), instruction_set::sse2);
    EXPECT_EQ(without(avx), instruction_set::sse2);
    EXPECT_EQ(without(0, avx2), instruction_set::sse2);
    EXPECT_EQ(without(0, 0, sse_state), instruction_set::sse2);
    EXPECT_EQ(without(0, 0, avx_state), instruction_set::sse2);
    EXPECT_EQ(widest_set({0, 0, 0}), instruction_set::sse2);
}

#endif

TEST(CpuDetection, GivesTheSameAnswerEveryTime) {
    EXPECT_EQ(detect_instruction_set(), detect_instruction_set());
}

} // namespace
} // namespace qel
