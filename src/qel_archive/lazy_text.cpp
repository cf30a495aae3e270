// SPDX-License-Identifier: MIT
#include "qel_archive/lazy_text.h"

#include <cstdlib>
#include <new>

namespace qel::archives {

lazy_texts::~lazy_texts() {
    for (block *next = first_.load(); next != nullptr;) {
        block *const freed = next;
        next = next->next;
        std::free(freed);
    }
}

const char *lazy_texts::keep(std::atomic<const char *> &slot, std::uint8_t *memory, const char *made) {
    const char *present = nullptr;
    if (!slot.compare_exchange_strong(present, made, std::memory_order_acq_rel)) {
        std::free(memory);
        return present;
    }
    auto *const added = new (memory) block{first_.load(std::memory_order_relaxed)};
    while (!first_.compare_exchange_weak(added->next, added, std::memory_order_release)) {
    }
    return made;
}

} // namespace qel::archives
