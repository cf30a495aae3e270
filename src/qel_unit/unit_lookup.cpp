// SPDX-License-Identifier: MIT
#include "qel_unit/hash_index.h"
#include "qel_unit/token.h"

#include <algorithm>
#include <cstring>

namespace qel {
namespace {

std::uint32_t find_morton(const qel_unit &unit, std::uint64_t morton) {
    if (unit.morton_index == nullptr) return QEL_NOT_FOUND;
    return newest_entry(*unit.morton_index, morton_hash(morton), [&](std::uint32_t number) {
        return unit.tokens[number].morton == morton ? number : QEL_NOT_FOUND;
    });
}

std::uint32_t find_hex(const qel_unit &unit, const char *hex_id) {
    if (unit.hex_index == nullptr) return QEL_NOT_FOUND;
    // Compares all 8 bytes, also those after a zero byte, which the hash ignores.
    return newest_entry(*unit.hex_index, field_hash(hex_id), [&](std::uint32_t number) {
        const qel_token &token = unit.tokens[number];
        return std::memcmp(token.hex_id, hex_id, sizeof token.hex_id) == 0 ? number : QEL_NOT_FOUND;
    });
}

/// Collects the hits of a block without a branch on the layer, which is unpredictable, then copies them.
std::uint32_t scan_layer(const qel_unit &unit, std::uint8_t layer, std::uint32_t *numbers, std::uint32_t max) {
    constexpr std::uint32_t block = 64;
    std::uint32_t found = 0;
    for (std::uint32_t first = 0, size = 0; first < unit.count && found < max; first += size) {
        size = std::min(block, unit.count - first);
        std::uint32_t hits[block], hit_count = 0;
        for (std::uint32_t token = first; token < first + size; ++token) {
            hits[hit_count] = token;
            hit_count += unit.tokens[token].layer == layer;
        }
        const std::uint32_t taken = std::min(hit_count, max - found);
        std::copy_n(hits, taken, numbers + found);
        found += taken;
    }
    return found;
}

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::uint32_t qel_unit_get_count(const qel_unit *unit) {
    return unit == nullptr ? 0 : unit->count;
}

std::int32_t qel_unit_get_token(const qel_unit *unit, std::uint32_t index, std::uint64_t *morton, char *hex_id,
                                std::uint8_t *layer) {
    if (unit == nullptr || unit->tokens == nullptr || index >= unit->count) return QEL_UNIT_GET_TOKEN_NOT_FOUND;
    const qel_token &token = unit->tokens[index];
    *morton = token.morton;
    std::memcpy(hex_id, token.hex_id, sizeof token.hex_id);
    *layer = token.layer;
    return QEL_OK;
}

std::uint32_t qel_unit_get_all_tokens(const qel_unit *unit, std::uint64_t *mortons, char *hex_ids,
                                      std::uint8_t *layers) {
    if (unit == nullptr || unit->tokens == nullptr) return 0;
    for (std::uint32_t i = 0; i < unit->count; ++i) {
        const qel_token &token = unit->tokens[i];
        mortons[i] = token.morton;
        std::memcpy(hex_ids + std::uint64_t{i} * sizeof token.hex_id, token.hex_id, sizeof token.hex_id);
        layers[i] = token.layer;
    }
    return unit->count;
}

std::uint32_t qel_unit_lookup_morton(const qel_unit *unit, std::uint64_t morton) {
    return find_morton(*unit, morton);
}

std::uint32_t qel_unit_lookup_hex(const qel_unit *unit, const char *hex_id) {
    return find_hex(*unit, hex_id);
}

std::uint32_t qel_unit_query_lattice_vertex(const qel_unit *unit, std::uint16_t x, std::uint16_t y, std::uint16_t z) {
    return find_morton(*unit, std::uint64_t{x} << 32 | std::uint64_t{y} << 16 | z);
}

std::uint32_t qel_unit_query_layer(const qel_unit *unit, std::uint8_t layer, std::uint32_t *numbers, std::int32_t max) {
    if (max < 1 || unit->tokens == nullptr) return 0;
    return scan_layer(*unit, layer, numbers, static_cast<std::uint32_t>(max));
}

} // extern "C"
