// SPDX-License-Identifier: MIT
#include "baseline/unit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel::baseline {

namespace {

constexpr std::uint32_t none = 0xFFFFFFFF;

std::uint32_t bucket_of_key(std::uint64_t morton) {
    return static_cast<std::uint32_t>((morton >> 32) ^ morton) & 0x7FFFFF;
}

} // namespace

std::uint32_t bucket_of_id(const char *hex_id) {
    std::uint32_t hash = 5381;
    for (int i = 0; i < 8 && hex_id[i] != 0; ++i)
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(hex_id[i]));
    return hash & 0x7FFFFF;
}

qel_hash_index *new_index(std::uint32_t count) {
    auto *index = static_cast<qel_hash_index *>(std::malloc(sizeof(qel_hash_index)));
    if (index == nullptr) return nullptr;
    index->nodes = static_cast<qel_hash_node *>(std::malloc(count * sizeof(qel_hash_node) + 1));
    index->buckets = static_cast<std::uint32_t *>(std::malloc(QEL_HASH_BUCKETS * sizeof(std::uint32_t)));
    if (index->nodes == nullptr || index->buckets == nullptr) {
        std::free(index->nodes);
        std::free(index->buckets);
        std::free(index);
        return nullptr;
    }
    std::memset(index->buckets, 0xFF, QEL_HASH_BUCKETS * sizeof(std::uint32_t));
    index->node_count = 0;
    return index;
}

void insert(qel_hash_index *index, std::uint32_t token, std::uint32_t bucket) {
    const std::uint32_t n = index->node_count;
    if (n >= QEL_HASH_BUCKETS) return;
    index->nodes[n] = {token, index->buckets[bucket]};
    index->buckets[bucket] = n;
    index->node_count = n + 1;
}

namespace {

/// Builds the indexes and the order of a unit with tokens; false when there is no memory for an index.
bool build_indexes(qel_unit *unit) {
    unit->morton_index = new_index(unit->count);
    unit->hex_index = new_index(unit->count);
    if (unit->morton_index == nullptr || unit->hex_index == nullptr) return false;
    for (std::uint32_t i = 0; i < unit->count; ++i) {
        const std::uint32_t hex_bucket = bucket_of_id(unit->tokens[i].hex_id);
        insert(unit->morton_index, i, bucket_of_key(+unit->tokens[i].morton));
        insert(unit->hex_index, i, hex_bucket);
    }
    return true;
}

bool fill_order(qel_unit *unit) {
    unit->order = static_cast<std::uint32_t *>(std::malloc(std::size_t{unit->count} * 4 + 1));
    if (unit->order == nullptr) return false;
    for (std::uint32_t i = 0; i < unit->count; ++i)
        unit->order[i] = i;
    return true;
}

int compare_tokens(const void *a, const void *b) {
    const std::uint64_t left = static_cast<const qel_token *>(a)->morton;
    const std::uint64_t right = static_cast<const qel_token *>(b)->morton;
    return left < right ? -1 : left > right ? 1 : 0;
}

std::uint64_t hop_distance(std::uint64_t a, std::uint64_t b) {
    return static_cast<std::uint64_t>(std::sqrt(static_cast<float>(a > b ? a - b : b - a)));
}

} // namespace

std::int32_t create(qel_unit *unit, std::uint32_t count, const std::uint64_t *mortons, const char *hex_ids,
                    const std::uint64_t *payloads, const std::uint8_t *layers) {
    if (unit == nullptr || count == 0) return -1;
    unit->extra = 0;
    unit->version = 1;
    unit->count = count;
    unit->tokens = static_cast<qel_token *>(std::malloc(std::size_t{count} * sizeof(qel_token)));
    if (unit->tokens == nullptr) return -2;
    for (std::uint32_t i = 0; i < count; ++i) {
        qel_token &token = unit->tokens[i];
        token.morton = mortons[i];
        std::memcpy(token.hex_id, hex_ids + std::size_t{i} * 8, 8);
        token.payload = payloads[i];
        token.layer = layers[i];
    }
    if (!build_indexes(unit)) return -3;
    return fill_order(unit) ? 0 : -4;
}

std::int32_t load(const char *path, qel_unit *unit) {
    std::FILE *const stream = std::fopen(path, "rb");
    if (stream == nullptr) return -1;
    unsigned char header[24];
    const bool whole = std::fread(header, 1, sizeof header, stream) == sizeof header;
    if (!whole || std::memcmp(header, "QEL", 4) != 0) {
        std::fclose(stream);
        return whole ? -3 : -2;
    }
    std::uint32_t claimed = 0, read = 0;
    std::memcpy(&unit->version, header + 4, 4);
    std::memcpy(&claimed, header + 8, 4);
    std::memcpy(&unit->extra, header + 12, 4);
    unit->tokens = static_cast<qel_token *>(std::malloc(std::size_t{claimed} * sizeof(qel_token) + 1));
    if (unit->tokens != nullptr)
        while (read < claimed && std::fread(&unit->tokens[read], 1, sizeof(qel_token), stream) == sizeof(qel_token))
            ++read;
    unit->count = read;
    std::fclose(stream);
    if (unit->tokens == nullptr) return -4;
    std::qsort(unit->tokens, read, sizeof(qel_token), compare_tokens);
    if (!build_indexes(unit)) return -5;
    return fill_order(unit) ? 0 : -6;
}

std::uint32_t lookup_morton(const qel_unit *unit, std::uint64_t morton) {
    const qel_hash_index *const index = unit->morton_index;
    const std::uint32_t node = index->buckets[bucket_of_key(morton)];
    if (node == none) return none;
    const std::uint32_t token = index->nodes[node].token;
    return unit->tokens[token].morton == morton ? token : none;
}

std::uint32_t lookup_hex(const qel_unit *unit, const char *hex_id) {
    const qel_hash_index *const index = unit->hex_index;
    const std::uint32_t node = index->buckets[bucket_of_id(hex_id)];
    if (node == none) return none;
    const std::uint32_t token = index->nodes[node].token;
    return std::memcmp(unit->tokens[token].hex_id, hex_id, 8) == 0 ? token : none;
}

namespace {

struct search_result {
    std::uint32_t token;
    std::uint64_t distance;
};

int compare_results(const void *a, const void *b) {
    const std::uint64_t left = static_cast<const search_result *>(a)->distance;
    const std::uint64_t right = static_cast<const search_result *>(b)->distance;
    return left < right ? -1 : left > right ? 1 : 0;
}

struct result_list {
    search_result *entries;
    std::uint32_t size, filled;
    std::uint64_t bound() const { return entries[size - 1].distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (filled == size && distance >= bound()) return;
        entries[filled == size ? size - 1 : filled++] = {token, distance};
        std::qsort(entries, filled, sizeof(search_result), compare_results);
    }
};

} // namespace

std::int64_t search_start(const qel_unit *unit, std::uint64_t target) {
    std::int64_t low = 0, high = std::int64_t{unit->count} - 1;
    for (;;) {
        const std::int64_t middle = low + ((high - low) >> 1);
        const std::uint64_t key = unit->tokens[middle].morton;
        if (key == target) return middle;
        if (key < target)
            low = middle + 1;
        else
            high = middle - 1;
        if (low > high) return middle;
    }
}

std::uint32_t query_nearest(const qel_unit *unit, std::uint64_t morton, std::int32_t k, std::uint32_t *numbers,
                            std::uint64_t *distances) {
    if (unit == nullptr || unit->tokens == nullptr || unit->count == 0 || k < 1) return 0;
    const std::int64_t count = unit->count;
    const auto size = static_cast<std::uint32_t>(std::min<std::int64_t>(k, count));
    result_list list = {static_cast<search_result *>(std::malloc(size * sizeof(search_result))), size, 0};
    if (list.entries == nullptr) return 0;
    std::fill(list.entries, list.entries + size, search_result{none, UINT64_MAX});
    const auto key = [unit](std::int64_t i) -> std::uint64_t { return unit->tokens[i].morton; };
    const auto offer = [&](std::int64_t i) { list.offer(static_cast<std::uint32_t>(i), hop_distance(key(i), morton)); };
    const std::int64_t start = search_start(unit, morton);
    offer(start);
    for (std::int64_t left = start - 1, right = start + 1; left >= 0 || right < count;) {
        const std::uint64_t bound = list.bound();
        const std::uint64_t reach = bound < UINT64_MAX ? bound * bound : UINT64_MAX;
        const bool room = list.filled < size;
        const auto near = [&](std::int64_t i) {
            return room || (key(i) > morton ? key(i) - morton : morton - key(i)) < reach;
        };
        const bool take_left = left >= 0 && near(left), take_right = right < count && near(right);
        if (!take_left && !take_right) break;
        if (take_left) offer(left--);
        if (take_right) offer(right++);
    }
    for (std::uint32_t i = 0; i < list.filled; ++i) {
        numbers[i] = list.entries[i].token;
        distances[i] = list.entries[i].distance;
    }
    std::free(list.entries);
    return list.filled;
}

} // namespace qel::baseline
