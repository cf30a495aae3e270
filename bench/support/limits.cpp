// SPDX-License-Identifier: MIT
#include "support/limits.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <utility>

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
/// Four runs at once: the processor then loads more lines at the same time than for one.
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

table_chains::table_chains(const std::vector<std::size_t> &tables, std::size_t chains) : starts_(chains) {
    std::mt19937_64 random(tables.front());
    const auto place_in = [&](std::size_t bytes) {
        return static_cast<std::uint32_t>(random() % (bytes / sizeof(std::uint32_t)));
    };
    for (std::size_t t = 0; t < tables.size(); ++t) {
        tables_.push_back(std::make_unique<huge_memory>(tables[t]));
        auto *const places = reinterpret_cast<std::uint32_t *>(tables_[t]->bytes());
        const std::size_t next = tables[t + 1 < tables.size() ? t + 1 : t];
        for (std::size_t i = 0; i < tables[t] / sizeof *places; ++i)
            places[i] = t == 0 && i % 2 == 1 ? 0 : place_in(next);
    }
    for (std::size_t i = 0; i < chains; ++i)
        starts_[i] = static_cast<std::uint32_t>((place_in(tables[0]) & ~std::uint32_t{1}) | (i & 1));
}

void table_chains::follow() const {
    std::uint32_t sum = 0;
    for (std::uint32_t place : starts_) {
        for (const std::unique_ptr<huge_memory> &table : tables_)
            place = reinterpret_cast<const std::uint32_t *>(table->bytes())[place];
        sum += place;
    }
    keep(sum);
}

search_tree::search_tree(std::size_t bytes) : memory_(std::make_unique<huge_memory>(std::max(bytes, sizeof(node)))) {
    const std::size_t lines = std::max(bytes / sizeof(node), std::size_t{1});
    nodes_ = reinterpret_cast<node *>(memory_->bytes());
    root_ = grow(0, static_cast<std::uint32_t>(lines));
    while (depth_ < 32 && lines >> depth_ != 0)
        ++depth_;
}

/// Builds the tree over a run of lines: its middle points to the middles of both halves, or to itself if there is none.
std::uint32_t search_tree::grow(std::uint32_t first, std::uint32_t last) {
    const std::uint32_t middle = first + (last - first) / 2;
    nodes_[middle].children[0] = middle == first ? middle : grow(first, middle);
    nodes_[middle].children[1] = middle + 1 == last ? middle : grow(middle + 1, last);
    return middle;
}

void search_tree::follow(const std::vector<std::uint64_t> &keys) const {
    std::uint32_t sum = 0;
    for (const std::uint64_t key : keys) {
        std::uint32_t place = root_;
        for (unsigned step = 1; step < depth_; ++step)
            place = nodes_[place].children[key >> (64 - step) & 1];
        sum += place;
    }
    keep(sum);
}

void read_through(std::FILE *stream) {
    static char window[256 << 10];
    std::rewind(stream);
    while (std::fread(window, 1, sizeof window, stream) == sizeof window)
        benchmark::ClobberMemory();
}

heap_block fresh_block(std::size_t size) {
    return heap_block(std::malloc(size));
}

heap_block read_into_fresh(std::FILE *stream, long at, std::size_t size) {
    heap_block memory = fresh_block(size);
    std::fseek(stream, at, SEEK_SET);
    if (std::fread(memory.get(), 1, size, stream) != size) throw std::runtime_error("a file ends early");
    return memory;
}

contender writing(const std::string &path, std::function<void()> run) {
    return {std::move(run), {}, [&path] { std::remove(path.c_str()); }};
}

void write_whole(const std::string &path, const void *bytes, std::size_t size) {
    std::FILE *const stream = std::fopen(path.c_str(), "wb");
    if (stream == nullptr || std::fwrite(bytes, 1, size, stream) != size)
        throw std::runtime_error("cannot write " + path);
    std::fclose(stream);
}

} // namespace qel::bench
