// SPDX-License-Identifier: MIT
// Names are sorted, not hashed: they come from the file, and the time of a sort does not depend on their choice.
#include "qel_archive/names.h"

#include <algorithm>
#include <cstring>

namespace qel::archives {
namespace {

constexpr std::uint32_t max_unsorted = 8; // larger tables are sorted for a binary search

int compare(const char *a, std::size_t a_length, const char *b, std::size_t b_length) {
    const int difference = std::memcmp(a, b, std::min(a_length, b_length));
    if (difference != 0) return difference;
    return a_length < b_length ? -1 : a_length > b_length;
}

int compare(const text &a, const text &b) {
    return compare(a.bytes, a.length, b.bytes, b.length);
}

bool has_duplicate(const name_table &table) {
    for (std::uint32_t i = 1; i < table.count; ++i) {
        for (std::uint32_t j = 0; j < i; ++j) {
            if (compare(table.names[i], table.names[j]) == 0) return true;
        }
    }
    return false;
}

bool is_ascending(const name_table &table) {
    for (std::uint32_t i = 1; i < table.count; ++i) {
        if (compare(table.names[i - 1], table.names[i]) >= 0) return false;
    }
    return true;
}

/// The length of the longest prefix that all names share.
std::uint32_t common_prefix_length(const name_table &table) {
    std::uint32_t length = table.names[0].length;
    for (std::uint32_t i = 1; i < table.count; ++i) {
        const text &name = table.names[i];
        length = std::min(length, name.length);
        const auto differs = std::mismatch(name.bytes, name.bytes + length, table.names[0].bytes);
        length = static_cast<std::uint32_t>(differs.first - name.bytes);
    }
    return length;
}

/// A name's number and the eight bytes after the common prefix, which decide most comparisons.
struct sort_key {
    std::uint64_t bytes;
    std::uint32_t number;
};

/// Eight bytes of a name from `skipped` on, the first one highest. After the end of the name they are zero; a name has
/// no zero byte.
std::uint64_t key_bytes(const text &name, std::uint32_t skipped) {
    std::uint64_t key = 0;
    const std::uint32_t count = std::min(std::uint32_t{8}, name.length - skipped);
    for (std::uint32_t i = 0; i < count; ++i)
        key |= std::uint64_t{static_cast<std::uint8_t>(name.bytes[skipped + i])} << (56 - 8 * i);
    return key;
}

void sort_keys(sort_key *keys, const name_table &table) {
    const std::uint32_t skipped = common_prefix_length(table);
    for (std::uint32_t i = 0; i < table.count; ++i)
        keys[i] = {key_bytes(table.names[i], skipped), i};
    std::sort(keys, keys + table.count, [&table](const sort_key &a, const sort_key &b) {
        if (a.bytes != b.bytes) return a.bytes < b.bytes;
        return compare(table.names[a.number], table.names[b.number]) < 0;
    });
}

status order_many(name_table &table, arena &memory) {
    const scratch<sort_key> keys(heap_array<sort_key>(table.count));
    auto *const order = memory.array<std::uint32_t>(table.count);
    if (!keys || order == nullptr) return QEL_ARCHIVE_NO_MEMORY;
    sort_keys(keys.get(), table);
    for (std::uint32_t i = 0; i < table.count; ++i) {
        order[i] = keys[i].number;
        if (i > 0 && compare(table.names[order[i - 1]], table.names[order[i]]) == 0) return QEL_ARCHIVE_DAMAGED;
    }
    table.order = order;
    return QEL_ARCHIVE_OK;
}

std::uint32_t find_unsorted(const name_table &table, const char *bytes, std::size_t length) {
    for (std::uint32_t i = 0; i < table.count; ++i) {
        const text &name = table.names[i];
        if (name.length == length && std::memcmp(name.bytes, bytes, length) == 0) return i;
    }
    return none;
}

} // namespace

bool is_valid_name(const text &name) {
    return name.length != 0 && std::memchr(name.bytes, '/', name.length) == nullptr &&
           std::memchr(name.bytes, '\0', name.length) == nullptr;
}

status order_names(name_table &table, arena &memory) {
    if (table.count <= max_unsorted) return has_duplicate(table) ? QEL_ARCHIVE_DAMAGED : QEL_ARCHIVE_OK;
    return is_ascending(table) ? QEL_ARCHIVE_OK : order_many(table, memory);
}

std::uint32_t find_name(const name_table &table, const char *bytes, std::size_t length) {
    if (table.count <= max_unsorted) return find_unsorted(table, bytes, length);
    std::uint32_t low = 0, high = table.count;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        const std::uint32_t number = table.order != nullptr ? table.order[middle] : middle;
        const int side = compare(table.names[number].bytes, table.names[number].length, bytes, length);
        if (side == 0) return number;
        if (side < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return none;
}

} // namespace qel::archives
