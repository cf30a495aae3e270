// SPDX-License-Identifier: MIT
#include "qel_unit/token.h"

#include "common/bytes.h"

#include <algorithm>

namespace qel {
namespace {

enum ilogic_op : std::int32_t { reverse_payload = -1, double_plus_one = 2, halve = 3 };

std::uint32_t positive_root(std::int32_t n) {
    return n < 1 ? 0 : static_cast<std::uint32_t>(std::sqrt(static_cast<float>(n)));
}

std::uint64_t reversed_bytes(std::uint64_t value) {
    std::uint8_t bytes[sizeof value];
    store(bytes, value);
    std::reverse(bytes, bytes + sizeof value);
    return load<std::uint64_t>(bytes);
}

} // namespace
} // namespace qel

extern "C" {

uint64_t ruv_sqrt(uint64_t n) {
    return qel::single_precision_root(n);
}

uint32_t ruv_isqrt(int32_t n) {
    return qel::positive_root(n);
}

int32_t ruv_bounded_sqrt(int32_t n, int32_t lo, int32_t hi) {
    const auto root = static_cast<int32_t>(qel::positive_root(n));
    return lo > root ? lo : std::min(root, hi); // not a clamp: crossed bounds give the lower one
}

uint64_t ruv_hop_distance(uint64_t a, uint64_t b) {
    return qel::hop_distance(a, b);
}

void qel_token_apply_ilogic(qel_token *token, int32_t op) {
    if (token == nullptr) return;
    switch (op) {
    case qel::double_plus_one:
        token->morton = token->morton * 2 + 1;
        break;
    case qel::halve:
        token->morton >>= 1;
        break;
    case qel::reverse_payload:
        token->payload = qel::reversed_bytes(token->payload);
        break;
    default:
        break;
    }
}
}
