// SPDX-License-Identifier: MIT
// Chooses at run time which form of a kernel is called. All forms of a kernel give the same bits, except that the
// compiler chooses which of two NaNs an operation returns.
#pragma once

#include <atomic>
#include <cstdint>

// Forms for instruction sets require a compiler that selects the set for each function. A WebAssembly file cannot hold
// functions for several sets: with SIMD128 its SSE2 forms are compiled.
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__wasm_simd128__))
#define QEL_SSE2_KERNELS 1
#else
#define QEL_SSE2_KERNELS 0
#endif
// On Windows gcc aligns the stack to 16 bytes only, but spills 32-byte registers with aligned stores.
#if QEL_SSE2_KERNELS && defined(__x86_64__) && !defined(_WIN32)
#define QEL_AVX2_KERNELS 1
#else
#define QEL_AVX2_KERNELS 0
#endif
#if QEL_SSE2_KERNELS
#define QEL_SSE2_FORM(function) function
#else
#define QEL_SSE2_FORM(function) nullptr
#endif
#if QEL_AVX2_KERNELS
#define QEL_AVX2_FORM(function) function
#else
#define QEL_AVX2_FORM(function) nullptr
#endif
// No target includes fused multiply-add: it rounds once, and the results are defined with two roundings.
#define QEL_TARGET_AVX2 __attribute__((target("avx2")))
#define QEL_TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx512cd,avx512dq")))

namespace qel {

/// Instruction sets that kernels are written for, each including those before it.
enum class instruction_set : std::uint8_t { plain, sse2, avx2, avx512 };

#if QEL_AVX2_KERNELS
/// Words of a processor's cpuid instruction, and the register states that the operating system saves when it switches
/// threads.
struct processor_words {
    std::uint32_t features;          // leaf 1, ecx
    std::uint32_t extended_features; // leaf 7, ebx
    std::uint64_t saved_states;      // 0 if the processor has no instruction that reads them
};

/// The words of this processor.
processor_words read_processor();

/// The widest set that a processor with these words can run.
instruction_set widest_set(const processor_words &words);
#endif

/// The widest set that the processor has and whose registers the operating system saves. The result is not cached.
instruction_set detect_instruction_set();

/// The forms of one kernel. Each but the plain one may be null.
template <class Function>
struct kernel_forms {
    Function *plain, *sse2, *avx2, *avx512;

    /// The widest form that a processor of this set can run.
    constexpr Function *best(instruction_set set) const {
        if (set >= instruction_set::avx512 && avx512 != nullptr) return avx512;
        if (set >= instruction_set::avx2 && avx2 != nullptr) return avx2;
        if (set >= instruction_set::sse2 && sse2 != nullptr) return sse2;
        return plain;
    }
};

template <class Function>
class dispatched;

/// A kernel: it is called like a function, and the first call chooses the form for this processor. The constructor is a
/// constant expression, so that nothing runs when the library is loaded. Threads that make the first call at the same
/// time choose the same form.
template <class Result, class... Arguments>
class dispatched<Result(Arguments...)> {
  public:
    using function = Result(Arguments...);

    constexpr dispatched(function *plain, function *sse2, function *avx2, function *avx512)
        : forms{plain, sse2, avx2, avx512} {}

    Result operator()(Arguments... arguments) {
        function *form = chosen();
        if (form == nullptr) choose(form = forms.best(detect_instruction_set()));
        return form(arguments...);
    }

    /// The chosen form; null before the first call.
    function *chosen() const { return chosen_.load(std::memory_order_relaxed); }

    /// Sets the form of later calls; after null, the next call chooses.
    void choose(function *form) { chosen_.store(form, std::memory_order_relaxed); }

    const kernel_forms<function> forms;

  private:
    std::atomic<function *> chosen_{nullptr};
};

} // namespace qel
