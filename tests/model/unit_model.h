// SPDX-License-Identifier: MIT
// The token unit in its plainest form: roots without floats, an index as two vectors, the nearest query that sorts
// after every result, the load that reads record by record.
#pragma once

#include "qel_unit.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace qel::model {

/// The truncated single-precision root, worked out on integers alone.
std::uint64_t root(std::uint64_t n);

std::uint64_t hops(std::uint64_t a, std::uint64_t b);

struct chained_index {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> nodes; // token, next
    std::vector<std::uint32_t> buckets;
};

std::uint32_t morton_bucket(std::uint64_t morton);
std::uint32_t hex_bucket(const char *hex_id); // of an agent's id, too
chained_index morton_index(const std::vector<qel_token> &tokens);
chained_index hex_index(const std::vector<qel_token> &tokens);

struct near_token {
    std::uint32_t token;
    std::uint64_t distance;
};

std::vector<near_token> nearest(const std::vector<qel_token> &tokens, std::uint64_t target, std::int32_t k);

/// What a unit file's bytes load as: a status, and the tokens in order.
struct loaded_file {
    std::int32_t status = 0;
    std::uint32_t version = 0;
    std::uint32_t extra = 0;
    std::vector<qel_token> tokens;
};

loaded_file load(const std::vector<std::uint8_t> &file);

} // namespace qel::model
