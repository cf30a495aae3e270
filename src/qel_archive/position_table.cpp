// SPDX-License-Identifier: MIT
#include "qel_archive/position_table.h"

#include <utility>

namespace qel::archives {

/// Mixes the bits with the last steps of splitmix64.
std::size_t position_table::first_slot(std::uint64_t position) const {
    std::uint64_t mixed = position + reinterpret_cast<std::uintptr_t>(slots_.get());
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return static_cast<std::size_t>(mixed ^ mixed >> 31) & (capacity_ - 1);
}

const std::uint64_t *position_table::find(std::uint64_t position) const {
    if (capacity_ == 0) return nullptr;
    std::size_t i = first_slot(position);
    for (; slots_[i].number != 0; i = (i + 1) & (capacity_ - 1))
        if (slots_[i].position == position) return &slots_[i].number;
    return nullptr;
}

bool position_table::add(std::uint64_t position, std::uint64_t number) {
    if (count_ * 2 >= capacity_ && !grow()) return false;
    std::size_t i = first_slot(position);
    while (slots_[i].number != 0)
        i = (i + 1) & (capacity_ - 1);
    slots_[i] = {position, number};
    ++count_;
    return true;
}

bool position_table::grow() {
    constexpr std::size_t first_capacity = 64;
    const std::size_t old_capacity = capacity_;
    scratch<slot> old(heap_zeroed<slot>(old_capacity == 0 ? first_capacity : old_capacity * 2));
    if (!old) return false;
    std::swap(old, slots_);
    capacity_ = old_capacity == 0 ? first_capacity : old_capacity * 2;
    count_ = 0;
    for (std::size_t i = 0; i < old_capacity; ++i)
        if (old[i].number != 0) add(old[i].position, old[i].number);
    return true;
}

} // namespace qel::archives
