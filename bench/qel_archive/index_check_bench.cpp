// SPDX-License-Identifier: MIT
// The checks of a mesh's indices and counts. The library does not export them: their source is compiled here as well.
#include "qel_archive/index_check.h"

#include "support/rows.h"
#include "support/side_by_side.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qel::bench {

namespace {

using namespace archives;

/// The library checks each piece that it has just read: 192 KiB, which fit the processor's cache.
constexpr std::size_t piece = 48 << 10;

std::size_t rounds() {
    return sized(200, 1);
}

/// Calls `check` once for each piece.
template <class Check>
contender for_each_piece(Check check) {
    return {[check] {
        for (std::size_t i = 0; i < rounds(); ++i)
            keep(check());
    }};
}

std::vector<std::uint32_t> numbers_below(std::uint32_t limit) {
    std::vector<std::uint32_t> values(piece);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<std::uint32_t>(i * 2654435761u % limit);
    return values;
}

void indices_below(benchmark::State &state) {
    constexpr std::uint32_t limit = 3'000'000;
    std::vector<std::uint32_t> indices = numbers_below(limit);
    indices.back() = limit;
    const bool refused = !all_below(indices.data(), indices.size(), limit);
    indices.back() = limit - 1;
    const bool taken = all_below(indices.data(), indices.size(), limit);
    if (!agree(state, refused && taken, "a wrong answer")) return;
    const auto plain = [&indices] {
        return std::all_of(indices.begin(), indices.end(), [](std::uint32_t index) { return index < limit; });
    };
    side_by_side(state, for_each_piece([&] { return all_below(indices.data(), indices.size(), limit); }))
        .model(for_each_piece(plain), 4)
        .measure();
}

void sum_of_counts(benchmark::State &state) {
    const std::vector<std::uint32_t> counts = numbers_below(7);
    const auto plain = [&counts] {
        std::uint64_t sum = 0;
        for (const std::uint32_t count : counts) {
            if (static_cast<std::int32_t>(count) < 0) return bad_sum;
            sum += count;
        }
        return sum;
    };
    if (!agree(state, sum_counts(counts.data(), counts.size()) == plain(), "another sum")) return;
    side_by_side(state, for_each_piece([&] { return sum_counts(counts.data(), counts.size()); }))
        .model(for_each_piece(plain), 4)
        .measure();
}

} // namespace

void add_index_check_rows() {
    row("all indices below", "200 pieces of 192 KiB", indices_below);
    row("sum of counts", "200 pieces of 192 KiB", sum_of_counts);
}

} // namespace qel::bench
