// SPDX-License-Identifier: MIT
// The index tables of the fuzzed library, mapped once and reused, and a limit on every allocation.
#include "harness.h"

#include "support/failing_heap.h"

#include <cstdlib>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace qel::fuzz;

/// The index tables. Each is a private mapping of a file of 0xFF bytes, so that filling it with them discards the
/// written pages. Unused tables and the pages around each table are inaccessible.
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
        return nullptr; // more tables than slots are refused
    }

    bool give_back(void *block) {
        slot *const owner = find(block);
        if (owner == nullptr) return false;
        require(owner->used); // else it is freed twice
        require(mprotect(block, table_bytes, PROT_NONE) == 0);
        owner->used = false;
        return true;
    }

    /// Fills a table with a byte; false for other memory.
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
        void *const room = mmap(nullptr, table_bytes + 3 * alignment, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        require(room != MAP_FAILED);
        const std::uintptr_t table = (reinterpret_cast<std::uintptr_t>(room) + 2 * alignment - 1) & ~(alignment - 1);
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

/// Set before the first input.
const bool policy_is_set = [] {
    qel::test::heap_policy policy;
    policy.max_bytes = max_heap_bytes;
    policy.pooled_bytes = table_bytes;
    policy.take = [] { return tables.take(); };
    policy.give_back = [](void *block) { return block != nullptr && tables.give_back(block); };
    qel::test::set_heap_policy(policy);
    return true;
}();

} // namespace

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
// The sanitizer calls this function in place of memset.
extern "C" {

void *__real___asan_memset(void *block, int value, std::size_t size);
void *__wrap___asan_memset(void *block, int value, std::size_t size);

void *__wrap___asan_memset(void *block, int value, std::size_t size) {
    return tables.fill(block, value, size) ? block : __real___asan_memset(block, value, size);
}

} // extern "C"
#endif
#endif
