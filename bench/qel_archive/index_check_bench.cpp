// SPDX-License-Identifier: MIT
// The checks that a mesh's indices and counts pass. The library does not export them: its source is compiled here once
// more.
#include "qel_archive/index_check.h"

#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace qel::bench {

namespace {

using namespace archives;

/// 40 MiB, so that no cache holds it.
std::vector<std::uint32_t> numbers_below(std::uint32_t limit) {
    std::vector<std::uint32_t> values(sized(10'000'000, 10'000));
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<std::uint32_t>(i * 2654435761u % limit);
    return values;
}

void indices_below(benchmark::State &state) {
    const std::uint32_t limit = 3'000'000;
    std::vector<std::uint32_t> indices = numbers_below(limit);
    indices.back() = limit;
    const bool refused = !all_below(indices.data(), indices.size(), limit);
    indices.back() = limit - 1;
    const bool taken = all_below(indices.data(), indices.size(), limit);
    if (!agree(state, refused && taken, "a wrong answer")) return;
    side_by_side(state, {[&] { keep(all_below(indices.data(), indices.size(), limit)); }})
        .model({[&] {
                   keep(std::all_of(indices.begin(), indices.end(),
                                    [limit](std::uint32_t index) { return index < limit; }));
               }},
               1.5)
        .limit("streaming them", {[&] { stream_read(indices); }}, 1.25)
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
    side_by_side(state, {[&] { keep(sum_counts(counts.data(), counts.size())); }})
        .model({[&] { keep(plain()); }}, 1.5)
        .limit("streaming them", {[&] { stream_read(counts); }}, 1.25)
        .measure();
}

} // namespace

void add_index_check_rows() {
    row("all indices below", "10 M indices", indices_below);
    row("sum of counts", "10 M counts", sum_of_counts);
}

} // namespace qel::bench
