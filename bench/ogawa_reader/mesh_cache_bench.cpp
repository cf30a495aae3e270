// SPDX-License-Identifier: MIT
// The mesh cache: save and load.
#include "qel_unit.h"

#include "baseline/mesh_cache.h"
#include "ogawa_reader/mesh_inputs.h"
#include "support/growth.h"
#include "support/limits.h"
#include "support/rows.h"
#include "support/side_by_side.h"
#include "support/temp_folder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qel::bench {

namespace {

/// The least work for normals per corner: the indices and face counts are read, and each normal is added to the sum of
/// its vertex, in fresh memory.
void sum_corner_normals(const ogawa_polymesh &mesh) {
    stream_read(mesh.face_counts, std::size_t{mesh.face_count} * sizeof *mesh.face_counts);
    const heap_block block(std::calloc(mesh.vertex_count, 3 * sizeof(float)));
    auto *const sums = static_cast<float *>(block.get());
    for (std::size_t corner = 0; corner < mesh.face_index_count; ++corner)
        for (std::size_t axis = 0; axis < 3; ++axis)
            sums[std::size_t{mesh.face_indices[corner]} * 3 + axis] += mesh.normals[corner * 3 + axis];
    keep(sums);
}

void save(benchmark::State &state, const ogawa_polymesh &mesh, double fwrite_target) {
    const test::temp_folder folder;
    const std::string path = folder.file("ours.qelm"), plain = folder.file("plain.qelm"), raw = folder.file("raw");
    qel_mesh_save(&mesh, nullptr, path.c_str());
    const test::bytes content = test::read_file(path);
    const auto same = [&] {
        baseline::save_mesh(mesh, plain.c_str());
        return content == test::read_file(plain);
    };
    if (!agree_with_model(state, "the plain file differs", same)) return;
    side_by_side rounds(state, writing(path, [&] { qel_mesh_save(&mesh, nullptr, path.c_str()); }));
    rounds.model(writing(plain, [&] { baseline::save_mesh(mesh, plain.c_str()); }), 1.2)
        .limit("fwrite", writing(raw, [&] { write_whole(raw, content.data(), content.size()); }), fwrite_target);
    if (mesh.normal_scope == OGAWA_SCOPE_FACE_VARYING)
        rounds.limit("fwrite, and sums of the corners' normals", writing(raw, [&] {
                         sum_corner_normals(mesh);
                         write_whole(raw, content.data(), content.size());
                     }));
    rounds.measure();
}

void save_vertex_normals(benchmark::State &state, std::size_t side) {
    mesh_input input(side);
    test::set_normals(input.mesh, input.torus.vertex_normals, OGAWA_SCOPE_VERTEX);
    report_size(state, input.mesh.vertex_count);
    save(state, input.mesh, 1.3);
}

/// Also reads one byte, as a read of the header would.
unsigned char map_once(const char *path) {
    const int descriptor = open(path, O_RDONLY);
    struct stat status = {};
    fstat(descriptor, &status);
    const auto size = static_cast<std::size_t>(status.st_size);
    void *const mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    close(descriptor);
    if (mapped == MAP_FAILED) return 0;
    const unsigned char read = *static_cast<const unsigned char *>(mapped);
    munmap(mapped, size);
    return read;
}

void load(benchmark::State &state, std::size_t side) {
    const mesh_input input(side);
    report_size(state, input.mesh.vertex_count);
    const test::temp_folder folder;
    const std::string path = folder.file("mesh.qelm");
    qel_mesh_save(&input.mesh, nullptr, path.c_str());
    qel_mesh mesh = {};
    side_by_side(state, {[&] { qel_mesh_load(path.c_str(), &mesh); }, [&] { qel_mesh_free(&mesh); }})
        .limit("open, map and unmap of the file", {[&] { keep(map_once(path.c_str())); }})
        .within(0.2)
        .measure();
}

} // namespace

void add_mesh_cache_rows() {
    row("mesh cache save, normals per vertex", "1 M vertices",
        [](auto &state) { save_vertex_normals(state, sized(1000, 20)); });
    row("mesh cache save, normals per corner", "1 M vertices",
        [](auto &state) { save(state, mesh_input(sized(1000, 20)).mesh, 1.6); });
    row("mesh cache load", "1 M vertices", [](auto &state) { load(state, sized(1000, 20)); });
    growth("mesh cache save, normals per vertex", "vertex", 20'000'000,
           [](auto &state, std::size_t vertices) { save_vertex_normals(state, side_of(vertices)); });
    growth("mesh cache load", "vertex", 20'000'000,
           [](auto &state, std::size_t vertices) { load(state, side_of(vertices)); });
}

} // namespace qel::bench
