// SPDX-License-Identifier: MIT
#include "report.h"

#include "owned.h"
#include "text.h"

namespace tool {

namespace {

constexpr std::uint64_t header_bytes = 16, group_bit = std::uint64_t{1} << 63;

void mesh_facts(report &about, const ogawa_polymesh &mesh) {
    about.fact("mesh", "found");
    about.fact("vertices", mesh.vertex_count);
    about.fact("faces", mesh.face_count);
    about.fact("corners", mesh.face_index_count);
    about.fact("normals", mesh.normal_count);
    about.fact("bounds", box_text(mesh.bounds_min, mesh.bounds_max));
    check_finite(about, "position", mesh.positions, mesh.vertex_count);
    if (mesh.normals != nullptr) check_finite(about, "normal", mesh.normals, mesh.normal_count);
    check_faces(about, mesh);
}

void searched_facts(report &about, archive_record &archive) {
    ogawa_uv_set set{};
    const bool found = ogawa_read_uvs(archive.get(), nullptr, 0, 0, &set) == 0;
    about.fact("UVs found by their bytes", found ? set.value_count : 0);
    ogawa_free_uv_set(&set);
    ogawa_tangent_frame frame{};
    const int code = ogawa_read_tangent_frame(archive.get(), nullptr, 0, &frame);
    about.fact("tangents found by their bytes", code == 0 ? frame.count : 0);
    if (code != -2) ogawa_free_tangent_frame(&frame); // after -2 it must not be released
}

} // namespace

bool check_faces(report &about, const ogawa_polymesh &mesh) {
    const std::size_t before = about.problems.size();
    std::uint64_t corners = 0;
    if (mesh.face_counts == nullptr || mesh.face_indices == nullptr) return mesh.face_count == 0;
    for (std::uint32_t face = 0; face < mesh.face_count; ++face)
        corners += mesh.face_counts[face];
    if (corners != mesh.face_index_count)
        about.problem("its faces need " + counted(corners, "corner") + ", it has " +
                      std::to_string(mesh.face_index_count));
    tally bad;
    for (std::uint32_t i = 0; i < mesh.face_index_count; ++i)
        if (mesh.face_indices[i] >= mesh.vertex_count) bad.found(i);
    bad.tell(about, "corner", "a vertex that the mesh does not have");
    return about.problems.size() == before;
}

void check_root(report &about, const input_file &file) {
    const auto root = head_number<std::uint64_t>(file, 8);
    if ((root & group_bit) != 0 || root < header_bytes || root >= file.size())
        about.problem("its root does not lie in the file");
}

report examine_archive(const input_file &file) {
    report about;
    archive_record archive;
    open_archive(file, *archive.get());
    about.fact("version", format("%u.%u", unsigned{archive->version[0]}, unsigned{archive->version[1]}));
    about.fact("time",
               format("%g to %g at %g per second", archive->time_start, archive->time_end, archive->fps));
    about.fact("root at", head_number<std::uint64_t>(file, 8) & ~group_bit);
    check_root(about, file);
    polymesh_record mesh;
    if (ogawa_read_polymesh(archive.get(), nullptr, 0, mesh.get()) == 0 && mesh->positions != nullptr)
        mesh_facts(about, *mesh.get());
    else
        about.fact("mesh", "none found");
    searched_facts(about, archive);
    return about;
}

} // namespace tool
