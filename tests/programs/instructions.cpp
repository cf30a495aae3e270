// SPDX-License-Identifier: MIT
// instructions FOLDER: calls each hot function once or a fixed number of times on fixed inputs. scripts/instructions.sh
// runs it under callgrind and compares the counts with tests/programs/instructions.txt.
#include "qel_archive.h"
#include "qel_unit.h"
#include "support/all_kernels.h"
#include "support/archive_schemas.h"
#include "support/archive_writer.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

std::mt19937 noise(1); // its sequence is the standard's, the same everywhere

std::uint32_t below(std::uint32_t limit) {
    return static_cast<std::uint32_t>(noise()) % limit;
}

float coordinate() {
    return static_cast<float>(below(1u << 20)) / 1024.0f - 512.0f;
}

std::vector<float> random_positions(std::size_t count) {
    std::vector<float> positions(count * 3);
    for (float &value : positions)
        value = coordinate();
    return positions;
}

/// Stops if a measured call fails.
void require(bool holds, const char *what) {
    if (holds) return;
    std::fprintf(stderr, "instructions: %s\n", what);
    std::exit(1);
}

void units(const std::string &folder) {
    constexpr std::uint32_t count = 50000;
    std::vector<std::uint64_t> keys(count);
    const std::vector<std::uint64_t> payloads(count, 7);
    const std::vector<std::uint8_t> layers(count, 1);
    std::string ids;
    for (std::uint32_t i = 0; i < count; ++i) {
        keys[i] = std::uint64_t{below(48)} << 32 | below(48) << 16 | below(48);
        char id[9];
        std::snprintf(id, sizeof id, "%08X", static_cast<unsigned>(noise()));
        ids += id;
    }
    const std::string path = folder + "/shuffled.qel";
    qel_unit unit = {};
    require(qel_unit_create(&unit, count, keys.data(), ids.data(), payloads.data(), layers.data()) == 0, "unit create");
    require(qel_unit_save(path.c_str(), &unit) == 0, "unit save");
    for (int i = 0; i < 10000; ++i) {
        qel_unit_lookup_morton(&unit, i % 2 == 0 ? keys[below(count)] : noise());
        qel_unit_lookup_hex(&unit, &ids[below(count) * 8]);
    }
    qel_unit_free(&unit);
    std::free(unit.order);

    qel_unit loaded = {};
    require(qel_unit_load(path.c_str(), &loaded) == 0, "unit load");
    std::uint32_t numbers[8];
    std::uint64_t distances[8];
    for (int i = 0; i < 500; ++i)
        require(qel_unit_query_nearest(&loaded, keys[below(count)], 8, numbers, distances) == 8, "unit nearest");
    qel_unit_free(&loaded);
    std::free(loaded.order);
}

/// Every seventh cell of the lattice, and its children with another one.
void lattice() {
    qel_matrix_identity cell = {}, partner = {};
    qel_matrix_offspring child = {};
    qel_matrix_48_identity(40, 3, 17, &partner);
    for (std::uint32_t number = 0; number < 110592; number += 7) {
        qel_matrix_48_identity(static_cast<std::uint8_t>(number / 2304), static_cast<std::uint8_t>(number / 48 % 48),
                               number % 48, &cell);
        qel_matrix_48_reproduce(&cell, &partner, number % 3, &child);
    }
}

void scenes(const std::string &folder) {
    const qel::test::plain_mesh grid = qel::test::make_grid(50, 50, true);
    auto *const mesh = static_cast<qel_alembic_mesh *>(std::calloc(1, sizeof(qel_alembic_mesh)));
    require(qel_alembic_load_raw(grid.positions.data(), grid.vertex_count(), grid.face_indices.data(),
                                 grid.face_count(), "grid", mesh) == 0,
            "load raw");
    qel_alembic_file scene = {};
    scene.meshes = mesh;
    scene.mesh_count = 1;
    require(qel_alembic_build_hash_table(&scene) == 0, "scene index");
    qel_alembic_hit hits[8];
    for (int i = 0; i < 20; ++i)
        require(qel_alembic_query_nearest(&scene, below(1u << 18), 8, hits) == 8, "scene nearest");
    for (int i = 0; i < 200; ++i)
        qel_alembic_lookup_morton(&scene, i % 2 == 0 ? scene.meshes[0].vertices[below(1000)].morton : noise(), hits);
    const std::string path = folder + "/scene.bqel";
    require(qel_alembic_save(path.c_str(), &scene) == 0, "scene save");
    qel_alembic_free(&scene);
    require(qel_alembic_load(path.c_str(), &scene) == 0, "scene load");
    qel_alembic_free(&scene);
}

/// What is made of a mesh: adjacency, neighbours, tangents, a cache file.
void geometry(ogawa_polymesh &mesh, ogawa_uv_set &uvs, const std::string &folder) {
    require(ogawa_build_manifold(&mesh) == 0, "manifold");
    for (std::uint32_t vertex = 0; vertex < mesh.vertex_count; ++vertex) {
        std::uint32_t *neighbors = nullptr, count = 0;
        require(ogawa_get_vertex_neighbors(&mesh.manifold, &mesh.face_counts, vertex, &neighbors, &count) == 0,
                "neighbours");
        std::free(neighbors);
    }
    mesh.uv_sets = &uvs; // lent
    mesh.uv_set_count = 1;
    require(ogawa_compute_tangent_frame(&mesh, nullptr) == 0, "tangents computed");
    mesh.uv_sets = nullptr;
    mesh.uv_set_count = 0;
    const std::string path = folder + "/torus.qelm";
    require(qel_mesh_save(&mesh, nullptr, path.c_str()) == 0, "cache save");
    qel_mesh cached = {};
    require(qel_mesh_load(path.c_str(), &cached) == 0, "cache load");
    qel_mesh_free(&cached);
}

void archives(const std::string &folder) {
    const qel::test::plain_mesh torus = qel::test::make_torus(96, 48, 3.0f, 1.0f);
    const std::string path = folder + "/torus.abc";
    const qel::test::bytes tangents = qel::test::bytes_of(torus.tangents);
    qel::test::production_archive(torus, {qel::test::bytes_of(torus.vertex_normals), tangents, tangents}).save(path);
    ogawa_archive archive;
    require(ogawa_open(path.c_str(), &archive) == 0, "open");
    float *normals = nullptr, *positions = nullptr;
    std::uint32_t *indices = nullptr, count = 0, scope = 0;
    require(ogawa_read_normals(&archive, nullptr, 0, &normals, &indices, &count, &scope) == 0, "normals");
    require(ogawa_read_positions(&archive, nullptr, 0, &positions, &count) == 0, "positions");
    std::free(normals);
    std::free(indices);
    std::free(positions);
    ogawa_uv_set uvs = {};
    require(ogawa_read_uvs(&archive, nullptr, 0, 0, &uvs) == 0, "UVs");
    ogawa_tangent_frame frame = {};
    require(ogawa_read_tangent_frame(&archive, nullptr, 0, &frame) == 0, "tangents read");
    ogawa_free_tangent_frame(&frame);
    ogawa_polymesh mesh;
    require(ogawa_read_polymesh(&archive, nullptr, 0, &mesh) == 0, "polymesh");
    geometry(mesh, uvs, folder);
    ogawa_free_polymesh(&mesh);
    ogawa_free_uv_set(&uvs);
    ogawa_close(&archive);
}

/// A hundred groups of ten transforms, each group a chain, and a mesh at the end.
void structures(const std::string &folder) {
    using namespace qel::test;
    archive_builder archive;
    for (int i = 0; i < 100; ++i) {
        object_node *at = &add_xform(archive.top, "group" + std::to_string(i), {translate(1, 2, 3)});
        for (int k = 0; k < 9; ++k)
            at = &add_xform(*at, "part" + std::to_string(k), {rotate_x(10), scale(2, 2, 2)});
    }
    const plain_mesh torus = make_torus(96, 48, 3.0f, 1.0f);
    polymesh mesh;
    mesh.points = {torus.positions};
    mesh.face_counts = {std::vector<std::int32_t>(torus.face_counts.begin(), torus.face_counts.end())};
    mesh.face_indices = {std::vector<std::int32_t>(torus.face_indices.begin(), torus.face_indices.end())};
    mesh.parameters = {normals({torus.vertex_normals}, "vtx")};
    add_polymesh(archive.top, "torus", mesh);
    const std::string path = folder + "/structure.abc";
    archive.save(path);

    qel_archive *opened = nullptr;
    require(qel_archive_open(path.c_str(), &opened) == QEL_ARCHIVE_OK, "archive open");
    ogawa_polymesh read;
    require(qel_archive_read_mesh(opened, qel_archive_find(opened, "/torus"), 0, &read) == QEL_ARCHIVE_OK,
            "archive mesh");
    const std::uint32_t torus_number = qel_archive_find(opened, "/torus");
    const std::uint32_t normals_number = qel_archive_find_property(opened, torus_number, ".geom/N");
    std::vector<float> values(read.normal_count * std::size_t{3});
    std::uint64_t size = 0;
    require(qel_archive_read_property(opened, torus_number, normals_number, 0, values.data(), values.size() * 4,
                                      &size) == QEL_ARCHIVE_OK,
            "archive property");
    ogawa_free_polymesh(&read);
    double matrix[16];
    for (std::uint32_t i = 0; i < 1000; ++i)
        require(qel_archive_world_transform(opened, i, 0, matrix) == QEL_ARCHIVE_OK, "world transform");
    qel_archive_close(opened);
}

void positions_and_skins() {
    constexpr std::uint32_t count = 20000, joints = 100;
    const std::vector<float> positions = random_positions(count);
    float bounds[6];
    ogawa_compute_bounds(positions.data(), count, bounds);
    require(qel_mesh_is_static_valid(positions.data(), count) == 1, "finite");
    require(qel_mesh_verify_p_minus_p(positions.data(), count) == 1, "p - p");
    require(qel_mesh_verify_p_div_p(positions.data(), count) == 1, "p / p");

    std::vector<qel_skin_weight> weights(count);
    for (qel_skin_weight &weight : weights)
        for (int slot = 0; slot < 4; ++slot) {
            weight.joints[slot] = static_cast<std::uint8_t>(below(joints));
            weight.weights[slot] = 0.25f;
        }
    std::vector<qel_skin_joint> records(joints);
    std::vector<double> poses(joints * 16);
    for (std::size_t i = 0; i < poses.size(); ++i)
        poses[i] = records[i / 16].joint_transform[i % 16] = i % 5 == i / 16 % 5 ? 1.0 : 0.125;
    qel_skin skin = {};
    skin.joints = records.data();
    skin.joint_count = joints;
    skin.weights = weights.data();
    skin.weight_count = count;
    std::vector<float> moved(positions.size());
    qel_skin_apply(&skin, poses.data(), positions.data(), moved.data());
}

void agents() {
    require(qel_agent_dir_init(nullptr) == 0, "agents");
    char id[9];
    for (int i = 0; i < 200; ++i)
        require(qel_agent_spawn(nullptr, 1, 1, 1, id) >= 0, "spawn");
    std::vector<char> ids(200 * 9);
    require(qel_agent_monitor("2A****0*", ids.data(), 200) != 0, "monitor");
    qel_agent_dir_free();
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: instructions FOLDER\n");
        return 2;
    }
    qel::test::force_all(qel::instruction_set::sse2); // the counts are to be the same on every machine
    units(argv[1]);
    lattice();
    scenes(argv[1]);
    archives(argv[1]);
    structures(argv[1]);
    positions_and_skins();
    agents();
    return 0;
}
