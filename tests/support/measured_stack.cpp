// SPDX-License-Identifier: MIT
#include "support/measured_stack.h"

#if defined(_WIN32) || defined(__APPLE__) || defined(__EMSCRIPTEN__)

namespace qel::test {

const char *unmeasurable_stack() {
    return "the system has no threads on a stack of the program's own";
}

std::size_t stack_taken_by(const std::function<void()> &call) {
    call();
    return 0;
}

} // namespace qel::test

#else

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qel::test {
namespace {

constexpr std::size_t measured = std::size_t{512} << 10; // grows down from the end
constexpr std::uint8_t paint = 0xA5;

void require(bool holds, const char *what) {
    if (holds) return;
    std::perror(what);
    std::abort();
}

struct painted_call {
    const std::function<void()> *call;
    const std::uint8_t *caller; // where its frame is
};

void *run(void *argument) {
    auto &it = *static_cast<painted_call *>(argument);
    it.caller = static_cast<std::uint8_t *>(__builtin_frame_address(0));
    (*it.call)();
    return nullptr;
}

} // namespace

const char *unmeasurable_stack() {
#if defined(__SANITIZE_ADDRESS__)
    return "a sanitizer takes stack of its own";
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
    return "a sanitizer takes stack of its own";
#endif
#endif
    return nullptr;
}

std::size_t stack_taken_by(const std::function<void()> &call) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t size = page + measured;
    void *const block = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    require(block != MAP_FAILED, "mmap");
    auto *const lowest = static_cast<std::uint8_t *>(block) + page;
    std::fill(lowest, lowest + measured, paint);
    require(mprotect(block, page, PROT_NONE) == 0, "mprotect"); // the guard

    pthread_attr_t attributes;
    pthread_t thread;
    painted_call it = {&call, nullptr};
    require(pthread_attr_init(&attributes) == 0, "pthread_attr_init");
    require(pthread_attr_setstack(&attributes, lowest, measured) == 0, "pthread_attr_setstack");
    require(pthread_create(&thread, &attributes, run, &it) == 0, "pthread_create");
    require(pthread_join(thread, nullptr) == 0, "pthread_join");
    pthread_attr_destroy(&attributes);
    const std::uint8_t *const touched =
        std::find_if<const std::uint8_t *>(lowest, it.caller, [](std::uint8_t value) { return value != paint; });
    const auto taken = static_cast<std::size_t>(it.caller - touched);
    munmap(block, size);
    return taken;
}

} // namespace qel::test

#endif
