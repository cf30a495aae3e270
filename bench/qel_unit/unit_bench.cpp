// SPDX-License-Identifier: MIT
// Units: create, load, lookups, the nearest query.
#include "baseline/unit.h"
#include "qel_unit/unit_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/peak_memory.h"
#include "support/rows.h"
#include "support/side_by_side.h"
#include "support/temp_folder.h"
#include "support/units.h"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <numeric>
#include <string>
#include <unordered_map>

namespace qel::bench {

namespace {

std::size_t million() {
    return sized(1000000, 2000);
}
std::size_t millions() {
    return sized(8000000, 4000);
}

bool creates_same(const token_arrays &arrays) {
    test::owned_unit ours, plain;
    arrays.create_with(qel_unit_create, ours);
    arrays.create_with(baseline::create, plain);
    return same_units(ours, plain);
}

/// The size of the bucket heads; below, that of the tokens with their order and their nodes in both indexes.
constexpr std::size_t bucket_bytes = std::size_t{QEL_HASH_BUCKETS} * sizeof(std::uint32_t);
constexpr std::size_t bytes_of_unit(std::size_t count) {
    return 2 * bucket_bytes + count * (sizeof(qel_token) + sizeof(std::uint32_t) + 2 * sizeof(qel_hash_node));
}

void create(benchmark::State &state, std::size_t count, double model_target = no_target,
            double fill_target = no_target) {
    const token_arrays arrays(count);
    if (!agree_with_model(state, "the plain unit differs", [&] { return creates_same(arrays); })) return;
    test::owned_unit ours, plain;
    side_by_side(state, {[&] { arrays.create_with(qel_unit_create, ours); }, [&] { ours.reset(); }})
        .model({[&] { arrays.create_with(baseline::create, plain); }, [&] { plain.reset(); }}, model_target)
        .limit("filling its memory in huge pages", {[&] { huge_memory(bytes_of_unit(count)).fill(); }}, fill_target)
        .measure();
}

/// Writes a unit file of the arrays' tokens in random order.
std::string shuffled_file(const test::temp_folder &folder, const token_arrays &arrays) {
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::mt19937 random(7);
    std::shuffle(unit.tokens, unit.tokens + unit.count, random);
    std::string path = folder.file("shuffled.qel");
    qel_unit_save(path.c_str(), &unit);
    return path;
}

bool loads_same(const std::string &path) {
    test::owned_unit ours, plain;
    qel_unit_load(path.c_str(), &ours);
    baseline::load(path.c_str(), &plain);
    return same_units(ours, plain);
}

/// The least work of a load: the file is read, each token moves once to its sorted position, and a unit is created.
contender bare_load(const std::string &path, const token_arrays &arrays, const std::vector<std::uint32_t> &places,
                    test::owned_unit &unit) {
    return {[&] {
                std::FILE *const stream = std::fopen(path.c_str(), "rb");
                const std::size_t size = places.size() * sizeof(qel_token);
                const heap_block content = read_into_fresh(stream, 24, size), sorted = fresh_block(size);
                std::fclose(stream);
                const auto *const from = static_cast<const qel_token *>(content.get());
                auto *const to = static_cast<qel_token *>(sorted.get());
                for (std::size_t i = 0; i < places.size(); ++i)
                    to[i] = from[places[i]];
                keep(to);
                arrays.create_with(qel_unit_create, unit);
            },
            [&] { unit.reset(); }};
}

void load(benchmark::State &state, std::size_t count) {
    const test::temp_folder folder;
    const token_arrays arrays(count);
    const std::string path = shuffled_file(folder, arrays);
    if (!agree_with_model(state, "the plain unit differs", [&] { return loads_same(path); })) return;
    std::vector<std::uint32_t> places(count);
    std::iota(places.begin(), places.end(), 0);
    std::shuffle(places.begin(), places.end(), std::mt19937(7));
    test::owned_unit ours, plain, created;
    side_by_side(state, {[&] { qel_unit_load(path.c_str(), &ours); }, [&] { ours.reset(); }})
        .model({[&] { baseline::load(path.c_str(), &plain); }, [&] { plain.reset(); }}, 6)
        .limit("create of the same, sorted",
               {[&] { arrays.create_with(qel_unit_create, created); }, [&] { created.reset(); }}, 2)
        .limit("fread, a move of each token, create", bare_load(path, arrays, places, created))
        .measure();
}

void load_peak(benchmark::State &state) {
    const test::temp_folder folder;
    const std::string path = shuffled_file(folder, token_arrays(millions()));
    report_peak(state, [&] {
        qel_unit unit;
        qel_unit_load(path.c_str(), &unit);
    });
}

/// Keys of which half are present, in random order.
std::vector<std::uint64_t> half_of(const std::vector<std::uint64_t> &present, std::mt19937_64 &random) {
    std::vector<std::uint64_t> keys = present;
    std::shuffle(keys.begin(), keys.end(), random);
    for (std::size_t i = 0; i < keys.size(); i += 2)
        keys[i] = random();
    return keys;
}

/// Sums the results of a lookup for every key.
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
    const auto same = [&] {
        return std::all_of(keys.begin(), keys.end(), [&](const std::uint64_t &key) { return ours(key) == plain(key); });
    };
    if (!agree_with_model(state, "the plain lookup differs", same)) return;
    const table_chains chains(
        {bucket_bytes, present.size() * sizeof(qel_hash_node), present.size() * sizeof(qel_token)}, keys.size());
    side_by_side(state, look_up_all(keys, ours))
        .model(look_up_all(keys, plain), 1)
        .peer("std::unordered_map", look_up_all(keys, in(chained)), 1)
        .peer("boost::unordered_flat_map", look_up_all(keys, in(flat)), 1 / 1.5)
        .limit("chains of 3 dependent places in tables of the same sizes", {[&] { chains.follow(); }})
        .measure();
}

void look_up_keys(benchmark::State &state, std::size_t count) {
    const token_arrays arrays(count);
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    look_up(
        state, arrays.mortons, [&](std::uint64_t key) { return qel_unit_lookup_morton(&unit, key); },
        [&](std::uint64_t key) { return baseline::lookup_morton(&unit, key); });
}

/// The maps' keys are the identities' eight bytes as one number, the fastest choice of a user.
void look_up_identities(benchmark::State &state, std::size_t count) {
    const token_arrays arrays(count);
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::vector<std::uint64_t> words(arrays.mortons.size());
    std::memcpy(words.data(), arrays.hex_ids.data(), arrays.hex_ids.size());
    look_up(
        state, words,
        [&](const std::uint64_t &id) { return qel_unit_lookup_hex(&unit, reinterpret_cast<const char *>(&id)); },
        [&](const std::uint64_t &id) { return baseline::lookup_hex(&unit, reinterpret_cast<const char *>(&id)); });
}

/// Queries the tokens nearest to each key.
template <class Query>
void query_all(const qel_unit &unit, const std::vector<std::uint64_t> &keys, std::int32_t k, Query query) {
    std::vector<std::uint32_t> numbers(static_cast<std::size_t>(k));
    std::vector<std::uint64_t> distances(numbers.size());
    for (const std::uint64_t key : keys)
        query(&unit, key, k, numbers.data(), distances.data());
    keep(numbers.back());
}

void search_all(const qel_unit &unit, const std::vector<std::uint64_t> &keys) {
    std::int64_t places = 0;
    for (const std::uint64_t key : keys)
        places += baseline::search_start(&unit, key);
    keep(places);
}

bool nearest_same(const qel_unit &unit, const std::vector<std::uint64_t> &keys, std::int32_t k) {
    const auto size = static_cast<std::size_t>(k);
    std::vector<std::uint32_t> numbers(size), plain_numbers(size);
    std::vector<std::uint64_t> distances(size), plain_distances(size);
    for (std::size_t i = 0; i < std::min<std::size_t>(keys.size(), 3); ++i) {
        qel_unit_query_nearest(&unit, keys[i], k, numbers.data(), distances.data());
        baseline::query_nearest(&unit, keys[i], k, plain_numbers.data(), plain_distances.data());
        if (numbers != plain_numbers || distances != plain_distances) return false;
    }
    return true;
}

void nearest(benchmark::State &state, std::size_t count, std::int32_t k, std::size_t queries,
             double target = no_target) {
    const token_arrays arrays(count);
    test::owned_unit unit;
    arrays.create_with(qel_unit_create, unit);
    std::mt19937_64 random(13);
    std::vector<std::uint64_t> keys(queries);
    for (std::uint64_t &key : keys)
        key = random();
    report_size(state, count, queries);
    if (!agree_with_model(state, "the plain query differs", [&] { return nearest_same(unit, keys, k); })) return;
    const search_tree tree(count * sizeof(qel_token));
    side_by_side rounds(state, {[&] { query_all(unit, keys, k, qel_unit_query_nearest); }});
    rounds.model({[&] { query_all(unit, keys, k, baseline::query_nearest); }}, target);
    if (k < 10) // with more, the search is the smallest part
        rounds.limit("the dependent lines of a binary search", {[&] { tree.follow(keys); }})
            .limit("the binary search alone", {[&] { search_all(unit, keys); }});
    rounds.measure();
}

} // namespace

void add_unit_rows() {
    row("unit create", "1,000 tokens", [](auto &state) { create(state, 1000, 3, 1.3); });
    row("unit create", "1 M tokens", [](auto &state) { create(state, million(), 2); });
    row("unit create", "8 M tokens", [](auto &state) { create(state, millions(), 2); });
    row("unit load, shuffled file", "1 M tokens", [](auto &state) { load(state, million()); });
    row("unit load, shuffled file", "8 M tokens", [](auto &state) { load(state, millions()); });
    row("peak memory: unit load, shuffled file", "8 M tokens", load_peak);
    row("lookup by Morton key, hits and misses", "1 M lookups in 1 M",
        [](auto &state) { look_up_keys(state, million()); });
    row("lookup by identity, hits and misses", "1 M lookups in 1 M",
        [](auto &state) { look_up_identities(state, million()); });
    row("nearest, k = 8", "20,000 queries in 1 M",
        [](auto &state) { nearest(state, million(), 8, sized(20000, 20), 3); });
    row("nearest, k = 1000", "10 queries in 1 M",
        [](auto &state) { nearest(state, million(), 1000, sized(10, 1), 50); });
    growth("unit create", "token", 30'000'000, [](auto &state, std::size_t count) { create(state, count); });
    growth("unit load, shuffled file", "token", 30'000'000, load);
    growth("lookup by Morton key, hits and misses", "lookup", QEL_HASH_BUCKETS, look_up_keys);
    growth("lookup by identity, hits and misses", "lookup", QEL_HASH_BUCKETS, look_up_identities);
    growth("nearest, k = 8", "query", 30'000'000,
           [](auto &state, std::size_t count) { nearest(state, count, 8, 20000); });
}

} // namespace qel::bench
