// SPDX-License-Identifier: MIT
// A consumer in C++17: an archive's mesh becomes a scene, the scene a unit file, and the unit finds every vertex.
#include <qel_unit.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

int failures = 0;

void check(bool holds, const char *what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    ++failures;
}

/// The first corners of every face, fanned into triangles.
std::vector<std::uint32_t> triangles_of(const ogawa_polymesh &mesh) {
    std::vector<std::uint32_t> all;
    const std::uint32_t *corners = mesh.face_indices;
    for (std::uint32_t face = 0; face < mesh.face_count; corners += mesh.face_counts[face++]) {
        std::uint32_t *fan = nullptr;
        std::uint32_t count = 0;
        check(ogawa_triangulate_face(corners, mesh.face_counts[face], &fan, &count) == 0, "a face is split");
        all.insert(all.end(), fan, fan + 3 * std::size_t{count});
        std::free(fan);
    }
    return all;
}

void export_archive(const char *archive_path, const std::string &unit_path) {
    ogawa_archive archive;
    ogawa_polymesh mesh;
    qel_alembic_mesh scene_mesh{};
    check(ogawa_open(archive_path, &archive) == 0, "the archive opens");
    check(ogawa_read_polymesh(&archive, nullptr, 0, &mesh) == 0, "the mesh is read");
    check(mesh.vertex_count == 1152 && mesh.face_count == 1152, "the torus is whole");
    const std::vector<std::uint32_t> indices = triangles_of(mesh);
    check(indices.size() == 3 * 2304, "every quad gives two triangles");
    check(qel_alembic_load_raw(mesh.positions, mesh.vertex_count, indices.data(),
                               static_cast<std::uint32_t>(indices.size() / 3), "torus", &scene_mesh) == 0,
          "the mesh becomes tokens");
    check(qel_alembic_export_qel(&scene_mesh, unit_path.c_str()) == 0, "the tokens become a unit file");
    qel_alembic_mesh_free(&scene_mesh);
    ogawa_free_polymesh(&mesh);
    ogawa_close(&archive);
}

void ask_unit(const std::string &unit_path) {
    qel_unit unit{};
    check(qel_unit_load(unit_path.c_str(), &unit) == 0, "the unit file loads");
    check(qel_unit_get_count(&unit) == 1152, "one token for each vertex");
    for (std::uint32_t number = 0; number < qel_unit_get_count(&unit); ++number) {
        std::uint64_t key = 0, distance = 1, nearest_key = 1;
        std::uint32_t nearest = 0;
        char id[8];
        std::uint8_t layer = 0;
        check(qel_unit_get_token(&unit, number, &key, id, &layer) == 0, "the token is there");
        check(qel_unit_query_nearest(&unit, key, 1, &nearest, &distance) == 1 && distance == 0,
              "a token is nearest to its own key");
        check(qel_unit_get_token(&unit, nearest, &nearest_key, id, &layer) == 0 && nearest_key == key,
              "and has that key");
    }
    qel_unit_free(&unit);
    std::free(unit.order);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    export_archive(argv[1], argv[2]);
    ask_unit(argv[2]);
    std::remove(argv[2]);
    if (failures == 0) std::puts("C++ consumer: every vertex of the archive is found in the unit");
    return failures == 0 ? 0 : 1;
}
