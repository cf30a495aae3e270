// SPDX-License-Identifier: MIT
#include "qel_unit/unit_store.h"

#include "common/heap.h"
#include "qel_unit/hash_index.h"
#include "qel_unit/unit_file.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace qel {
namespace {

enum create_status : std::int32_t {
    created = 0,
    no_input = -1,
    no_tokens = -2,
    no_index = -3,
    no_order = -4
};

void copy_arrays(qel_unit &unit, const std::uint64_t *mortons, const char *hex_ids,
                 const std::uint64_t *payloads, const std::uint8_t *layers) {
    for (std::uint32_t i = 0; i < unit.count; ++i) {
        qel_token &token = unit.tokens[i];
        token.morton = mortons[i];
        std::memcpy(token.hex_id, hex_ids + std::uint64_t{i} * sizeof token.hex_id, sizeof token.hex_id);
        token.payload = payloads[i];
        token.layer = layers[i];
    }
}

/// The buckets of a few tokens, fetched ahead: one after the other they would each wait for memory.
struct bucket_block {
    static constexpr std::uint32_t size = 32;

    void fetch(const qel_unit &unit, std::uint32_t first, std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i) {
            const qel_token &token = unit.tokens[first + i];
            morton[i] = morton_hash(token.morton);
            hex[i] = identity_hash(token.hex_id);
            prefetch(unit.morton_index->buckets + morton[i]);
            prefetch(unit.hex_index->buckets + hex[i]);
        }
    }

    std::uint32_t morton[size];
    std::uint32_t hex[size];
};

} // namespace

bool allocate_indexes(qel_unit &unit) {
    unit.morton_index = create_index(unit.count);
    unit.hex_index = create_index(unit.count);
    if (unit.morton_index != nullptr && unit.hex_index != nullptr) return true;
    qel_unit_free(&unit);
    return false;
}

bool allocate_order(qel_unit &unit) {
    unit.order = heap_array<std::uint32_t>(unit.count);
    if (unit.order != nullptr) return true;
    qel_unit_free(&unit);
    return false;
}

void index_tokens(qel_unit &unit) {
    bucket_block buckets;
    for (std::uint32_t first = 0, count = 0; first < unit.count; first += count) {
        count = std::min(bucket_block::size, unit.count - first);
        buckets.fetch(unit, first, count);
        for (std::uint32_t i = 0; i < count; ++i) {
            insert(*unit.morton_index, buckets.morton[i], first + i);
            insert(*unit.hex_index, buckets.hex[i], first + i);
        }
    }
    std::iota(unit.order, unit.order + unit.count, 0U);
}

} // namespace qel

extern "C" {

int32_t qel_unit_create(qel_unit *unit, uint32_t count, const uint64_t *mortons, const char *hex_ids,
                        const uint64_t *payloads, const uint8_t *layers) {
    if (unit == nullptr || count == 0) return qel::no_input;
    unit->extra = 0;
    unit->version = qel::unit_version;
    unit->count = count;
    unit->tokens = qel::heap_array<qel_token>(count);
    if (unit->tokens == nullptr) return qel::no_tokens;
    qel::copy_arrays(*unit, mortons, hex_ids, payloads, layers);
    if (!qel::allocate_indexes(*unit)) return qel::no_index;
    if (!qel::allocate_order(*unit)) return qel::no_order;
    qel::index_tokens(*unit);
    return qel::created;
}

void qel_unit_free(qel_unit *unit) {
    qel::release(unit->tokens);
    qel::release_index(unit->morton_index);
    qel::release_index(unit->hex_index);
    // `order` stays: its buffer belongs to the caller.
}
}
