// SPDX-License-Identifier: MIT
// The compiler's __builtin_cpu_supports gives the same answer, but links a function that runs before main.
#include "common/cpu.h"

#if QEL_AVX2_KERNELS
#include <cpuid.h>
#endif

namespace qel {

#if QEL_AVX2_KERNELS
namespace {

constexpr bool has_all(std::uint64_t bits, std::uint64_t wanted) {
    return (bits & wanted) == wanted;
}

/// The registers of one CPUID leaf; all zero if the processor has no such leaf.
struct cpuid_leaf {
    unsigned a = 0, b = 0, c = 0, d = 0;
    explicit cpuid_leaf(unsigned number) { __get_cpuid_count(number, 0, &a, &b, &c, &d); }
};

/// The register states that the operating system saves when it switches threads.
std::uint64_t saved_states() {
    std::uint32_t low, high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return std::uint64_t{high} << 32 | low;
}

} // namespace

instruction_set widest_set(const processor_words &words) {
    constexpr std::uint64_t sse_and_avx_state = 0x6, avx512_state = 0xE0;
    const bool avx2 = has_all(words.features, bit_OSXSAVE | bit_AVX) && has_all(words.extended_features, bit_AVX2) &&
                      has_all(words.saved_states, sse_and_avx_state);
    if (!avx2) return instruction_set::sse2;
    constexpr std::uint32_t avx512_features = bit_AVX512F | bit_AVX512BW | bit_AVX512CD | bit_AVX512DQ;
    const bool avx512 = has_all(words.extended_features, avx512_features) && has_all(words.saved_states, avx512_state);
    return avx512 ? instruction_set::avx512 : instruction_set::avx2;
}

processor_words read_processor() {
    processor_words words = {};
    words.features = cpuid_leaf(1).c;
    words.extended_features = cpuid_leaf(7).b;
    if (has_all(words.features, bit_OSXSAVE)) words.saved_states = saved_states();
    return words;
}

instruction_set detect_instruction_set() {
    return widest_set(read_processor());
}
#else
instruction_set detect_instruction_set() {
    return QEL_SSE2_KERNELS ? instruction_set::sse2 : instruction_set::plain;
}
#endif

} // namespace qel
