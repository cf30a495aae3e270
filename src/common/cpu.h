// SPDX-License-Identifier: MIT
// Choosing at run time which form of a kernel the processor gets. All forms of a kernel give the same bits;
// only which of two NaNs comes out of an operation is the compiler's choice.
//
// A kernel has one function per instruction set and one atomic pointer through which it is called. The pointer's first
// value, a constant, is a function that looks at the processor, stores its choice and calls it: nothing runs when the
// library is loaded, and threads that meet in the first call store the same pointer.
#pragma once

#include <cstdint>

// Forms for particular instruction sets need a compiler that builds them function by function.
#if defined(__x86_64__) && defined(__GNUC__)
#define QEL_SSE2_KERNELS 1
#else
#define QEL_SSE2_KERNELS 0
#endif
// On Windows gcc aligns the stack to 16 bytes only and still spills 32-byte registers with aligned stores.
#if QEL_SSE2_KERNELS && !defined(_WIN32)
#define QEL_AVX2_KERNELS 1
#else
#define QEL_AVX2_KERNELS 0
#endif
// Fused multiply-add is named nowhere: it rounds once where the results round twice.
#define QEL_TARGET_AVX2 __attribute__((target("avx2")))
#define QEL_TARGET_AVX512 __attribute__((target("avx512f,avx512bw")))

namespace qel {

/// Instruction sets that kernels are written for, each including those before it.
enum class instruction_set : std::uint8_t { plain, sse2, avx2, avx512 };

#if QEL_AVX2_KERNELS
/// What a processor says of itself: words of its cpuid instruction, and the register states that the operating system
/// saves when it switches threads.
struct processor_words {
    std::uint32_t features;          // leaf 1, ecx
    std::uint32_t extended_features; // leaf 7, ebx
    std::uint64_t saved_states;      // 0 where it cannot be asked
};

/// The widest set that such a processor can run.
instruction_set widest_set(const processor_words &words);
#endif

/// The widest set that the processor has and the operating system saves the registers of. Asks both at every call.
instruction_set detect_instruction_set();

/// The forms of one kernel. One that is missing is null, but for the plain one.
template <class Function>
struct kernel_forms {
    Function *plain, *sse2, *avx2, *avx512;

    /// The form for a processor that has this set: the widest written that it can run.
    constexpr Function *best(instruction_set set) const {
        if (set >= instruction_set::avx512 && avx512 != nullptr) return avx512;
        if (set >= instruction_set::avx2 && avx2 != nullptr) return avx2;
        if (set >= instruction_set::sse2 && sse2 != nullptr) return sse2;
        return plain;
    }
};

} // namespace qel
