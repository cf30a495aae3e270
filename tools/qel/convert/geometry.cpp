// SPDX-License-Identifier: MIT
#include "convert/job.h"
#include "convert/step.h"
#include "examine/archive_scene.h"

#include <algorithm>
#include <cstring>

namespace tool::job {

namespace {

/// The reader does not report how it found a mesh. A mesh came from the byte search if its positions equal those of the
/// byte search, and its faces are triangles or it has none.
bool found_by_byte_search(const archive_record &source, const polymesh_record &mesh) {
    float *positions = nullptr;
    std::uint32_t count = 0;
    const int code = ogawa_read_positions(source.get(), nullptr, 0, &positions, &count);
    const array<float> owner(positions);
    if (code != QEL_OK || count != mesh->vertex_count || mesh->positions == nullptr) return false;
    if (std::memcmp(positions, mesh->positions, std::size_t{count} * 3 * sizeof(float)) != 0) return false;
    return std::all_of(mesh->face_counts, mesh->face_counts + mesh->face_count,
                       [](std::uint32_t corners) { return corners == 3; });
}

} // namespace

std::unique_ptr<examined> read_archive(const input_file &input) {
    step reading("read mesh");
    auto source = std::make_unique<examined>(input);
    source->must_be_usable();
    const polymesh_record &mesh = source->mesh;
    reading.done("%u vertices, %u faces, %u indices, %u normals", mesh->vertex_count, mesh->face_count,
                 mesh->face_index_count, mesh->normal_count);
    note("found %s, %s",
         found_by_byte_search(source->archive, mesh)
             ? "by the fallback, a search of the bytes for anything like positions"
             : "by the walk over the archive's nodes",
         mesh->face_count > 0 ? "with faces" : "without faces");
    note("bounds %s", box_text(mesh->bounds_min, mesh->bounds_max).c_str());
    return source;
}

std::vector<std::uint32_t> fan_faces(const polymesh_record &mesh) {
    step fanning("fan faces");
    std::vector<std::uint32_t> triangles = fan_triangles(*mesh.get());
    fanning.done("%zu triangles", triangles.size() / 3);
    return triangles;
}

void read_normals_and_uvs(archive_record &source, polymesh_record &mesh) {
    step reading("normals, UVs");
    float *normals = nullptr;
    std::uint32_t *indices = nullptr;
    std::uint32_t count = 0, scope = 0;
    const int normals_code = ogawa_read_normals(source.get(), nullptr, 0, &normals, &indices, &count, &scope);
    const array<float> owner(normals);
    auto *set = static_cast<ogawa_uv_set *>(std::calloc(1, sizeof(ogawa_uv_set)));
    if (set != nullptr && ogawa_read_uvs(source.get(), nullptr, 0, 0, set) == QEL_OK) {
        mesh->uv_sets = set; // the mesh owns it
        mesh->uv_set_count = 1;
    } else {
        ogawa_free_uv_set(set);
        std::free(set);
    }
    reading.done("%u normals and %u UVs found by their bytes", normals_code == QEL_OK ? count : 0,
                 mesh->uv_set_count > 0 ? mesh->uv_sets[0].value_count : 0);
}

void build_adjacency(polymesh_record &mesh) {
    step building("adjacency");
    check(
        "adjacency", mesh->name, build_manifold(*mesh.get()),
        {{OGAWA_BUILD_MANIFOLD_BAD_ARGUMENT, "the mesh has no vertices"}, {OGAWA_BUILD_MANIFOLD_NO_MEMORY, no_memory}});
    const std::uint32_t *faces = nullptr;
    std::uint32_t *neighbors = nullptr;
    std::uint32_t face_count = 0, neighbor_count = 0;
    check("adjacency", "vertex 0", ogawa_get_vertex_faces(&mesh->manifold, 0, &faces, &face_count),
          {{OGAWA_GET_VERTEX_FACES_NOT_FOUND, "there is no such vertex"}});
    check("adjacency", "vertex 0",
          ogawa_get_vertex_neighbors(&mesh->manifold, &mesh->face_counts, 0, &neighbors, &neighbor_count),
          {{OGAWA_GET_VERTEX_NEIGHBORS_NOT_FOUND, "there is no such vertex"},
           {OGAWA_GET_VERTEX_NEIGHBORS_NO_MEMORY, no_memory}});
    const array<std::uint32_t> owner(neighbors);
    building.done("vertex 0 has %u faces and %u neighbours", face_count, neighbor_count);
}

void make_tangents(archive_record &source, polymesh_record &mesh) {
    step making("tangents");
    if (mesh->uv_set_count > 0 && mesh->face_count > 0) {
        check("tangents", mesh->uv_sets[0].name, ogawa_compute_tangent_frame(mesh.get(), nullptr),
              {{OGAWA_COMPUTE_TANGENT_FRAME_BAD_ARGUMENT, "no vertices or UVs"},
               {OGAWA_COMPUTE_TANGENT_FRAME_NOT_FOUND, "no such UV set"},
               {OGAWA_COMPUTE_TANGENT_FRAME_NO_MEMORY, no_memory}});
        making.done("%u tangents computed", mesh->tangent_frame.count);
    } else {
        const int code = read_tangent_frame(*source.get(), mesh->tangent_frame);
        if (code != OGAWA_READ_TANGENT_FRAME_NOT_FOUND)
            check("tangents", mesh->name, code, {{OGAWA_READ_TANGENT_FRAME_NO_MEMORY, no_memory}});
        making.done("no UVs on faces to compute them from; the archive's bytes hold %u", mesh->tangent_frame.count);
    }
}

qel_mesh_verify_report verify(const std::string &step, const std::string &subject, const ogawa_polymesh &mesh) {
    const float *low = mesh.bounds_min, *high = mesh.bounds_max;
    qel_mesh_verify_report report;
    if (qel_mesh_verify_identity(mesh.positions, mesh.vertex_count, low[0], low[1], low[2], high[0], high[1], high[2],
                                 &report) != 1)
        throw step_failed(step, subject, "a position is not finite");
    return report;
}

void verify_positions(const polymesh_record &mesh) {
    step verifying("verify");
    const qel_mesh_verify_report report = verify("verify", mesh->name, *mesh.get());
    verifying.done("all positions finite, box coherence %.4f", report.coherence);
}

} // namespace tool::job
