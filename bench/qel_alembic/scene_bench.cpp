// SPDX-License-Identifier: MIT
// Scenes: index, lookups, the nearest query, the file.
#include "baseline/scene.h"
#include "model/scene_model.h"
#include "qel_alembic/scene_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"
#include "support/temp_folder.h"

#include <algorithm>
#include <random>

namespace qel::bench {

namespace {

contender indexing(bench_scene &s) {
    return {[&s] { qel_alembic_build_hash_table(&s.scene); }, [&s] { s.drop_index(); }};
}

bool same_index_as_plain(bench_scene &s) {
    qel_alembic_build_hash_table(&s.scene);
    const std::vector<std::uint32_t> plain = model::index_table(s.scene);
    const bool same = std::equal(plain.begin(), plain.end(), s.scene.hash);
    s.drop_index();
    return same;
}

void index_scene(benchmark::State &state, std::size_t vertices, shape form, double target = no_target) {
    bench_scene s(vertices, form);
    report_size(state, s.scene.meshes[0].vertex_count);
    if (!agree_with_model(state, "the plain index differs", [&] { return same_index_as_plain(s); })) return;
    qel_alembic_build_hash_table(&s.scene);
    const std::size_t table_bytes = std::size_t{s.scene.hash_size} * sizeof *s.scene.hash;
    s.drop_index();
    std::vector<std::uint32_t> plain;
    side_by_side(state, indexing(s))
        .model({[&] { plain = model::index_table(s.scene); }, [&] { plain = {}; }}, target)
        .limit("streaming the tokens, filling the table", {[&] {
                   const qel_alembic_mesh &mesh = s.scene.meshes[0];
                   stream_read(mesh.tokens, std::size_t{mesh.vertex_count} * sizeof *mesh.tokens);
                   huge_memory(table_bytes).fill();
               }})
        .measure();
}

void index_large_grid(benchmark::State &state) {
    bench_scene s(sized(1000000, 4000), shape::flat_grid), smaller(sized(100000, 2000), shape::flat_grid);
    side_by_side(state, indexing(s)).limit("the 100 k scene", indexing(smaller), 15).measure();
}

/// Lookups of keys through the library and through the plain form.
void look_up(benchmark::State &state, bench_scene &s, const std::vector<std::uint64_t> &keys) {
    qel_alembic_build_hash_table(&s.scene);
    const std::vector<std::uint32_t> table(s.scene.hash, s.scene.hash + s.scene.hash_size);
    qel_alembic_hit hit = {}, plain = {};
    bool same = true;
    for (const std::uint64_t key : keys)
        same = same && qel_alembic_lookup_morton(&s.scene, key, &hit) == model::lookup(s.scene, table, key, plain) &&
               hit.vertex == plain.vertex;
    if (!agree(state, same, "the plain lookup differs")) return;
    side_by_side(state, {[&] {
                     for (const std::uint64_t key : keys)
                         keep(qel_alembic_lookup_morton(&s.scene, key, &hit));
                 }})
        .model({[&] {
                   for (const std::uint64_t key : keys)
                       keep(model::lookup(s.scene, table, key, plain));
               }},
               1)
        .measure();
}

void look_up_hits(benchmark::State &state) {
    bench_scene s(sized(1000000, 4000));
    std::mt19937 random(19);
    std::vector<std::uint64_t> keys(64);
    for (std::uint64_t &key : keys)
        key = s.scene.meshes[0].vertices[random() % s.scene.meshes[0].vertex_count].morton;
    look_up(state, s, keys);
}

/// Half of the keys fall into the run of taken slots and probe it to its end.
void look_up_misses(benchmark::State &state) {
    bench_scene s(sized(1000000, 4000));
    const qel_alembic_mesh &mesh = s.scene.meshes[0];
    std::vector<bool> taken(std::size_t{1} << 18);
    for (std::uint32_t v = 0; v < mesh.vertex_count; ++v)
        taken[mesh.vertices[v].morton] = true;
    std::mt19937 random(23);
    std::vector<std::uint64_t> keys;
    while (keys.size() < 32) {
        const std::uint64_t key = random() % taken.size();
        if (!taken[key]) keys.insert(keys.end(), {key, key + (std::uint64_t{1} << 22)});
    }
    look_up(state, s, keys);
}

/// With few vertices, `queries` is large enough for a measurable time.
void nearest(benchmark::State &state, std::size_t vertices, std::size_t queries) {
    bench_scene s(vertices);
    const qel_alembic_mesh &mesh = s.scene.meshes[0];
    report_size(state, mesh.vertex_count, queries * mesh.vertex_count);
    const std::uint64_t key = mesh.vertices[mesh.vertex_count / 3].morton + 1;
    qel_alembic_hit ours[8] = {};
    const auto same = [&] {
        qel_alembic_query_nearest(&s.scene, key, 8, ours);
        const std::vector<qel_alembic_hit> plain = model::nearest(s.scene, key, 8);
        return std::equal(plain.begin(), plain.end(), ours, ours + 8,
                          [](const qel_alembic_hit &a, const qel_alembic_hit &b) {
                              return a.vertex == b.vertex && a.distance == b.distance;
                          });
    };
    if (!agree_with_model(state, "the plain query differs", same)) return;
    const auto repeated = [queries](auto query) {
        return contender{[queries, query] {
            for (std::size_t i = 0; i < queries; ++i)
                query();
        }};
    };
    side_by_side(state, repeated([&] { keep(qel_alembic_query_nearest(&s.scene, key, 8, ours)); }))
        .model(repeated([&] { keep(model::nearest(s.scene, key, 8).data()); }), 30)
        .limit("streaming the vertex records",
               repeated([&] { stream_read(mesh.vertices, std::size_t{mesh.vertex_count} * sizeof *mesh.vertices); }),
               1.5)
        .measure();
}

void save(benchmark::State &state) {
    const test::temp_folder folder;
    bench_scene s(sized(200000, 2000));
    const std::string path = folder.file("ours.bqel"), plain = folder.file("plain.bqel"), raw = folder.file("raw");
    qel_alembic_save(path.c_str(), &s.scene);
    baseline::save(plain.c_str(), &s.scene);
    const test::bytes content = test::read_file(path);
    if (!agree(state, content == test::read_file(plain), "the plain file differs")) return;
    side_by_side(state, writing(path, [&] { qel_alembic_save(path.c_str(), &s.scene); }))
        .model(writing(plain, [&] { baseline::save(plain.c_str(), &s.scene); }), 1.5)
        .limit("fwrite", writing(raw, [&] { write_whole(raw, content.data(), content.size()); }), 1.3)
        .measure();
}

void load(benchmark::State &state) {
    const test::temp_folder folder;
    bench_scene s(sized(200000, 2000));
    const std::string path = folder.file("scene.bqel");
    qel_alembic_save(path.c_str(), &s.scene);
    const std::size_t size = test::read_file(path).size();
    qel_alembic_file ours = {}, plain = {};
    heap_block content;
    std::vector<std::uint32_t> table;
    side_by_side(state, {[&] { qel_alembic_load(path.c_str(), &ours); }, [&] { qel_alembic_free(&ours); }})
        .model({[&] {
                    baseline::load(path.c_str(), &plain);
                    table = model::index_table(plain);
                },
                [&] {
                    qel_alembic_free(&plain);
                    table = {};
                }},
               1.5)
        .limit("fread and the index build",
               {[&] {
                    std::FILE *const stream = std::fopen(path.c_str(), "rb");
                    content = read_into_fresh(stream, 0, size);
                    std::fclose(stream);
                    qel_alembic_build_hash_table(&s.scene);
                },
                [&] {
                    content.reset();
                    s.drop_index();
                }},
               1.3)
        .measure();
}

} // namespace

void add_scene_rows() {
    row("scene index build, flat grid", "100 k vertices",
        [](auto &state) { index_scene(state, sized(100000, 2000), shape::flat_grid, 100); });
    row("scene index build, flat grid", "1 M vertices", index_large_grid);
    // Plain probing meets few taken slots in this scene.
    row("scene index build, torus", "100 k vertices",
        [](auto &state) { index_scene(state, sized(100000, 2000), shape::torus); });
    row("scene lookup, hits", "64 in 1 M vertices", look_up_hits);
    row("scene lookup, misses", "64 in 1 M vertices", look_up_misses);
    row("scene nearest, k = 8", "1 M vertices", [](auto &state) { nearest(state, sized(1000000, 4000), 1); });
    row("scene save", "200 k vertices", save);
    row("scene load", "200 k vertices", load);
    growth("scene index build, flat grid", "vertex", 20'000'000,
           [](auto &state, std::size_t vertices) { index_scene(state, vertices, shape::flat_grid); });
    growth("scene nearest, k = 8", "vertex", 20'000'000, [](auto &state, std::size_t vertices) {
        nearest(state, vertices, std::max<std::size_t>(1, 100000 / vertices));
    });
}

} // namespace qel::bench
