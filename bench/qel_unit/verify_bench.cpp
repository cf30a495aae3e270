// SPDX-License-Identifier: MIT
// One pass over positions: the box, and whether all of them are finite.
#include "qel_unit.h"

#include "model/bounds_model.h"
#include "model/verify_model.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/scenes.h"
#include "support/side_by_side.h"

#include <cstring>
#include <random>
#include <vector>

namespace qel::bench {

namespace {

template <class Ours, class Plain>
void pass(benchmark::State &state, Ours ours, Plain plain) {
    std::mt19937 random(17);
    const std::vector<float> positions = test::random_positions(random, sized(10000000, 5000), 100.0f);
    const auto count = static_cast<std::uint32_t>(positions.size() / 3);
    if (!agree(state, ours(positions.data(), count) == plain(positions.data(), count), "the plain answer differs"))
        return;
    side_by_side(state, {[&] { keep(ours(positions.data(), count)); }})
        .model({[&] { keep(plain(positions.data(), count)); }}, 4)
        .limit("streaming the positions", {[&] { stream_read(positions); }}, 1.25)
        .measure();
}

struct box {
    float values[6];
    bool operator==(const box &other) const { return std::memcmp(values, other.values, sizeof values) == 0; }
};

void bounds(benchmark::State &state) {
    pass(
        state,
        [](const float *positions, std::uint32_t count) {
            box result;
            ogawa_compute_bounds(positions, count, result.values);
            return result;
        },
        [](const float *positions, std::uint32_t count) {
            box result;
            model::bounds(positions, count, result.values);
            return result;
        });
}

void difference(benchmark::State &state) {
    pass(state, qel_mesh_verify_p_minus_p, model::p_minus_p);
}

void quotient(benchmark::State &state) {
    pass(state, qel_mesh_verify_p_div_p, model::p_div_p);
}

void both(benchmark::State &state) {
    pass(state, qel_mesh_is_static_valid, [](const float *positions, std::uint32_t count) {
        return model::p_minus_p(positions, count) != 0 && model::p_div_p(positions, count) != 0 ? 1U : 0U;
    });
}

} // namespace

void add_verify_rows() {
    row("bounds", "10 M vertices", bounds);
    row("finiteness: p - p", "10 M vertices", difference);
    row("finiteness: p / p", "10 M vertices", quotient);
    row("finiteness: both checks", "10 M vertices", both);
}

} // namespace qel::bench
