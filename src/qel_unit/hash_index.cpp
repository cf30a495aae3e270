// SPDX-License-Identifier: MIT
#include "qel_unit/hash_index.h"

#include "common/heap.h"

#include <cstring>

namespace qel {

qel_hash_index *create_index(std::uint64_t capacity) {
    auto *index = heap_array<qel_hash_index>(1);
    if (index == nullptr) return nullptr;
    index->nodes = heap_array<qel_hash_node>(capacity);
    index->buckets = heap_table<std::uint32_t>(QEL_HASH_BUCKETS);
    index->node_count = 0;
    if (index->nodes == nullptr || index->buckets == nullptr) {
        release_index(index);
        return nullptr;
    }
    std::memset(index->buckets, 0xFF, QEL_HASH_BUCKETS * sizeof *index->buckets);
    return index;
}

void release_index(qel_hash_index *&index) {
    if (index == nullptr) return;
    release(index->nodes);
    release(index->buckets);
    release(index);
}

} // namespace qel
