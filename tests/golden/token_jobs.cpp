// SPDX-License-Identifier: MIT
// Lattice maths, the 48-cube, units and their files.
#include "golden/inputs.h"
#include "golden/jobs.h"

#include <qel_unit.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qel::test {
namespace {

void maths(digest &results) {
    noise random(1);
    const auto hard_number = [&random] { // near powers of two and near squares, where the rounding matters
        const std::uint64_t bits = random.next() >> random.below(64);
        return random.below(2) == 0 ? bits * bits - random.below(2) : bits;
    };
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t a = hard_number(), b = hard_number();
        const auto n = static_cast<std::int32_t>(a), low = static_cast<std::int32_t>(b % 40000) - 100;
        results.add(ruv_sqrt(a));
        results.add(ruv_isqrt(n));
        results.add(ruv_bounded_sqrt(n, low, low + static_cast<std::int32_t>(random.below(20000)) - 50));
        results.add(ruv_hop_distance(a, b));
        qel_token token = {a, {'A', 'B'}, b, 3};
        qel_token_apply_ilogic(&token, static_cast<std::int32_t>(random.below(6)) - 1);
        results.add(std::uint64_t{token.morton}, std::uint64_t{token.payload}, token.layer);
    }
}

void add_cell(digest &results, const qel_matrix_identity &cell) {
    for (const std::uint8_t part : {cell.x, cell.y, cell.z, cell.mirror_x, cell.mirror_y, cell.mirror_z})
        results.add(part);
    results.add(cell.k11_level, cell.i_state, cell.morton, cell.phi_norm, cell.em_coupling);
}

void cells(digest &results) {
    for (std::uint32_t z = 0; z < 48; ++z)
        for (std::uint8_t y = 0; y < 48; ++y)
            for (std::uint8_t x = 0; x < 48; ++x) {
                qel_matrix_identity cell;
                results.add(qel_matrix_48_identity(x, y, z, &cell));
                results.add(cell.phi_norm, cell.em_coupling, cell.k11_level);
            }
    results.add(qel_matrix_48_validate_all());
    noise random(2);
    for (int i = 0; i < 5000; ++i) { // any coordinates, most of them outside the cube
        const std::uint8_t a = random.byte(), b = random.byte(), c = random.byte(), d = random.byte();
        std::uint8_t out[3];
        qel_matrix_48_palindrome(a, b, static_cast<std::uint32_t>(random.next()), out, out + 1, out + 2);
        results.add_array(out, 3);
        qel_matrix_48_crossover_bind(a, b, c, d, a, b, out, out + 1, out + 2);
        results.add_array(out, 3);
        qel_matrix_48_mutate_tachyon(a, b, c, out, out + 1, out + 2);
        results.add_array(out, 3);
        results.add(qel_matrix_48_morton_encode(a, b, static_cast<std::uint32_t>(random.next())));
        results.add(qel_matrix_48_k11_level(a, b, c));
        results.add(qel_matrix_48_i_state(static_cast<std::int32_t>(random.next())));
        results.add(qel_matrix_48_phi_norm(a, b, c));
        results.add(qel_matrix_48_em_coupling(b, c, d));
        results.add(qel_matrix_48_chirality(a, b));
    }
}

/// The identity of a random cell. One number per statement: the compiler chooses the order of arguments.
void fill_cell(noise &random, std::uint32_t limit, qel_matrix_identity &cell) {
    const auto x = static_cast<std::uint8_t>(random.below(limit));
    const auto y = static_cast<std::uint8_t>(random.below(limit));
    const std::uint32_t z = random.below(limit);
    qel_matrix_48_identity(x, y, z, &cell);
}

void offspring(digest &results) {
    noise random(3);
    for (int i = 0; i < 6000; ++i) {
        qel_matrix_identity parents[2];
        const std::uint32_t limit = i % 8 == 0 ? 256 : 48;
        for (qel_matrix_identity &parent : parents)
            fill_cell(random, limit, parent);
        if (i < 100) add_cell(results, parents[0]);
        qel_matrix_offspring child;
        qel_matrix_48_reproduce(parents, parents + 1, static_cast<std::uint32_t>(i % 4), &child);
        for (const std::uint8_t part : {child.x, child.y, child.z, child.i_state})
            results.add(part);
        results.add(child.chirality, child.phi_blend, child.em_coupling, child.k11_level);
    }
}

struct unit_arrays {
    std::vector<std::uint64_t> keys, payloads;
    std::vector<std::uint8_t> layers;
    std::string ids;
};

/// Some keys and identities more than once, some identities shorter than eight characters.
unit_arrays make_arrays(std::uint64_t seed, std::uint32_t count, bool sorted) {
    noise random(seed);
    unit_arrays arrays;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint64_t cell = 0;
        for (int axis = 0; axis < 3; ++axis)
            cell = cell << 16 | random.below(20);
        arrays.keys.push_back(i % 3 == 0 ? random.next() : cell);
        arrays.payloads.push_back(random.next());
        arrays.layers.push_back(random.byte());
        char id[9];
        std::snprintf(id, sizeof id, "%08X", static_cast<unsigned>(random.below(count)));
        if (i % 50 == 0) id[random.below(8)] = '\0';
        arrays.ids.append(id, 8);
    }
    if (sorted) std::sort(arrays.keys.begin(), arrays.keys.end());
    return arrays;
}

void add_index(digest &results, const qel_hash_index *index) {
    results.add(index != nullptr);
    if (index == nullptr) return;
    results.add(index->node_count);
    for (std::uint32_t node = 0; node < index->node_count; ++node) {
        results.add(index->nodes[node].token, index->nodes[node].next);
    }
    for (std::uint32_t bucket = 0; bucket < QEL_HASH_BUCKETS; ++bucket)
        if (index->buckets[bucket] != QEL_NOT_FOUND) {
            results.add(bucket, index->buckets[bucket]);
        }
}

void add_unit(digest &results, const qel_unit &unit) {
    results.add(unit.version, unit.count, unit.extra, unit.tokens != nullptr);
    if (unit.tokens != nullptr) results.add_bytes(unit.tokens, sizeof(qel_token) * unit.count);
    add_index(results, unit.morton_index);
    add_index(results, unit.hex_index);
    results.add_array(unit.order, unit.order == nullptr ? 0 : unit.count);
}

void query_all(digest &results, const qel_unit &unit, const unit_arrays &arrays) {
    noise random(4);
    const auto count = static_cast<std::uint32_t>(arrays.keys.size());
    std::vector<std::uint32_t> numbers(count);
    std::vector<std::uint64_t> keys(count), distances(count);
    std::vector<std::uint8_t> layers(count);
    std::string ids(count * 8, '\0');
    results.add(qel_unit_get_count(&unit));
    results.add(qel_unit_get_all_tokens(&unit, keys.data(), ids.data(), layers.data()));
    results.add_array(keys.data(), count);
    results.add(ids);
    for (int i = 0; i < 300; ++i) {
        const std::uint64_t key = i % 2 == 0 ? arrays.keys[random.below(count)] : random.next();
        results.add(qel_unit_lookup_morton(&unit, key));
        results.add(qel_unit_lookup_hex(&unit, &arrays.ids[random.below(count) * 8]));
        std::uint16_t vertex[3];
        for (std::uint16_t &coordinate : vertex)
            coordinate = static_cast<std::uint16_t>(random.below(20));
        results.add(qel_unit_query_lattice_vertex(&unit, vertex[0], vertex[1], vertex[2]));
        const std::uint32_t of_layer =
            qel_unit_query_layer(&unit, random.byte(), numbers.data(), static_cast<std::int32_t>(count));
        results.add_array(numbers.data(), of_layer);
        const auto k = static_cast<std::int32_t>(random.below(i % 16 == 0 ? count : 12));
        const std::uint32_t found = qel_unit_query_nearest(&unit, key, k, numbers.data(), distances.data());
        results.add_array(numbers.data(), found);
        results.add_array(distances.data(), found);
        char id[8];
        results.add(qel_unit_get_token(&unit, random.below(count + 10), keys.data(), id, layers.data()));
        results.add(keys[0]);
    }
}

void release_unit(qel_unit &unit) {
    qel_unit_free(&unit);
    std::free(unit.order);
    unit.order = nullptr;
}

constexpr std::size_t unit_time_at = 16;

/// A unit out of unsorted arrays goes through a file, which sorts it.
void units(digest &results) {
    const std::uint32_t count = 3000;
    const unit_arrays arrays = make_arrays(5, count, false);
    qel_unit unit{};
    results.add(qel_unit_create(&unit, count, arrays.keys.data(), arrays.ids.data(), arrays.payloads.data(),
                                arrays.layers.data()));
    add_unit(results, unit);
    results.add(qel_unit_save("unit.qel", &unit));
    results.add_file("unit.qel", unit_time_at);
    release_unit(unit);

    results.add(qel_unit_load("unit.qel", &unit));
    add_unit(results, unit);
    query_all(results, unit, arrays);
    release_unit(unit);
}

/// Files that are cut short, have wrong counts or are no units.
void damaged_units(digest &results) {
    const bytes file = read_file("unit.qel");
    for (const std::size_t size : {std::size_t{0}, std::size_t{23}, std::size_t{24}, std::size_t{24 + 70}}) {
        write_file("cut.qel", bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)));
        qel_unit unit{};
        results.add(qel_unit_load("cut.qel", &unit));
        results.add(unit.count, unit.tokens != nullptr);
        release_unit(unit);
    }
    bytes renamed = file;
    renamed[2] = 'M';
    write_file("cut.qel", renamed);
    qel_unit unit{};
    results.add(qel_unit_load("cut.qel", &unit));
    results.add(qel_unit_load("missing.qel", &unit));
    results.add(qel_unit_save("missing/unit.qel", &unit));
    results.add(qel_unit_create(&unit, 0, nullptr, nullptr, nullptr, nullptr));
}

} // namespace

const job token_jobs[] = {
    {"maths", maths},  {"cells", cells}, {"offspring", offspring}, {"units", units}, {"damaged_units", damaged_units},
    {nullptr, nullptr}};

} // namespace qel::test
