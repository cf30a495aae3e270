// SPDX-License-Identifier: MIT
// Memory of many small arrays that are freed together, and lists that grow.
#pragma once

#include "common/heap.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

namespace qel {

/// Allocates arrays that last as long as the arena. At most a quarter of its memory, and 4 KiB, is not in use.
class arena {
  public:
    arena() = default;
    ~arena() { clear(); }
    arena(const arena &) = delete;
    arena &operator=(const arena &) = delete;

    /// Allocates `count` records, not initialized; null when there is no memory.
    template <class T>
    T *array(std::uint64_t count) {
        static_assert(alignof(T) <= alignment && std::is_trivially_destructible_v<T>);
        const std::size_t bytes = array_bytes<T>(count);
        return bytes == 0 ? nullptr : static_cast<T *>(take(bytes));
    }

    /// Frees everything.
    void clear() {
        while (blocks_ != nullptr)
            std::free(std::exchange(blocks_, blocks_->next));
        left_ = 0;
        total_ = 0;
    }

  private:
    struct block {
        block *next;
    };

    void *take(std::size_t bytes) {
        bytes = (bytes + alignment - 1) / alignment * alignment;
        if (bytes > left_) {
            const std::size_t room = next_room();
            if (bytes > room / 4) return add_block(bytes + alignment); // the present block is kept for small arrays
            next_ = add_block(room);
            left_ = next_ == nullptr ? 0 : room - alignment;
            if (next_ == nullptr) return nullptr;
        }
        void *const taken = next_;
        next_ += bytes;
        left_ -= bytes;
        return taken;
    }

    /// The size of the next block for small arrays: a quarter of the arena's bytes, in whole huge pages if that is at
    /// least two of them.
    std::size_t next_room() const {
        const std::size_t room = std::clamp(total_ / 4, min_room, max_room);
        return room < 2 * huge_page ? room : room / huge_page * huge_page;
    }

    std::uint8_t *add_block(std::size_t bytes) {
        auto *const memory = heap_table<std::uint8_t>(bytes);
        if (memory == nullptr) return nullptr;
        blocks_ = new (memory) block{blocks_};
        total_ += bytes;
        return memory + alignment;
    }

    static constexpr std::size_t alignment = 8;
    static constexpr std::size_t min_room = std::size_t{4} << 10;
    static constexpr std::size_t max_room = std::size_t{8} << 20;

    block *blocks_ = nullptr;
    std::uint8_t *next_ = nullptr;
    std::size_t left_ = 0;
    std::size_t total_ = 0;
};

/// An array of plain records that grows. Growth may move it.
template <class T>
class heap_list {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    heap_list() = default;
    ~heap_list() { std::free(records_); }
    heap_list(const heap_list &) = delete;
    heap_list &operator=(const heap_list &) = delete;

    /// Appends a record; false when there is no memory.
    bool push(const T &record) {
        if (count_ == capacity_ && !grow()) return false;
        records_[count_++] = record;
        return true;
    }
    void pop() { --count_; }
    T &top() { return records_[count_ - 1]; }
    void clear() { count_ = 0; }

    T &operator[](std::uint32_t i) { return records_[i]; }
    const T &operator[](std::uint32_t i) const { return records_[i]; }
    std::uint32_t size() const { return count_; }

  private:
    bool grow() {
        const std::uint32_t capacity = std::max(std::uint32_t{8}, capacity_ + capacity_ / 2);
        const std::size_t bytes = array_bytes<T>(capacity);
        auto *const records = bytes == 0 ? nullptr : static_cast<T *>(std::realloc(records_, bytes));
        if (records == nullptr) return false;
        records_ = records;
        capacity_ = capacity;
        return true;
    }

    T *records_ = nullptr;
    std::uint32_t count_ = 0, capacity_ = 0;
};

} // namespace qel
