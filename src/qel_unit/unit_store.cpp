// SPDX-License-Identifier: MIT
#include "qel_unit/unit_store.h"

#include "common/heap.h"
#include "qel_unit/unit_format.h"

#include <cstring>

namespace qel {
namespace {

/// The arguments of qel_unit_create.
struct token_arrays {
    const std::uint64_t *mortons;
    const char *hex_ids;
    const std::uint64_t *payloads;
    const std::uint8_t *layers;

    void copy(qel_token *tokens, std::uint32_t first, std::uint32_t count) const {
        for (std::uint32_t i = first; i < first + count; ++i) {
            qel_token &token = tokens[i];
            token.morton = mortons[i];
            std::memcpy(token.hex_id, hex_ids + std::uint64_t{i} * sizeof token.hex_id, sizeof token.hex_id);
            token.payload = payloads[i];
            token.layer = layers[i];
        }
    }
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

} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_unit_create(qel_unit *unit, std::uint32_t count, const std::uint64_t *mortons, const char *hex_ids,
                             const std::uint64_t *payloads, const std::uint8_t *layers) {
    if (unit == nullptr || count == 0) return QEL_UNIT_CREATE_BAD_ARGUMENT;
    unit->extra = 0;
    unit->version = unit_version;
    unit->count = count;
    unit->tokens = heap_array<qel_token>(count);
    if (unit->tokens == nullptr) return QEL_UNIT_CREATE_TOKENS_NO_MEMORY;
    if (!allocate_indexes(*unit)) return QEL_UNIT_CREATE_INDEX_NO_MEMORY;
    if (!allocate_order(*unit)) return QEL_UNIT_CREATE_ORDER_NO_MEMORY;
    const token_arrays arrays = {mortons, hex_ids, payloads, layers};
    index_tokens(*unit, [&](std::uint32_t first, std::uint32_t size) { arrays.copy(unit->tokens, first, size); });
    return QEL_OK;
}

void qel_unit_free(qel_unit *unit) {
    release(unit->tokens);
    release_index(unit->morton_index);
    release_index(unit->hex_index);
    // `order` stays: the caller owns its array.
}

} // extern "C"
