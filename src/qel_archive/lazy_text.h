// SPDX-License-Identifier: MIT
// Texts that are made when they are first asked for, by whichever thread asks, and live as long as their owner. A path
// holds the names of all objects above: made at once, all paths together could be far longer than the file.
#pragma once

#include "common/heap.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace qel::archives {

class lazy_texts {
  public:
    lazy_texts() = default;
    ~lazy_texts() {
        for (block *next = first_.load(); next != nullptr;) {
            block *const freed = next;
            next = next->next;
            std::free(freed);
        }
    }
    lazy_texts(const lazy_texts &) = delete;
    lazy_texts &operator=(const lazy_texts &) = delete;

    /// The text of a slot; where it has none yet, one of `length` bytes that `write` fills and a zero byte ends. Null
    /// when there is no memory.
    template <class Write>
    const char *get(std::atomic<const char *> &slot, std::size_t length, Write write) {
        auto *const memory = heap_array<std::uint8_t>(std::uint64_t{sizeof(block)} + length + 1);
        if (memory == nullptr) return nullptr;
        char *const made = reinterpret_cast<char *>(memory + sizeof(block));
        write(made);
        made[length] = '\0';
        const char *present = nullptr;
        if (!slot.compare_exchange_strong(present, made, std::memory_order_acq_rel)) {
            std::free(memory); // another thread was faster
            return present;
        }
        auto *const added = new (memory) block{first_.load(std::memory_order_relaxed)};
        while (!first_.compare_exchange_weak(added->next, added, std::memory_order_release))
            continue;
        return made;
    }

  private:
    struct block {
        block *next;
    };

    std::atomic<block *> first_{nullptr};
};

} // namespace qel::archives
