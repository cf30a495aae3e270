// SPDX-License-Identifier: MIT
// Texts that are made at their first request, on any thread, and live as long as their owner. Paths are such texts
// because a path repeats the names of all objects above it: all paths together can be far longer than the file.
#pragma once

#include "common/heap.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qel::archives {

class lazy_texts {
  public:
    lazy_texts() = default;
    ~lazy_texts();
    lazy_texts(const lazy_texts &) = delete;
    lazy_texts &operator=(const lazy_texts &) = delete;

    /// The text of a slot. If it has none yet, `write` fills a new text of `length` bytes, and a zero byte is appended.
    /// Null when there is no memory.
    template <class Write>
    const char *get(std::atomic<const char *> &slot, std::size_t length, Write write) {
        auto *const memory = heap_array<std::uint8_t>(std::uint64_t{sizeof(block)} + length + 1);
        if (memory == nullptr) return nullptr;
        char *const made = reinterpret_cast<char *>(memory + sizeof(block));
        write(made);
        made[length] = '\0';
        return keep(slot, memory, made); // NOLINT(clang-analyzer-unix.Malloc): the list owns it
    }

  private:
    struct block {
        block *next;
    };

    /// Stores a text in its slot and returns it. If another thread has stored one before, frees the text and returns
    /// the stored one.
    const char *keep(std::atomic<const char *> &slot, std::uint8_t *memory, const char *made);

    std::atomic<block *> first_{nullptr};
};

} // namespace qel::archives
