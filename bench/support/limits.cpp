// SPDX-License-Identifier: MIT
#include "support/limits.h"

#include "support/side_by_side.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace qel::bench {

namespace {

void stream_words(const unsigned char *bytes, std::size_t size) {
    std::uint64_t a = 0, b = 0, c = 0, d = 0;
    std::size_t at = 0;
    for (; at + 32 <= size; at += 32) {
        std::uint64_t words[4];
        std::memcpy(words, bytes + at, sizeof words);
        a += words[0];
        b += words[1];
        c += words[2];
        d += words[3];
    }
    for (; at < size; ++at)
        a += bytes[at];
    keep(a + b + c + d);
}

#if defined(__x86_64__)
/// Four runs at once: the processor then keeps more lines on their way than for one.
__attribute__((target("avx2"))) void stream_wide(const unsigned char *bytes, std::size_t size) {
    constexpr std::size_t step = 2 * sizeof(__m256i), runs = 4;
    const std::size_t run = size / runs / step * step;
    __m256i sums[2 * runs] = {};
    for (std::size_t at = 0; at < run; at += step)
        for (std::size_t r = 0; r < runs; ++r) {
            const auto *const words = reinterpret_cast<const __m256i *>(bytes + r * run + at);
            sums[2 * r] = _mm256_add_epi64(sums[2 * r], _mm256_loadu_si256(words));
            sums[2 * r + 1] = _mm256_add_epi64(sums[2 * r + 1], _mm256_loadu_si256(words + 1));
        }
    for (std::size_t i = 1; i < 2 * runs; ++i)
        sums[0] = _mm256_add_epi64(sums[0], sums[i]);
    keep(sums[0]);
    stream_words(bytes + runs * run, size - runs * run);
}
#endif

constexpr std::size_t huge_page = std::size_t{2} << 20;

} // namespace

void stream_read(const void *bytes, std::size_t size) {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) {
        stream_wide(static_cast<const unsigned char *>(bytes), size);
        return;
    }
#endif
    stream_words(static_cast<const unsigned char *>(bytes), size);
}

void stream_fill(std::size_t size) {
    void *const memory = std::malloc(size);
    std::memset(memory, 0x5A, size);
    keep(memory);
    benchmark::ClobberMemory();
    std::free(memory);
}

huge_memory::huge_memory(std::size_t size) : mapped_(size + huge_page), size_(size) {
    mapping_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED) throw std::runtime_error("no memory to fill");
    const auto address = reinterpret_cast<std::uintptr_t>(mapping_);
    const std::uintptr_t aligned = (address + huge_page - 1) & ~(huge_page - 1);
    memory_ = static_cast<unsigned char *>(mapping_) + (aligned - address);
    madvise(memory_, size_, MADV_HUGEPAGE);
}

huge_memory::~huge_memory() {
    munmap(mapping_, mapped_);
}

void huge_memory::fill() {
    std::memset(memory_, 0xFF, size_);
    keep(memory_);
}

void read_through(std::FILE *stream) {
    static char window[256 << 10];
    std::rewind(stream);
    while (std::fread(window, 1, sizeof window, stream) == sizeof window)
        benchmark::ClobberMemory();
}

heap_block read_into_fresh(std::FILE *stream, long at, std::size_t size) {
    heap_block memory(std::malloc(size));
    std::fseek(stream, at, SEEK_SET);
    if (std::fread(memory.get(), 1, size, stream) != size) throw std::runtime_error("a file ends early");
    return memory;
}

void write_whole(const std::string &path, const void *bytes, std::size_t size) {
    std::FILE *const stream = std::fopen(path.c_str(), "wb");
    if (stream == nullptr || std::fwrite(bytes, 1, size, stream) != size)
        throw std::runtime_error("cannot write " + path);
    std::fclose(stream);
}

} // namespace qel::bench
