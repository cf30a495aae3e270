// SPDX-License-Identifier: MIT
#include "fuzz_heap.h"

#include "harness.h"

#include <cstdlib>
#include <unordered_set>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void *__real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void *block);
void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void *__wrap_realloc(void *block, std::size_t size);
void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size);
void __wrap_free(void *block);
}

namespace {

using namespace qel::fuzz;

struct failure_plan {
    bool armed = false;
    bool all_later = false;
    bool tables = false;
    std::uint64_t fail_at = 0;
    std::uint64_t count = 0;
    std::uint64_t failures = 0;
} plan;

std::unordered_set<void *> *live_blocks =
    nullptr; // its own nodes come from operator new, which is not wrapped

bool fails(std::size_t size) {
    if (size > most_bytes) return true;
    if (!plan.armed) return false;
    ++plan.count;
    const bool due =
        plan.fail_at != 0 && (plan.all_later ? plan.count >= plan.fail_at : plan.count == plan.fail_at);
    if (!due && !(plan.tables && size == table_bytes)) return false;
    ++plan.failures;
    return true;
}

void *noted(void *block) {
    if (live_blocks != nullptr && block != nullptr) live_blocks->insert(block);
    return block;
}

/// The index tables. Each maps a file of 0xFF bytes for itself alone, so that filling it with those is to forget what
/// was written. A table that is not in use, and what lies around each, cannot be touched.
class table_pool {
  public:
    void *take() {
        for (slot &each : slots_) {
            if (each.used) continue;
            if (each.table == nullptr) each.table = map_table();
            require(mprotect(each.table, table_bytes, PROT_READ | PROT_WRITE) == 0);
            each.used = true;
            return each.table;
        }
        return nullptr; // nobody needs that many
    }

    bool give_back(void *block) {
        slot *const owner = find(block);
        if (owner == nullptr) return false;
        require(owner->used); // else it is freed twice
        require(mprotect(block, table_bytes, PROT_NONE) == 0);
        owner->used = false;
        return true;
    }

    /// False for memory that is no table.
    bool fill(void *block, int value, std::size_t size) {
        if (size != table_bytes || value != 0xFF || find(block) == nullptr) return false;
        return madvise(block, size, MADV_DONTNEED) == 0;
    }

  private:
    struct slot {
        void *table;
        bool used;
    };

    slot *find(const void *block) {
        for (slot &each : slots_)
            if (each.table == block) return &each;
        return nullptr;
    }

    void *map_table() {
        if (file_ < 0) make_file();
        constexpr std::size_t alignment = std::size_t{2} << 20;
        void *const room =
            mmap(nullptr, table_bytes + 3 * alignment, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        require(room != MAP_FAILED);
        const std::uintptr_t table =
            (reinterpret_cast<std::uintptr_t>(room) + 2 * alignment - 1) & ~(alignment - 1);
        void *const at = reinterpret_cast<void *>(table);
        require(mmap(at, table_bytes, PROT_NONE, MAP_PRIVATE | MAP_FIXED, file_, 0) == at);
        return at;
    }

    void make_file() {
        file_ = memfd_create("table", 0);
        require(file_ >= 0);
        const std::vector<std::uint8_t> piece(1 << 20, 0xFF);
        for (std::size_t i = 0; i < table_bytes; i += piece.size())
            require(write(file_, piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()));
    }

    slot slots_[4] = {};
    int file_ = -1;
} tables;

} // namespace

extern "C" {

void *__wrap_malloc(std::size_t size) {
    return fails(size) ? nullptr : noted(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    return fails(count * size) ? nullptr : noted(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size) {
    if (fails(size)) return nullptr;
    void *moved = __real_realloc(block, size);
    if (moved != nullptr && live_blocks != nullptr) live_blocks->erase(block);
    return noted(moved);
}

void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    if (fails(size)) return nullptr;
    return noted(size == table_bytes ? tables.take() : __real_aligned_alloc(alignment, size));
}

void __wrap_free(void *block) {
    if (block == nullptr) return;
    if (live_blocks != nullptr) live_blocks->erase(block);
    if (!tables.give_back(block)) __real_free(block);
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
// What the sanitizer makes of memset.
void *__real___asan_memset(void *block, int value, std::size_t size);
void *__wrap___asan_memset(void *block, int value, std::size_t size);

void *__wrap___asan_memset(void *block, int value, std::size_t size) {
    return tables.fill(block, value, size) ? block : __real___asan_memset(block, value, size);
}
#endif
#endif
}

namespace qel::fuzz {

heap_watch::heap_watch() {
    static std::unordered_set<void *> blocks(1000);
    blocks.clear();
    live_blocks = &blocks;
}

heap_watch::~heap_watch() {
    live_blocks = nullptr;
}

std::size_t heap_watch::live() const {
    return live_blocks->size();
}

void heap_watch::free_all() {
    const std::vector<void *> blocks(live_blocks->begin(), live_blocks->end());
    for (void *block : blocks)
        __wrap_free(block);
}

failing_heap::failing_heap(std::uint64_t n, bool all_later) : failing_heap(n, all_later, false) {}

failing_heap::failing_heap(std::uint64_t n, bool all_later, bool tables) {
    plan = {};
    plan.armed = true;
    plan.all_later = all_later;
    plan.tables = tables;
    plan.fail_at = n;
}

failing_heap failing_heap::of_tables() {
    return failing_heap(0, false, true);
}

failing_heap::~failing_heap() {
    plan.armed = false;
}

bool failing_heap::failed() const {
    return plan.failures != 0;
}

} // namespace qel::fuzz
