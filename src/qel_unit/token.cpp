// SPDX-License-Identifier: MIT
#include "qel_unit/token.h"

#include "common/bytes.h"

#include <algorithm>

namespace qel {
namespace {

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

using namespace qel;

extern "C" {

std::uint64_t ruv_sqrt(std::uint64_t n) {
    return single_precision_root(n);
}

std::uint32_t ruv_isqrt(std::int32_t n) {
    return positive_root(n);
}

std::int32_t ruv_bounded_sqrt(std::int32_t n, std::int32_t lo, std::int32_t hi) {
    const auto root = static_cast<std::int32_t>(positive_root(n));
    return lo > root ? lo : std::min(root, hi); // not a clamp: crossed bounds give the lower one
}

std::uint64_t ruv_hop_distance(std::uint64_t a, std::uint64_t b) {
    return hop_distance(a, b);
}

void qel_token_apply_ilogic(qel_token *token, std::int32_t op) {
    if (token == nullptr) return;
    switch (op) {
    case QEL_ILOGIC_DOUBLE:
        token->morton = token->morton * 2 + 1;
        break;
    case QEL_ILOGIC_HALVE:
        token->morton >>= 1;
        break;
    case QEL_ILOGIC_REVERSE:
        token->payload = reversed_bytes(token->payload);
        break;
    default:
        break;
    }
}

} // extern "C"
