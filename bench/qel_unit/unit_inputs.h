// SPDX-License-Identifier: MIT
// Tokens to build units from.
#pragma once

#include "qel_unit.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace qel::bench {

/// The argument arrays of qel_unit_create: random keys in ascending order, each with a unique identity.
struct token_arrays {
    explicit token_arrays(std::size_t count) : hex_ids(count * 8), payloads(count), layers(count) {
        std::mt19937_64 random(count);
        for (std::size_t i = 0; i < count; ++i)
            mortons.push_back(random());
        std::sort(mortons.begin(), mortons.end());
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t identity = static_cast<std::uint32_t>(i) * 2654435761U;
            for (std::size_t digit = 0; digit < 8; ++digit)
                hex_ids[i * 8 + digit] = "0123456789ABCDEF"[identity >> (28 - 4 * digit) & 15];
            payloads[i] = i;
            layers[i] = static_cast<std::uint8_t>(i % 7);
        }
    }

    std::uint32_t count() const { return static_cast<std::uint32_t>(mortons.size()); }

    template <class Create>
    void create_with(Create create, qel_unit &unit) const {
        create(&unit, count(), mortons.data(), hex_ids.data(), payloads.data(), layers.data());
    }

    std::vector<std::uint64_t> mortons;
    std::vector<char> hex_ids;
    std::vector<std::uint64_t> payloads;
    std::vector<std::uint8_t> layers;
};

inline bool same_units(const qel_unit &a, const qel_unit &b) {
    const auto same_index = [](const qel_hash_index &x, const qel_hash_index &y) {
        return x.node_count == y.node_count && std::memcmp(x.nodes, y.nodes, x.node_count * sizeof *x.nodes) == 0 &&
               std::memcmp(x.buckets, y.buckets, QEL_HASH_BUCKETS * sizeof *x.buckets) == 0;
    };
    return a.count == b.count && std::memcmp(a.tokens, b.tokens, a.count * sizeof *a.tokens) == 0 &&
           same_index(*a.morton_index, *b.morton_index) && same_index(*a.hex_index, *b.hex_index) &&
           std::memcmp(a.order, b.order, a.count * sizeof *a.order) == 0;
}

} // namespace qel::bench
