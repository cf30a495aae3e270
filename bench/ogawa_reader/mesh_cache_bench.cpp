// SPDX-License-Identifier: MIT
// The mesh cache: save and load.
#include "qel_unit.h"

#include "baseline/mesh_cache.h"
#include "ogawa_reader/mesh_inputs.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"
#include "support/temp_folder.h"

namespace qel::bench {

namespace {

void save(benchmark::State &state, const ogawa_polymesh &mesh) {
    const test::temp_folder folder;
    const std::string path = folder.file("ours.qelm"), plain = folder.file("plain.qelm"),
                      raw = folder.file("raw");
    qel_mesh_save(&mesh, nullptr, path.c_str());
    baseline::save_mesh(mesh, plain.c_str());
    const test::bytes content = test::read_file(path);
    if (!agree(state, content == test::read_file(plain), "the plain file differs")) return;
    const auto writing = [](const std::string &file, std::function<void()> run) {
        return contender{std::move(run), {}, [&file] { std::remove(file.c_str()); }};
    };
    side_by_side(state, writing(path, [&] { qel_mesh_save(&mesh, nullptr, path.c_str()); }))
        .model(writing(plain, [&] { baseline::save_mesh(mesh, plain.c_str()); }), 1.2)
        .limit("fwrite", writing(raw, [&] { write_whole(raw, content.data(), content.size()); }), 1.3)
        .measure();
}

void save_vertex_normals(benchmark::State &state) {
    mesh_input input(sized(1000, 20));
    input.take_vertex_normals();
    save(state, input.mesh);
}

void save_corner_normals(benchmark::State &state) {
    const mesh_input input(sized(1000, 20));
    save(state, input.mesh);
}

void load(benchmark::State &state) {
    const test::temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    mesh_input input(sized(1000, 20));
    qel_mesh_save(&input.mesh, nullptr, path.c_str());
    qel_mesh mesh = {};
    side_by_side(state, {[&] { qel_mesh_load(path.c_str(), &mesh); }, [&] { qel_mesh_free(&mesh); }})
        .within(0.2)
        .measure();
}

} // namespace

void add_mesh_cache_rows() {
    row("mesh cache save, normals per vertex", "1 M vertices", save_vertex_normals);
    row("mesh cache save, normals per corner", "1 M vertices", save_corner_normals);
    row("mesh cache load", "1 M vertices", load);
}

} // namespace qel::bench
