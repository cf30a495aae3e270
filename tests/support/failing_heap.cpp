// SPDX-License-Identifier: MIT
#include "support/failing_heap.h"

#include <cerrno>
#include <unordered_set>

#if defined(__EMSCRIPTEN__)
#include <cstdio>
#include <new>
#endif

extern "C" {

void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void __real_free(void *block);
void *__wrap_malloc(std::size_t size);
void *__wrap_calloc(std::size_t count, std::size_t size);
void *__wrap_realloc(void *block, std::size_t size);
void __wrap_free(void *block);
#if !defined(_WIN32) // it has no aligned_alloc
void *__real_aligned_alloc(std::size_t alignment, std::size_t size);
void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size);
#endif
#if defined(__EMSCRIPTEN__)
std::FILE *__real_fopen(const char *path, const char *mode);
std::FILE *__wrap_fopen(const char *path, const char *mode);
#endif

} // extern "C"

namespace {

struct failure_plan {
    bool armed = false;
    bool all_later = false;
    std::uint64_t fail_at = 0;
    std::size_t fail_size = 0;
    std::uint64_t count = 0;
    std::uint64_t failures = 0;
} plan;

struct block_lists {
    std::unordered_set<const void *> live, freed;
};

qel::test::heap_policy policy;

block_lists *ledger = nullptr; // its own nodes come from operator new, which is not wrapped

#if defined(__EMSCRIPTEN__)
// The standard libraries are linked with the program, and their own allocations are wrapped with the others. Those of a
// stream are let through, as elsewhere; operator new is handled below.
bool standard_library_allocates = false;
#else
constexpr bool standard_library_allocates = false;
#endif

bool is_due(std::size_t size) {
    if (!plan.armed) return false;
    ++plan.count;
    const bool due = plan.fail_at != 0 && (plan.all_later ? plan.count >= plan.fail_at : plan.count == plan.fail_at);
    const bool fail = due || (plan.fail_size != 0 && size == plan.fail_size);
    if (fail) ++plan.failures;
    return fail;
}

bool fails(std::size_t size) {
    if (standard_library_allocates) return false;
    const bool fail = size > policy.max_bytes || is_due(size);
    if (fail) errno = ENOMEM;
    return fail;
}

void *noted(void *block) {
    if (ledger == nullptr || block == nullptr || standard_library_allocates) return block;
    ledger->live.insert(block);
    ledger->freed.erase(block);
    return block;
}

void forgotten(void *block) {
    if (ledger != nullptr && ledger->live.erase(block) != 0) ledger->freed.insert(block);
}

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
    if (moved != nullptr) {
        forgotten(block);
        noted(moved);
    }
    return moved;
}

#if !defined(_WIN32)
void *__wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    if (fails(size)) return nullptr;
    const bool pooled = policy.take != nullptr && size == policy.pooled_bytes;
    return noted(pooled ? policy.take() : __real_aligned_alloc(alignment, size));
}
#endif

void __wrap_free(void *block) {
    forgotten(block);
    if (policy.give_back == nullptr || !policy.give_back(block)) __real_free(block);
}

#if defined(__EMSCRIPTEN__)
std::FILE *__wrap_fopen(const char *path, const char *mode) {
    standard_library_allocates = true;
    std::FILE *const stream = __real_fopen(path, mode);
    standard_library_allocates = false;
    return stream;
}
#endif

} // extern "C"

#if defined(__EMSCRIPTEN__)
void *operator new(std::size_t size) {
    void *const block = __real_malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void operator delete(void *block) noexcept {
    __real_free(block);
}
#endif

namespace qel::test {

failing_heap::failing_heap(std::uint64_t n, std::size_t size, bool all_later) {
    plan = {};
    plan.armed = true;
    plan.all_later = all_later;
    plan.fail_at = n;
    plan.fail_size = size;
}

failing_heap::~failing_heap() {
    plan.armed = false;
}

std::uint64_t failing_heap::count() const {
    return plan.count;
}

std::uint64_t failing_heap::failures() const {
    return plan.failures;
}

void set_heap_policy(const heap_policy &new_policy) {
    policy = new_policy;
}

heap_ledger::heap_ledger() {
    ledger = new block_lists;
}

heap_ledger::~heap_ledger() {
    delete ledger;
    ledger = nullptr;
}

std::size_t heap_ledger::live() const {
    return ledger->live.size();
}

bool heap_ledger::holds(const void *pointer) const {
    return ledger->live.count(pointer) != 0;
}

bool heap_ledger::has_freed(const void *pointer) const {
    return ledger->freed.count(pointer) != 0;
}

std::size_t heap_ledger::free_all() {
    const std::vector<const void *> blocks(ledger->live.begin(), ledger->live.end());
    for (const void *block : blocks)
        __wrap_free(const_cast<void *>(block));
    return blocks.size();
}

} // namespace qel::test
