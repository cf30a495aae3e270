// SPDX-License-Identifier: MIT
// Every function that allocates, with its n-th allocation failing, alone and with all that follow, for every n until
// it needs no more: a documented code, a record that can be released, no leak.
#include "common/heap.h"
#include "ogawa_reader/cache/cache_cases.h"
#include "ogawa_reader/container/archive_in_memory.h"
#include "ogawa_reader/container/stored_archive.h"
#include "qel_unit/agents/agent_fixture.h"
#include "support/archive_writer.h"
#include "support/failing_heap.h"
#include "support/mesh_maker.h"
#include "support/scenes.h"
#include "support/units.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace qel {
namespace {

using namespace test;

/// A call that allocates, its codes other than 0, and the call that releases its result.
struct allocating_call {
    const char *name;
    const std::set<int> &codes;
    const std::function<void()> &release;
    const std::function<int()> &call;
};

/// For calls without a result to release.
void nothing() {}

/// One failing allocation; whether there was one.
bool fails_well(const allocating_call &it, std::uint64_t n, bool all_later) {
    const heap_ledger ledger;
    int code = 0;
    std::uint64_t failures = 0;
    {
        const failing_heap heap = failing_heap::at(n, all_later);
        code = it.call();
        failures = heap.failures();
    }
    it.release();
    EXPECT_EQ(ledger.live(), 0u) << it.name << ", allocation " << n;
    EXPECT_TRUE(code == 0 || (failures > 0 && it.codes.count(code) == 1)) << it.name << ", " << n << ": " << code;
    return failures > 0;
}

/// Nothing leaks whichever allocation fails, alone or with all later ones.
void expect_failures(const char *name, const std::set<int> &codes, const std::function<void()> &release,
                     const std::function<int()> &call) {
    std::uint64_t n = 1;
    const allocating_call it = {name, codes, release, call};
    while (fails_well(it, n, false) && fails_well(it, n, true) && n < 1000)
        ++n;
    EXPECT_GT(n, 1u) << name << " allocates nothing";
    EXPECT_LT(n, 1000u) << name;
}

TEST(EveryAllocation, OfUnitsAndAgentsMayFail) {
    const test::temp_folder folder;
    const std::string unit_path = folder.file("unit"), short_path = folder.file("short");
    const std::string agents_path = folder.file("agents");
    const test::token_arrays arrays(test::tokens_with_keys({9, 4, 7}));
    test::write_file(unit_path, test::unit_file(test::tokens_with_keys({9, 4, 7})));
    write_file(short_path, unit_file(1000, tokens_with_keys({9, 4, 7}))); // claims 1,000 tokens
    test::write_file(agents_path, test::directory_file({test::make_agent("2A9E0100")}));
    std::vector<qel_token> sorted = test::tokens_with_keys({4, 7, 9});
    const qel_unit borrowed = test::borrowed_unit(sorted);
    test::discard_directory();

    test::owned_unit unit;
    std::uint32_t numbers[2];
    std::uint64_t distances[2];
    char id[9];
    const auto reset = [&] { unit.reset(); };
    const auto discard = [] { test::discard_directory(); };
    expect_failures("create", {-2, -3, -4}, reset, [&] { return arrays.create(unit); });
    expect_failures("load", {-4, -5, -6}, reset, [&] { return qel_unit_load(unit_path.c_str(), &unit); });
    expect_failures("load short", {-4, -5, -6}, reset, [&] { return qel_unit_load(short_path.c_str(), &unit); });
    expect_failures("nearest", {-2}, nothing,
                    [&] { return static_cast<int>(qel_unit_query_nearest(&borrowed, 5, 2, numbers, distances)) - 2; });
    expect_failures("init", {-1, -2}, discard, [] { return qel_agent_dir_init(nullptr); });
    expect_failures("load", {-1}, discard, [&] { return qel_agent_dir_load(agents_path.c_str()); });
    expect_failures("spawn", {-1}, discard, [&] { return qel_agent_spawn(nullptr, 0, 0, 0, id); });
}

TEST(EveryAllocation, OfScenesMayFail) {
    const test::temp_folder folder;
    const std::string path = folder.file("scene");
    const std::vector<float> positions = {0, 0, 0, 1, 0, 0, 1, 1, 0};
    const std::vector<std::uint32_t> triangle = {0, 1, 2};
    test::owned_scene owned;
    owned.add_mesh(positions, triangle);
    owned.add_frame(1, 0.0f, {positions});
    owned.add_frame(2, 1.0f, {positions});
    ASSERT_EQ(qel_alembic_save(path.c_str(), &owned.scene), 0);

    qel_alembic_mesh mesh = {};
    qel_alembic_file scene = {};
    qel_alembic_hit hits[2];
    const auto release_mesh = [&] {
        if (mesh.indices == nullptr) mesh.positions = nullptr; // left dangling
        qel_alembic_mesh_free(&mesh);
        mesh = {};
    };
    const auto free_scene = [&] { qel_alembic_free(&scene); };
    const auto free_positions = [&] { std::free(mesh.positions); };
    const auto release_index = [&] { release(owned.scene.hash); };
    const auto release_tokens = [&] {
        release(owned.scene.meshes->vertices);
        release(owned.scene.meshes->tokens);
    };
    release_tokens();
    expect_failures("load raw", {-4}, release_mesh,
                    [&] { return qel_alembic_load_raw(positions.data(), 3, triangle.data(), 1, "m", &mesh); });
    expect_failures("process", {-4}, release_tokens, [&] { return qel_alembic_process_mesh(owned.scene.meshes, 1); });
    expect_failures("load", {-4}, free_scene, [&] { return qel_alembic_load(path.c_str(), &scene); });
    expect_failures("interpolate", {-4}, free_positions,
                    [&] { return qel_alembic_interpolate_time(&owned.scene, 0.5f, &mesh); });

    ASSERT_EQ(qel_alembic_process_mesh(owned.scene.meshes, 1), 0);
    expect_failures("index", {-4}, release_index, [&] { return qel_alembic_build_hash_table(&owned.scene); });
    expect_failures("nearest", {-2}, nothing,
                    [&] { return static_cast<int>(qel_alembic_query_nearest(&owned.scene, 5, 2, hits)) - 2; });
}

/// An archive of blocks of plain numbers, which the byte searches find.
test::bytes blocks_of(std::size_t floats, int count) {
    std::vector<float> values;
    for (std::size_t i = 0; i < floats; ++i)
        values.push_back(static_cast<float>(i % 100) * 0.01f);
    test::bytes content = test::archive_header();
    for (int i = 0; i < count; ++i)
        test::append_block(content, floats * sizeof(float), values);
    test::append_filler(content, 100);
    return content;
}

TEST(EveryAllocation, OfArchivesMayFail) {
    const test::stored_archive tree(test::production_archive(test::make_torus(40, 30, 3.0f, 1.0f)).content());
    const test::stored_archive large(blocks_of(3003, 1)), small(blocks_of(12, 2));
    const ogawa_archive &record = small.record;
    ogawa_polymesh mesh = {};
    float *values = nullptr;
    std::uint32_t *indices = nullptr, count = 0, scope = 0;
    ogawa_uv_set set = {};
    ogawa_tangent_frame frame = {};
    int frame_code = 0;
    const auto free_mesh = [&] { ogawa_free_polymesh(&mesh); };
    const auto free_values = [&] { release(values); };
    const auto free_set = [&] { ogawa_free_uv_set(&set); };
    const auto free_frame = [&] {
        if (frame_code == 0) ogawa_free_tangent_frame(&frame); // else left dangling
    };
    for (const stored_archive *archive : {&tree, &large})
        expect_failures("polymesh", {-1, -2}, free_mesh,
                        [&] { return ogawa_read_polymesh(&archive->record, nullptr, 0, &mesh); });
    expect_failures("positions", {-2}, free_values,
                    [&] { return ogawa_read_positions(&large.record, nullptr, 0, &values, &count); });
    expect_failures("normals", {-2}, free_values,
                    [&] { return ogawa_read_normals(&record, nullptr, 0, &values, &indices, &count, &scope); });
    expect_failures("UVs", {-2}, free_set, [&] { return ogawa_read_uvs(&record, nullptr, 0, 0, &set); });
    expect_failures("tangent frame", {-2}, free_frame,
                    [&] { return frame_code = ogawa_read_tangent_frame(&record, nullptr, 0, &frame); });
}

TEST(EveryAllocation, OfGeometryAndTheMeshCacheMayFail) {
    const test::temp_folder folder;
    const std::string path = folder.file("cache");
    std::mt19937 random(5);
    test::cache_mesh quad = test::quad();
    quad.normals = {0, 0, 1};
    test::cache_skin skin = test::noise_skin(random, 2, 4);
    const qel_skin skin_record = skin.record();
    ogawa_polymesh mesh = quad.record();
    float uvs[] = {0, 0, 1, 0, 1, 1, 0, 1};
    ogawa_uv_set set = {};
    set.values = uvs;
    set.value_count = 4;
    mesh.uv_sets = &set;
    mesh.uv_set_count = 1;
    ASSERT_EQ(qel_mesh_save(&mesh, &skin_record, path.c_str()), 0);

    const std::vector<double> poses(32, 1.0);
    std::vector<float> moved(12);
    std::uint32_t *list = nullptr, count = 0;
    qel_mesh cache = {};
    const auto release_list = [&] { release(list); };
    const auto free_frame = [&] { ogawa_free_tangent_frame(&mesh.tangent_frame); };
    const auto free_cache = [&] { qel_mesh_free(&cache); };
    const auto free_manifold = [&] {
        if (mesh.manifold.vertex_faces == nullptr) mesh.manifold.vertex_face_offsets = nullptr; // left dangling
        ogawa_free_manifold(&mesh.manifold);
    };
    expect_failures("manifold", {-2}, free_manifold, [&] { return ogawa_build_manifold(&mesh); });
    expect_failures("tangent frame", {-3}, free_frame, [&] { return ogawa_compute_tangent_frame(&mesh, nullptr); });
    expect_failures("fan", {-2}, release_list,
                    [&] { return ogawa_triangulate_face(quad.face_indices.data(), 4, &list, &count); });
    expect_failures("save", {}, nothing, [&] { return qel_mesh_save(&mesh, &skin_record, path.c_str()); });
    expect_failures("skin", {}, nothing, [&] {
        qel_skin_apply(&skin_record, poses.data(), quad.positions.data(), moved.data());
        return 0;
    });

    ASSERT_EQ(qel_mesh_save(&mesh, &skin_record, path.c_str()), 0);
    ASSERT_EQ(ogawa_build_manifold(&mesh), 0);
    expect_failures("load", {}, free_cache, [&] { return qel_mesh_load(path.c_str(), &cache); });
    expect_failures("neighbors", {-2}, release_list,
                    [&] { return ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, 0, &list, &count); });
    ogawa_free_manifold(&mesh.manifold);
}

TEST(EveryAllocation, OfLargeMeshesMayFail) {
    test::plain_mesh torus = test::make_torus(100, 60, 4.0f, 1.0f);
    test::cache_mesh hub; // faces of five corners around vertex 0
    hub.positions = torus.positions;
    for (std::uint32_t i = 1; i < 5000; ++i) {
        hub.face_counts.push_back(5);
        hub.face_indices.insert(hub.face_indices.end(), {0, i, i + 1, i + 2, i + 3});
    }
    ogawa_polymesh mesh = hub.record();
    ASSERT_EQ(ogawa_build_manifold(&mesh), 0);
    std::vector<std::uint32_t> triangles;
    for (std::uint32_t i = 0; i + 2 < 6000; ++i)
        triangles.insert(triangles.end(), {i, i + 1, i + 2});
    test::owned_scene owned;
    owned.add_mesh(torus.positions, triangles);
    qel_alembic_mesh &large = owned.scene.meshes[0];
    const auto release_tokens = [&] {
        release(large.vertices);
        release(large.tokens);
    };
    release_tokens();
    std::uint32_t *list = nullptr, count = 0;
    expect_failures("process", {-4}, release_tokens, [&] { return qel_alembic_process_mesh(&large, 1); });
    const auto release_list = [&] { release(list); };
    expect_failures("neighbors of a hub", {-2}, release_list,
                    [&] { return ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, 0, &list, &count); });
    ogawa_free_manifold(&mesh.manifold);
}

} // namespace
} // namespace qel
