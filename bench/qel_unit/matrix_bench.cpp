// SPDX-License-Identifier: MIT
// The algebra of the 48-cube over the whole lattice.
#include "qel_unit.h"

#include "model/matrix_model.h"
#include "support/rows.h"
#include "support/side_by_side.h"

#include <cstring>
#include <vector>

namespace qel::bench {

namespace {

constexpr std::size_t side = 48;

template <class Visit>
void for_each_cell(Visit visit) {
    std::size_t number = 0;
    for (unsigned x = 0; x < side; ++x)
        for (unsigned y = 0; y < side; ++y)
            for (unsigned z = 0; z < side; ++z)
                visit(number++, static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), z);
}

using cells = std::vector<qel_matrix_identity>;
using children = std::vector<qel_matrix_offspring>;

void identify_all(cells &out) {
    for_each_cell(
        [&](std::size_t i, std::uint8_t x, std::uint8_t y, unsigned z) { qel_matrix_48_identity(x, y, z, &out[i]); });
}

void identify_all_plainly(cells &out) {
    for_each_cell(
        [&](std::size_t i, std::uint8_t x, std::uint8_t y, unsigned z) { out[i] = model::identity(x, y, z); });
}

template <class T>
bool same_bytes(const std::vector<T> &a, const std::vector<T> &b) {
    return std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

void identity(benchmark::State &state) {
    cells ours(side * side * side), plain(ours.size());
    identify_all(ours);
    identify_all_plainly(plain);
    if (!agree(state, same_bytes(ours, plain), "the plain identities differ")) return;
    side_by_side(state, {[&] { identify_all(ours); }}).model({[&] { identify_all_plainly(plain); }}, 2).measure();
}

/// Every cell with a distant partner, in all three modes.
template <class Reproduce>
void reproduce_all(const cells &parents, children &out, Reproduce reproduce) {
    for (std::size_t i = 0; i < parents.size(); ++i)
        reproduce(parents[i], parents[(i * 7919 + 1) % parents.size()], static_cast<std::uint32_t>(i % 3), out[i]);
}

void reproduce(benchmark::State &state) {
    cells parents(side * side * side);
    identify_all(parents);
    children ours(parents.size()), plain(parents.size());
    const auto run = [&] {
        reproduce_all(parents, ours,
                      [](const qel_matrix_identity &a, const qel_matrix_identity &b, std::uint32_t mode,
                         qel_matrix_offspring &child) { qel_matrix_48_reproduce(&a, &b, mode, &child); });
    };
    const auto run_plainly = [&] {
        reproduce_all(parents, plain,
                      [](const qel_matrix_identity &a, const qel_matrix_identity &b, std::uint32_t mode,
                         qel_matrix_offspring &child) { child = model::reproduce(a, b, mode); });
    };
    run();
    run_plainly();
    if (!agree(state, same_bytes(ours, plain), "the plain offspring differ")) return;
    side_by_side(state, {run}).model({run_plainly}, 2).measure();
}

} // namespace

void add_matrix_rows() {
    row("whole lattice: identity", "110,592 cells", identity);
    row("whole lattice: reproduce", "110,592 pairs", reproduce);
}

} // namespace qel::bench
