// SPDX-License-Identifier: MIT
// Reading a mesh by the walk over an archive's tree.
#include "model/polymesh_model.h"
#include "ogawa_reader/archive_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"

namespace qel::bench {

namespace {

bool whole_and_same(const ogawa_archive &archive, const std::vector<array_place> &winners) {
    ogawa_polymesh ours, plain;
    ogawa_read_polymesh(&archive, nullptr, 0, &ours);
    model::read_polymesh(archive.file, nullptr, &plain);
    const bool whole = ours.vertex_count == winners[0].size / 12 && ours.normal_count == winners[1].size / 12 &&
                       ours.face_index_count == winners[2].size / 4 && ours.face_count == winners[3].size / 4;
    const bool same = whole && model::same_polymesh(ours, plain);
    ogawa_free_polymesh(&ours);
    model::free_polymesh(&plain);
    return same;
}

/// The walk reads the largest array of each kind.
void walk(benchmark::State &state, std::size_t bytes) {
    std::vector<array_place> winners;
    const open_archive archive(archive_of_arrays(bytes, winners));
    report_size(state, winners[0].size / 12);
    const auto same = [&] { return whole_and_same(archive.archive, winners); };
    if (!agree_with_model(state, "the plain mesh differs", same)) return;
    ogawa_polymesh ours = {}, plain = {};
    std::vector<heap_block> arrays;
    side_by_side(
        state, {[&] { ogawa_read_polymesh(&archive.archive, nullptr, 0, &ours); }, [&] { ogawa_free_polymesh(&ours); }})
        .model({[&] { model::read_polymesh(archive.archive.file, nullptr, &plain); },
                [&] { model::free_polymesh(&plain); }},
               1)
        .limit("fread of those arrays",
               {[&] {
                    for (const array_place &place : winners)
                        arrays.push_back(read_into_fresh(archive.archive.file, place.at, place.size));
                },
                [&] { arrays.clear(); }},
               1.2)
        .measure();
}

} // namespace

void add_polymesh_rows() {
    row("polymesh by node walk", "64 MiB of arrays",
        [](auto &state) { walk(state, sized(std::size_t{64} << 20, std::size_t{128} << 10)); });
    // Each of the archive's six large arrays takes 12 bytes per vertex. None may be larger than 10 MB.
    growth("polymesh by node walk", "vertex", 830'000,
           [](auto &state, std::size_t vertices) { walk(state, vertices * 72); });
}

} // namespace qel::bench
