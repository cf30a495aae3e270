// SPDX-License-Identifier: MIT
// Units: create, load, lookups, the nearest query.
#include "baseline/unit.h"
#include "qel_unit/unit_inputs.h"
#include "support/limits.h"
#include "support/peak_memory.h"
#include "support/rows.h"
#include "support/side_by_side.h"
#include "support/temp_folder.h"
#include "support/units.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include <string>
#include <unordered_map>

namespace qel::bench {

namespace {

void create(benchmark::State &state, std::size_t count, double model_target, bool against_fill) {
    const token_arrays arrays(count);
    test::owned_unit ours, plain;
    arrays.create_with(qel_unit_create, ours);
    arrays.create_with(baseline::create, plain);
    const bool same = same_units(ours, plain);
    ours.reset();
    plain.reset();
    if (!agree(state, same, "the plain unit differs")) return;
    side_by_side rounds(state, {[&] { arrays.create_with(qel_unit_create, ours); }, [&] { ours.reset(); }});
    rounds.model({[&] { arrays.create_with(baseline::create, plain); }, [&] { plain.reset(); }},
                 model_target);
    if (against_fill)
        rounds.limit("filling 64 MiB of huge pages", {[] { huge_memory(std::size_t{64} << 20).fill(); }},
                     1.3);
    rounds.measure();
}

void create_small(benchmark::State &state) {
    create(state, 1000, 3, true);
}
void create_million(benchmark::State &state) {
    create(state, sized(1000000, 2000), 2, false);
}
void create_millions(benchmark::State &state) {
    create(state, sized(8000000, 4000), 2, false);
}

/// A unit file of the arrays' tokens in random order.
std::string shuffled_file(const test::temp_folder &folder, const token_arrays &arrays) {
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::mt19937 random(7);
    std::shuffle(unit.tokens, unit.tokens + unit.count, random);
    std::string path = folder.file("shuffled.qel");
    qel_unit_save(path.c_str(), &unit);
    return path;
}

void load(benchmark::State &state, std::size_t count) {
    const test::temp_folder folder;
    const token_arrays arrays(count);
    const std::string path = shuffled_file(folder, arrays);
    test::owned_unit ours, plain, created;
    qel_unit_load(path.c_str(), &ours);
    baseline::load(path.c_str(), &plain);
    const bool same = same_units(ours, plain);
    ours.reset();
    plain.reset();
    if (!agree(state, same, "the plain unit differs")) return;
    side_by_side(state, {[&] { qel_unit_load(path.c_str(), &ours); }, [&] { ours.reset(); }})
        .model({[&] { baseline::load(path.c_str(), &plain); }, [&] { plain.reset(); }}, 6)
        .limit("create of the same, sorted",
               {[&] { arrays.create_with(qel_unit_create, created); }, [&] { created.reset(); }}, 2)
        .measure();
}

void load_million(benchmark::State &state) {
    load(state, sized(1000000, 2000));
}
void load_millions(benchmark::State &state) {
    load(state, sized(8000000, 4000));
}

void load_peak(benchmark::State &state) {
    const test::temp_folder folder;
    const std::string path = shuffled_file(folder, token_arrays(sized(8000000, 4000)));
    report_peak(state, [&] {
        qel_unit unit;
        qel_unit_load(path.c_str(), &unit);
    });
}

/// Half of the keys are there, in random order.
std::vector<std::uint64_t> half_of(const std::vector<std::uint64_t> &present, std::mt19937_64 &random) {
    std::vector<std::uint64_t> keys = present;
    std::shuffle(keys.begin(), keys.end(), random);
    for (std::size_t i = 0; i < keys.size(); i += 2)
        keys[i] = random();
    return keys;
}

/// Sums what a lookup gives for every key.
template <class Keys, class Lookup>
contender look_up_all(const Keys &keys, Lookup lookup) {
    return {[&keys, lookup] {
        std::uint64_t sum = 0;
        for (const std::uint64_t &key : keys)
            sum += lookup(key);
        keep(sum);
    }};
}

template <class Map>
Map map_of(const std::vector<std::uint64_t> &keys) {
    Map map;
    map.reserve(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
        map.emplace(keys[i], static_cast<std::uint32_t>(i));
    return map;
}

template <class Ours, class Plain>
void look_up(benchmark::State &state, const std::vector<std::uint64_t> &present, Ours ours, Plain plain) {
    std::mt19937_64 random(11);
    const std::vector<std::uint64_t> keys = half_of(present, random);
    const auto chained = map_of<std::unordered_map<std::uint64_t, std::uint32_t>>(present);
    const auto flat = map_of<boost::unordered_flat_map<std::uint64_t, std::uint32_t>>(present);
    const auto in = [](const auto &map) {
        return [&map](std::uint64_t key) {
            const auto found = map.find(key);
            return found == map.end() ? QEL_NOT_FOUND : found->second;
        };
    };
    bool same = true;
    for (const std::uint64_t &key : keys)
        same = same && ours(key) == plain(key);
    if (!agree(state, same, "the plain lookup differs")) return;
    side_by_side(state, look_up_all(keys, ours))
        .model(look_up_all(keys, plain), 1)
        .peer("std::unordered_map", look_up_all(keys, in(chained)), 1)
        .peer("boost::unordered_flat_map", look_up_all(keys, in(flat)), 1 / 1.5)
        .measure();
}

void look_up_keys(benchmark::State &state) {
    const token_arrays arrays(sized(1000000, 2000));
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    look_up(
        state, arrays.mortons, [&](std::uint64_t key) { return qel_unit_lookup_morton(&unit, key); },
        [&](std::uint64_t key) { return baseline::lookup_morton(&unit, key); });
}

/// The maps' keys are the identities' eight bytes as one number: the best that a user could do.
void look_up_identities(benchmark::State &state) {
    const token_arrays arrays(sized(1000000, 2000));
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::vector<std::uint64_t> words(arrays.mortons.size());
    std::memcpy(words.data(), arrays.hex_ids.data(), arrays.hex_ids.size());
    look_up(
        state, words,
        [&](const std::uint64_t &id) {
            return qel_unit_lookup_hex(&unit, reinterpret_cast<const char *>(&id));
        },
        [&](const std::uint64_t &id) {
            return baseline::lookup_hex(&unit, reinterpret_cast<const char *>(&id));
        });
}

void nearest(benchmark::State &state, std::int32_t k, std::size_t queries, double target) {
    const token_arrays arrays(sized(1000000, 2000));
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::mt19937_64 random(13);
    std::vector<std::uint64_t> keys(queries);
    for (std::uint64_t &key : keys)
        key = random();
    const auto size = static_cast<std::size_t>(k);
    std::vector<std::uint32_t> numbers(size), plain_numbers(size);
    std::vector<std::uint64_t> distances(size), plain_distances(size);
    bool same = true;
    for (std::size_t i = 0; i < std::min<std::size_t>(queries, 3); ++i) {
        qel_unit_query_nearest(&unit, keys[i], k, numbers.data(), distances.data());
        baseline::query_nearest(&unit, keys[i], k, plain_numbers.data(), plain_distances.data());
        same = same && numbers == plain_numbers && distances == plain_distances;
    }
    if (agree(state, same, "the plain query differs"))
        side_by_side(state, {[&] {
                         for (const std::uint64_t key : keys)
                             qel_unit_query_nearest(&unit, key, k, numbers.data(), distances.data());
                     }})
            .model({[&] {
                       for (const std::uint64_t key : keys)
                           baseline::query_nearest(&unit, key, k, numbers.data(), distances.data());
                   }},
                   target)
            .measure();
}

void nearest_few(benchmark::State &state) {
    nearest(state, 8, sized(20000, 20), 4);
}
void nearest_many(benchmark::State &state) {
    nearest(state, 1000, sized(10, 1), 50);
}

} // namespace

void add_unit_rows() {
    row("unit create", "1,000 tokens", create_small);
    row("unit create", "1 M tokens", create_million);
    row("unit create", "8 M tokens", create_millions);
    row("unit load, shuffled file", "1 M tokens", load_million);
    row("unit load, shuffled file", "8 M tokens", load_millions);
    row("peak memory: unit load, shuffled file", "8 M tokens", load_peak);
    row("lookup by Morton key, hits and misses", "1 M lookups in 1 M", look_up_keys);
    row("lookup by identity, hits and misses", "1 M lookups in 1 M", look_up_identities);
    row("nearest, k = 8", "20,000 queries in 1 M", nearest_few);
    row("nearest, k = 1000", "10 queries in 1 M", nearest_many);
}

} // namespace qel::bench
