// SPDX-License-Identifier: MIT
#include "model/unit_model.h"

#include <algorithm>
#include <cstring>

namespace qel::model {

namespace {

/// A number as significand x 2^exponent.
struct scaled {
    std::uint64_t significand;
    int exponent;
};

/// n rounded to 24 significant bits, ties to even.
scaled rounded(std::uint64_t n) {
    int excess = 0;
    while (n >> excess >= (1U << 24))
        ++excess;
    if (excess == 0) return {n, 0};
    std::uint64_t kept = n >> excess;
    const std::uint64_t rest = n - (kept << excess);
    const std::uint64_t half = std::uint64_t{1} << (excess - 1);
    if (rest > half || (rest == half && kept % 2 == 1)) ++kept;
    return {kept, excess};
}

/// The largest r with r * r <= n, which is below 2^48.
std::uint64_t whole_root(std::uint64_t n) {
    std::uint64_t low = 0, high = std::uint64_t{1} << 24;
    while (low < high) {
        const std::uint64_t middle = (low + high + 1) / 2;
        if (middle * middle <= n)
            low = middle;
        else
            high = middle - 1;
    }
    return low;
}

} // namespace

std::uint64_t root(std::uint64_t n) {
    if (n == 0) return 0;
    // Scaled by a power of four to 47 or 48 bits, the number has a whole root of 24 bits, the mantissa; rounded up
    // where the number lies beyond (r + 1/2)^2. A tie cannot be: that square is no whole number.
    scaled number = rounded(n);
    while (number.significand < std::uint64_t{1} << 46 || number.exponent % 2 != 0) {
        number.significand *= 2;
        --number.exponent;
    }
    std::uint64_t mantissa = whole_root(number.significand);
    if (number.significand > mantissa * mantissa + mantissa) ++mantissa;
    const int half = number.exponent / 2;
    return half >= 0 ? mantissa << half : mantissa >> -half;
}

std::uint64_t hops(std::uint64_t a, std::uint64_t b) {
    return root(a > b ? a - b : b - a);
}

std::uint32_t morton_bucket(std::uint64_t morton) {
    const auto high = static_cast<std::uint32_t>(morton / 0x100000000ULL);
    const auto low = static_cast<std::uint32_t>(morton % 0x100000000ULL);
    return (high ^ low) % 0x800000;
}

std::uint32_t hex_bucket(const char *hex_id) {
    std::int64_t hash = 5381;
    for (int i = 0; i < 8; ++i) {
        if (hex_id[i] == 0) break;
        const int byte = static_cast<unsigned char>(hex_id[i]);
        hash = (hash * 33 + (byte < 128 ? byte : byte - 256)) % 0x100000000LL;
    }
    return static_cast<std::uint32_t>((hash + 0x100000000LL) % 0x800000);
}

namespace {

template <class Bucket>
chained_index index(std::size_t count, Bucket bucket_of) {
    chained_index result;
    result.buckets.assign(0x800000, 0xFFFFFFFF);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (result.nodes.size() >= 0x800000) continue;
        std::uint32_t &head = result.buckets[bucket_of(i)];
        result.nodes.push_back({i, head});
        head = static_cast<std::uint32_t>(result.nodes.size() - 1);
    }
    return result;
}

} // namespace

chained_index morton_index(const std::vector<qel_token> &tokens) {
    return index(tokens.size(), [&](std::uint32_t i) { return morton_bucket(tokens[i].morton); });
}

chained_index hex_index(const std::vector<qel_token> &tokens) {
    return index(tokens.size(), [&](std::uint32_t i) { return hex_bucket(tokens[i].hex_id); });
}

namespace {

constexpr std::uint64_t unbounded = 0xFFFFFFFFFFFFFFFF;

struct result_list {
    explicit result_list(std::size_t size) : entries(size, {0xFFFFFFFF, unbounded}) {}

    bool full() const { return filled == entries.size(); }
    std::uint64_t bound() const { return entries.back().distance; }

    void offer(std::uint32_t token, std::uint64_t distance) {
        if (full() && distance >= bound()) return;
        if (full())
            entries.back() = {token, distance};
        else
            entries[filled++] = {token, distance};
        std::stable_sort(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(filled),
                         [](const near_token &a, const near_token &b) { return a.distance < b.distance; });
    }

    std::vector<near_token> entries;
    std::size_t filled = 0;
};

std::int32_t last_examined(const std::vector<qel_token> &tokens, std::uint64_t target) {
    std::int32_t lo = 0;
    auto hi = static_cast<std::int32_t>(tokens.size()) - 1;
    for (;;) {
        const std::int32_t mid = lo + ((hi - lo) >> 1);
        const std::uint64_t key = tokens[static_cast<std::size_t>(mid)].morton;
        if (key < target) {
            lo = mid + 1;
            if (lo > hi) return mid;
        } else if (key == target) {
            return mid;
        } else {
            hi = mid - 1;
            if (hi < lo) return mid;
        }
    }
}

} // namespace

std::vector<near_token> nearest(const std::vector<qel_token> &tokens, std::uint64_t target, std::int32_t k) {
    const auto count = static_cast<std::int32_t>(tokens.size());
    if (k < 1 || count < 1) return {};
    result_list list(static_cast<std::size_t>(std::min(k, count)));
    const auto key = [&](std::int32_t i) -> std::uint64_t { return tokens[static_cast<std::size_t>(i)].morton; };
    const auto apart = [&](std::int32_t i) { return key(i) > target ? key(i) - target : target - key(i); };
    const auto offer = [&](std::int32_t i) { list.offer(static_cast<std::uint32_t>(i), hops(key(i), target)); };

    const std::int32_t start = last_examined(tokens, target);
    offer(start);
    std::int32_t left = start - 1;
    std::int32_t right = start + 1;
    while (!(left < 0 && right >= count)) {
        const std::uint64_t w = list.bound();
        const std::uint64_t p = w < unbounded ? w * w : unbounded;
        const bool notfull = !list.full();
        const bool left_candidate = left >= 0 && (apart(left) < p || notfull);
        const bool right_candidate = right < count && (apart(right) < p || notfull);
        if (!left_candidate && !right_candidate) break;
        if (left_candidate) {
            offer(left);
            left = left - 1;
        }
        if (right_candidate) {
            offer(right);
            right = right + 1;
        }
    }
    list.entries.resize(list.filled);
    return list.entries;
}

loaded_file load(const std::vector<std::uint8_t> &file) {
    loaded_file result;
    if (file.size() < 24) {
        result.status = -2;
        return result;
    }
    if (file[0] != 'Q' || file[1] != 'E' || file[2] != 'L' || file[3] != 0) {
        result.status = -3;
        return result;
    }
    std::uint32_t count = 0;
    std::memcpy(&result.version, &file[4], 4);
    std::memcpy(&count, &file[8], 4);
    std::memcpy(&result.extra, &file[12], 4);
    for (std::size_t at = 24; result.tokens.size() < count && at + 25 <= file.size(); at += 25) {
        qel_token token;
        std::memcpy(&token.morton, &file[at], 8);
        std::memcpy(token.hex_id, &file[at + 8], 8);
        std::memcpy(&token.payload, &file[at + 16], 8);
        token.layer = file[at + 24];
        result.tokens.push_back(token);
    }
    std::stable_sort(result.tokens.begin(), result.tokens.end(),
                     [](const qel_token &a, const qel_token &b) { return a.morton < b.morton; });
    return result;
}

} // namespace qel::model
