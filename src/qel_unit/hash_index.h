// SPDX-License-Identifier: MIT
// The chained hash index over tokens and agents: a fixed array of bucket heads and one node per entry.
#pragma once

#include "qel_unit.h"

#include <cstdint>

namespace qel {

static_assert(sizeof(qel_hash_node) == 8);

constexpr std::uint32_t empty_bucket = 0xFFFFFFFF; // also the end of a chain
constexpr std::uint32_t bucket_mask = QEL_HASH_BUCKETS - 1;

constexpr std::uint32_t morton_hash(std::uint64_t morton) {
    return (static_cast<std::uint32_t>(morton >> 32) ^ static_cast<std::uint32_t>(morton)) & bucket_mask;
}

/// djb2 over at most 8 bytes, ending before a zero byte. Bytes count as signed: 0x80..0xFF subtract.
inline std::uint32_t identity_hash(const char *identity) {
    std::uint32_t hash = 5381;
    for (int i = 0; i < 8 && identity[i] != '\0'; ++i)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(identity[i]));
    return hash & bucket_mask;
}

/// An empty index with room for `capacity` nodes, or null when a part of it cannot be allocated.
qel_hash_index *create_index(std::uint64_t capacity);

/// Frees an index and nulls the pointer; a null one is left as it is.
void release_index(qel_hash_index *&index);

/// Makes `entry` the head of a bucket. Beyond as many nodes as there are buckets it is silently left out.
inline void insert(qel_hash_index &index, std::uint32_t bucket, std::uint32_t entry) {
    if (index.node_count >= QEL_HASH_BUCKETS) return;
    index.nodes[index.node_count] = {entry, index.buckets[bucket]};
    index.buckets[bucket] = index.node_count++;
}

/// Asks for memory that is wanted soon. A hint: a compiler without it loses nothing but time.
inline void prefetch(const void *address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

/// The newest entry of a bucket, or QEL_NOT_FOUND. The chain behind it is never walked: lookups stay one probe.
inline std::uint32_t newest_entry(const qel_hash_index &index, std::uint32_t bucket) {
    const std::uint32_t node = index.buckets[bucket];
    return node == empty_bucket ? QEL_NOT_FOUND : index.nodes[node].token;
}

} // namespace qel
