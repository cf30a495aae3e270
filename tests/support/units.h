// SPDX-License-Identifier: MIT
// Units that release themselves, and tokens and unit files in one line.
#pragma once

#include "qel_unit.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace qel::test {

/// A unit that releases its arrays, `order` included.
struct owned_unit : qel_unit {
    owned_unit() : qel_unit{} {}
    ~owned_unit() { reset(); }
    owned_unit(const owned_unit &) = delete;
    owned_unit &operator=(const owned_unit &) = delete;

    void reset() {
        qel_unit_free(this);
        std::free(order);
        order = nullptr;
    }
};

/// Fields of packed records are read with a unary plus: a reference to one may be misaligned.
inline qel_token make_token(std::uint64_t morton, const std::string &hex_id = "", std::uint64_t payload = 0,
                            std::uint8_t layer = 0) {
    qel_token token = {};
    token.morton = morton;
    std::memcpy(token.hex_id, hex_id.data(), hex_id.size() < 8 ? hex_id.size() : 8);
    token.payload = payload;
    token.layer = layer;
    return token;
}

inline std::vector<qel_token> tokens_with_keys(const std::vector<std::uint64_t> &mortons) {
    std::vector<qel_token> tokens;
    for (const std::uint64_t morton : mortons)
        tokens.push_back(make_token(morton));
    return tokens;
}

/// The argument arrays of a create.
struct token_arrays {
    explicit token_arrays(const std::vector<qel_token> &tokens) {
        for (const qel_token &token : tokens) {
            mortons.push_back(+token.morton);
            hex_ids.insert(hex_ids.end(), token.hex_id, token.hex_id + 8);
            payloads.push_back(+token.payload);
            layers.push_back(token.layer);
        }
    }

    std::int32_t create(qel_unit &unit) const {
        return qel_unit_create(&unit, static_cast<std::uint32_t>(mortons.size()), mortons.data(), hex_ids.data(),
                               payloads.data(), layers.data());
    }

    std::vector<std::uint64_t> mortons;
    std::vector<char> hex_ids;
    std::vector<std::uint64_t> payloads;
    std::vector<std::uint8_t> layers;
};

inline std::int32_t create(qel_unit &unit, const std::vector<qel_token> &tokens) {
    return token_arrays(tokens).create(unit);
}

/// A unit without indexes that borrows its tokens: enough for scans and nearest queries.
inline qel_unit borrowed_unit(std::vector<qel_token> &tokens) {
    qel_unit unit = {};
    unit.count = static_cast<std::uint32_t>(tokens.size());
    unit.tokens = tokens.data();
    return unit;
}

/// The bytes of a unit file whose header claims `count` tokens.
inline bytes unit_file(std::uint32_t count, const std::vector<qel_token> &tokens, std::uint32_t version = 1,
                       std::uint32_t extra = 0) {
    bytes file = {'Q', 'E', 'L', 0};
    append(file, version);
    append(file, count);
    append(file, extra);
    append(file, std::int64_t{0x1122334455667788});
    const bytes records = bytes_of(tokens);
    file.insert(file.end(), records.begin(), records.end());
    return file;
}

inline bytes unit_file(const std::vector<qel_token> &tokens) {
    return unit_file(static_cast<std::uint32_t>(tokens.size()), tokens);
}

inline std::vector<qel_token> tokens_of(const qel_unit &unit) {
    return std::vector<qel_token>(unit.tokens, unit.tokens + unit.count);
}

inline std::vector<std::uint64_t> keys_of(const qel_unit &unit) {
    std::vector<std::uint64_t> keys;
    for (std::uint32_t i = 0; i < unit.count; ++i)
        keys.push_back(+unit.tokens[i].morton);
    return keys;
}

inline bool same_tokens(const std::vector<qel_token> &a, const std::vector<qel_token> &b) {
    return bytes_of(a) == bytes_of(b);
}

} // namespace qel::test
