// SPDX-License-Identifier: MIT
// Writes a seed corpus for every fuzz target into a folder: real files, and numbers from which the targets build files.
// Usage: make_seeds FOLDER
#include "qel_unit.h"

#include "support/archive_writer.h"
#include "support/mesh_maker.h"
#include "support/random_archive.h"

#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

using namespace qel::test;

/// The builder of archives uses parts of the standard library that are not instrumented for MemorySanitizer.
#if __has_feature(memory_sanitizer)
constexpr bool can_build_archives = false;
#else
constexpr bool can_build_archives = true;
#endif

/// Writes the numbered seeds of one target. The targets read their choices from an input's end.
class seed_folder {
  public:
    explicit seed_folder(const std::string &path) : path_(path) { mkdir(path.c_str(), 0777); }

    /// Adds a file with the choices that make the target use it as a file; the last choice is read first.
    void add(bytes content, const std::vector<std::uint8_t> &choices) {
        content.insert(content.end(), choices.begin(), choices.end());
        write_file(path_ + "/" + std::to_string(count_++), content);
    }

    void add_numbers(std::mt19937 &random, int count, std::size_t largest) {
        for (int i = 0; i < count; ++i) {
            bytes numbers(16 + random() % largest);
            for (std::uint8_t &number : numbers)
                number = static_cast<std::uint8_t>(random());
            add(numbers, {});
        }
    }

  private:
    std::string path_;
    int count_ = 0;
};

bytes written(const std::string &folder, const char *name) {
    const std::string path = folder + name;
    const bytes content = read_file(path);
    std::remove(path.c_str());
    return content;
}

qel_alembic_mesh scene_mesh(const plain_mesh &grid, const char *name) {
    qel_alembic_mesh mesh;
    const std::vector<std::uint32_t> triangles = grid.face_indices;
    qel_alembic_load_raw(grid.positions.data(), grid.vertex_count(), triangles.data(),
                         static_cast<std::uint32_t>(triangles.size() / 3), name, &mesh);
    return mesh;
}

void seed_archives(const std::string &folder, std::mt19937 &random) {
    seed_folder seeds(folder + "archive");
    const plain_mesh torus = make_torus(30, 29, 2.0f, 0.7f); // its positions are just large enough
    const plain_mesh small = make_torus(20, 12, 1.0f, 0.5f);
    const std::vector<bytes> plain = {bytes_of(small.vertex_normals), bytes_of(small.vertex_uvs),
                                      bytes_of(small.tangents), bytes_of(small.bitangents)};
    seeds.add(production_archive(torus).content(), {0, 1});
    seeds.add(production_archive(small).content(), {0, 1});
    seeds.add(production_archive(small, plain).content(), {255, 1});
    archive_writer flat; // for the byte searches: no tree, the arrays at the file's start
    flat.array(torus.positions);
    flat.array(torus.vertex_normals);
    flat.append_raw(bytes_of(torus.face_indices));
    seeds.add(flat.content(), {7, 1});
    seeds.add_numbers(random, 60, 600);
}

/// Writes small sound archives as bytes, and choices from which others are built.
void seed_archive_structures(const std::string &folder, std::mt19937 &random) {
    seed_folder seeds(folder + "archive_structure");
    for (std::uint64_t seed = 1; seed <= 24; ++seed) {
        chance chances(seed);
        const bytes whole = random_archive(chances).build().content;
        const auto way = static_cast<std::uint8_t>(seed % 8);
        if (whole.size() < 20000) seeds.add(whole, {0, static_cast<std::uint8_t>(seed * 7), 0, way});
    }
    seeds.add_numbers(random, 60, 1500);
}

void seed_units(const std::string &folder, std::mt19937 &random, const qel_alembic_file &scene) {
    seed_folder seeds(folder + "unit_file");
    qel_alembic_export_file_qel(&scene, (folder + "unit").c_str());
    seeds.add(written(folder, "unit"), {0});
    seeds.add_numbers(random, 30, 800);
}

void seed_scenes(const std::string &folder, std::mt19937 &random, const qel_alembic_file &scene) {
    seed_folder seeds(folder + "scene_file");
    qel_alembic_save((folder + "scene").c_str(), &scene);
    const bytes file = written(folder, "scene");
    seeds.add(file, {0, 1, 0});
    seeds.add(file, {0, 0, 0});
    seeds.add_numbers(random, 40, 2000);
    seed_folder records(folder + "scene_records");
    records.add_numbers(random, 40, 2000);
}

void seed_caches(const std::string &folder, std::mt19937 &random) {
    seed_folder seeds(folder + "mesh_cache");
    plain_mesh torus = make_torus(8, 6, 2.0f, 0.7f);
    ogawa_polymesh mesh = record_of(torus);
    set_normals(mesh, torus.vertex_normals, OGAWA_SCOPE_VERTEX);
    std::vector<qel_skin_joint> joints(2, qel_skin_joint{});
    std::vector<qel_skin_weight> weights(mesh.vertex_count, qel_skin_weight{{0, 1, 0, 0}, {0.5f, 0.5f, 0, 0}});
    qel_skin skin = {joints.data(), 2, weights.data(), mesh.vertex_count, {}};
    for (const qel_skin *each : {static_cast<const qel_skin *>(nullptr), static_cast<const qel_skin *>(&skin)}) {
        qel_mesh_save(&mesh, each, (folder + "cache").c_str());
        seeds.add(written(folder, "cache"), {0, 0});
    }
    seeds.add_numbers(random, 40, 1200);
    seed_folder records(folder + "mesh_records");
    records.add_numbers(random, 60, 2500);
}

void seed_all(const std::string &folder) {
    std::mt19937 random(1);
    mkdir(folder.c_str(), 0777);
    qel_alembic_mesh meshes[] = {scene_mesh(make_grid(6, 5, true), "grid"), scene_mesh(make_grid(2, 2, true), "small")};
    qel_alembic_frame frames[2] = {};
    for (int i = 0; i < 2; ++i)
        frames[i] = {i + 1, static_cast<float>(i), meshes + i, 1};
    qel_alembic_file scene = {};
    scene.mesh_count = 2;
    scene.meshes = meshes;
    scene.frame_count = 2;
    scene.frames = frames;
    scene.fps = 24;
    seed_archives(folder, random);
    seed_units(folder, random, scene);
    seed_scenes(folder, random, scene);
    seed_caches(folder, random);
    seed_folder agents(folder + "agents");
    agents.add_numbers(random, 40, 1500);
    for (qel_alembic_mesh &mesh : meshes)
        qel_alembic_mesh_free(&mesh);
    if (can_build_archives) seed_archive_structures(folder, random);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_seeds FOLDER\n");
        return 2;
    }
    seed_all(argv[1] + std::string("/"));
    return 0;
}
